#include "engine/scan.h"

#include <memory>
#include <unordered_set>

#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/target_pattern.h"
#include "fileops/file_system_seam.h"
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

// The name and details tests of a file whose details are at hand.
bool Accepts(const ScanRequest& request, std::wstring_view folder, const DirEntry& entry) {
  const std::wstring_view extension = ExtensionOf(entry.name);
  if (request.acceptName && !request.acceptName(entry.name, extension)) return false;
  return !request.accept || request.accept(ScanEntry{folder, entry, extension});
}

DirEntry EntryOf(std::wstring name, const FileInfo& info) {
  DirEntry entry;
  entry.name = std::move(name);
  entry.size = info.version.size;
  entry.lastWrite = info.version.lastWrite;
  entry.creation = info.creation;
  entry.attributes = info.attributes;
  entry.isLink = info.kind == FileKind::kLink;
  entry.isSpecial = info.kind == FileKind::kSpecial;
  entry.id = info.id;
  return entry;
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
    if (request.acceptName && !request.acceptName(entry.name, ExtensionOf(entry.name))) continue;
    // Size and times are read only now, for names that passed; a file gone meanwhile is left out.
    if (!top.reader.FillDetails(&entry)) continue;
    // The details look at the name again: what was a file in the listing may be a link, a
    // pipe or a folder by now (swapped in between), and is then left out like one.
    if (entry.isLink || entry.isSpecial || entry.IsDirectory()) continue;
    if (!Accepts(request, top.path, entry)) continue;
    files->Add(top.path, top.reader.Identity(), entry);
  }
  return ScanResult::Completed;
}

ScanResult ScanGivenFiles(const ScanRequest& request, const std::vector<std::wstring>& paths, RunFileList* files,
                          ScanState* state) {
  FileSystem& fs = ActiveFileSystem();
  const TargetFolderPattern ownTarget(request.ownTarget);
  const std::wstring root = WithTrailingBackslash(request.folder);
  std::unordered_set<std::wstring> seen;
  for (const std::wstring& path : paths) {
    if (AbortRequested() || (request.poll && request.poll())) {
      RequestAbort();
      return ScanResult::Aborted;
    }
    if (!seen.insert(path).second) continue;
    if (path.size() <= root.size() || !FolderTextStartsWith(path, root)) continue;
    const std::wstring name = NamePart(path);
    const std::wstring folder(WithoutTrailingSeparator(FolderPart(path)));
    if (name.empty() || IsTempFileName(name)) continue;
    // Every folder on the way down from the source must be one the walk enters.
    bool reachable = true;
    for (std::size_t at = root.size(); reachable;) {
      const std::size_t next = path.find_first_of(L"\\/", at);
      if (next == std::wstring::npos) break;
      if (!request.includeSubfolders) {
        reachable = false;
        break;
      }
      const std::wstring sub = path.substr(0, next);
      const std::wstring_view step = std::wstring_view(path).substr(at, next - at);
      FileInfo info;
      // "." and ".." are no folders a walk enters: a path through them may lead anywhere.
      reachable = step != L"." && step != L".." && !step.empty() && fs.Inspect(sub, &info).ok() &&
                  info.kind == FileKind::kFolder && !IsBlocked(sub, request, ownTarget);
      at = next + 1;
    }
    if (!reachable) continue;
    FileInfo info;
    if (!fs.Inspect(path, &info).ok() || info.kind != FileKind::kFile) continue;
    ++state->entryCounter;
    const DirEntry entry = EntryOf(name, info);
    if (!Accepts(request, folder, entry)) continue;
    FileInfo folderInfo;
    files->Add(folder, fs.Inspect(folder, &folderInfo).ok() ? folderInfo.id : FileId{}, entry);
  }
  return ScanResult::Completed;
}

}  // namespace ablagix
