#include "sfx/sfx_extract.h"

#include <algorithm>
#include <optional>
#include <set>

#include "base/text.h"
#include "fileops/full_path.h"
#include "fileops/path_text.h"
#include "fileops/system_error.h"
#include "fileops/win32_handle.h"
#include "zip/zip_names.h"
#include "zip/zip_reader.h"

namespace ablagix::sfx {
namespace {

// A folder that exists afterwards. Below the chosen folder it must be a real folder: a link or
// junction there could lead the files out of it, so one is refused. The chosen folder itself
// may be reached through links, as the person chose it.
bool EnsureFolder(const std::wstring& path, std::wstring* error, bool allowLink = false) {
  DWORD attributes = GetFileAttributesW(path.c_str());
  if (attributes == INVALID_FILE_ATTRIBUTES) {
    if (CreateDirectoryW(path.c_str(), nullptr)) return true;
    const DWORD code = GetLastError();
    attributes = GetFileAttributesW(path.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) {
      *error = SystemErrorText(code);
      return false;
    }
  }
  if (!(attributes & FILE_ATTRIBUTE_DIRECTORY)) {
    *error = L"Name ist durch eine Datei belegt";
    return false;
  }
  if (!allowLink && (attributes & FILE_ATTRIBUTE_REPARSE_POINT)) {
    *error = L"Ordner ist eine Verkn\u00fcpfung";
    return false;
  }
  return true;
}

// Every level of an absolute long-form path, from its root on.
bool EnsureFolderTree(const std::wstring& longPath, std::wstring* error) {
  // The root ("\\?\C:\" or "\\?\UNC\server\share\") is taken as given.
  std::size_t at = longPath.starts_with(L"\\\\?\\UNC\\") ? 8 : 4;
  int skip = longPath.starts_with(L"\\\\?\\UNC\\") ? 2 : 1;
  for (;;) {
    const std::size_t next = longPath.find(L'\\', at);
    if (skip > 0) {
      --skip;
    } else if (!EnsureFolder(longPath.substr(0, next), error, true)) {
      return false;
    }
    if (next == std::wstring::npos) return true;
    at = next + 1;
  }
}

FILETIME EntryTime(const ZipEntry& entry) {
  if (std::int64_t unixSeconds = 0; EntryUnixTime(entry, &unixSeconds)) {
    const std::uint64_t ticks = static_cast<std::uint64_t>((unixSeconds + 11644473600LL) * 10000000LL);
    return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
  }
  SYSTEMTIME local{};
  local.wYear = static_cast<WORD>(1980 + (entry.dosDate >> 9));
  local.wMonth = static_cast<WORD>((entry.dosDate >> 5) & 15);
  local.wDay = static_cast<WORD>(entry.dosDate & 31);
  local.wHour = static_cast<WORD>(entry.dosTime >> 11);
  local.wMinute = static_cast<WORD>((entry.dosTime >> 5) & 63);
  local.wSecond = static_cast<WORD>((entry.dosTime & 31) * 2);
  SYSTEMTIME utc{};
  FILETIME result{};
  if (TzSpecificLocalTimeToSystemTime(nullptr, &local, &utc)) SystemTimeToFileTime(&utc, &result);
  return result;
}

std::wstring ReaderErrorText(ZipError error, DWORD writeError) {
  if (writeError) return SystemErrorText(writeError);
  return std::wstring(ZipErrorText(error));
}

// Every file this program makes starts with this and is hidden until it is complete, so an
// unfinished entry can never be taken for the real file.
constexpr wchar_t kTemporaryPrefix[] = L".~ablagix-";
// "name(1).ext" up to "name(1000).ext"; beyond that the entry fails rather than replace one.
constexpr unsigned kMaxNumber = 1000;

bool IsTakenError(DWORD error) { return error == ERROR_ALREADY_EXISTS || error == ERROR_FILE_EXISTS; }

std::wstring WithBackslashes(std::wstring text) {
  std::replace(text.begin(), text.end(), L'/', L'\\');
  return text;
}

// A new hidden file in `folder` that nobody else has, created without replacing anything.
DWORD CreateTemporary(const std::wstring& folder, HANDLE* file, std::wstring* path) {
  static unsigned serial = 0;
  for (int attempt = 0; attempt < 1000; ++attempt) {
    *path = folder + L"\\" + kTemporaryPrefix + NumberText(GetCurrentProcessId()) + L"-" + NumberText(serial++) +
            L".tmp";
    *file = CreateFileW(path->c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_HIDDEN, nullptr);
    if (*file != INVALID_HANDLE_VALUE) return 0;
    const DWORD error = GetLastError();
    if (!IsTakenError(error)) return error;
  }
  return ERROR_FILE_EXISTS;
}

// How a complete entry gets its name.
enum class Placing {
  kFreeName,  // nothing had it; should something take it meanwhile, numbered
  kReplace,   // renamed over the existing file, as the person chose
  kNumbered,  // "name(1).ext" and on
};

class Extraction {
 public:
  Extraction(ZipReader& reader, const std::wstring& base, const ExtractCallbacks& callbacks, ExtractReport& report)
      : reader_(reader), base_(base), callbacks_(callbacks), report_(report) {
    for (const ZipEntry& e : reader.entries()) total_ += e.uncompressedSize;
  }

  // False once the extraction is cancelled.
  bool Entry(const ZipEntry& entry);
  void Finish() {
    if (callbacks_.progress) callbacks_.progress(total_, total_);
  }

 private:
  void Fail(const std::wstring& shown, const std::wstring& reason, const ZipEntry& entry, bool counted = false) {
    report_.failed.push_back(shown + L": " + reason);
    if (!counted) done_ += entry.uncompressedSize;
  }
  bool IsOurs(const std::wstring& path) const { return made_.count(ToLowerText(path)) != 0; }
  std::optional<Placing> PlacingFor(const std::wstring& target, const std::wstring& relative, const ZipEntry& entry);
  std::wstring Place(const std::wstring& temporary, const std::wstring& folder, const std::wstring& name,
                     Placing placing, std::wstring* placedName);

  ZipReader& reader_;
  const std::wstring& base_;
  const ExtractCallbacks& callbacks_;
  ExtractReport& report_;
  std::uint64_t total_ = 0;
  std::uint64_t done_ = 0;
  // The files this run has made, folded: a second entry of the same name, or one that differs
  // only in case, must not replace the first.
  std::set<std::wstring> made_;
  std::optional<TakenChoice> always_;
};

// Nothing when the person cancelled.
std::optional<Placing> Extraction::PlacingFor(const std::wstring& target, const std::wstring& relative,
                                              const ZipEntry& entry) {
  if (IsOurs(target)) return Placing::kNumbered;
  WIN32_FILE_ATTRIBUTE_DATA existing{};
  if (!GetFileAttributesExW(target.c_str(), GetFileExInfoStandard, &existing)) return Placing::kFreeName;
  // A folder cannot be replaced by a file; the file goes beside it.
  if (existing.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) return Placing::kNumbered;
  TakenChoice choice = TakenChoice::kKeepBoth;
  if (always_) {
    choice = *always_;
  } else if (callbacks_.askTaken) {
    TakenName taken;
    taken.name = relative;
    taken.existingSize = (static_cast<std::uint64_t>(existing.nFileSizeHigh) << 32) | existing.nFileSizeLow;
    taken.existingTime = existing.ftLastWriteTime;
    taken.newSize = entry.uncompressedSize;
    taken.newTime = EntryTime(entry);
    const TakenAnswer answer = callbacks_.askTaken(taken);
    choice = answer.choice;
    if (answer.forAll) always_ = choice;
  }
  switch (choice) {
    case TakenChoice::kReplace: return Placing::kReplace;
    case TakenChoice::kKeepBoth: return Placing::kNumbered;
    case TakenChoice::kCancel: break;
  }
  return std::nullopt;
}

// Renames the complete temporary file to its name; empty, or why that failed.
std::wstring Extraction::Place(const std::wstring& temporary, const std::wstring& folder, const std::wstring& name,
                               Placing placing, std::wstring* placedName) {
  *placedName = name;
  const std::wstring target = folder + L"\\" + name;
  if (placing == Placing::kReplace) {
    // The old file stays whole until this rename; there is no moment without either file.
    if (MoveFileExW(temporary.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH)) {
      return L"";
    }
    return SystemErrorText(GetLastError());
  }
  if (placing == Placing::kFreeName) {
    if (MoveFileExW(temporary.c_str(), target.c_str(), 0)) return L"";
    const DWORD error = GetLastError();
    if (!IsTakenError(error)) return SystemErrorText(error);
  }
  // Without MOVEFILE_REPLACE_EXISTING the rename itself refuses a taken name, so a file that
  // appears between the look and the rename is never replaced either.
  for (unsigned n = 1; n <= kMaxNumber; ++n) {
    const std::wstring numbered = NumberedName(name, n);
    const std::wstring candidate = folder + L"\\" + numbered;
    if (IsOurs(candidate) || GetFileAttributesW(candidate.c_str()) != INVALID_FILE_ATTRIBUTES) continue;
    if (MoveFileExW(temporary.c_str(), candidate.c_str(), 0)) {
      *placedName = numbered;
      return L"";
    }
    const DWORD error = GetLastError();
    if (!IsTakenError(error)) return SystemErrorText(error);
  }
  return L"Alle Namen bis \u201E" + NumberedName(name, kMaxNumber) + L"\u201C sind vergeben";
}

bool Extraction::Entry(const ZipEntry& entry) {
  const std::wstring shown = FromUtf8(entry.name);
  std::vector<std::wstring> parts;
  bool renamed = false;
  // Links are refused with the names that leave the folder: they could lead there.
  if (ExtractPartsOf(entry, &parts, &renamed) != EntryRefusal::kNone) {
    report_.refused.push_back(shown);
    done_ += entry.uncompressedSize;
    return true;
  }
  // The folders first; below the chosen folder each must be a real folder.
  std::wstring folder = base_;
  std::wstring relativeFolder;
  const std::size_t folders = entry.isDirectory() ? parts.size() : parts.size() - 1;
  for (std::size_t i = 0; i < folders; ++i) {
    folder += L"\\" + parts[i];
    relativeFolder += parts[i] + L"\\";
    std::wstring error;
    if (!EnsureFolder(folder, &error)) {
      Fail(shown, error, entry);
      return true;
    }
  }
  if (entry.isDirectory()) {
    if (renamed) report_.renamed.push_back(WithBackslashes(shown) + L" \u2192 " + relativeFolder);
    return true;
  }
  const std::wstring& name = parts.back();
  const std::wstring target = folder + L"\\" + name;
  const std::optional<Placing> placing = PlacingFor(target, relativeFolder + name, entry);
  if (!placing) {
    report_.cancelled = true;
    return false;
  }

  HANDLE created = INVALID_HANDLE_VALUE;
  std::wstring temporary;
  if (const DWORD error = CreateTemporary(folder, &created, &temporary)) {
    Fail(shown, SystemErrorText(error), entry);
    return true;
  }
  UniqueFile file(created);
  DWORD writeError = 0;
  const std::uint64_t doneBefore = done_;
  const ZipError read = reader_.ReadEntry(entry, UINT64_MAX, [&](std::string_view piece) {
    DWORD written = 0;
    if (!WriteFile(file.get(), piece.data(), static_cast<DWORD>(piece.size()), &written, nullptr) ||
        written != piece.size()) {
      writeError = GetLastError() ? GetLastError() : DiskFullError();
      return false;
    }
    done_ += piece.size();
    if (callbacks_.progress && !callbacks_.progress(done_, total_)) {
      report_.cancelled = true;
      return false;
    }
    return true;
  });
  bool shownAsFile = false;
  if (read == ZipError::kNone) {
    // Its time, and no longer hidden, before it gets its name.
    const FILETIME time = EntryTime(entry);
    FILE_BASIC_INFO basic{};
    basic.LastWriteTime.QuadPart = static_cast<LONGLONG>((static_cast<std::uint64_t>(time.dwHighDateTime) << 32) |
                                                         time.dwLowDateTime);
    basic.FileAttributes = FILE_ATTRIBUTE_ARCHIVE;
    shownAsFile = SetFileInformationByHandle(file.get(), FileBasicInfo, &basic, sizeof basic);
    if (!shownAsFile) SetFileTime(file.get(), nullptr, nullptr, &time);
    // A replaced file is gone after the rename, so the new one must be on the disk by then.
    if (*placing == Placing::kReplace && !FlushFileBuffers(file.get())) writeError = GetLastError();
  }
  file.reset();  // closed before it is deleted or gets its name
  if (read != ZipError::kNone || writeError) {
    // Only the file this entry made goes; whatever had the name before was never touched.
    DeleteFileW(temporary.c_str());
    if (report_.cancelled) return false;
    done_ = doneBefore;
    Fail(shown, ReaderErrorText(read, writeError), entry);
    return true;
  }
  std::wstring placedName;
  const std::wstring placeError = Place(temporary, folder, name, *placing, &placedName);
  if (!placeError.empty()) {
    DeleteFileW(temporary.c_str());
    Fail(shown, placeError, entry, true);
    return true;
  }
  const std::wstring placed = folder + L"\\" + placedName;
  if (!shownAsFile) SetFileAttributesW(placed.c_str(), FILE_ATTRIBUTE_ARCHIVE);
  made_.insert(ToLowerText(placed));
  ++report_.files;
  if (*placing == Placing::kReplace) ++report_.replaced;
  const std::wstring change = WithBackslashes(shown) + L" \u2192 " + relativeFolder + placedName;
  if (renamed) {
    report_.renamed.push_back(change);
  } else if (placedName != name) {
    report_.numbered.push_back(change);
  }
  return true;
}

}  // namespace

HandleSource::HandleSource(HANDLE file) : file_(file) {
  LARGE_INTEGER size{};
  if (GetFileSizeEx(file, &size)) size_ = static_cast<std::uint64_t>(size.QuadPart);
}

bool HandleSource::Read(std::uint64_t offset, std::size_t count, std::string* out) {
  out->clear();
  if (offset >= size_) return true;
  count = static_cast<std::size_t>(std::min<std::uint64_t>(count, size_ - offset));
  out->resize(count);
  std::size_t done = 0;
  while (done < count) {
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(offset + done);
    at.OffsetHigh = static_cast<DWORD>((offset + done) >> 32);
    DWORD got = 0;
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(count - done, 1u << 30));
    if (!ReadFile(file_, out->data() + done, chunk, &got, &at) || got == 0) return false;
    done += got;
  }
  return true;
}

ExtractReport ExtractArchive(ByteSource& archive, const std::wstring& folder, const ExtractCallbacks& callbacks) {
  ExtractReport report;
  ReadAheadByteSource buffered(archive, 1 << 16);
  ZipReader reader(buffered);
  ZipLimits limits;
  limits.maxEntries = 10'000'000;
  limits.maxCentralDirectoryBytes = 1ull << 30;
  if (reader.Open(limits) != ZipError::kNone) {
    report.archiveBroken = true;
    return report;
  }
  const std::wstring base = LongPathForm(FullPathText(folder));
  if (!EnsureFolderTree(base, &report.folderError)) {
    if (report.folderError.empty()) report.folderError = L"Zielordner kann nicht angelegt werden";
    return report;
  }
  Extraction extraction(reader, base, callbacks, report);
  for (const ZipEntry& entry : reader.entries()) {
    if (!extraction.Entry(entry)) return report;
  }
  extraction.Finish();
  return report;
}

std::wstring ReportText(const ExtractReport& report) {
  if (report.archiveBroken) return L"Das Archiv ist besch\u00e4digt oder unvollst\u00e4ndig.";
  if (!report.folderError.empty()) {
    return L"Der Zielordner konnte nicht angelegt werden: " + report.folderError;
  }
  std::wstring text;
  if (report.cancelled) {
    text = L"Das Entpacken wurde abgebrochen.";
    if (report.files) text += L" Die bis dahin entpackten Dateien bleiben im Zielordner.";
  }
  auto section = [&text](const wchar_t* heading, const std::vector<std::wstring>& names) {
    if (names.empty()) return;
    if (!text.empty()) text += L"\n\n";
    text += heading;
    const std::size_t shown = std::min<std::size_t>(names.size(), 10);
    for (std::size_t i = 0; i < shown; ++i) text += L"\n  " + names[i];
    if (names.size() > shown) text += L"\n  ... und " + NumberText(names.size() - shown) + L" weitere";
  };
  section(L"Diese Dateien konnten nicht entpackt werden; vorhandene Dateien gleichen Namens sind unver\u00e4ndert:",
          report.failed);
  section(L"Diese Eintr\u00e4ge wurden nicht entpackt, weil ihr Name aus dem Zielordner hinausf\u00fchrt:",
          report.refused);
  section(L"Diese Dateien wurden umbenannt, weil Windows ihren Namen nicht zul\u00e4sst:", report.renamed);
  section(L"Diese Dateien wurden nummeriert, weil ihr Name im Zielordner schon vergeben war:", report.numbered);
  return text;
}

std::wstring NumberedName(const std::wstring& name, unsigned n) {
  const std::size_t dot = name.rfind(L'.');
  const std::size_t cut = dot != std::wstring::npos && dot > 0 ? dot : name.size();
  return name.substr(0, cut) + L"(" + NumberText(n) + L")" + name.substr(cut);
}

int ExitCode(const ExtractReport& report) {
  if (report.archiveBroken) return 2;
  if (!report.folderError.empty()) return 3;
  if (report.cancelled) return 4;
  return report.ok() ? 0 : 1;
}

}  // namespace ablagix::sfx
