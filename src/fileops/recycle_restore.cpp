// Taking a recycled file out of the bin again, on every platform: the bins are folders with
// a record per file (freedesktop.org ".trashinfo" files, or Windows "$I" files beside their
// "$R" data), so finding a file is reading records, and restoring it is one rename.
//
// Under Wine the shell's recycle-bin folder tells neither the second a file went in nor lets
// a file come back under another name (it would ask before replacing one); its records are
// the freedesktop.org trash, which is read here directly, as on Linux.
#include <algorithm>

#include "base/byte_order.h"
#include "base/text.h"
#include "fileops/file_stamp.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "fileops/recycle.h"
#include "fileops/recycle_internal.h"

namespace ablagix {
namespace {

using recycle_internal::BinLocation;

constexpr std::string_view kInfoSuffix = ".trashinfo";
// Records are a few hundred bytes; anything much larger is not one.
constexpr std::uint64_t kMaxRecordBytes = 64 * 1024;
// The bins keep the moment to the second; the clock may also have been read a little apart.
constexpr FileTime kSlack = 2 * 10000000LL;

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

// "%XX" escapes decoded; a "%" without two hex digits stays as it is.
std::string PercentDecode(std::string_view text) {
  std::string out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size()) {
      const int high = HexValue(text[i + 1]);
      const int low = HexValue(text[i + 2]);
      if (high >= 0 && low >= 0) {
        out += static_cast<char>(high * 16 + low);
        i += 2;
        continue;
      }
    }
    out += text[i];
  }
  return out;
}

bool ReadNumber(std::string_view text, std::size_t at, std::size_t digits, int* out) {
  if (at + digits > text.size()) return false;
  int value = 0;
  for (std::size_t i = at; i < at + digits; ++i) {
    if (text[i] < '0' || text[i] > '9') return false;
    value = value * 10 + (text[i] - '0');
  }
  *out = value;
  return true;
}

// "2024-03-18T09:41:07", local time.
bool ParseDeletionDate(std::string_view text, LocalDateTime* t) {
  if (text.size() < 19 || text[4] != '-' || text[7] != '-' || text[10] != 'T' || text[13] != ':' || text[16] != ':') {
    return false;
  }
  return ReadNumber(text, 0, 4, &t->year) && ReadNumber(text, 5, 2, &t->month) && ReadNumber(text, 8, 2, &t->day) &&
         ReadNumber(text, 11, 2, &t->hour) && ReadNumber(text, 14, 2, &t->minute) &&
         ReadNumber(text, 17, 2, &t->second) && t->month >= 1 && t->month <= 12 && t->day >= 1 && t->day <= 31 &&
         t->hour < 24 && t->minute < 60 && t->second < 61;
}

bool ReadRecord(const std::wstring& path, std::string* bytes) {
  FileStamp stamp;
  return ReadFileStamp(path, &stamp) && stamp.size <= kMaxRecordBytes && ReadFileBytes(path, bytes);
}

bool DataMatches(const std::wstring& data, const RecycledFile& file) {
  FileStamp stamp;
  return ReadFileStamp(data, &stamp) && stamp.size == file.size && (file.lastWrite == 0 || stamp.lastWrite == file.lastWrite);
}

// A file found in a bin: its data and its record.
struct Found {
  std::wstring data;
  std::wstring record;
};

bool FindInTrash(const BinLocation& bin, const RecycledFile& file, Found* found) {
  const LocalDateTime from = FileTimeToLocal(file.deletedFrom - kSlack);
  const LocalDateTime to = file.deletedTo ? FileTimeToLocal(file.deletedTo + kSlack) : LocalDateTime{9999, 12, 31};
  const std::wstring infoFolder = JoinPath(bin.folder, L"info");
  const std::wstring filesFolder = JoinPath(bin.folder, L"files");
  FolderReader reader;
  if (!reader.Open(infoFolder)) return false;
  LocalDateTime latest{};
  bool any = false;
  DirEntry entry;
  while (reader.NextName(&entry)) {
    const std::string name = FileNameToBytes(entry.name);
    if (name.size() <= kInfoSuffix.size() || !name.ends_with(kInfoSuffix)) continue;
    const std::wstring record = JoinPath(infoFolder, entry.name);
    std::string bytes;
    TrashInfoRecord info;
    if (!ReadRecord(record, &bytes) || !ParseTrashInfo(bytes, &info)) continue;
    if (info.path != bin.recordedPath || info.deletedAt < from || to < info.deletedAt) continue;
    const std::wstring data = JoinPath(filesFolder, FileNameFromBytes(name.substr(0, name.size() - kInfoSuffix.size())));
    if (!DataMatches(data, file)) continue;
    if (!any || latest < info.deletedAt) {
      latest = info.deletedAt;
      *found = {data, record};
      any = true;
    }
  }
  return any;
}

bool FindInWindowsBin(const BinLocation& bin, const RecycledFile& file, Found* found) {
  FolderReader reader;
  if (!reader.Open(bin.folder)) return false;
  FileTime latest = 0;
  bool any = false;
  DirEntry entry;
  while (reader.NextName(&entry)) {
    if (entry.name.size() < 3 || !StartsWithNoCase(entry.name, L"$I")) continue;
    const std::wstring record = JoinPath(bin.folder, entry.name);
    std::string bytes;
    RecycleBinRecord info;
    if (!ReadRecord(record, &bytes) || !ParseRecycleBinRecord(bytes, &info)) continue;
    if (!EqualsNoCase(info.originalPath, bin.recordedWindowsPath) || info.size != file.size) continue;
    if (info.deletedAt < file.deletedFrom - kSlack || (file.deletedTo && info.deletedAt > file.deletedTo + kSlack)) continue;
    const std::wstring data = JoinPath(bin.folder, L"$R" + entry.name.substr(2));
    if (!DataMatches(data, file)) continue;
    if (!any || info.deletedAt > latest) {
      latest = info.deletedAt;
      *found = {data, record};
      any = true;
    }
  }
  return any;
}

}  // namespace

bool ParseTrashInfo(std::string_view text, TrashInfoRecord* record) {
  bool header = false, havePath = false, haveDate = false;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    if (line.empty() || line.front() == '#') continue;
    if (line.front() == '[') {
      // Keys of other groups are not ours.
      header = line == "[Trash Info]";
      continue;
    }
    if (!header) continue;
    if (line.starts_with("Path=") && !havePath) {
      record->path = PercentDecode(line.substr(5));
      havePath = !record->path.empty();
    } else if (line.starts_with("DeletionDate=") && !haveDate) {
      haveDate = ParseDeletionDate(line.substr(13), &record->deletedAt);
    }
  }
  return havePath && haveDate;
}

bool ParseRecycleBinRecord(std::string_view bytes, RecycleBinRecord* record) {
  if (bytes.size() < 28) return false;
  const std::uint64_t version = LoadLe64(bytes, 0);
  std::size_t start = 24, chars = 0;
  if (version == 1) {
    chars = 260;
  } else if (version == 2) {
    chars = LoadLe32(bytes, 24);
    start = 28;
  } else {
    return false;
  }
  if (chars == 0 || chars > (bytes.size() - start) / 2) return false;
  std::u16string path;
  for (std::size_t i = 0; i < chars; ++i) {
    const char16_t c = static_cast<char16_t>(LoadLe16(bytes, start + 2 * i));
    if (c == 0) break;
    path += c;
  }
  if (path.empty()) return false;
  record->originalPath = FromUtf16(path);
  record->size = LoadLe64(bytes, 8);
  record->deletedAt = static_cast<FileTime>(LoadLe64(bytes, 16));
  return true;
}

FsStatus RestoreFromRecycleBin(const RecycledFile& file, const std::wstring& restoreTo) {
  for (const BinLocation& bin : recycle_internal::BinLocationsFor(file.originalPath)) {
    Found found;
    const bool hit = bin.kind == BinLocation::Kind::kTrash ? FindInTrash(bin, file, &found)
                                                           : FindInWindowsBin(bin, file, &found);
    if (!hit) continue;
    FileSystem& fs = ActiveFileSystem();
    const FsStatus moved = fs.Rename(found.data, restoreTo, false);
    if (!moved.ok()) return moved;
    // The data is back; a record left behind would only show a broken entry in the bin.
    fs.RemoveFile(found.record);
    return FsStatus::Ok();
  }
  return FsStatus::Fail(FsError::kNotFound, FsSide::kSource);
}

}  // namespace ablagix
