#include "engine/scan.h"

#include <memory>

#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/target_pattern.h"
#include "fileops/path_text.h"
#include "fileops/temp_files.h"

namespace ablagix {
namespace {

struct Frame {
  std::wstring path;
  FolderReader reader;
};

bool IsBlocked(const std::wstring& folder, const ScanRequest& request, const TargetFolderPattern& ownTarget) {
  for (const auto& b : request.blockedFolders) {
    if (SameFolderText(folder, b)) return true;
  }
  return ownTarget.Covers(folder);
}

}  // namespace

void RunFileList::Add(std::wstring_view folder, FileId folderId, const DirEntry& entry) {
  if (folders_.empty() || folders_.back().path != folder || folders_.back().id != folderId ||
      folders_.back().volume != entry.id.volume) {
    folders_.push_back({std::wstring(folder), folderId, entry.id.volume});
  }
  // Exactly the name's code units: a name's bytes that are no text must come back as they were.
  thread_local std::u16string units;
  ToUtf16Exact(entry.name, &units);
  records_.push_back({static_cast<std::uint32_t>(folders_.size() - 1), names_.Append(units),
                      static_cast<std::uint32_t>(units.size()), entry.size, entry.lastWrite, entry.creation,
                      entry.id.file});
}

void RunFileList::clear() {
  folders_.clear();
  names_.Clear();
  records_.clear();
}

RunFile RunFileList::operator[](std::size_t index) const {
  const Record& r = records_[index];
  const Folder& folder = folders_[r.folder];
  return RunFile{JoinPath(folder.path, FromUtf16Exact(names_.View(r.namePosition, r.nameLength))),
                 r.size,
                 r.lastWrite,
                 r.creation,
                 r.file == 0 && folder.volume == 0 ? FileId{} : FileId{folder.volume, r.file},
                 folder.id};
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
  const TargetFolderPattern ownTarget(request.ownTarget);
  auto push = [&](std::wstring path, const Frame* parent, const DirEntry* child) {
    auto frame = std::make_unique<Frame>();
    frame->path = std::move(path);
    // A subfolder is opened from the folder that listed it, never through a link put in its
    // place. A folder that cannot be listed contributes nothing, without a message.
    const bool opened = parent ? frame->reader.OpenChild(parent->reader, frame->path, *child)
                               : frame->reader.Open(frame->path);
    if (opened) stack.push_back(std::move(frame));
  };
  push(request.folder, nullptr, nullptr);

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
    // Our own files in the making (an archive of a run at work in this folder) are no input.
    if (IsTempFileName(entry.name)) continue;
    if (entry.IsDirectory()) {
      if (entry.name == L"." || entry.name == L"..") continue;
      ++state->entryCounter;
      if (!request.includeSubfolders) continue;
      std::wstring sub = JoinPath(top.path, entry.name);
      if (IsBlocked(sub, request, ownTarget)) continue;
      push(std::move(sub), &top, &entry);
      continue;
    }
    ++state->entryCounter;
    const std::wstring_view extension = ExtensionOf(entry.name);
    if (request.acceptName && !request.acceptName(entry.name, extension)) continue;
    // Size and times are read only now, for names that passed; a file gone meanwhile is left out.
    if (!top.reader.FillDetails(&entry)) continue;
    if (request.accept && !request.accept(ScanEntry{top.path, entry, extension})) continue;
    files->Add(top.path, top.reader.Identity(), entry);
  }
  return ScanResult::Completed;
}

}  // namespace ablagix
