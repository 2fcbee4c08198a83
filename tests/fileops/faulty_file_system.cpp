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

std::unique_ptr<FolderListing> FaultyFileSystem::OpenFolder(const std::wstring& folder, FsStatus* status) {
  if (FsFault* f = Strike(FsOp::kOpenFolder, folder)) {
    if (status) *status = f->status;
    return nullptr;
  }
  return real_.OpenFolder(folder, status);
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

FsStatus FaultyFileSystem::StageCopy(const std::wstring& from, const std::wstring& targetFolder, bool durable,
                                     const CopyProgress& progress, std::unique_ptr<StagedFile>* staged) {
  FsFault* f = Strike(FsOp::kStageCopy, from);
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

FsStatus FaultyFileSystem::Rename(const std::wstring& from, const std::wstring& to, bool replace) {
  if (FsFault* f = Strike(FsOp::kRename, from)) return f->status;
  return real_.Rename(from, to, replace);
}

FsStatus FaultyFileSystem::RemoveFile(const std::wstring& path) {
  if (FsFault* f = Strike(FsOp::kRemoveFile, path)) return f->status;
  return real_.RemoveFile(path);
}

FsStatus FaultyFileSystem::Recycle(const std::wstring& path) {
  if (FsFault* f = Strike(FsOp::kRecycle, path)) return f->status;
  return real_.Recycle(path);
}

FsStatus FaultyFileSystem::WriteFileAtomic(const std::wstring& path, std::string_view bytes) {
  if (FsFault* f = Strike(FsOp::kWriteFileAtomic, path)) return f->status;
  return real_.WriteFileAtomic(path, bytes);
}

}  // namespace ablagix::test
