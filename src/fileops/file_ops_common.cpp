// The platform-independent part of the file system layer: the active file system and the
// free functions that go through it, the reasons shown for failures, temporary names.
#include <atomic>
#include <climits>
#include <chrono>
#include <mutex>

#include "base/text.h"
#include "fileops/file_system_seam.h"
#include "fileops/in_place_io.h"
#include "fileops/file_ops.h"
#include "fileops/file_ops_internal.h"
#include "fileops/path_text.h"
#include "fileops/temp_files.h"

namespace ablagix {
namespace {

std::mutex g_hookMutex;
std::function<bool(std::size_t)> g_interrupt;

std::atomic<FileSystem*> g_active{nullptr};

}  // namespace

FileSystem& NativeFileSystem() {
  static file_ops_internal::NativeFs native;
  return native;
}

FileSystem& ActiveFileSystem() {
  FileSystem* fs = g_active.load(std::memory_order_acquire);
  return fs ? *fs : NativeFileSystem();
}

namespace testing_hooks {
void SetFileSystem(FileSystem* fs) { g_active.store(fs, std::memory_order_release); }

void SetAtomicWriteInterrupt(std::function<bool(std::size_t)> interrupt) {
  std::lock_guard lock(g_hookMutex);
  g_interrupt = std::move(interrupt);
}
}  // namespace testing_hooks

namespace file_ops_internal {

bool AtomicWriteInterrupted(std::size_t written) {
  std::lock_guard lock(g_hookMutex);
  return g_interrupt && g_interrupt(written);
}

namespace {
std::wstring UniqueSuffix() {
  static std::atomic<unsigned> counter{0};
  auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
  return NumberText(static_cast<std::uint64_t>(ticks) % 1000000u) + L"-" + NumberText(counter++);
}
}  // namespace

std::wstring AtomicTempName(const std::wstring& path) { return path + L".~tmp" + UniqueSuffix(); }

std::wstring StagingName(const std::wstring& folder) { return TempFilePath(folder); }

}  // namespace file_ops_internal

LocalDateTime FileTimeToLocal(FileTime time) {
  constexpr std::int64_t kTicks = 10000000;
  std::int64_t seconds = time / kTicks - 11644473600ll;
  if (time % kTicks < 0) --seconds;
  // Asking the zone rules for every time of a long log (two per row, and a sort by date asks
  // for all of them) costs more than everything else about a row. A zone changes its offset
  // from UTC only on a quarter hour, so the offset is kept per quarter hour in a small table
  // and the local time is plain arithmetic.
  struct Slot {
    std::int64_t quarter = INT64_MIN;
    std::int64_t offset = 0;
  };
  thread_local Slot slots[1024];
  thread_local std::uint64_t zone = 0;
  const std::uint64_t stamp = file_ops_internal::ZoneStamp();
  if (zone != stamp) {
    for (Slot& s : slots) s = Slot{};
    zone = stamp;
  }
  const std::int64_t quarter = seconds >= 0 ? seconds / 900 : (seconds - 899) / 900;
  Slot& slot = slots[static_cast<std::uint64_t>(quarter) % 1024];
  if (slot.quarter != quarter) {
    if (!file_ops_internal::UtcOffsetAt(seconds, &slot.offset)) return {};
    slot.quarter = quarter;
  }
  const std::int64_t localSeconds = seconds + slot.offset;
  std::int64_t days = localSeconds >= 0 ? localSeconds / 86400 : (localSeconds - 86399) / 86400;
  const std::int64_t secondOfDay = localSeconds - days * 86400;
  // Days since 1970-01-01 to a civil date (proleptic Gregorian).
  days += 719468;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  const std::int64_t mp = (5 * dayOfYear + 2) / 153;
  const int day = static_cast<int>(dayOfYear - (153 * mp + 2) / 5 + 1);
  const int month = static_cast<int>(mp < 10 ? mp + 3 : mp - 9);
  const int year = static_cast<int>(yearOfEra + era * 400 + (month <= 2 ? 1 : 0));
  return {year, month, day, static_cast<int>(secondOfDay / 3600), static_cast<int>(secondOfDay / 60 % 60),
          static_cast<int>(secondOfDay % 60)};
}

//--- The free functions, through the active file system

FolderReader::FolderReader() = default;
FolderReader::~FolderReader() = default;

bool FolderReader::Open(const std::wstring& folder) {
  listing_ = ActiveFileSystem().OpenFolder(folder, nullptr);
  return listing_ != nullptr;
}

bool FolderReader::OpenChild(const FolderReader& parent, const std::wstring& path, const DirEntry& child) {
  listing_ = parent.listing_ ? parent.listing_->OpenChild(path, child, nullptr) : nullptr;
  return listing_ != nullptr;
}

FileId FolderReader::Identity() const { return listing_ ? listing_->Identity() : FileId{}; }

bool FolderReader::Next(DirEntry* entry) { return listing_ && listing_->Next(entry, true); }
bool FolderReader::NextName(DirEntry* entry) { return listing_ && listing_->Next(entry, false); }
bool FolderReader::FillDetails(DirEntry* entry) {
  return !entry->detailsPending || (listing_ && listing_->FillDetails(entry));
}

bool PathExists(const std::wstring& path) {
  std::uint32_t attributes = 0;
  return ActiveFileSystem().GetAttributes(path, &attributes).ok();
}

bool FileExists(const std::wstring& path) {
  std::uint32_t attributes = 0;
  return ActiveFileSystem().GetAttributes(path, &attributes).ok() && !(attributes & kAttrDirectory);
}

bool FolderExists(const std::wstring& path) {
  std::uint32_t attributes = 0;
  return ActiveFileSystem().GetAttributes(path, &attributes).ok() && (attributes & kAttrDirectory);
}

bool GetAttributes(const std::wstring& path, std::uint32_t* attributes) {
  return ActiveFileSystem().GetAttributes(path, attributes).ok();
}

bool SetAttributes(const std::wstring& path, std::uint32_t attributes) {
  return ActiveFileSystem().SetAttributes(path, attributes).ok();
}

bool CreateFolders(const std::wstring& folder) { return ActiveFileSystem().CreateFolders(folder).ok(); }

bool RemoveFile(const std::wstring& path) { return ActiveFileSystem().RemoveFile(path).ok(); }

bool WriteFileAtomic(const std::wstring& path, std::string_view bytes) {
  return ActiveFileSystem().WriteFileAtomic(path, bytes).ok();
}

bool FoundFilesHaveSameContent(const FileRef& a, const FileRef& b) {
  ReadOnlyFile first;
  ReadOnlyFile second;
  if (!first.OpenFound(a) || !second.OpenFound(b) || first.size() != second.size()) return false;
  constexpr std::size_t kPiece = 1 << 18;
  std::string x, y;
  for (std::uint64_t offset = 0; offset < first.size(); offset += kPiece) {
    if (!first.ReadAt(offset, kPiece, &x) || !second.ReadAt(offset, kPiece, &y) || x != y) return false;
    if (x.empty()) break;
  }
  return true;
}

bool WriteTextFile(const std::wstring& path, std::wstring_view text) {
  return WriteFileAtomic(path, ToUtf16LeBytes(text, false));
}

bool WriteTextFileWithBom(const std::wstring& path, std::wstring_view text) {
  return WriteFileAtomic(path, ToUtf16LeBytes(text, true));
}

}  // namespace ablagix
