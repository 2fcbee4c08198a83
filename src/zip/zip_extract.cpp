#include "zip/zip_extract.h"

#include "fileops/output_file.h"
#include "fileops/system_error.h"
#include "fileops/temp_files.h"

namespace ablagix {
namespace {

constexpr std::int64_t kTicksPerSecond = 10000000;
constexpr std::int64_t kUnixEpochSeconds = 11644473600LL;  // 1601-01-01 to 1970-01-01

// Days from 1970-01-01 to a date of the proleptic Gregorian calendar.
std::int64_t DaysFromCivil(int year, unsigned month, unsigned day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const auto yearOfEra = static_cast<unsigned>(year - era * 400);
  const unsigned dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const unsigned dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + static_cast<std::int64_t>(dayOfEra) - 719468;
}

FileTime TicksOf(const LocalDateTime& t) {
  const std::int64_t seconds = DaysFromCivil(t.year, static_cast<unsigned>(t.month), static_cast<unsigned>(t.day)) * 86400 +
                               t.hour * 3600 + t.minute * 60 + t.second;
  return (seconds + kUnixEpochSeconds) * kTicksPerSecond;
}

}  // namespace

FileTime EntryLastWrite(const ZipEntry& entry) {
  if (std::int64_t seconds = 0; EntryUnixTime(entry, &seconds)) return (seconds + kUnixEpochSeconds) * kTicksPerSecond;
  LocalDateTime local{};
  local.year = 1980 + (entry.dosDate >> 9);
  local.month = (entry.dosDate >> 5) & 15;
  local.day = entry.dosDate & 31;
  local.hour = entry.dosTime >> 11;
  local.minute = (entry.dosTime >> 5) & 63;
  local.second = (entry.dosTime & 31) * 2;
  if (local.month < 1 || local.month > 12 || local.day < 1 || local.hour > 23 || local.minute > 59 || local.second > 59) {
    return 0;
  }
  // The moment whose local time it is: the clock's offset at a first guess, then at the
  // moment that guess gives (which differs only next to a change of summer time).
  const FileTime asUtc = TicksOf(local);
  FileTime guess = asUtc - (TicksOf(FileTimeToLocal(asUtc)) - asUtc);
  guess = asUtc - (TicksOf(FileTimeToLocal(guess)) - guess);
  return guess;
}

ExtractedEntry ExtractEntryToTemp(ZipReader& reader, const ZipEntry& entry, const std::wstring& folder, bool durable,
                                  const std::function<bool(std::uint64_t)>& keepGoing) {
  ExtractedEntry result;
  OutputFile out;
  std::wstring temp;
  for (int attempt = 0; attempt < 100 && temp.empty(); ++attempt) {
    const std::wstring candidate = TempFilePath(folder);
    if (out.Create(candidate)) {
      temp = candidate;
    } else if (out.LastError() != AlreadyExistsError()) {
      result.writeError = out.LastError();
      return result;
    }
  }
  if (temp.empty()) {
    result.writeError = AlreadyExistsError();
    return result;
  }
  const std::uint32_t createdMode = out.CreatedPermissions();
  (void)out.SetPermissions(0600);
  result.read = reader.ReadEntry(entry, UINT64_MAX, [&](std::string_view piece) {
    if (keepGoing && !keepGoing(result.size)) return false;
    if (!out.WriteAt(result.size, piece.data(), piece.size())) {
      result.writeError = out.LastError();
      return false;
    }
    result.size += piece.size();
    return true;
  });
  if (result.read == ZipError::kStopped && result.writeError != 0) result.read = ZipError::kNone;
  bool complete = result.read == ZipError::kNone && result.writeError == 0;
  if (complete && durable && !out.Flush()) {
    result.writeError = out.LastError();
    complete = false;
  }
  if (complete) {
    const std::uint32_t mode = UnixModeOf(entry) & 0777;
    (void)out.SetPermissions(mode != 0 ? mode : createdMode);
    out.Unhide();
  }
  out.Close();
  if (!complete) {
    RemoveFile(temp);
    return result;
  }
  result.tempPath = temp;
  return result;
}

std::wstring ExtractProblemText(const ExtractedEntry& extracted) {
  if (extracted.writeError != 0) return SystemErrorText(extracted.writeError);
  if (extracted.read == ZipError::kStopped) return L"Abgebrochen";
  return std::wstring(ZipErrorText(extracted.read));
}

}  // namespace ablagix
