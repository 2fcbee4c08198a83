// What must hold after a scenario, whatever the program did and however it was disturbed:
// every byte sequence the user had is still somewhere the user can find it, the user's other
// files are exactly as they were, nothing from outside the source reached a target, the rows
// tell the truth, nothing half-done is left lying around, and nothing was doubled by a move.
#include <algorithm>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "conservation/harness.h"

namespace conservation {
namespace {

const char* TypeName(char type) {
  switch (type) {
    case 'f':
      return "file";
    case 'd':
      return "folder";
    case 'l':
      return "link";
    case 'p':
      return "FIFO";
    default:
      return "special file";
  }
}

std::string Leaf(const std::string& rel) {
  const size_t slash = rel.rfind('/');
  return slash == std::string::npos ? rel : rel.substr(slash + 1);
}

// The names a file could get in the target: its own, and the part after its last backslash
// (what a program that reads the name as a Windows path would use).
std::vector<std::string> TargetNames(const std::string& rel) {
  std::vector<std::string> names = {Leaf(rel)};
  const size_t backslash = names[0].rfind('\\');
  if (backslash != std::string::npos) names.push_back(names[0].substr(backslash + 1));
  return names;
}

bool IsTemporary(const std::string& rel) { return StartsWith(Leaf(rel), ".~ablagix"); }

// A shred of a name whose data has other names: only the name goes, the data stays with them.
constexpr const char* kNameOnly = "Nur der Name entfernt";

// Whether a name with "\" and "/" both taken as separators goes above its start.
bool ClimbsOutOnWindows(const std::string& rel) {
  int depth = 0;
  size_t start = 0;
  for (;;) {
    const size_t end = rel.find_first_of("/\\", start);
    const std::string part = rel.substr(start, end == std::string::npos ? std::string::npos : end - start);
    if (part == "..") {
      if (--depth < 0) return true;
    } else if (!part.empty() && part != ".") {
      ++depth;
    }
    if (end == std::string::npos) return false;
    start = end + 1;
  }
}

class Checker {
 public:
  explicit Checker(const Observation& o) : o_(o), plan_(*o.plan), world_(*o.world) {}

  std::vector<Violation> Run() {
    Runs();
    CountFound();
    Bystanders();
    Exposure();
    Conservation();
    Specials();
    const bool clean = AllFinishedCleanly();
    if (clean && !o_.disturbed) Rows();
    if (clean) Litter();
    if (!o_.killed && (plan_.disturbance == Disturbance::kNone || plan_.disturbance == Disturbance::kTwin)) Multiplied();
    return std::move(violations_);
  }

 private:
  void Add(const std::string& kind, const std::string& text) { violations_.push_back({kind, text}); }

  bool AllFinishedCleanly() const {
    for (const RunOutcome& r : o_.runs) {
      if (r.killed) continue;
      if (!r.finished || r.status < 0 || r.status > 1) return false;
    }
    return true;
  }

  void Runs() {
    for (const RunOutcome& r : o_.runs) {
      if (r.hung) Add("hang", "the " + r.label + " did not end within the time limit and was killed");
      if (r.finished && (r.status < 0 || r.status > 1)) {
        Add("crash", "the " + r.label + (r.status < 0 ? " died of signal " + std::to_string(-r.status)
                                                      : " ended with exit code " + std::to_string(r.status)));
      }
      std::string err;
      ReadFile(r.err, &err);
      size_t at = err.find("Sanitizer");
      if (at == std::string::npos) at = err.find("runtime error:");
      if (at != std::string::npos) {
        const size_t begin = err.rfind('\n', at);
        const size_t end = err.find('\n', at);
        Add("sanitizer", "the " + r.label + ": " + err.substr(begin == std::string::npos ? 0 : begin + 1, end == std::string::npos ? std::string::npos : end - (begin == std::string::npos ? 0 : begin + 1)));
      }
    }
  }

  // Every content now where the user can find it: source, target, trash, the mutator's stash,
  // the user's other files (where a hard link keeps the data of a name that went), and inside
  // the archives among them.
  void CountFound() {
    for (const Tree* tree : {&o_.source1, &o_.target1, &o_.trash1, &o_.stash1, &o_.bystanders1}) {
      for (const auto& [rel, e] : *tree) {
        if (e.type == 'f') ++found_[e.hash];
      }
    }
    for (const auto& [path, archive] : o_.archives) {
      for (const ArchiveEntry& entry : archive.entries) ++found_[entry.hash];
    }
    for (const auto& [rel, e] : o_.source0) {
      if (e.type == 'f') known_.insert(e.hash);
    }
    for (const Mutation& m : o_.mutations) {
      known_.insert(m.seen.begin(), m.seen.end());
      if (!m.path.empty()) mutatedOrigins_.insert(OriginOf(m.path));
      if (m.swapped) swapped_.insert(m.path);
    }
    for (const std::string& rel : o_.selected) selected_.insert(rel);
  }

  std::string OriginOf(const std::string& rel) const {
    const auto it = o_.source0.find(rel);
    return it == o_.source0.end() ? std::string() : it->second.origin;
  }

  void Bystanders() {
    for (const auto& [rel, before] : o_.bystanders0) {
      const auto it = o_.bystanders1.find(rel);
      if (it == o_.bystanders1.end()) {
        Add("bystander", std::string("the bystander ") + TypeName(before.type) + " " + Printable(rel) + " is gone");
        continue;
      }
      const Entry& after = it->second;
      std::string what;
      if (after.type != before.type) {
        what = std::string("became a ") + TypeName(after.type);
      } else if (after.hash != before.hash) {
        what = "has other bytes (" + std::to_string(before.size) + " -> " + std::to_string(after.size) + " bytes)";
      } else if (after.link != before.link) {
        what = "points elsewhere";
      } else if (after.mode != before.mode) {
        what = "has other permissions";
      }
      if (!what.empty()) Add("bystander", "the bystander " + Printable(rel) + " " + what);
    }
    for (const auto& [rel, after] : o_.bystanders1) {
      if (!o_.bystanders0.count(rel)) {
        Add("bystander", std::string("a new ") + TypeName(after.type) + " appeared among the bystanders: " + Printable(rel));
      }
    }
  }

  void Exposure() {
    for (const auto& [rel, e] : o_.target1) {
      // An archive's entries are looked at one by one below.
      const auto archive = o_.archives.find(world_.target + "/" + rel);
      const bool listed = archive != o_.archives.end() && archive->second.readable;
      if (e.type == 'f' && e.outside && !listed) Add("exposure", "the target file " + Printable(rel) + " holds bytes from outside the source");
      const auto before = o_.target0.find(rel);
      if (e.type == 'l' && (before == o_.target0.end() || before->second.type != 'l' || before->second.link != e.link)) {
        Add("exposure", "a link appeared in the target: " + Printable(rel) + " -> " + Printable(e.link));
      }
    }
    for (const auto& [rel, e] : o_.source1) {
      if (e.type == 'f' && e.outside && !o_.source0.count(rel)) {
        Add("exposure", "the new source file " + Printable(rel) + " holds bytes from outside the source");
      }
    }
    for (const auto& [path, archive] : o_.archives) {
      for (const ArchiveEntry& entry : archive.entries) {
        if (entry.outside) {
          Add("exposure", "the archive " + Printable(path) + " holds bytes from outside the source (entry " + Printable(entry.name) + ")");
        }
      }
    }
  }

  // Names (source-relative) that rows of any run say were deleted for good.
  std::set<std::string> DeletedByRows() const {
    std::set<std::string> deleted;
    for (const Row& row : o_.rows) {
      if (row.banner || !row.readable) continue;
      const std::string& result = row.Result();
      if (!StartsWith(result, "Gel\xc3\xb6scht X") && !StartsWith(result, "Gel\xc3\xb6scht S") &&
          !StartsWith(result, kNameOnly)) {
        continue;
      }
      const std::string path = row.SourcePath();
      if (StartsWith(path, world_.source + "/")) deleted.insert(path.substr(world_.source.size() + 1));
    }
    return deleted;
  }

  // Under "always overwrite", moving two files of one name into one folder keeps the later:
  // the user asked for that. These are the selected names that share a target name.
  std::set<std::string> SharingTargetName() const {
    // A "Zielname" template can give any two files one name.
    if (!plan_.newName.empty()) return {o_.selected.begin(), o_.selected.end()};
    std::map<std::string, int> uses;
    for (const std::string& rel : o_.selected) {
      for (const std::string& n : TargetNames(rel)) ++uses[n];
    }
    std::set<std::string> sharing;
    for (const std::string& rel : o_.selected) {
      for (const std::string& n : TargetNames(rel)) {
        if (uses[n] > 1) sharing.insert(rel);
      }
    }
    return sharing;
  }

  bool WritesTargets() const { return plan_.action == Action::kMove || plan_.action == Action::kCopy; }

  // Target names the run may replace under "always overwrite".
  std::set<std::string> Replaceable() const {
    std::set<std::string> names;
    if (!WritesTargets() || plan_.collision != 0) return names;
    for (const std::string& rel : o_.selected) {
      for (const std::string& n : TargetNames(rel)) {
        names.insert(n);
        names.insert(n + ".zip");
        names.insert(n + ".exe");
      }
    }
    names.insert("Archiv.zip");
    names.insert("Archiv.exe");
    return names;
  }

  void Conservation() {
    std::set<std::string> exempt;
    // With "Duplikate" a file goes only while another copy of its bytes stays: no content may
    // be lost, whatever the action and also when the run was killed. Only what the mutator
    // changed or took is its own doing.
    if (plan_.duplicates) {
      std::set<std::string> mutatedHashes;
      for (const Mutation& m : o_.mutations) {
        const auto it = o_.source0.find(m.path);
        if (it != o_.source0.end()) mutatedHashes.insert(it->second.hash);
      }
      for (const auto& [rel, e] : o_.source0) {
        if (e.type == 'f' && mutatedHashes.count(e.hash)) exempt.insert(rel);
      }
    } else if (Deletes(plan_.action)) {
      exempt = DeletedByRows();
      // A killed run's rows died with it: whatever the profile selected may be gone.
      if (o_.killed) exempt.insert(o_.selected.begin(), o_.selected.end());
    }
    if (WritesTargets() && Moves(plan_) && plan_.collision == 0 && plan_.zip != 2) {
      const std::set<std::string> sharing = SharingTargetName();
      exempt.insert(sharing.begin(), sharing.end());
    }
    std::set<std::string> superseded;
    for (const Mutation& m : o_.mutations) {
      if (m.supersedes) superseded.insert(m.path);
    }
    for (const auto& [rel, e] : o_.source0) {
      if (superseded.count(rel)) continue;
      if (e.type != 'f' || exempt.count(rel) || found_[e.hash] > 0) continue;
      const bool wasSelected = selected_.count(rel) > 0;
      std::string why = wasSelected ? "" : ", not even selected";
      if (wasSelected && Deletes(plan_.action)) why = ", selected for deletion but no row says it was deleted";
      if (plan_.duplicates) why += ", a duplicates run took every copy";
      Add("lost", "the content of " + Printable(rel) + " (" + std::to_string(e.size) + " bytes" + why +
                      ") is nowhere: not in source, target, archives or trash");
    }
    for (const Mutation& m : o_.mutations) {
      if (m.finalHash.empty() || !m.definite || found_[m.finalHash] > 0 || exempt.count(m.path)) continue;
      Add("lost", "the bytes " + Printable(m.path) + " had after the mutator " + m.what + " are nowhere");
    }
    // What was in the target before is the user's too.
    const std::set<std::string> replaceable = Replaceable();
    // Under "always overwrite" a "Zielname" template can name any file of the target.
    const bool anyReplaceable = !plan_.newName.empty() && WritesTargets() && plan_.collision == 0;
    for (const auto& [rel, before] : o_.target0) {
      if (before.type == 'd' || anyReplaceable || replaceable.count(Leaf(rel))) continue;
      const auto it = o_.target1.find(rel);
      std::string what;
      if (it == o_.target1.end()) {
        what = "is gone";
      } else if (it->second.type != before.type) {
        what = std::string("became a ") + TypeName(it->second.type);
      } else if (it->second.hash != before.hash || it->second.link != before.link) {
        what = "was changed";
      }
      if (!what.empty()) {
        Add("target-overwritten", std::string("the ") + TypeName(before.type) + " " + Printable(rel) +
                                      " that was in the target before " + what);
      }
    }
  }

  // Links and FIFOs are not files to act on.
  void Specials() {
    for (const auto& [rel, before] : o_.source0) {
      if (before.type == 'f' || before.type == 'd') continue;
      const auto it = o_.source1.find(rel);
      if (it == o_.source1.end()) {
        Add("special-touched", std::string("the ") + TypeName(before.type) + " " + Printable(rel) + " in the source is gone");
      } else if (it->second.type != before.type || it->second.link != before.link) {
        Add("special-touched", std::string("the ") + TypeName(before.type) + " " + Printable(rel) + " in the source was changed");
      }
    }
  }

  // "Geleerte Ordner entfernen": a removed folder was a subfolder of the source that held
  // something before the run (never the source, never one empty before) and is gone now.
  void EmptiedFolderRow(const Row& row) {
    const std::string path = row.SourcePath();
    const std::string prefix = world_.source + "/";
    if (!StartsWith(path, prefix) || path.size() == prefix.size()) {
      Add("folder-removed", "the folder " + Printable(path) + " removed as emptied is not below the source");
      return;
    }
    const std::string rel = path.substr(prefix.size());
    const auto it = o_.source0.find(rel);
    if (it == o_.source0.end() || it->second.type != 'd') {
      Add("folder-removed", "the removed folder " + Printable(rel) + " was no folder of the source");
      return;
    }
    const auto next = o_.source0.upper_bound(rel + "/");
    const bool heldSomething = next != o_.source0.end() && StartsWith(next->first, rel + "/");
    if (!heldSomething) {
      Add("folder-removed", "the folder " + Printable(rel) + " was empty before the run and was removed");
    }
  }

  // The source-relative name a row speaks of, or empty (with a violation) when it names
  // something that is not a regular file the scan could have listed.
  std::string RowSource(const Row& row) {
    const std::string path = row.SourcePath();
    const std::string prefix = world_.source + "/";
    if (!StartsWith(path, prefix)) {
      Add("row-outside", "a row names " + Printable(path) + ", outside the source");
      return {};
    }
    const std::string rel = path.substr(prefix.size());
    if (StartsWith(world_.target + "/", prefix) && StartsWith(path, world_.target + "/")) {
      Add("row-outside", "a row names " + Printable(path) + ", inside the target folder, which the scan must skip");
      return {};
    }
    std::string folder;
    size_t start = 0;
    for (;;) {
      const size_t slash = rel.find('/', start);
      const std::string part = rel.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
      if (part.empty() || part == "." || part == "..") {
        Add("row-outside", "a row names " + Printable(path) + ", which climbs out of its folder");
        return {};
      }
      if (slash == std::string::npos) break;
      folder = rel.substr(0, slash);
      const auto it = o_.source0.find(folder);
      if (it == o_.source0.end() || it->second.type != 'd') {
        Add(it != o_.source0.end() && it->second.type == 'l' ? "row-outside" : "row-unknown",
            "a row names " + Printable(path) + ", but " + Printable(folder) + " was no folder of the source");
        return {};
      }
      start = slash + 1;
    }
    const auto it = o_.source0.find(rel);
    if (it == o_.source0.end() && ClimbsOutOnWindows(rel)) {
      Add("row-outside", "a row names " + Printable(rel) + ", which was not in the source and, read as a Windows path, leaves it");
      return {};
    }
    if (it == o_.source0.end()) {
      Add("row-unknown", "a row names " + Printable(rel) + ", which was not in the source (result \"" + Printable(row.Result()) + "\")");
      return {};
    }
    if (it->second.type != 'f') {
      Add("row-unknown", std::string("a row names the ") + TypeName(it->second.type) + " " + Printable(rel));
      return {};
    }
    return rel;
  }

  // The entry at an absolute path in the target, if the path lies in the target.
  const Entry* InTarget(const std::string& path) const {
    const std::string prefix = world_.target + "/";
    if (!StartsWith(path, prefix)) return nullptr;
    const auto it = o_.target1.find(path.substr(prefix.size()));
    return it == o_.target1.end() ? nullptr : &it->second;
  }

  bool SourceHolds(const std::string& rel, const std::string& hash) const {
    const auto it = o_.source1.find(rel);
    return it != o_.source1.end() && it->second.type == 'f' && it->second.hash == hash;
  }

  bool ArchiveHolds(const std::string& hash, const std::string& preferred) const {
    for (const auto& [path, archive] : o_.archives) {
      if (!preferred.empty() && path != preferred) continue;
      if (!StartsWith(path, world_.target + "/")) continue;
      for (const ArchiveEntry& e : archive.entries) {
        if (e.hash == hash) return true;
      }
    }
    return false;
  }

  bool TrashHolds(const std::string& hash) const {
    for (const auto& [rel, e] : o_.trash1) {
      if (e.type == 'f' && e.hash == hash) return true;
    }
    return false;
  }

  void Rows() {
    std::map<std::string, int> rowsPerFile;
    // Under "always overwrite" a later row may replace what an earlier one put at a path.
    std::map<std::string, size_t> lastWriter;
    for (size_t i = 0; i < o_.rows.size(); ++i) {
      const Row& row = o_.rows[i];
      if (!row.banner && row.readable &&
          (StartsWith(row.Result(), "Verschoben") || StartsWith(row.Result(), "Kopiert") || StartsWith(row.Result(), "Gezippt"))) {
        lastWriter[row.TargetPath()] = i;
      }
    }
    for (size_t i = 0; i < o_.rows.size(); ++i) {
      const Row& row = o_.rows[i];
      if (row.banner) continue;
      if (!row.readable) {
        Add("row-unreadable", "a row does not have its 14 columns: " + Printable(row.raw));
        continue;
      }
      if (row.Result() == "Ordner entfernt" || row.Result() == "Ordner entfernen, simuliert") {
        EmptiedFolderRow(row);
        continue;
      }
      const std::string rel = RowSource(row);
      if (rel.empty()) continue;
      if (++rowsPerFile[rel] == 2) Add("row-duplicate", "more than one row names " + Printable(rel));
      const std::string& hash = o_.source0.at(rel).hash;
      const std::string& result = row.Result();
      const std::string target = row.TargetPath();
      const bool moving = row.cells[kAktion] == "Verschieben";
      const bool stillThere = SourceHolds(rel, hash);
      const Entry* atTarget = InTarget(target);
      const bool targetHolds = atTarget && atTarget->type == 'f' && atTarget->hash == hash;
      const bool lastAtTarget = lastWriter[target] == i;
      std::string wrong;
      if (StartsWith(result, "Verschoben") || StartsWith(result, "Kopiert")) {
        if (StartsWith(result, "Verschoben") && stillThere) wrong = "the source still holds it";
        if (StartsWith(result, "Kopiert") && !stillThere) wrong = "the source no longer holds it";
        if (!targetHolds && lastAtTarget) {
          wrong += std::string(wrong.empty() ? "" : "; ") + (InTarget(target) ? "the target file " : "there is no target file ") +
                   Printable(target) + (InTarget(target) ? " holds other bytes" : "");
        }
      } else if (StartsWith(result, "Gezippt")) {
        const auto named = o_.archives.find(row.cells[kZiel2]);
        const std::string archive = named != o_.archives.end() && named->second.readable ? named->first : std::string();
        if (moving && stillThere) wrong = "the source still holds it";
        if (!moving && !stillThere) wrong = "the source no longer holds it";
        if (!ArchiveHolds(hash, archive) && (plan_.collision != 0 || lastAtTarget)) {
          wrong += std::string(wrong.empty() ? "" : "; ") + "no archive in the target" + (archive.empty() ? "" : " (" + Printable(archive) + ")") +
                   " holds it";
        }
      } else if (StartsWith(result, "Gel\xc3\xb6scht P")) {
        if (stillThere) wrong = "the source still holds it";
        if (!TrashHolds(hash)) wrong += std::string(wrong.empty() ? "" : "; ") + "the trash does not hold it";
      } else if (StartsWith(result, "Gel\xc3\xb6scht") || StartsWith(result, kNameOnly)) {
        if (stillThere) wrong = "the source still holds it";
      } else if (StartsWith(result, "\xc3\x9c" "bersprungen") || StartsWith(result, "Fehler!") || StartsWith(result, "Benachrichtigt") || result == "benachrichtigt" ||
                 StartsWith(result, "Simuliert") || StartsWith(result, "simuliert")) {
        if (!stillThere) wrong = "the file is no longer there as it was";
      } else {
        wrong = "the result is none the harness knows";
      }
      if (!wrong.empty()) Add("row-mismatch", "the row of " + Printable(rel) + " says \"" + Printable(result) + "\", but " + wrong);
    }
    if (!plan_.duplicates) {
      for (const std::string& rel : o_.selected) {
        if (!rowsPerFile.count(rel)) Add("row-missing", "the selected file " + Printable(rel) + " got no row");
      }
    } else if (!o_.disturbed && !plan_.watch) {
      // A watch sees the world arrive in pieces, each run only its piece's copies. Otherwise,
      // of each group of copies, every file but one (the kept copy) got a row, and the kept
      // one never did.
      std::map<std::string, std::vector<std::string>> groups;
      for (const std::string& rel : o_.selected) groups[o_.source0.at(rel).hash].push_back(rel);
      for (const auto& [hash, members] : groups) {
        std::set<std::pair<dev_t, ino_t>> files, rowless;
        for (const std::string& rel : members) {
          const Entry& e = o_.source0.at(rel);
          files.insert({e.device, e.inode});
          if (!rowsPerFile.count(rel)) rowless.insert({e.device, e.inode});
        }
        if (rowless.size() != 1) {
          Add(rowless.empty() ? "row-duplicate" : "row-missing",
              "of the " + std::to_string(files.size()) + " copies of " + Printable(members.front()) + ", " +
                  std::to_string(rowless.size()) + " got no row; exactly one (the kept copy) should not");
        }
      }
    }
  }

  bool KnownContent(const Entry& e) const {
    if (known_.count(e.hash)) return true;
    // A copy taken while the mutator changed a file is a true picture of some moment.
    return o_.disturbed && !e.origin.empty() && mutatedOrigins_.count(e.origin);
  }

  void Litter() {
    std::set<std::string> rowTargets;
    bool zipped = false;
    for (const Row& row : o_.rows) {
      if (row.banner || !row.readable) continue;
      if (StartsWith(row.Result(), "Verschoben") || StartsWith(row.Result(), "Kopiert")) rowTargets.insert(row.TargetPath());
      if (StartsWith(row.Result(), "Gezippt")) zipped = true;
    }
    for (const Tree* tree : {&o_.source1, &o_.target1}) {
      for (const auto& [rel, e] : *tree) {
        if (IsTemporary(rel)) Add("litter", "a temporary " + std::string(TypeName(e.type)) + " is left: " + Printable(rel));
      }
    }
    for (const auto& [rel, e] : o_.target1) {
      if (IsTemporary(rel)) continue;
      const auto before = o_.target0.find(rel);
      const bool isNew = before == o_.target0.end() || before->second.type != e.type || before->second.hash != e.hash;
      if (!isNew) continue;
      const std::string path = world_.target + "/" + rel;
      if (e.type == 'd') {
        Add("litter", "a new folder in the target: " + Printable(rel));
        continue;
      }
      if (e.type == 'l') continue;  // reported as exposure
      if (e.type != 'f') {
        Add("litter", std::string("a new ") + TypeName(e.type) + " in the target: " + Printable(rel));
        continue;
      }
      const auto archive = o_.archives.find(path);
      if (archive != o_.archives.end() && !KnownContent(e) && (archive->second.readable || LooksLikeArchiveName(rel))) {
        if (!archive->second.readable) {
          Add("litter", "the archive " + Printable(rel) + " cannot be read (" + archive->second.problem + ")");
        } else if (!o_.disturbed && !zipped) {
          Add("litter", "the archive " + Printable(rel) + " is named by no row");
        } else {
          for (const ArchiveEntry& entry : archive->second.entries) {
            if (!known_.count(entry.hash) && !entry.outside) {  // outside bytes are an exposure, told above
              Add("litter", "the archive " + Printable(rel) + " holds an entry with unknown bytes: " + Printable(entry.name));
              break;
            }
          }
        }
        continue;
      }
      if (e.outside) continue;  // reported as exposure
      if (!KnownContent(e)) {
        Add("litter", "the target file " + Printable(rel) + " (" + std::to_string(e.size) + " bytes" +
                          (e.origin.empty() ? "" : ", begins like " + Printable(e.origin)) + ") holds no content the source had");
      } else if (!o_.disturbed && !rowTargets.count(path)) {
        Add("litter", "the target file " + Printable(rel) + " is named by no row");
      }
    }
    for (const auto& [rel, e] : o_.source1) {
      if (IsTemporary(rel) || o_.source0.count(rel) || swapped_.count(rel)) continue;
      Add("litter", std::string("a new ") + TypeName(e.type) + " in the source: " + Printable(rel));
    }
  }

  // A move leaves each content as often as it was there before; more copies mean the user
  // now has files twice without having asked for it.
  void Multiplied() {
    if (!Moves(plan_)) return;
    std::map<std::string, int> before;
    std::map<std::string, std::string> nameOf;
    for (const auto& [rel, e] : o_.source0) {
      if (e.type != 'f') continue;
      ++before[e.hash];
      nameOf.emplace(e.hash, rel);
    }
    for (const Tree* tree : {&o_.target0, &o_.bystanders0}) {
      for (const auto& [rel, e] : *tree) {
        if (e.type == 'f') ++before[e.hash];
      }
    }
    for (const auto& [hash, count] : before) {
      const auto it = found_.find(hash);
      const auto name = nameOf.find(hash);
      if (name == nameOf.end() || it == found_.end() || it->second <= count) continue;
      Add("multiplied", "the content of " + Printable(name->second) + " exists " + std::to_string(it->second) + " times after a move (" +
                            std::to_string(count) + " before)");
    }
  }

  const Observation& o_;
  const Plan& plan_;
  const World& world_;
  std::vector<Violation> violations_;
  std::map<std::string, int> found_;
  std::set<std::string> known_;
  std::set<std::string> mutatedOrigins_;
  std::set<std::string> swapped_;
  std::set<std::string> selected_;
};

}  // namespace

std::vector<std::string> DuplicateCandidates(const Tree& source, bool subfolders) {
  std::map<std::string, std::set<std::pair<dev_t, ino_t>>> filesOf;
  auto inReach = [&](const std::string& rel, const Entry& e) {
    return e.type == 'f' && e.size > 0 && (subfolders || rel.find('/') == std::string::npos);
  };
  for (const auto& [rel, e] : source) {
    if (inReach(rel, e)) filesOf[e.hash].insert({e.device, e.inode});
  }
  std::vector<std::string> candidates;
  for (const auto& [rel, e] : source) {
    if (inReach(rel, e) && filesOf[e.hash].size() > 1) candidates.push_back(rel);
  }
  return candidates;
}

std::vector<Violation> Check(const Observation& o) { return Checker(o).Run(); }

}  // namespace conservation
