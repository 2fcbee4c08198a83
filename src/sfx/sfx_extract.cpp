#include "sfx/sfx_extract.h"

#include <algorithm>

#include "base/byte_order.h"
#include "base/text.h"
#include "fileops/system_error.h"
#include "zip/zip_names.h"
#include "zip/zip_reader.h"

namespace ablagix::sfx {
namespace {

constexpr std::uint16_t kTimestampExtraId = 0x5455;

std::wstring FullPath(const std::wstring& path) {
  DWORD needed = GetFullPathNameW(path.c_str(), 0, nullptr, nullptr);
  if (needed == 0) return path;
  std::wstring full(needed, L'\0');
  DWORD length = GetFullPathNameW(path.c_str(), needed, full.data(), nullptr);
  if (length == 0 || length >= needed) return path;
  full.resize(length);
  return full;
}

// "\\?\C:\x" or "\\?\UNC\server\share\x": no length limit and no reinterpretation of names.
std::wstring LongForm(const std::wstring& full) {
  if (full.starts_with(L"\\\\?\\")) return full;
  if (full.starts_with(L"\\\\")) return L"\\\\?\\UNC\\" + full.substr(2);
  return L"\\\\?\\" + full;
}

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
  std::string_view extra = entry.extra;
  while (extra.size() >= 4) {
    const std::size_t length = LoadLe16(extra, 2);
    if (length > extra.size() - 4) break;
    if (LoadLe16(extra, 0) == kTimestampExtraId && length >= 5 && (extra[4] & 1)) {
      const auto unixSeconds = static_cast<std::int32_t>(LoadLe32(extra, 5));
      const std::uint64_t ticks = static_cast<std::uint64_t>((unixSeconds + 11644473600LL) * 10000000LL);
      return {static_cast<DWORD>(ticks), static_cast<DWORD>(ticks >> 32)};
    }
    extra.remove_prefix(4 + length);
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

ExtractReport ExtractArchive(ByteSource& archive, const std::wstring& folder,
                             const std::function<bool(std::uint64_t, std::uint64_t)>& progress) {
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
  const std::wstring base = LongForm(FullPath(folder));
  if (!EnsureFolderTree(base, &report.folderError)) {
    if (report.folderError.empty()) report.folderError = L"Zielordner kann nicht angelegt werden";
    return report;
  }

  std::uint64_t total = 0;
  std::uint64_t done = 0;
  for (const ZipEntry& e : reader.entries()) total += e.uncompressedSize;
  std::vector<std::wstring> parts;
  for (const ZipEntry& entry : reader.entries()) {
    const std::wstring shownName = FromUtf8(entry.name);
    if (!SafeExtractParts(entry.name, &parts)) {
      report.refused.push_back(shownName);
      done += entry.uncompressedSize;
      continue;
    }
    std::wstring path = base;
    std::wstring error;
    const std::size_t folders = entry.isDirectory() ? parts.size() : parts.size() - 1;
    bool good = true;
    for (std::size_t i = 0; i < parts.size() && good; ++i) {
      path += L'\\';
      path += parts[i];
      if (i < folders) good = EnsureFolder(path, &error);
    }
    if (good && !entry.isDirectory()) {
      const DWORD attributes = GetFileAttributesW(path.c_str());
      if (attributes != INVALID_FILE_ATTRIBUTES &&
          (attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT))) {
        error = L"Name ist durch einen Ordner oder eine Verkn\u00fcpfung belegt";
        good = false;
      }
    }
    if (!good) {
      report.failed.push_back(shownName + L": " + error);
      done += entry.uncompressedSize;
      continue;
    }
    if (entry.isDirectory()) continue;

    HANDLE file = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) {
      report.failed.push_back(shownName + L": " + SystemErrorText(GetLastError()));
      done += entry.uncompressedSize;
      continue;
    }
    DWORD writeError = 0;
    const ZipError e = reader.ReadEntry(entry, UINT64_MAX, [&](std::string_view piece) {
      DWORD written = 0;
      if (!WriteFile(file, piece.data(), static_cast<DWORD>(piece.size()), &written, nullptr) ||
          written != piece.size()) {
        writeError = GetLastError() ? GetLastError() : DiskFullError();
        return false;
      }
      done += piece.size();
      if (progress && !progress(done, total)) {
        report.cancelled = true;
        return false;
      }
      return true;
    });
    if (e == ZipError::kNone) {
      const FILETIME time = EntryTime(entry);
      SetFileTime(file, nullptr, nullptr, &time);
      CloseHandle(file);
      ++report.files;
      continue;
    }
    // Nothing half-written stays behind.
    CloseHandle(file);
    DeleteFileW(path.c_str());
    if (report.cancelled) return report;
    report.failed.push_back(shownName + L": " + ReaderErrorText(e, writeError));
  }
  if (progress) progress(total, total);
  return report;
}

std::wstring ReportText(const ExtractReport& report) {
  if (report.archiveBroken) return L"Das Archiv ist besch\u00e4digt oder unvollst\u00e4ndig.";
  if (!report.folderError.empty()) {
    return L"Der Zielordner konnte nicht angelegt werden: " + report.folderError;
  }
  if (report.cancelled) return L"Das Entpacken wurde abgebrochen.";
  std::wstring text;
  auto list = [&text](const std::vector<std::wstring>& names) {
    const std::size_t shown = std::min<std::size_t>(names.size(), 10);
    for (std::size_t i = 0; i < shown; ++i) text += L"\n  " + names[i];
    if (names.size() > shown) text += L"\n  ... und " + NumberText(names.size() - shown) + L" weitere";
  };
  if (!report.refused.empty()) {
    text += L"Diese Eintr\u00e4ge wurden nicht entpackt, weil ihr Name aus dem Zielordner hinausf\u00fchrt:";
    list(report.refused);
  }
  if (!report.failed.empty()) {
    if (!text.empty()) text += L"\n\n";
    text += L"Diese Dateien konnten nicht entpackt werden:";
    list(report.failed);
  }
  return text;
}

}  // namespace ablagix::sfx
