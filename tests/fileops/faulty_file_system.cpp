#include "fileops/faulty_file_system.h"

namespace ablagix::test {

FaultyFileSystem::FaultyFileSystem() : real_(NativeFileSystem()) { testing_hooks::SetFileSystem(this); }
FaultyFileSystem::~FaultyFileSystem() { testing_hooks::SetFileSystem(nullptr); }

FsFault& FaultyFileSystem::Fail(FsOp op, std::wstring pathPart, FsError error, FsSide side) {
  auto fault = std::make_unique<FsFault>();
  fault->op = op;
  fault->pathPart = std::move(pathPart);
  fault->status = FsStatus::Fail(error, side);
  faults_.push_back(std::move(fault));
  return *faults_.back();
}

FsFault& FaultyFileSystem::Before(FsOp op, std::wstring pathPart, std::function<void()> action) {
  FsFault& fault = Fail(op, std::move(pathPart), FsError::kNone);
  fault.before = std::move(action);
  return fault;
}

FsFault* FaultyFileSystem::Strike(FsOp op, const std::wstring& path) {
  ++calls_[static_cast<int>(op)];
  for (auto& fault : faults_) {
    if (fault->op != op || fault->times == 0) continue;
    if (!fault->pathPart.empty() && path.find(fault->pathPart) == std::wstring::npos) continue;
    if (fault->skip > 0) {
      --fault->skip;
      continue;
    }
    if (fault->times > 0) --fault->times;
    if (fault->before) {
      // The world changes (without this seam in the way), then the call goes on as usual.
      testing_hooks::SetFileSystem(nullptr);
      fault->before();
      testing_hooks::SetFileSystem(this);
      continue;
    }
    return fault.get();
  }
  return nullptr;
}

// A real listing whose subfolders open through the faults as well (kOpenFolder).
class FaultyListing final : public FolderListing {
 public:
  FaultyListing(FaultyFileSystem& fs, std::unique_ptr<FolderListing> real) : fs_(fs), real_(std::move(real)) {}
  bool Next(DirEntry* entry, bool details) override { return real_->Next(entry, details); }
  bool FillDetails(DirEntry* entry) override { return real_->FillDetails(entry); }
  std::unique_ptr<FolderListing> OpenChild(const std::wstring& path, const DirEntry& child, FsStatus* status) override {
    return fs_.Wrap(path, status, [&] { return real_->OpenChild(path, child, status); });
  }
  FileId Identity() const override { return real_->Identity(); }

 private:
  FaultyFileSystem& fs_;
  std::unique_ptr<FolderListing> real_;
};

std::unique_ptr<FolderListing> FaultyFileSystem::Wrap(const std::wstring& folder, FsStatus* status,
                                                      const std::function<std::unique_ptr<FolderListing>()>& open) {
  if (FsFault* f = Strike(FsOp::kOpenFolder, folder)) {
    if (status) *status = f->status;
    return nullptr;
  }
  std::unique_ptr<FolderListing> real = open();
  if (!real) return nullptr;
  return std::make_unique<FaultyListing>(*this, std::move(real));
}

std::unique_ptr<FolderListing> FaultyFileSystem::OpenFolder(const std::wstring& folder, FsStatus* status) {
  return Wrap(folder, status, [&] { return real_.OpenFolder(folder, status); });
}

FsStatus FaultyFileSystem::GetAttributes(const std::wstring& path, std::uint32_t* attributes) {
  if (FsFault* f = Strike(FsOp::kGetAttributes, path)) return f->status;
  return real_.GetAttributes(path, attributes);
}

FsStatus FaultyFileSystem::SetAttributes(const std::wstring& path, std::uint32_t attributes) {
  if (FsFault* f = Strike(FsOp::kSetAttributes, path)) return f->status;
  return real_.SetAttributes(path, attributes);
}

FsStatus FaultyFileSystem::CreateFolders(const std::wstring& folder) {
  if (FsFault* f = Strike(FsOp::kCreateFolders, folder)) return f->status;
  return real_.CreateFolders(folder);
}

FsStatus FaultyFileSystem::Inspect(const std::wstring& path, FileInfo* info) {
  if (FsFault* f = Strike(FsOp::kInspect, path)) return f->status;
  return real_.Inspect(path, info);
}

FsStatus FaultyFileSystem::StageCopy(const FileRef& from, const std::wstring& targetFolder, bool durable,
                                     const CopyProgress& progress, std::unique_ptr<StagedFile>* staged) {
  FsFault* f = Strike(FsOp::kStageCopy, from.path);
  if (!f) return real_.StageCopy(from, targetFolder, durable, progress, staged);
  if (f->afterBytes == 0) return f->status;
  // The real copy runs until the limit and is stopped there, as the full disk would stop it;
  // a copy whose progress is never reported runs to its end and is thrown away then.
  const std::uint64_t limit = f->afterBytes;
  real_.StageCopy(from, targetFolder, durable,
                  [&](std::uint64_t done, std::uint64_t total) {
                    return done < limit && (!progress || progress(done, total));
                  },
                  staged);
  staged->reset();
  return f->status;
}

FsStatus FaultyFileSystem::Commit(StagedFile& staged, const std::wstring& target, bool replace) {
  if (FsFault* f = Strike(FsOp::kCommit, target)) return f->status;
  return real_.Commit(staged, target, replace);
}

// Deleting a copied source counts as deleting a file: a test that makes deleting fail makes
// this fail too.
FsStatus FaultyFileSystem::RemoveCopiedSource(StagedFile& staged, const FileRef& from) {
  if (FsFault* f = Strike(FsOp::kRemoveFile, from.path)) return f->status;
  return real_.RemoveCopiedSource(staged, from);
}

FsStatus FaultyFileSystem::Rename(const FileRef& from, const std::wstring& to, bool replace) {
  if (FsFault* f = Strike(FsOp::kRename, from.path)) return f->status;
  return real_.Rename(from, to, replace);
}

FsStatus FaultyFileSystem::RemoveFile(const FileRef& file) {
  if (FsFault* f = Strike(FsOp::kRemoveFile, file.path)) return f->status;
  return real_.RemoveFile(file);
}

FsStatus FaultyFileSystem::Recycle(const FileRef& file) {
  if (FsFault* f = Strike(FsOp::kRecycle, file.path)) return f->status;
  return real_.Recycle(file);
}

FsStatus FaultyFileSystem::WriteFileAtomic(const std::wstring& path, std::string_view bytes) {
  if (FsFault* f = Strike(FsOp::kWriteFileAtomic, path)) return f->status;
  return real_.WriteFileAtomic(path, bytes);
}

}  // namespace ablagix::test
