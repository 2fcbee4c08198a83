#include "engine/watch_model.h"

#include <algorithm>
#include <utility>

#include "base/text.h"
#include "fileops/path_text.h"

namespace ablagix {

std::wstring WatchPathKey(std::wstring_view path) {
  std::wstring key;
  key.reserve(path.size());
  for (const wchar_t c : path) {
    if (IsPathSeparator(c)) {
      // A doubled separator names the same folder; the first two of a network path stay.
      if (!key.empty() && key.back() == L'/' && key.size() > 1) continue;
      key.push_back(L'/');
    } else {
      key.push_back(FileNamesIgnoreCase() ? FoldCase(c) : c);
    }
  }
  if (key.size() > 1 && key.back() == L'/') key.pop_back();
  return key;
}

SettleQueue::Waiting& SettleQueue::Touch(const std::wstring& path, WatchTime now) {
  auto [it, added] = waiting_.try_emplace(WatchPathKey(path));
  Waiting& file = it->second;
  if (added) {
    file.path = path;
    file.firstSeen = now;
  }
  // A file that has held runs back for too long no longer does, with its changes neither:
  // a log written every second would otherwise keep the burst from ever being over.
  if (added || now - file.firstSeen < timing_.giveUp) lastChange_ = now;
  // The change itself counts: a write that kept size and time (coarse clocks on FAT drives)
  // still starts the wait anew.
  file.stableSince = now;
  file.nextLook = now;
  file.complete = false;
  return file;
}

void SettleQueue::Changed(const std::wstring& path, WatchTime now, bool writing) {
  Waiting& file = Touch(path, now);
  if (writing) file.writerOpen = true;
}

void SettleQueue::Closed(const std::wstring& path, WatchTime now) { Touch(path, now).writerOpen = false; }

void SettleQueue::Removed(const std::wstring& path) { waiting_.erase(WatchPathKey(path)); }

void SettleQueue::LostChanges(WatchTime now) {
  lastChange_ = now;
  lostChanges_ = true;
}

void SettleQueue::Forget(const std::wstring& path) { waiting_.erase(WatchPathKey(path)); }

void SettleQueue::LookAt(Waiting& file, WatchTime now, const LookAtFile& look, bool* gone) {
  const WatchedFileLook seen = look(file.path);
  if (!seen.present) {
    *gone = true;
    return;
  }
  if (!file.looked || seen.size != file.size || seen.lastWrite != file.lastWrite) {
    file.looked = true;
    file.size = seen.size;
    file.lastWrite = seen.lastWrite;
    file.stableSince = now;
    file.nextLook = now + timing_.settle;
    return;
  }
  if (now - file.stableSince < timing_.settle) {
    file.nextLook = file.stableSince + timing_.settle;
    return;
  }
  // Where the system cannot say whether anybody writes, a write whose close has not been
  // reported counts as still going on, until the file has waited too long: a close may have
  // gone unreported (a hard link made here, events lost), and then size and time decide.
  const bool inUse =
      seen.inUseKnown ? seen.inUse : file.writerOpen && now - file.firstSeen < timing_.giveUp;
  if (inUse) {
    // Size and time can stand still while a slow copy waits for its source, or a download
    // for the network; the open handle says it is not over. Asked again soon, not a whole
    // settle time later.
    file.nextLook = now + std::max<std::chrono::milliseconds>(timing_.settle / 4, std::chrono::milliseconds(50));
    return;
  }
  file.complete = true;
}

bool SettleQueue::Due(WatchTime now, const LookAtFile& look) {
  // Files are looked at while the burst still goes on, so that their settle time runs
  // alongside the gathering, not after it.
  bool allComplete = true;
  bool anyComplete = false;
  for (auto it = waiting_.begin(); it != waiting_.end();) {
    Waiting& file = it->second;
    if (!file.complete && now >= file.nextLook) {
      bool gone = false;
      LookAt(file, now, look, &gone);
      if (gone) {
        it = waiting_.erase(it);
        continue;
      }
    }
    if (file.complete) {
      anyComplete = true;
    } else if (now - file.firstSeen < timing_.giveUp) {
      allComplete = false;
    }
    ++it;
  }
  if (!anyComplete && !lostChanges_) return false;
  return allComplete && now - lastChange_ >= timing_.gather;
}

SettledFiles SettleQueue::Take() {
  SettledFiles taken;
  taken.wholeFolder = std::exchange(lostChanges_, false);
  std::vector<std::pair<WatchTime, SettledFile>> complete;
  for (auto it = waiting_.begin(); it != waiting_.end();) {
    Waiting& file = it->second;
    if (!file.complete) {
      ++it;
      continue;
    }
    WatchedFileLook look;
    look.present = true;
    look.size = file.size;
    look.lastWrite = file.lastWrite;
    complete.push_back({file.firstSeen, {std::move(file.path), look}});
    it = waiting_.erase(it);
  }
  // In the order they came, so that the log lists them as they arrived.
  std::sort(complete.begin(), complete.end(), [](const auto& a, const auto& b) {
    return a.first != b.first ? a.first < b.first : a.second.path < b.second.path;
  });
  taken.files.reserve(complete.size());
  for (auto& [seen, file] : complete) taken.files.push_back(std::move(file));
  return taken;
}

void OwnWrites::Add(const std::wstring& path, const WatchedFileLook& left, WatchTime now) {
  left_[WatchPathKey(path)] = {left, now + keep_};
}

bool OwnWrites::IsEcho(const std::wstring& path, WatchTime now, const LookAtFile& look) const {
  const auto it = left_.find(WatchPathKey(path));
  if (it == left_.end() || it->second.until <= now) return false;
  const WatchedFileLook nowLook = look(path);
  const WatchedFileLook& left = it->second.look;
  // A file the run removed that is there again was brought back by somebody else.
  if (left.present != nowLook.present) return false;
  return !nowLook.present || (left.size == nowLook.size && left.lastWrite == nowLook.lastWrite);
}

void OwnWrites::Expire(WatchTime now) {
  std::erase_if(left_, [now](const auto& entry) { return entry.second.until <= now; });
}

}  // namespace ablagix
