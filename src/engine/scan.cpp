#include "engine/scan.h"

#include <memory>

#include "base/abort_flag.h"
#include "base/text.h"
#include "fileops/path_text.h"

namespace ablagix {
namespace {

struct Frame {
  std::wstring path;
  FolderReader reader;
};

bool IsBlocked(const std::wstring& folder, const ScanRequest& request) {
  for (const auto& b : request.blockedFolders) {
    if (SameFolderText(folder, b)) return true;
  }
  return !request.ownTarget.empty() && FolderTextStartsWith(WithTrailingBackslash(folder), request.ownTarget);
}

}  // namespace

std::vector<std::wstring> SplitBlockFolder(std::wstring_view value) {
  std::vector<std::wstring> folders;
  for (auto& piece : Split(value, L';')) {
    if (!Trim(piece).empty()) folders.push_back(std::move(piece));
  }
  return folders;
}

ScanResult ScanFolder(const ScanRequest& request, RunFileList* files, ScanState* state) {
  // An explicit stack instead of recursion: a deep tree costs heap, not call stack, and the
  // order stays the same as a recursive walk (a subfolder is listed when it is met).
  std::vector<std::unique_ptr<Frame>> stack;
  auto push = [&](std::wstring path) {
    auto frame = std::make_unique<Frame>();
    frame->path = std::move(path);
    // A folder that cannot be listed contributes nothing, without a message.
    if (frame->reader.Open(frame->path)) stack.push_back(std::move(frame));
  };
  push(request.folder);

  DirEntry entry;
  while (!stack.empty()) {
    if (AbortRequested() || (request.poll && request.poll())) {
      RequestAbort();
      return ScanResult::Aborted;
    }
    Frame& top = *stack.back();
    if (!top.reader.Next(&entry)) {
      stack.pop_back();
      continue;
    }
    // Links are never followed (a link to a parent would loop) nor collected; pipes, sockets
    // and devices are no files to handle (opening one can block for ever).
    if (entry.name.empty() || entry.isLink || entry.isSpecial) continue;
    if (entry.IsDirectory()) {
      if (entry.name == L"." || entry.name == L"..") continue;
      ++state->entryCounter;
      if (!request.includeSubfolders) continue;
      std::wstring sub = JoinPath(top.path, entry.name);
      if (IsBlocked(sub, request)) continue;
      push(std::move(sub));
      continue;
    }
    ++state->entryCounter;
    if (request.accept && !request.accept(ScanEntry{top.path, entry, ExtensionOf(entry.name)})) {
      continue;
    }
    files->push_back(RunFile{JoinPath(top.path, entry.name), entry.size, entry.lastWrite,
                             entry.creation});
  }
  return ScanResult::Completed;
}

}  // namespace ablagix
