// A file system for tests that passes every call to the real one, except the calls a test
// asks to fail: a full disk after so many bytes, a locked source, a folder that vanishes, a
// name that another program takes just before we write it. While it lives, every file
// operation of the program goes through it.
//
//   FaultyFileSystem fs;
//   fs.Fail(FsOp::kStageCopy, L"gross.bin", FsError::kDiskFull).afterBytes = 4096;
//   RunProfiles(...);  // the copy of gross.bin runs out of space after 4 KiB
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "fileops/file_system_seam.h"

namespace ablagix::test {

enum class FsOp {
  kOpenFolder,
  kGetAttributes,
  kSetAttributes,
  kCreateFolders,
  kStageCopy,
  kCommit,
  kRename,
  kRemoveFile,
  kRecycle,
  kWriteFileAtomic,
  kInspect,
};

struct FsFault {
  FsOp op;
  // The call's first path must contain this text ("" matches every path).
  std::wstring pathPart;
  FsStatus status;
  // Calls that match but are let through before the fault strikes.
  int skip = 0;
  // How often it strikes; -1 for ever.
  int times = 1;
  // Runs just before the call instead of failing it (when set, `status` is ignored): the
  // world changing under the program, such as a file appearing or a folder vanishing.
  std::function<void()> before;
  // For kStageCopy: the copy really starts and fails only after this many bytes, so the
  // staged file's clean-up is exercised too (0 fails it before the first byte).
  std::uint64_t afterBytes = 0;
};

class FaultyFileSystem final : public FileSystem {
 public:
  FaultyFileSystem();
  ~FaultyFileSystem() override;
  FaultyFileSystem(const FaultyFileSystem&) = delete;
  FaultyFileSystem& operator=(const FaultyFileSystem&) = delete;

  FsFault& Fail(FsOp op, std::wstring pathPart, FsError error, FsSide side = FsSide::kUnknown);
  FsFault& Before(FsOp op, std::wstring pathPart, std::function<void()> action);
  // How many calls of `op` were made, failed or not.
  int Calls(FsOp op) const { return calls_[static_cast<int>(op)]; }

  std::unique_ptr<FolderListing> OpenFolder(const std::wstring& folder, FsStatus* status) override;
  FsStatus GetAttributes(const std::wstring& path, std::uint32_t* attributes) override;
  FsStatus SetAttributes(const std::wstring& path, std::uint32_t attributes) override;
  FsStatus CreateFolders(const std::wstring& folder) override;
  FsStatus Inspect(const std::wstring& path, FileInfo* info) override;
  FsStatus StageCopy(const FileRef& from, const std::wstring& targetFolder, bool durable,
                     const CopyProgress& progress, std::unique_ptr<StagedFile>* staged) override;
  FsStatus Commit(StagedFile& staged, const std::wstring& target, bool replace) override;
  FsStatus RemoveCopiedSource(StagedFile& staged, const FileRef& from) override;
  FsStatus Rename(const FileRef& from, const std::wstring& to, bool replace) override;
  FsStatus RemoveFile(const FileRef& file) override;
  FsStatus Recycle(const FileRef& file) override;
  FsStatus WriteFileAtomic(const std::wstring& path, std::string_view bytes) override;

  // A folder listing, opened by `open` unless a kOpenFolder fault strikes `folder`; its
  // subfolders go through the faults too.
  std::unique_ptr<FolderListing> Wrap(const std::wstring& folder, FsStatus* status,
                                      const std::function<std::unique_ptr<FolderListing>()>& open);

 private:
  // The fault that strikes this call, or null.
  FsFault* Strike(FsOp op, const std::wstring& path);

  FileSystem& real_;
  std::vector<std::unique_ptr<FsFault>> faults_;
  int calls_[11] = {};
};

}  // namespace ablagix::test
