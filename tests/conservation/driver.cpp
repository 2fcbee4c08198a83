#include "conservation/driver.h"

#include <dirent.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <sstream>
#include <thread>
#include <set>
#include <vector>

extern char** environ;

namespace conservation {

using Clock = std::chrono::steady_clock;

//--- Plans

Plan DrawPlan(std::uint64_t seed, const Ratios& ratios) {
  Random r(seed ^ 0x5851F42D4C957F2Dull);
  Plan p;
  p.seed = seed;
  const int a = r.Below(100);
  if (a < 18) {
    p.action = Action::kMove;
  } else if (a < 30) {
    p.action = Action::kCopy;
  } else if (a < 38) {
    p.action = Action::kMove, p.zip = 1;
  } else if (a < 44) {
    p.action = Action::kCopy, p.zip = 1;
  } else if (a < 52) {
    p.action = Action::kMove, p.zip = 2;
  } else if (a < 58) {
    p.action = Action::kCopy, p.zip = 2;
  } else if (a < 68) {
    p.action = Action::kRecycle;
  } else if (a < 77) {
    p.action = Action::kDelete;
  } else if (a < 91) {
    p.action = Action::kShred;
  } else {
    p.action = Action::kNotify;
  }
  p.collision = r.Below(3);
  p.identical = r.Chance(0.5);
  p.subfolders = r.Chance(0.7);
  const int t = r.Below(100);
  p.target = t < 45 ? TargetPlace::kBeside : t < 55 ? TargetPlace::kMissing : t < 75 ? TargetPlace::kInsideSource : TargetPlace::kOtherVolume;
  // An action without a target has no target folder to leave out of the scan: a folder
  // named like it inside the source is just part of the source.
  if (p.target == TargetPlace::kInsideSource && p.action != Action::kMove && p.action != Action::kCopy) p.target = TargetPlace::kBeside;
  p.killAt = r.Unit();
  // Drawn last, so that other ratios change only the disturbance, not the rest of the plan.
  const double u = r.Unit();
  if (u < ratios.kills) {
    p.disturbance = Disturbance::kKill;
  } else if (u < ratios.kills + ratios.twins) {
    p.disturbance = Disturbance::kTwin;
  } else if (u < ratios.kills + ratios.twins + ratios.mutators) {
    p.disturbance = Disturbance::kMutator;
  }
  // After the disturbance, so that the rest of a seed's plan stays as it was.
  p.undo = r.Chance(0.4);
  if (r.Chance(0.3)) p.undoKillAt = r.Unit();
  // Watching takes its settling time (seconds), so few scenarios do; the target may not lie in
  // the source that arrives.
  p.watch = p.disturbance == Disturbance::kNone && p.target != TargetPlace::kInsideSource && r.Chance(0.08);
  p.removeEmptied = r.Chance(0.3);
  p.duplicates = r.Chance(0.25);
  static const char* const kNewNames[] = {"Bild", "%Nr*00%", "%Name%", "%Ge\xc3\xa4ndert*yyyy-mm-dd% %Name%",
                                          "a:b*%Name%", " . "};
  if ((p.action == Action::kMove || p.action == Action::kCopy) && r.Chance(0.25)) p.newName = kNewNames[r.Below(6)];
  return p;
}

bool Deletes(Action action) { return action == Action::kDelete || action == Action::kShred; }

bool Moves(const Plan& plan) { return plan.action == Action::kMove || plan.action == Action::kRecycle; }

namespace {

const char* ActionWord(Action a) {
  switch (a) {
    case Action::kMove:
      return "Verschieben";
    case Action::kCopy:
      return "Kopieren";
    case Action::kRecycle:
      return "L\xc3\xb6schenP";
    case Action::kDelete:
      return "L\xc3\xb6schenX";
    case Action::kShred:
      return "L\xc3\xb6schenS";
    case Action::kNotify:
      return "Benachrichtigen";
  }
  return "";
}

}  // namespace

std::string Describe(const Plan& p) {
  static const char* const kActions[] = {"move", "copy", "recycle", "delete", "shred", "notify"};
  static const char* const kZips[] = {"", ", one archive per file", ", one archive per run"};
  static const char* const kCollisions[] = {"overwrite", "number", "skip"};
  static const char* const kTargets[] = {"beside the source", "not yet there", "inside the source", "on another volume"};
  std::string text = std::string(kActions[static_cast<int>(p.action)]) + kZips[p.zip] + ", collision " + std::to_string(p.collision) + " (" +
                     kCollisions[p.collision] + "), identical " + (p.identical ? "on" : "off") + ", " +
                     (p.subfolders ? "with subfolders" : "top folder only") + (p.removeEmptied ? ", emptied folders removed" : "") +
                     (p.duplicates ? ", duplicates only" : "") + (p.newName.empty() ? "" : ", new name \"" + p.newName + "\"") +
                     ", target " + kTargets[static_cast<int>(p.target)] + ", ";
  switch (p.disturbance) {
    case Disturbance::kNone:
      text += "undisturbed";
      break;
    case Disturbance::kMutator:
      text += "a mutator changes files during the run";
      break;
    case Disturbance::kTwin:
      text += "a second process runs the same profile";
      break;
    case Disturbance::kKill: {
      char share[32];
      std::snprintf(share, sizeof share, "%.2f", p.killAt);
      text += std::string("killed at ") + share + " of a usual run, then run again";
      break;
    }
  }
  if (p.watch) text += ", run by a watch as the files arrive";
  if (p.undo && !Deletes(p.action) && p.disturbance != Disturbance::kMutator) {
    text += p.undoKillAt >= 0 ? ", then undone (the first undo killed half-way)" : ", then undone";
  }
  return text;
}

namespace {

//--- The profile, as the Windows program writes it: UTF-16LE with a byte order mark

std::string Utf16(const std::string& utf8) {
  std::string out = "\xff\xfe";
  auto put = [&out](unsigned unit) {
    out += static_cast<char>(unit & 0xff);
    out += static_cast<char>(unit >> 8);
  };
  for (size_t i = 0; i < utf8.size();) {
    const auto c = static_cast<unsigned char>(utf8[i]);
    unsigned code = c;
    size_t length = 1;
    if (c >= 0xf0) {
      code = c & 0x07, length = 4;
    } else if (c >= 0xe0) {
      code = c & 0x0f, length = 3;
    } else if (c >= 0xc0) {
      code = c & 0x1f, length = 2;
    }
    for (size_t k = 1; k < length && i + k < utf8.size(); ++k) code = code << 6 | (static_cast<unsigned char>(utf8[i + k]) & 0x3f);
    i += length;
    if (code >= 0x10000) {
      code -= 0x10000;
      put(0xd800 + (code >> 10));
      put(0xdc00 + (code & 0x3ff));
    } else {
      put(code);
    }
  }
  return out;
}

bool WriteProfile(const Plan& p, const World& w) {
  const std::string ini = "[Konservierung]\r\nQuelle=" + w.source + "\r\nUnterverzeich=" + (p.subfolders ? "1" : "0") +
                          "\r\nFilter=Alles\r\nAktion=" + ActionWord(p.action) + "\r\nZiel=" + w.target +
                          "\r\nKollision=" + std::to_string(p.collision) + "\r\nZippen=" + std::to_string(p.zip) +
                          "\r\nZipName=Archiv\r\nIdentisch=" + (p.identical ? "1" : "0") + "\r\nCase=0\r\n" +
                          (p.watch ? "Ueberwachen=1\r\n" : "") + (p.removeEmptied ? "LeereOrdner=1\r\n" : "") +
                          (p.duplicates ? "Duplikate=1\r\n" : "") +
                          (p.newName.empty() ? "" : "Zielname=" + p.newName + "\r\n");
  const std::string bytes = Utf16(ini);
  FILE* f = std::fopen((w.run + "/profile.ini").c_str(), "wb");
  if (!f) return false;
  const bool ok = std::fwrite(bytes.data(), 1, bytes.size(), f) == bytes.size();
  return std::fclose(f) == 0 && ok;
}

//--- Children

// The environment of a run: the scenario's HOME and trash, and sanitizers that report with an
// exit code of their own (their default, 1, is also the program's "a row says Fehler!").
std::vector<std::string> RunEnvironment(const World& w) {
  std::vector<std::string> env;
  std::string asan, ubsan;
  for (char** e = environ; *e; ++e) {
    const std::string v = *e;
    if (StartsWith(v, "HOME=") || StartsWith(v, "XDG_DATA_HOME=") || StartsWith(v, "XDG_CONFIG_HOME=") || StartsWith(v, "APPDATA=") ||
        StartsWith(v, "TMPDIR="))
      continue;
    if (StartsWith(v, "ASAN_OPTIONS=")) {
      asan = v.substr(13) + ":";
      continue;
    }
    if (StartsWith(v, "UBSAN_OPTIONS=")) {
      ubsan = v.substr(14) + ":";
      continue;
    }
    env.push_back(v);
  }
  env.push_back("HOME=" + w.home);
  env.push_back("XDG_DATA_HOME=" + w.dataHome);
  env.push_back("TMPDIR=" + w.run + "/tmp");
  env.push_back("ASAN_OPTIONS=" + asan + "exitcode=86");
  env.push_back("UBSAN_OPTIONS=" + ubsan + "exitcode=86:print_stacktrace=1");
  return env;
}

struct Child {
  pid_t pid = -1;
  RunOutcome* outcome = nullptr;
  Clock::time_point start;
  double killAfter = -1;  // seconds, or never
  bool done = false;
};

Child Spawn(const std::vector<std::string>& argv, const std::vector<std::string>& env, RunOutcome* outcome) {
  std::vector<char*> args, envp;
  for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
  args.push_back(nullptr);
  for (const std::string& e : env) envp.push_back(const_cast<char*>(e.c_str()));
  envp.push_back(nullptr);
  Child child;
  child.outcome = outcome;
  child.start = Clock::now();
  child.pid = ::fork();
  if (child.pid == 0) {
    // Only async-signal-safe calls from here on: a mutator thread may run in the parent.
    const int in = ::open("/dev/null", O_RDONLY);
    const int out = ::open(outcome->tsv.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int err = ::open(outcome->err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (in < 0 || out < 0 || err < 0) ::_exit(127);
    ::dup2(in, 0);
    ::dup2(out, 1);
    ::dup2(err, 2);
    ::execve(args[0], args.data(), envp.data());
    ::_exit(127);
  }
  return child;
}

// Waits for every child: kills one whose killAfter has come, and one that outlives the time
// limit (a hang). `running` turns false when all have ended.
void WaitAll(std::vector<Child>& children, double timeout, std::atomic<bool>* running) {
  for (;;) {
    bool any = false;
    for (Child& c : children) {
      if (c.done) continue;
      int status = 0;
      const pid_t got = ::waitpid(c.pid, &status, WNOHANG);
      const double elapsed = std::chrono::duration<double>(Clock::now() - c.start).count();
      if (got == c.pid) {
        c.done = true;
        RunOutcome& o = *c.outcome;
        o.seconds = elapsed;
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL && (o.killed || o.hung)) continue;
        o.killed = false;  // ended by itself before the kill came
        o.hung = false;
        o.finished = true;
        o.status = WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
        continue;
      }
      any = true;
      if (c.killAfter >= 0 && elapsed >= c.killAfter && !c.outcome->killed) {
        c.outcome->killed = true;
        ::kill(c.pid, SIGKILL);
      } else if (elapsed >= timeout && !c.outcome->hung && !c.outcome->killed) {
        c.outcome->hung = true;
        ::kill(c.pid, SIGKILL);
      }
    }
    if (!any) break;
    std::this_thread::sleep_for(std::chrono::microseconds(300));
  }
  if (running) running->store(false);
}

//--- The mutator: another program changing the source while the run works

class Mutator {
 public:
  Mutator(const World& w, std::uint64_t seed, double window) : world_(w), random_(seed ^ 0xA0761D6478BD642Full), window_(window) {
    for (const std::string& rel : w.victims) {
      Victim v;
      v.record.path = rel;
      const bool large = rel.find("gross-") != std::string::npos;
      const int roll = random_.Below(100);
      v.kind = large ? (roll < 70 ? 0 : roll < 80 ? 1 : roll < 90 ? 2 : 3) : (roll < 35 ? 0 : roll < 50 ? 1 : roll < 75 ? 2 : 3);
      const size_t index = victims_.size();
      if (v.kind == 0) {
        double at = random_.Unit() * 0.5;
        const int appends = 2 + random_.Below(4);
        for (int i = 0; i < appends; ++i, at += 0.05 + random_.Unit() * 0.2) ops_.push_back({at, index});
      } else {
        ops_.push_back({0.02 + random_.Unit() * 0.88, index});
      }
      victims_.push_back(std::move(v));
    }
    std::sort(ops_.begin(), ops_.end(), [](const Op& a, const Op& b) { return a.at < b.at; });
  }

  void Start(const std::atomic<bool>* running) {
    running_ = running;
    thread_ = std::thread([this] { Work(); });
  }

  // After the run: what every touched file finally holds.
  std::vector<Mutation> Finish() {
    if (thread_.joinable()) thread_.join();
    std::vector<Mutation> result;
    for (Victim& v : victims_) {
      if (v.fd >= 0) {
        const std::string bytes = ReadFd(v.fd);
        v.record.finalHash = Sha256(bytes);
        v.record.seen.insert(v.record.finalHash);
        v.record.definite = v.definite;
        ::close(v.fd);
        v.fd = -1;
      }
      if (v.changed) result.push_back(v.record);
    }
    return result;
  }

  int landed() const { return landed_; }

 private:
  struct Op {
    double at;  // share of the window
    size_t victim;
  };
  struct Victim {
    int kind = 0;  // 0 grow, 1 shrink, 2 vanish, 3 become a link to a secret
    Mutation record;
    int fd = -1;   // the file that grew or shrank, kept open to read what it ends with
    dev_t device = 0;
    ino_t inode = 0;
    bool definite = true;
    bool changed = false;
    int appends = 0;
  };

  static std::string ReadFd(int fd) {
    std::string bytes;
    char buffer[65536];
    off_t at = 0;
    for (;;) {
      const ssize_t n = ::pread(fd, buffer, sizeof buffer, at);
      if (n <= 0) break;
      bytes.append(buffer, static_cast<size_t>(n));
      at += n;
    }
    return bytes;
  }

  void Work() {
    const Clock::time_point start = Clock::now();
    for (const Op& op : ops_) {
      const auto due = start + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(op.at * window_));
      while (Clock::now() < due && running_->load()) std::this_thread::sleep_for(std::chrono::microseconds(200));
      if (!running_->load()) return;
      if (Apply(victims_[op.victim])) ++landed_;
    }
  }

  // Opens the victim for a change in place; the same file as before, or none.
  int OpenVictim(Victim& v, int flags) {
    const std::string path = world_.source + "/" + v.record.path;
    const int fd = ::open(path.c_str(), flags | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0) return -1;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode) || (v.fd >= 0 && (st.st_dev != v.device || st.st_ino != v.inode))) {
      ::close(fd);
      return -1;
    }
    v.device = st.st_dev;
    v.inode = st.st_ino;
    return fd;
  }

  // The change counts only when the file still had a name a moment after it: a change to a
  // file that the run had already finished with and was unlinking is no fault of the run.
  void Settle(Victim& v, int fd) {
    v.record.seen.insert(Sha256(ReadFd(fd)));
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    struct stat st {};
    if (::fstat(fd, &st) != 0 || st.st_nlink == 0) v.definite = false;
    v.changed = true;
    v.record.supersedes = true;
    if (v.fd < 0) {
      v.fd = fd;
    } else {
      ::close(fd);
    }
  }

  bool Apply(Victim& v) {
    const std::string path = world_.source + "/" + v.record.path;
    switch (v.kind) {
      case 0: {
        const int fd = OpenVictim(v, O_RDWR | O_APPEND);
        if (fd < 0) return false;
        std::string chunk = "ablagix-conservation grow " + std::to_string(random_.Next()) + "\n";
        chunk.resize(4096 + static_cast<size_t>(random_.Below(60000)), 'g');
        for (size_t i = chunk.find('\n') + 1; i < chunk.size(); ++i) chunk[i] = static_cast<char>(random_.Next() & 0xff);
        if (::write(fd, chunk.data(), chunk.size()) != static_cast<ssize_t>(chunk.size())) v.definite = false;
        ++v.appends;
        v.record.what = "appended to it " + std::to_string(v.appends) + " times";
        Settle(v, fd);
        return true;
      }
      case 1: {
        const int fd = OpenVictim(v, O_RDWR);
        if (fd < 0) return false;
        struct stat st {};
        ::fstat(fd, &st);
        if (::ftruncate(fd, st.st_size / 2) != 0) v.definite = false;
        v.record.what = "cut it to half its size";
        Settle(v, fd);
        return true;
      }
      case 2: {
        const std::string stash = world_.stash + "/verschwunden-" + std::to_string(stashed_++);
        if (::rename(path.c_str(), stash.c_str()) != 0) return false;
        v.record.what = "moved it away";
        v.changed = true;
        return true;
      }
      default: {
        const std::string stash = world_.stash + "/ersetzt-" + std::to_string(stashed_++);
        if (::rename(path.c_str(), stash.c_str()) != 0) return false;
        const std::string& secret = world_.secrets[static_cast<size_t>(random_.Below(static_cast<int>(world_.secrets.size())))];
        v.changed = true;
        v.record.what = "moved it away";
        if (::symlink(secret.c_str(), path.c_str()) == 0) {
          v.record.what = "replaced it by a link to " + Printable(secret);
          v.record.swapped = true;
        }
        return true;
      }
    }
  }

  const World& world_;
  Random random_;
  double window_;
  std::vector<Op> ops_;
  std::vector<Victim> victims_;
  const std::atomic<bool>* running_ = nullptr;
  std::thread thread_;
  int landed_ = 0;
  int stashed_ = 0;
};

std::vector<std::string> Selected(const Tree& source, bool subfolders) {
  std::vector<std::string> selected;
  for (const auto& [rel, e] : source) {
    if (e.type == 'f' && (subfolders || rel.find('/') == std::string::npos)) selected.push_back(rel);
  }
  return selected;
}

std::string DescribeRun(const RunOutcome& r);

// The source's entries go aside, a watch starts on the empty source, and the entries move
// back in one by one: the watch's run must do to them what a run by hand would have done.
template <typename Tell>
void WatchArrivals(const Options& options, const World& world, const std::vector<std::string>& env,
                   std::vector<RunOutcome>* runs, RunOutcome watch, Stats* stats, Tell tell) {
  const std::string staging = world.run + "/anreise";
  std::vector<std::string> names;
  if (::rename(world.source.c_str(), staging.c_str()) != 0 || !MakeFolders(world.source)) {
    tell("  the source could not be put aside");
    return;
  }
  if (DIR* dir = ::opendir(staging.c_str())) {
    while (const dirent* e = ::readdir(dir)) {
      if (std::string(e->d_name) != "." && std::string(e->d_name) != "..") names.push_back(e->d_name);
    }
    ::closedir(dir);
  }
  runs->push_back(std::move(watch));
  RunOutcome& w = runs->back();
  std::vector<Child> c = {Spawn({options.cli, "--profiles", world.run + "/profile.ini", "--config-dir", world.run + "/config",
                                 "--ja", "watch", "--all", "--runs", "1", "--format", "tsv"},
                                env, &w)};
  // Time for the watch to set itself up; then the files arrive.
  std::this_thread::sleep_for(std::chrono::milliseconds(400));
  for (const std::string& name : names) {
    if (::rename((staging + "/" + name).c_str(), (world.source + "/" + name).c_str()) != 0) tell("  could not move in " + Printable(name));
  }
  ++stats->watches;
  WaitAll(c, options.timeout + 10, nullptr);
}

// The number of journals the runs of a scenario left.
int CountJournals(const std::string& folder) {
  int n = 0;
  if (DIR* dir = ::opendir(folder.c_str())) {
    while (const dirent* e = ::readdir(dir)) n += StartsWith(e->d_name, "Lauf-") && EndsWith(e->d_name, ".txt") ? 1 : 0;
    ::closedir(dir);
  }
  return n;
}

// Files, links and other entries of a tree by path, with what they hold; folders apart.
std::map<std::string, std::string> Contents(const Tree& tree, std::set<std::string>* folders) {
  std::map<std::string, std::string> contents;
  for (const auto& [rel, e] : tree) {
    if (e.type == 'd') {
      folders->insert(rel);
    } else {
      contents[rel] = std::string(1, e.type) + e.hash + e.link;
    }
  }
  return contents;
}

// Undoes every run of the scenario, newest first, and checks that the source and the target
// are as before the runs: every file back under its name with its bytes, nothing the runs
// made left (an archive that was there before may keep what was added to it, and a file
// "immer überschreiben" replaced stays lost, as its rows said), no folder the runs made left
// behind, nobody else's file touched.
template <typename Tell>
void UndoEverything(const Options& options, const Plan& plan, const World& world, const Observation& o,
                    const std::vector<std::string>& env, Pace* pace, Stats* stats, Tell tell, std::vector<Violation>* violations) {
  const int journals = CountJournals(world.run + "/config/Journal");
  ++stats->undos;
  for (int n = 1; n <= journals; ++n) {
    const std::vector<std::string> command = {options.cli, "--profiles", world.run + "/profile.ini", "--config-dir",
                                              world.run + "/config", "--ja", "undo", std::to_string(n), "--format", "tsv"};
    for (int attempt = 0; attempt < 2; ++attempt) {
      RunOutcome u;
      u.label = "undo " + std::to_string(n);
      u.tsv = world.run + "/undo" + std::to_string(n) + "-" + std::to_string(attempt) + ".tsv";
      u.err = world.run + "/undo" + std::to_string(n) + "-" + std::to_string(attempt) + ".err";
      std::vector<Child> c = {Spawn(command, env, &u)};
      const bool kill = n == 1 && attempt == 0 && plan.undoKillAt >= 0;
      if (kill) c[0].killAfter = plan.undoKillAt * pace->run;
      WaitAll(c, options.timeout, nullptr);
      tell("  " + DescribeRun(u));
      if (u.hung) {
        ++stats->hangs;
        violations->push_back({"hang", u.label + " did not end"});
        return;
      }
      if (u.killed) {
        ++stats->undoKills;
        continue;  // and once more, to its end
      }
      std::string err;
      ReadFile(u.err, &err);
      // "Fehler!" rows are allowed only for what cannot come back; a crash is not.
      if (!u.finished || u.status > 1) {
        violations->push_back({"crash", u.label + " ended with " + std::to_string(u.status) + ": " + Printable(err.substr(0, 300))});
        return;
      }
      break;
    }
  }
  const std::vector<std::string> notSource = {world.target};
  const std::vector<std::string> notBystanders = {world.source, world.target, world.dataHome, world.stash, world.run};
  std::set<std::string> sourceFolders0, sourceFolders2, targetFolders0, targetFolders2;
  const auto source0 = Contents(o.source0, &sourceFolders0);
  const auto source2 = Contents(Snapshot(world.source, notSource), &sourceFolders2);
  const auto target0 = Contents(o.target0, &targetFolders0);
  const auto target2 = Contents(Snapshot(world.target), &targetFolders2);
  auto differ = [&](const char* kind, const std::string& what) { violations->push_back({kind, what}); };
  // With "immer überschreiben", of two selected files with one name the later one replaced the
  // earlier at the target, as the run's rows said: that one cannot come back.
  std::map<std::string, int> names;
  for (const std::string& rel : o.selected) ++names[rel.substr(rel.rfind('/') + 1)];
  for (const auto& [rel, content] : source0) {
    auto now = source2.find(rel);
    // A "Zielname" template can give any two files one name.
    const bool mayShareName = !plan.newName.empty() || names[rel.substr(rel.rfind('/') + 1)] > 1;
    if (now == source2.end() && plan.collision == 0 && mayShareName) continue;
    if (now == source2.end()) {
      differ("undo-missing", "the undo did not bring back " + Printable(rel));
    } else if (now->second != content) {
      differ("undo-changed", Printable(rel) + " came back with other contents");
    }
  }
  for (const auto& [rel, content] : source2) {
    if (!source0.count(rel)) differ("undo-extra", "after the undo the source holds " + Printable(rel) + ", which was not there");
  }
  for (const std::string& folder : sourceFolders0) {
    if (!sourceFolders2.count(folder)) differ("undo-missing", "the source folder " + Printable(folder) + " is gone");
  }
  // An archive that a later run added to stays after the undo (the undo of that run finds it
  // was there before, the undo of the first that it changed since): allowed while it holds
  // nothing but copies of what is back in the source.
  std::set<std::string> sourceHashes;
  for (const auto& [rel, content] : source2) sourceHashes.insert(content.substr(1));
  std::vector<std::string> leftArchives;
  for (const auto& [rel, content] : target2) {
    if (!target0.count(rel) && LooksLikeArchiveName(rel)) leftArchives.push_back(world.target + "/" + rel);
  }
  const std::map<std::string, Archive> listed = ListArchives(leftArchives, world.run);
  auto onlyCopies = [&](const std::string& rel) {
    auto it = listed.find(world.target + "/" + rel);
    if (it == listed.end() || !it->second.readable) return false;
    return std::all_of(it->second.entries.begin(), it->second.entries.end(),
                       [&](const ArchiveEntry& e) { return sourceHashes.count(e.hash) > 0; });
  };
  for (const auto& [rel, content] : target2) {
    auto before = target0.find(rel);
    const bool keptArchive = LooksLikeArchiveName(rel) && (before != target0.end() || onlyCopies(rel));
    if (before == target0.end() ? !keptArchive : before->second != content && !keptArchive) {
      differ("undo-left", "after the undo the target holds " + Printable(rel));
    }
  }
  if (plan.collision != 0) {
    for (const auto& [rel, content] : target0) {
      if (!target2.count(rel)) differ("undo-lost", "the target's own file " + Printable(rel) + " is gone");
    }
  }
  for (const std::string& folder : targetFolders2) {
    if (!targetFolders0.count(folder)) differ("undo-left", "the undo left the folder " + Printable(folder) + " its run made");
  }
  const Tree bystanders2 = Snapshot(world.root, notBystanders);
  for (const auto& [rel, e] : o.bystanders0) {
    auto now = bystanders2.find(rel);
    if (now == bystanders2.end() || now->second.hash != e.hash) differ("bystander", "the undo touched " + Printable(rel));
  }
}

std::string DescribeRun(const RunOutcome& r) {
  char seconds[32];
  std::snprintf(seconds, sizeof seconds, "%.3f s", r.seconds);
  std::string state = r.hung ? "hung, killed" : r.killed ? "killed" : "exit " + std::to_string(r.status);
  return r.label + ": " + state + " after " + seconds;
}

}  // namespace

std::string ReplayCommands(const Options& o, std::uint64_t seed) {
  std::string ratios;
  const Ratios standard;
  char text[64];
  if (o.ratios.kills != standard.kills) std::snprintf(text, sizeof text, " --kills %g", o.ratios.kills), ratios += text;
  if (o.ratios.twins != standard.twins) std::snprintf(text, sizeof text, " --twins %g", o.ratios.twins), ratios += text;
  if (o.ratios.mutators != standard.mutators) std::snprintf(text, sizeof text, " --mutators %g", o.ratios.mutators), ratios += text;
  return "  replay: tools/soak --replay " + std::to_string(seed) + ratios + " --cli " + o.cli + "\n      or: " + o.self + " --cli " +
         o.cli + " --work " + o.work + " --replay " + std::to_string(seed) + ratios + "\n";
}

void RunScenario(const Options& options, std::uint64_t seed, Pace* pace, Stats* stats, std::string* report) {
  const Clock::time_point began = Clock::now();
  const Plan plan = DrawPlan(seed, options.ratios);
  const std::string root = options.work + "/s" + std::to_string(seed);
  const std::string other = options.otherVolume.empty() ? std::string() : options.otherVolume + "/s" + std::to_string(seed);
  RemoveTree(root);
  if (!other.empty()) RemoveTree(other);
  std::string story;
  auto tell = [&](const std::string& line) {
    if (options.verbose) story += line + "\n";
  };
  tell("scenario " + std::to_string(seed) + ": " + Describe(plan));

  World world;
  std::string error;
  Observation o;
  std::vector<Violation> violations;
  if (!BuildWorld(plan, root, plan.target == TargetPlace::kOtherVolume ? other : std::string(), &world, &error) ||
      !MakeFolders(world.run + "/tmp") || !WriteProfile(plan, world)) {
    violations.push_back({"harness", "the world could not be made: " + (error.empty() ? std::string("profile or folders") : error)});
  } else {
    tell("  world: " + root + (world.otherVolumeRoot.empty() ? "" : " and " + world.otherVolumeRoot) + ", " + std::to_string(world.files) +
         " files in the source, target " + world.target);
    o.plan = &plan;
    o.world = &world;
    const std::vector<std::string> notSource = {world.target};
    o.source0 = Snapshot(world.source, notSource);
    o.target0 = Snapshot(world.target);
    const std::vector<std::string> notBystanders = {world.source, world.target, world.dataHome, world.stash, world.run};
    o.bystanders0 = Snapshot(world.root, notBystanders);
    o.selected = plan.duplicates ? DuplicateCandidates(o.source0, plan.subfolders) : Selected(o.source0, plan.subfolders);

    const std::vector<std::string> env = RunEnvironment(world);
    auto command = [&]() {
      return std::vector<std::string>{options.cli, "--profiles", world.run + "/profile.ini", "--config-dir", world.run + "/config",
                                      "--ja",      "run",        "--all",     "--format",     "tsv"};
    };
    auto outcome = [&](const std::string& label) {
      RunOutcome r;
      r.label = label;
      const std::string n = std::to_string(o.runs.size() + 1);
      r.tsv = world.run + "/run" + n + ".tsv";
      r.err = world.run + "/run" + n + ".err";
      return r;
    };
    tell("  command: HOME=" + world.home + " XDG_DATA_HOME=" + world.dataHome + " " + options.cli + " --profiles " + world.run +
         "/profile.ini --config-dir " + world.run + "/config --ja run --all --format tsv");

    std::vector<RunOutcome> runs;
    std::vector<Mutation> mutations;
    switch (plan.disturbance) {
      case Disturbance::kNone: {
        if (plan.watch) {
          WatchArrivals(options, world, env, &runs, outcome("watch"), stats, tell);
          break;
        }
        runs.push_back(outcome("run"));
        std::vector<Child> c = {Spawn(command(), env, &runs[0])};
        WaitAll(c, options.timeout, nullptr);
        break;
      }
      case Disturbance::kMutator: {
        runs.push_back(outcome("run"));
        std::atomic<bool> running{true};
        Mutator mutator(world, seed, pace->run);
        std::vector<Child> c = {Spawn(command(), env, &runs[0])};
        mutator.Start(&running);
        WaitAll(c, options.timeout, &running);
        mutations = mutator.Finish();
        o.disturbed = mutator.landed() > 0;
        ++(o.disturbed ? stats->mutators : stats->mutatorsIdle);
        for (const Mutation& m : mutations) tell("  mutator: " + Printable(m.path) + ": " + m.what + (m.finalHash.empty() || m.definite ? "" : " (raced with an unlink)"));
        break;
      }
      case Disturbance::kTwin: {
        runs.push_back(outcome("run"));
        runs.push_back(outcome("second process"));
        runs[1].tsv = world.run + "/run2.tsv";
        runs[1].err = world.run + "/run2.err";
        std::vector<Child> c = {Spawn(command(), env, &runs[0])};
        Random r(seed ^ 0x2545F4914F6CDD1Dull);
        std::this_thread::sleep_for(std::chrono::duration<double>(r.Unit() * 0.3 * pace->run));
        c.push_back(Spawn(command(), env, &runs[1]));
        WaitAll(c, options.timeout, nullptr);
        o.disturbed = true;
        ++stats->twins;
        break;
      }
      case Disturbance::kKill: {
        runs.push_back(outcome("killed run"));
        std::vector<Child> c = {Spawn(command(), env, &runs[0])};
        c[0].killAfter = plan.killAt * pace->run;
        tell("  kill due after " + std::to_string(c[0].killAfter) + " s");
        WaitAll(c, options.timeout, nullptr);
        if (runs[0].killed) {
          ++stats->kills;
          o.disturbed = o.killed = true;
          runs.push_back(outcome("re-run"));
          runs[1].tsv = world.run + "/run2.tsv";
          runs[1].err = world.run + "/run2.err";
          std::vector<Child> again = {Spawn(command(), env, &runs[1])};
          WaitAll(again, options.timeout, nullptr);
        } else {
          ++stats->killsMissed;
          runs[0].label = "run (its kill came too late)";
        }
        break;
      }
    }
    if (!o.disturbed) ++stats->undisturbed;
    if (!o.disturbed && runs[0].finished) pace->Learn(runs[0].seconds);
    for (size_t i = 0; i < runs.size(); ++i) {
      tell("  " + DescribeRun(runs[i]));
      if (runs[i].hung) ++stats->hangs;
      for (Row& row : ReadRows(runs[i].tsv, static_cast<int>(i))) {
        if (options.verbose && !row.banner) {
          tell("    row: " + Printable(row.cells[kPfad]) + " | " + Printable(row.cells[kDatei]) + " | " + Printable(row.cells[kErgebnis]) +
               (row.cells[kZiel2].empty() ? "" : " | " + Printable(row.cells[kZiel2])));
        }
        o.rows.push_back(std::move(row));
      }
    }
    o.runs = runs;
    o.mutations = mutations;

    o.source1 = Snapshot(world.source, notSource);
    o.target1 = Snapshot(world.target);
    o.bystanders1 = Snapshot(world.root, notBystanders);
    o.trash1 = Snapshot(world.trash);
    o.stash1 = Snapshot(world.stash);
    // Every new file whose bytes are none the world had may be an archive, whatever its name.
    std::set<std::string> known;
    for (const Tree* tree : {&o.source0, &o.target0}) {
      for (const auto& [rel, e] : *tree) known.insert(e.hash);
    }
    for (const Mutation& m : o.mutations) known.insert(m.seen.begin(), m.seen.end());
    std::vector<std::string> archives;
    for (const auto& [tree, folder] : {std::pair{&o.target1, world.target}, std::pair{&o.source1, world.source}}) {
      for (const auto& [rel, e] : *tree) {
        if (e.type == 'f' && !known.count(e.hash)) archives.push_back(folder + "/" + rel);
      }
    }
    o.archives = ListArchives(archives, world.run);
    violations = Check(o);
    // A file deleted or shredded cannot come back, and a mutator's changes are no run's to undo.
    if (violations.empty() && plan.undo && !Deletes(plan.action) && plan.disturbance != Disturbance::kMutator) {
      UndoEverything(options, plan, world, o, env, pace, stats, tell, &violations);
    }
  }

  stats->scenarios += 1;
  stats->seconds += std::chrono::duration<double>(Clock::now() - began).count();
  if (!violations.empty()) {
    stats->failed += 1;
    stats->violations += static_cast<int>(violations.size());
    std::string text;
    size_t shown = 0;
    for (const Violation& v : violations) {
      if (!stats->kinds[v.kind]++) stats->firstSeed[v.kind] = seed;
      if (options.verbose || shown < 12) {
        text += "seed " + std::to_string(seed) + ": " + v.kind + ": " + v.text + "\n";
        ++shown;
      }
    }
    if (shown < violations.size()) text += "seed " + std::to_string(seed) + ": ... and " + std::to_string(violations.size() - shown) + " more\n";
    text += "  (" + Describe(plan) + ")\n" + ReplayCommands(options, seed);
    *report += options.verbose ? story + text : text;
  } else if (options.verbose) {
    *report += story + "no violations\n";
  }
  if (options.keep || options.verbose) {
    if (options.verbose) *report += "  folders kept: " + root + (other.empty() ? "" : " and " + other) + "\n";
  } else {
    RemoveTree(root);
    if (!other.empty()) RemoveTree(other);
  }
}

//--- Statistics across workers

void Stats::Add(const Stats& s) {
  scenarios += s.scenarios, failed += s.failed, violations += s.violations, kills += s.kills, killsMissed += s.killsMissed;
  twins += s.twins, mutators += s.mutators, mutatorsIdle += s.mutatorsIdle, undisturbed += s.undisturbed, hangs += s.hangs;
  undos += s.undos, undoKills += s.undoKills, watches += s.watches;
  seconds += s.seconds;
  for (const auto& [kind, n] : s.kinds) {
    const bool fresh = !kinds.count(kind);
    kinds[kind] += n;
    if (fresh || s.firstSeed.at(kind) < firstSeed[kind]) firstSeed[kind] = s.firstSeed.at(kind);
  }
}

std::string Stats::Serialize() const {
  std::ostringstream out;
  out << scenarios << ' ' << failed << ' ' << violations << ' ' << kills << ' ' << killsMissed << ' ' << twins << ' ' << mutators << ' '
      << mutatorsIdle << ' ' << undisturbed << ' ' << hangs << ' ' << undos << ' ' << undoKills << ' ' << watches << ' ' << seconds << '\n';
  for (const auto& [kind, n] : kinds) out << kind << ' ' << n << ' ' << firstSeed.at(kind) << '\n';
  return out.str();
}

Stats Stats::Parse(const std::string& text) {
  Stats s;
  std::istringstream in(text);
  in >> s.scenarios >> s.failed >> s.violations >> s.kills >> s.killsMissed >> s.twins >> s.mutators >> s.mutatorsIdle >> s.undisturbed >>
      s.hangs >> s.undos >> s.undoKills >> s.watches >> s.seconds;
  std::string kind;
  int n = 0;
  std::uint64_t seed = 0;
  while (in >> kind >> n >> seed) {
    s.kinds[kind] = n;
    s.firstSeed[kind] = seed;
  }
  return s;
}

}  // namespace conservation
