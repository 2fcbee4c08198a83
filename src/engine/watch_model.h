// Watching without threads or folders: when the files that arrived in a watched folder are
// complete, when a burst of arrivals is over (so that a thousand files copied together give one
// run), and which changes were the program's own. Times come from the caller's steady clock and
// files are looked at through a function, so tests drive both by hand.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "fileops/folder_watch.h"

namespace ablagix {

// Milliseconds since any fixed moment, never going back.
using WatchTime = std::chrono::milliseconds;

struct WatchTiming {
  // A file is complete when its size and time have not changed this long and nobody holds it
  // open for writing: a photo still being copied from a card is not touched half-way.
  std::chrono::milliseconds settle{2000};
  // A run starts only when no change has come for this long, so a burst gives one run.
  std::chrono::milliseconds gather{3000};
  // A file still incomplete after this long no longer holds the runs of other files back (a
  // log written all day, a file some program keeps open); it waits on until it is complete.
  std::chrono::milliseconds giveUp{std::chrono::minutes(10)};
  // Changes to files that a run wrote itself are ignored for this long after that run.
  std::chrono::milliseconds ownEcho{std::chrono::minutes(1)};
};

using LookAtFile = std::function<WatchedFileLook(const std::wstring& path)>;

// The same text for every spelling of one path: "\" and "/" alike, doubled separators and a
// trailing one dropped, letters folded where file names ignore case (Windows).
std::wstring WatchPathKey(std::wstring_view path);

// A file that has stood still, as it looked then.
struct SettledFile {
  std::wstring path;
  WatchedFileLook look;
};

// What a due run is to handle.
struct SettledFiles {
  // The system lost changes: the run walks the whole source, whatever `files` says.
  bool wholeFolder = false;
  // The complete files, in the order they arrived.
  std::vector<SettledFile> files;
};

// The files of one watched profile that wait for their run.
class SettleQueue {
 public:
  explicit SettleQueue(WatchTiming timing = {}) : timing_(timing) {}

  // A file was created, written or renamed to `path`; `writing` as FolderChange says it.
  void Changed(const std::wstring& path, WatchTime now, bool writing = false);
  // The program that wrote `path` has closed it: a change too, and the end of its writing.
  void Closed(const std::wstring& path, WatchTime now);
  // A file was deleted or renamed away: nothing to wait for.
  void Removed(const std::wstring& path);
  // The system lost changes: one run over the whole folder once everything is quiet.
  void LostChanges(WatchTime now);
  // Drops a file that the program wrote or handled itself.
  void Forget(const std::wstring& path);

  // Looks at the files whose time has come and says whether a run is due: a file is complete
  // (or changes were lost), nothing has changed for `gather`, and every waiting file is
  // complete or has waited longer than `giveUp`. Files that vanished are dropped.
  bool Due(WatchTime now, const LookAtFile& look);
  // The run starts: it takes the complete files; those still incomplete wait on.
  SettledFiles Take();

  std::size_t waiting() const { return waiting_.size(); }

 private:
  struct Waiting {
    std::wstring path;
    WatchTime firstSeen{};
    WatchTime stableSince{};  // the last change seen, by an event or by a look
    WatchTime nextLook{};
    bool looked = false;
    bool complete = false;
    // A writer made or wrote it and its close has not been reported yet.
    bool writerOpen = false;
    std::uint64_t size = 0;
    FileTime lastWrite = 0;
  };
  Waiting& Touch(const std::wstring& path, WatchTime now);
  void LookAt(Waiting& file, WatchTime now, const LookAtFile& look, bool* gone);

  WatchTiming timing_;
  std::unordered_map<std::wstring, Waiting> waiting_;  // by WatchPathKey
  WatchTime lastChange_{};
  bool lostChanges_ = false;
};

// The files the program wrote or left behind itself, whose changes must not start runs: a
// profile that moves files into another watched folder would otherwise start that folder's
// profile, and two profiles that move into each other's folders would never stop. A file is
// remembered as the run left it; once somebody changes it again, its changes count.
class OwnWrites {
 public:
  explicit OwnWrites(std::chrono::milliseconds keep) : keep_(keep) {}
  void Add(const std::wstring& path, const WatchedFileLook& left, WatchTime now);
  // True when `path` was left by a run less than `keep` ago and still looks as it did then
  // (`look` is asked only for remembered files).
  bool IsEcho(const std::wstring& path, WatchTime now, const LookAtFile& look) const;
  // Drops what is older than `keep`, so the list holds only the latest runs' files.
  void Expire(WatchTime now);
  std::size_t size() const { return left_.size(); }

 private:
  struct Left {
    WatchedFileLook look;
    WatchTime until{};
  };
  std::chrono::milliseconds keep_;
  std::unordered_map<std::wstring, Left> left_;  // by WatchPathKey
};

}  // namespace ablagix
