#include "tree_generator.h"

#include <cstdio>
#include <string>
#include <vector>

#include "base/text.h"
#include "fileops/files.h"
#include "fileops/path_text.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace ablagix::bench {
namespace {

struct Random {
  std::uint64_t state;
  std::uint32_t Next() {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<std::uint32_t>(state >> 33);
  }
  std::uint32_t Below(std::uint32_t n) { return Next() % n; }
};

const wchar_t* const kStems[] = {L"IMG_", L"Rechnung ", L"Bericht_", L"Urlaub M\u00e4rz ", L"scan",
                                 L"\u00dcbersicht ", L"notiz-", L"DSC"};
const wchar_t* const kExtensions[] = {L"jpg", L"JPG", L"png", L"pdf", L"docx", L"txt", L"mp3", L"zip"};

// Bytes for a file of this extension (realistic contents) or "x" filler.
std::string Content(std::wstring_view extension, std::uint64_t size, Random& random, bool realistic) {
  static const char* const kWords[] = {"Rechnung", "Bericht", "und", "der", "die", "das", "Kunde", "Betrag",
                                       "Euro", "Datum", "M\xc3\xa4rz", "Ablage", "Ordner", "f\xc3\xbcr", "mit",
                                       "Seite", "Summe", "Auftrag", "Lieferung", "Termin"};
  std::string bytes;
  bytes.reserve(static_cast<std::size_t>(size));
  const bool packed = extension == L"jpg" || extension == L"JPG" || extension == L"png" || extension == L"mp3" ||
                      extension == L"zip" || extension == L"docx";
  const std::uint64_t textPart = !realistic ? 0 : packed ? 0 : extension == L"pdf" ? size / 2 : size;
  if (!realistic) return std::string(static_cast<std::size_t>(size), 'x');
  while (bytes.size() < textPart) {
    bytes += kWords[random.Below(20)];
    bytes += random.Below(12) == 0 ? (random.Below(3) == 0 ? "\n" : ", ") : " ";
    if (random.Below(16) == 0) bytes += std::to_string(random.Below(100000));
  }
  bytes.resize(static_cast<std::size_t>(textPart));
  while (bytes.size() < size) {
    const std::uint32_t r = random.Next();
    for (int i = 0; i < 4 && bytes.size() < size; ++i) bytes.push_back(static_cast<char>(r >> (8 * i)));
  }
  return bytes;
}

bool WriteSized(const std::wstring& path, std::uint64_t size, FileTime lastWrite, const std::string& content) {
  static const std::string kFiller(65536, 'x');
  const std::string& kBlock = content.empty() ? kFiller : content;
#ifdef _WIN32
  HANDLE h = CreateFileW(LongPathForm(path).c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                         FILE_ATTRIBUTE_NORMAL, nullptr);
  if (h == INVALID_HANDLE_VALUE) return false;
  for (std::uint64_t left = size; left > 0;) {
    DWORD chunk = static_cast<DWORD>(left < kBlock.size() ? left : kBlock.size());
    DWORD written = 0;
    WriteFile(h, kBlock.data() + (size - left) % kBlock.size(), chunk, &written, nullptr);
    left -= chunk;
  }
  FILETIME ft;
  ft.dwLowDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(lastWrite) & 0xFFFFFFFFu);
  ft.dwHighDateTime = static_cast<DWORD>(static_cast<std::uint64_t>(lastWrite) >> 32);
  SetFileTime(h, nullptr, nullptr, &ft);
  CloseHandle(h);
  return true;
#else
  const std::string native = ToUtf8(path);
  int fd = ::open(native.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
  if (fd < 0) return false;
  for (std::uint64_t left = size; left > 0;) {
    size_t chunk = static_cast<size_t>(left < kBlock.size() ? left : kBlock.size());
    if (::write(fd, kBlock.data() + (size - left) % kBlock.size(), chunk) < 0) break;
    left -= chunk;
  }
  const std::int64_t unixTicks = lastWrite - 116444736000000000LL;
  struct timespec times[2];
  times[0].tv_sec = 0;
  times[0].tv_nsec = UTIME_OMIT;
  times[1].tv_sec = static_cast<time_t>(unixTicks / 10000000);
  times[1].tv_nsec = 0;
  futimens(fd, times);
  ::close(fd);
  return true;
#endif
}

}  // namespace

std::uint64_t GenerateTree(const std::wstring& root, const TreeSpec& spec) {
  Random random{spec.seed};
  std::uint64_t bytes = 0;
  const FileTime now = CurrentFileTime();
  const FileTime tenYears = 10LL * 365 * 86400 * 10000000LL;
  // Folders are numbered breadth first: folder n lives inside folder (n-1)/foldersPerLevel.
  std::vector<std::wstring> folders{root};
  CreateFolders(root);
  std::uint64_t made = 0;
  for (size_t f = 0; made < spec.files; ++f) {
    if (f >= folders.size()) break;
    for (int k = 0; k < spec.foldersPerLevel &&
                    folders.size() * static_cast<std::uint64_t>(spec.filesPerFolder) < spec.files;
         ++k) {
      std::wstring sub = JoinPath(folders[f], L"Ordner " + NumberText(folders.size()) +
                                                  (k % 3 == 0 ? L" \u00e4" : L""));
      folders.push_back(sub);
    }
    CreateFolders(folders[f]);
    for (int i = 0; i < spec.filesPerFolder && made < spec.files; ++i, ++made) {
      const wchar_t* extension = kExtensions[random.Below(8)];
      std::wstring name = std::wstring(kStems[random.Below(8)]) + NumberText(made) + L"." + extension;
      // Mostly small files, a few large ones, as in real folders.
      std::uint64_t size = random.Below(100) < 98 ? random.Below(8192) : 65536 + random.Below(1 << 18);
      FileTime written = now - static_cast<FileTime>(random.Next()) * (tenYears / 0xFFFFFFFFLL);
      const std::string content = spec.realisticContent ? Content(extension, size, random, true) : std::string();
      WriteSized(JoinPath(folders[f], name), size, written, content);
      bytes += size;
      if (made % 10000 == 0) {
        std::fprintf(stderr, "\r%llu Dateien", static_cast<unsigned long long>(made));
      }
    }
  }
  std::fprintf(stderr, "\r%llu Dateien in %zu Ordnern\n", static_cast<unsigned long long>(made),
               folders.size());
  return bytes;
}

}  // namespace ablagix::bench
