// The platform-independent part of the file system layer: the active file system and the
// free functions that go through it, the reasons shown for failures, temporary names.
#include <atomic>
#include <chrono>
#include <mutex>

#include "base/text.h"
#include "fileops/file_system.h"
#include "fileops/files.h"
#include "fileops/files_internal.h"
#include "fileops/path_text.h"

namespace ablagix {
namespace {

std::mutex g_hookMutex;
std::function<bool(std::size_t)> g_interrupt;

std::atomic<FileSystem*> g_active{nullptr};

}  // namespace

FileSystem& NativeFileSystem() {
  static files_internal::NativeFs native;
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

namespace files_internal {

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

std::wstring StagingName(const std::wstring& folder) {
  return JoinPath(folder, L".~ablagix" + UniqueSuffix() + L".tmp");
}

}  // namespace files_internal

//--- The free functions, through the active file system

FolderReader::FolderReader() = default;
FolderReader::~FolderReader() = default;

bool FolderReader::Open(const std::wstring& folder) {
  listing_ = ActiveFileSystem().OpenFolder(folder, nullptr);
  return listing_ != nullptr;
}

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

bool WriteTextFile(const std::wstring& path, std::wstring_view text) {
  return WriteFileAtomic(path, ToUtf16LeBytes(text, false));
}

bool WriteTextFileWithBom(const std::wstring& path, std::wstring_view text) {
  return WriteFileAtomic(path, ToUtf16LeBytes(text, true));
}

}  // namespace ablagix
