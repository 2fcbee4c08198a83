// The conservation harness: seeded hostile worlds, ablagix-cli run on them (sometimes disturbed),
// and the checks that no byte of the user's data was lost, changed outside the run's reach,
// exposed or multiplied. POSIX only; it knows ablagix-cli only from the outside.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace conservation {

//--- Randomness that is the same for a seed on every machine

class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}
  std::uint64_t Next();
  // 0 .. n-1 (n > 0).
  int Below(int n) { return static_cast<int>(Next() % static_cast<std::uint64_t>(n)); }
  double Unit() { return static_cast<double>(Next() >> 11) / 9007199254740992.0; }
  bool Chance(double p) { return Unit() < p; }

 private:
  std::uint64_t state_;
};

//--- What a scenario does

enum class Action { kMove, kCopy, kRecycle, kDelete, kShred, kNotify };
enum class Disturbance { kNone, kMutator, kTwin, kKill };
enum class TargetPlace { kBeside, kMissing, kInsideSource, kOtherVolume };

struct Ratios {
  double kills = 0.12;
  double twins = 0.10;
  double mutators = 0.15;
};

struct Plan {
  std::uint64_t seed = 0;
  Action action = Action::kMove;
  int zip = 0;        // Zippen: 0 none, 1 one archive per file, 2 one per run
  int collision = 1;  // Kollision: 0 overwrite, 1 number, 2 skip
  bool identical = false;
  bool subfolders = true;
  TargetPlace target = TargetPlace::kBeside;
  Disturbance disturbance = Disturbance::kNone;
  double killAt = 0;  // the kill's moment as a share of a usual run's duration
  // Afterwards every run is undone, newest first (the first undo maybe killed and started
  // again): the source and the target must then be as they were before.
  bool undo = false;
  double undoKillAt = -1;  // the first undo's kill as a share of a usual run, or never
  // Instead of a run by hand, "watch" runs the profile: the world arrives in the empty source
  // (moved in, entry by entry) while it is watched.
  bool watch = false;
  // "Geleerte Ordner entfernen": the subfolders the run emptied go (and come back with the undo).
  bool removeEmptied = false;
  // "Duplikate=1": the world holds copies of some files, and only files whose content is there
  // twice are selected. No content may then go, whatever the action: one copy always stays.
  bool duplicates = false;
  // "Zielname" for a move or copy (UTF-8): the files arrive under names a template builds,
  // many of them the same; "" keeps their names.
  std::string newName;
};

Plan DrawPlan(std::uint64_t seed, const Ratios& ratios);
std::string Describe(const Plan& plan);
bool Deletes(Action action);  // delete or shred: the selected files may go for good
bool Moves(const Plan& plan);  // the source file is meant to leave its place for a target

//--- The folders of one scenario

struct World {
  std::string root;     // everything of the scenario on the work volume
  std::string home;     // HOME: the user's other files (bystanders) live here
  std::string source;   // Quelle
  std::string target;   // Ziel
  std::string otherVolumeRoot;  // a folder of this scenario on another volume, or empty
  std::string dataHome;  // XDG_DATA_HOME, holds the trash
  std::string trash;
  std::string stash;    // where the mutator puts files it makes vanish
  std::string run;      // profile, settings and the outputs of the runs
  std::vector<std::string> secrets;   // absolute paths of files only hostile names reach
  std::vector<std::string> victims;   // source-relative names the mutator may touch
  int files = 0;        // regular files made in the source
};

// Makes the hostile world for `plan` under `root` (and `otherVolume` when the target lies
// there). False with a reason when the machine refused.
bool BuildWorld(const Plan& plan, const std::string& root, const std::string& otherVolume, World* world,
                std::string* error);

//--- The state of a folder tree

struct Entry {
  char type = '?';  // 'f' file, 'd' folder, 'l' symbolic link, 'p' FIFO, 'o' anything else
  unsigned mode = 0;
  long long size = 0;
  std::string hash;    // SHA-256 of a file's bytes
  std::string origin;  // a generated content's first line, "source 17 4"
  bool outside = false;  // the bytes of a file that lives outside the source
  std::string link;
  dev_t device = 0;
  ino_t inode = 0;
};

// Relative path (bytes, "/" between levels) to entry; the root itself is not listed.
using Tree = std::map<std::string, Entry>;

// Every entry below `root`, links not followed, skipping the folders named in `skip`
// (absolute paths). An absent root gives an empty tree.
Tree Snapshot(const std::string& root, const std::vector<std::string>& skip = {});
std::string Sha256(const std::string& bytes);
bool ReadFile(const std::string& path, std::string* bytes);
// The marker that every content from outside the source carries.
extern const char kOutsideMarker[];

//--- Archives, read by another program (Python's zipfile)

struct ArchiveEntry {
  std::string name;
  std::string hash;
  long long size = 0;
  bool outside = false;
};
struct Archive {
  bool readable = false;
  std::string problem;
  std::vector<ArchiveEntry> entries;
};
// Lists `paths` with python3; `scratch` is a folder for the exchange files.
std::map<std::string, Archive> ListArchives(const std::vector<std::string>& paths, const std::string& scratch);
bool LooksLikeArchiveName(const std::string& name);

//--- The log rows a run printed

enum Column { kDatei = 0, kPfad = 1, kZielpfad = 5, kErgebnis = 6, kAktion = 7, kZipp = 8, kZiel2 = 13, kColumns = 14 };

struct Row {
  std::vector<std::string> cells;  // decoded
  std::string raw;
  bool readable = true;
  bool banner = false;
  int run = 0;  // which run printed it
  std::string SourcePath() const;
  std::string TargetPath() const;
  const std::string& Result() const { return cells[kErgebnis]; }
};

std::vector<Row> ReadRows(const std::string& tsvFile, int run);
std::string DecodeCell(const std::string& cell);

//--- Runs of ablagix-cli

struct RunOutcome {
  std::string label;      // "run", "second process", "killed run", "re-run"
  std::string tsv;
  std::string err;
  int status = 0;
  bool finished = false;  // ended by itself
  bool killed = false;    // by our SIGKILL
  bool hung = false;      // killed after the time limit
  double seconds = 0;
};

// What the mutator did to the source while a run worked.
struct Mutation {
  std::string what;        // for messages
  std::string path;        // source-relative name it touched
  std::string finalHash;   // a content that must survive, if any
  bool definite = false;   // the change was in place while the file still had its name
  bool supersedes = false;  // the original content of `path` was changed by the mutator
  bool swapped = false;    // `path` became a link to a secret
  std::set<std::string> seen;  // every content the file had on the way
};

// Kinds: lost (a content is nowhere the user can find it), bystander (a file outside source,
// target and trash changed), exposure (bytes from outside the source, or a link, reached a
// target), target-overwritten (a file that was in the target before was replaced against the
// policy), special-touched (a link or FIFO in the source was acted on), row-mismatch,
// row-missing, row-duplicate, row-unknown, row-outside, row-unreadable (the log and the disk
// disagree), litter (something half-done or unnamed was left), multiplied (a move left a
// content more often than before), hang, crash, sanitizer, harness (the world could not be made).
struct Violation {
  std::string kind;
  std::string text;
};

// Bytes of a name for a message: valid UTF-8 stays, the rest (and control characters) as \xNN.
std::string Printable(const std::string& bytes);

struct Observation {
  const Plan* plan = nullptr;
  const World* world = nullptr;
  Tree source0, target0, bystanders0;  // before
  Tree source1, target1, bystanders1, trash1, stash1;  // after
  std::map<std::string, Archive> archives;  // absolute path -> listing
  std::vector<RunOutcome> runs;
  std::vector<Row> rows;  // of every run that printed any
  std::vector<Mutation> mutations;
  std::vector<std::string> selected;  // source-relative names the profile selects
  bool disturbed = false;  // a kill, a second process or a mutator really met the run
  bool killed = false;
};

std::vector<Violation> Check(const Observation& o);

// The files a duplicates profile may select: those in reach (`subfolders`) whose content another
// file in reach holds too (another file, not another name of the same data), empty ones never.
std::vector<std::string> DuplicateCandidates(const Tree& source, bool subfolders);

//--- Small POSIX helpers

bool MakeFolders(const std::string& path, mode_t mode = 0755);
void RemoveTree(const std::string& path);
dev_t DeviceOf(const std::string& path);
std::string Join(const std::string& folder, const std::string& name);
bool StartsWith(const std::string& text, const std::string& prefix);
bool EndsWith(const std::string& text, const std::string& suffix);

}  // namespace conservation
