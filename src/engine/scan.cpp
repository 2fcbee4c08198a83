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

void RunFileList::Add(std::wstring_view folder, std::wstring_view name, std::uint64_t size, FileTime lastWrite,
                      FileTime creation) {
  if (folders_.empty() || folders_.back() != folder) folders_.emplace_back(folder);
  const std::u16string units = ToUtf16(name);
  records_.push_back({static_cast<std::uint32_t>(folders_.size() - 1), names_.Append(units),
                      static_cast<std::uint32_t>(units.size()), size, lastWrite, creation});
}

void RunFileList::clear() {
  folders_.clear();
  names_.Clear();
  records_.clear();
}

RunFile RunFileList::operator[](std::size_t index) const {
  const Record& r = records_[index];
  return RunFile{JoinPath(folders_[r.folder], FromUtf16(names_.View(r.namePosition, r.nameLength))), r.size,
                 r.lastWrite, r.creation};
}

void RunFileList::Filter(const std::vector<bool>& keep) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < records_.size(); ++i) {
    if (i < keep.size() && keep[i]) records_[kept++] = records_[i];
  }
  records_.resize(kept);
}

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
    if (!top.reader.NextName(&entry)) {
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
    const std::wstring_view extension = ExtensionOf(entry.name);
    if (request.acceptName && !request.acceptName(entry.name, extension)) continue;
    // Size and times are read only now, for names that passed; a file gone meanwhile is left out.
    if (!top.reader.FillDetails(&entry)) continue;
    if (request.accept && !request.accept(ScanEntry{top.path, entry, extension})) continue;
    files->Add(top.path, entry.name, entry.size, entry.lastWrite, entry.creation);
  }
  return ScanResult::Completed;
}

}  // namespace ablagix
