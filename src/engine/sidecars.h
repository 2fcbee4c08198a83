// Sidecar files: the small files that photo programs keep beside a picture (.xmp, .aae, .thm,
// .pp3, .dop; .json and .xml only beside pictures and videos). A sidecar belongs to the files
// of the same base name ("IMG_1.xmp" beside "IMG_1.CR2" and "IMG_1.jpg") or to the one whose
// whole name it carries ("IMG_1.jpg.xmp"). With the profile option "Begleitdateien" a main
// file and its sidecars are handled as one group: they go together, under one common number,
// or stay together.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/actions.h"
#include "engine/scan.h"
#include "fileops/file_ops.h"

namespace ablagix {

bool IsSidecarExtension(std::wstring_view extension);
// Whether a file with `sidecarExtension` can belong to a main file with `mainExtension`:
// .json and .xml beside a PDF or a spreadsheet are data of their own (an e-invoice), not edits.
bool IsSidecarFor(std::wstring_view sidecarExtension, std::wstring_view mainExtension);

struct Sidecar {
  std::wstring folder;
  DirEntry entry;  // name, size and times
  bool carriesMainName = false;  // "IMG_1.jpg.xmp" rather than "IMG_1.xmp"
};

// The sidecar's new name when its main file became `mainTargetName`:
// "IMG_1.xmp" follows "IMG_1.jpg" -> "IMG_1(1).jpg" as "IMG_1(1).xmp".
std::wstring SidecarTargetName(const Sidecar& sidecar, std::wstring_view mainTargetName);

// Finds sidecars and the main files they belong to in the source folders of a run; each
// folder is listed once.
class SidecarFinder {
 public:
  // The sidecars of the main file `name` in `folder`; none for a file that is a sidecar itself.
  std::vector<Sidecar> For(const std::wstring& folder, std::wstring_view name);
  // The names of the main files in `folder` that the sidecar `sidecarName` belongs to: every
  // file of its base name it suits, or the one whose whole name it carries.
  std::vector<std::wstring> MainsOf(const std::wstring& folder, std::wstring_view sidecarName);

 private:
  struct Listing {
    std::vector<DirEntry> sidecars;
    std::vector<std::wstring> mains;  // only those that a sidecar of this folder names
  };
  const Listing& List(const std::wstring& folder);
  std::unordered_map<std::wstring, Listing> folders_;
};

// The sidecar names already at the targets of a run, case ignored, so that a photo is never
// put beside another photo's sidecar of its name. Each folder is listed once; what the run
// puts there later is added by the run.
class TargetSidecars {
 public:
  // The name in `folder` that equals `name` but for case, "" when there is none.
  std::wstring Find(const std::wstring& folder, std::wstring_view name);
  // A sidecar in `folder` that would belong to a main file called `mainName`, "" when none.
  std::wstring BelongingTo(const std::wstring& folder, std::wstring_view mainName);
  // A file that the run put at `path`.
  void Add(const std::wstring& path);

 private:
  std::unordered_map<std::wstring, std::wstring>& List(const std::wstring& folder);
  // By folder: the folded sidecar name and the name as it is.
  std::unordered_map<std::wstring, std::unordered_map<std::wstring, std::wstring>> folders_;
};

// The result words of the files of a group that stay because of the others: a sidecar that
// stays with a main file, and a file whose group meets a taken name under "überspringen".
inline constexpr std::wstring_view kSidecarStaysWith = L": Begleitdatei bleibt bei ";
inline constexpr std::wstring_view kGroupNameTaken = L": Am Ziel liegt schon ";

// One handled file, for its log row.
struct SidecarGroupRow {
  const std::wstring& path;
  std::uint64_t size;
  FileTime lastWrite;
  FileTime creation;
  const std::wstring& targetFolder;
  const std::wstring& metadaten;
  const ActionResult& result;
};

// What the run lends to the handling of its groups.
struct SidecarGroupRun {
  const RunFileList& files;
  const ActionPlan& plan;
  RunMode mode;
  ActionHost& host;
  RunState& state;
  // Where a file of the run goes, and what its conditions read from it; both asked before
  // the file is touched.
  std::function<std::wstring(const RunFile&)> targetFolder;
  // The name a file gets at the target ("Zielname"); its own name without one.
  std::function<std::wstring(const RunFile&)> targetName;
  std::function<std::wstring(const RunFile&)> metadaten;
  std::function<void(const SidecarGroupRow&)> row;
};

// Moves, copies or renames the files of a run with their sidecars:
// - A main file, the other main files of the run that share a sidecar with it (RAW and JPEG
//   beside one .xmp) and their sidecars form a group. Its files get one common free number
//   at the target ("IMG_1(1).CR2", "IMG_1(1).jpg", "IMG_1(1).xmp"), and a sidecar follows the
//   new name its main file gets ("Urlaub 001.jpg", "Urlaub 001.xmp"), also when only a
//   sidecar's name is taken there or a sidecar of another photo has the main file's name.
// - Under "überspringen" a group with any of its names taken stays whole; under "immer
//   überschreiben" it replaces together.
// - A sidecar that a main file shares with one that stays (not taken by the profile, skipped,
//   failed) stays with it in a move and is copied along in a copy; so is a sidecar that the
//   profile takes on its own while its main file stays.
class SidecarGroups {
 public:
  explicit SidecarGroups(const RunFileList& files);
  // Handles file `index` of the run with the files that go with it; nothing for a file that
  // went with an earlier one.
  void Handle(std::size_t index, const SidecarGroupRun& run);

 private:
  struct Member;
  struct Follower;
  // Folder and base name of a path, both folded: the files that can share a sidecar.
  static std::wstring StemKey(std::wstring_view path);
  // A sidecar that the profile takes while no main file of the run owns it.
  void HandleOnItsOwn(const RunFile& file, const SidecarGroupRun& run);
  void HandleGroup(std::vector<Member>& mains, std::vector<Follower>& followers, const SidecarGroupRun& run);
  // The steps of a group: which main files cannot go, which sidecars may, the number the
  // group gets at the target, then the main files and the sidecars themselves.
  static void MarkRefusedMains(std::vector<Member>& mains, const ActionPlan& plan);
  static std::size_t CarrierOf(const std::vector<Member>& mains, const Follower& follower, bool beforeMoving);
  static void DecideFollowers(const std::vector<Member>& mains, std::vector<Follower>& followers, bool move);
  std::wstring TakenName(const std::vector<Member>& mains, const std::vector<Follower>& followers, int number);
  static void HandleMains(std::vector<Member>& mains, int number, const std::wstring& taken, bool allNumbersTaken,
                          const SidecarGroupRun& run);
  void HandleFollowers(const std::vector<Member>& mains, const std::vector<Follower>& followers, bool move,
                       const SidecarGroupRun& run);

  std::unordered_map<std::wstring, std::vector<std::size_t>> mainsByStem_;  // indexes of the run's main files
  std::vector<bool> handled_;  // by index in the run
  std::unordered_set<std::wstring> sidecarsHandled_;  // folded paths
  SidecarFinder finder_;
  TargetSidecars targets_;
};

}  // namespace ablagix
