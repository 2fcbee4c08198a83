#include "engine/watch_model.h"

#include <algorithm>

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
      key.push_back(FoldCase(c));
    }
  }
  if (key.size() > 1 && key.back() == L'/') key.pop_back();
  return key;
}

void SettleQueue::Changed(const std::wstring& path, WatchTime now) {
  lastChange_ = now;
  auto [it, added] = waiting_.try_emplace(WatchPathKey(path));
  Waiting& file = it->second;
  if (added) {
    file.path = path;
    file.firstSeen = now;
  }
  // The change itself counts: a write that kept size and time (coarse clocks on FAT drives)
  // still starts the wait anew.
  file.stableSince = now;
  file.nextLook = now;
  file.complete = false;
}

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
  if (seen.inUse) {
    // Size and time can stand still while a slow copy waits for its source; the open handle
    // says it is not over. Asked again soon, not a whole settle time later.
    file.nextLook = now + std::max<std::chrono::milliseconds>(timing_.settle / 4, std::chrono::milliseconds(50));
    return;
  }
  file.complete = true;
}

bool SettleQueue::Due(WatchTime now, const LookAtFile& look) {
  // Files are looked at while the burst still goes on, so that their settle time runs
  // alongside the gathering, not after it.
  bool allComplete = true;
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
    if (!file.complete && now - file.firstSeen < timing_.giveUp) allComplete = false;
    ++it;
  }
  if (waiting_.empty() && !lostChanges_) return false;
  return allComplete && now - lastChange_ >= timing_.gather;
}

void SettleQueue::Take() {
  waiting_.clear();
  lostChanges_ = false;
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
