// The hostile world of a scenario: a source tree with names that mean something else on
// Windows or after a lossy conversion, links and FIFOs, a target with traps at the names the
// run will want, and the user's other files next to it that no run may touch.
//
//   root/home/              HOME; Documents/thesis.txt, .ssh/id_rsa and other bystanders
//   root/home/Quelle/       the source; "..\Documents\thesis.txt" seen as a Windows path
//                           from here is the bystander
//   root/home/Ziel/         the target (or Quelle/Ziel, or a folder on another volume)
//   root/home/.local/share/ XDG_DATA_HOME, the trash
//   root/stash/, root/run/  the mutator's stash; profile, settings and outputs
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

#include "conservation/harness.h"

namespace conservation {

const char kOutsideMarker[] = "ablagix-conservation outside ";

namespace {

struct SourceFile {
  std::string rel;
  std::string leaf;
  std::string content;
  bool large = false;
  bool linked = false;  // has a second name; a mutator writing to it would change that one too
};

class Maker {
 public:
  Maker(const Plan& plan, World* world) : plan_(plan), world_(*world), random_(plan.seed * 0x9E3779B97F4A7C15ull + 7) {}

  bool Build();
  std::string error;

 private:
  // Bytes that say where they come from in their first line and differ from every other
  // content of every scenario.
  std::string Content(const char* role, size_t size) {
    std::string bytes = "ablagix-conservation " + std::string(role) + " " + std::to_string(plan_.seed) + " " +
                        std::to_string(nextId_++) + "\n";
    if (size < bytes.size()) size = bytes.size();
    bytes.reserve(size);
    while (bytes.size() < size) {
      std::uint64_t x = random_.Next();
      for (int i = 0; i < 8 && bytes.size() < size; ++i, x >>= 8) bytes.push_back(static_cast<char>(x & 0xff));
    }
    return bytes;
  }
  size_t SomeSize() {
    const int kind = random_.Below(10);
    if (kind < 6) return 60 + static_cast<size_t>(random_.Below(4000));
    if (kind < 9) return 4000 + static_cast<size_t>(random_.Below(36000));
    return 40000 + static_cast<size_t>(random_.Below(160000));
  }
  bool Write(const std::string& path, const std::string& bytes, mode_t mode = 0644) {
    const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW, 0600);
    if (fd < 0) return Fail("cannot create " + Printable(path));
    size_t done = 0;
    while (done < bytes.size()) {
      const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
      if (n <= 0) {
        ::close(fd);
        return Fail("cannot write " + Printable(path));
      }
      done += static_cast<size_t>(n);
    }
    ::fchmod(fd, mode);
    ::close(fd);
    return true;
  }
  bool Folder(const std::string& path, mode_t mode = 0755) {
    if (!MakeFolders(path, mode)) return Fail("cannot make folder " + Printable(path));
    return true;
  }
  bool Fail(const std::string& why) {
    if (error.empty()) error = why;
    return false;
  }

  // A regular file in the source, `folder` relative to it ("" for the top).
  bool SourceFileAt(const std::string& folder, const std::string& leaf, size_t size = 0, bool large = false) {
    SourceFile f;
    f.rel = folder.empty() ? leaf : folder + "/" + leaf;
    f.leaf = leaf;
    f.content = Content("source", size ? size : SomeSize());
    f.large = large;
    if (!Write(Join(world_.source, f.rel), f.content, random_.Chance(0.1) ? 0444 : 0644)) return false;
    made_.push_back(std::move(f));
    return true;
  }
  bool Maybe(double p) { return random_.Chance(p); }

  bool Bystanders();
  bool SourceTree();
  bool TargetTraps();
  void ChooseVictims();

  const Plan& plan_;
  World& world_;
  Random random_;
  int nextId_ = 0;
  std::vector<SourceFile> made_;
  std::vector<std::string> readOnlyFolders_;
};

bool Maker::Bystanders() {
  const std::string& h = world_.home;
  if (!Folder(h + "/Documents") || !Folder(h + "/.ssh", 0700) || !Folder(h + "/Bilder") || !Folder(h + "/Sicherung") ||
      !Folder(h + "/Ablage-alt") || !Folder(world_.dataHome))
    return false;
  const std::string thesis = h + "/Documents/thesis.txt";
  const std::string key = h + "/.ssh/id_rsa";
  const std::string photo = h + "/Bilder/urlaub.jpg";
  if (!Write(thesis, Content("outside", 3000 + SomeSize())) || !Write(h + "/Documents/Notizen.txt", Content("outside", SomeSize())) ||
      !Write(key, Content("outside", 1700), 0600) || !Write(h + "/.ssh/authorized_keys", Content("outside", 400), 0600) ||
      !Write(photo, Content("outside", SomeSize())) || !Write(h + "/Ablage-alt/brief.txt", Content("outside", SomeSize())))
    return false;
  world_.secrets = {key, thesis, photo};
  return true;
}

bool Maker::SourceTree() {
  const std::string& s = world_.source;
  if (!Folder(s)) return false;
  const std::string L251(251, 'L');
  std::string utf8Long;
  for (int i = 0; i < 125; ++i) utf8Long += "\xc3\xa4";  // ä
  utf8Long += "x.txt";                                   // 255 bytes

  // Names that a Windows path reading, a conversion or a careless split turns into another file.
  if (Maybe(0.8) && !SourceFileAt("", "..\\Documents\\thesis.txt")) return false;
  if (Maybe(0.6) && !SourceFileAt("", "..\\.ssh\\id_rsa", 1700)) return false;
  if (Maybe(0.4) && !SourceFileAt("", "Rechnung\\2024.pdf")) return false;
  if (Maybe(0.7)) {  // a Latin-1 "Müller" next to a file literally named with U+FFFD's bytes
    if (!SourceFileAt("", "M\xfcller.txt") || !SourceFileAt("", "M\xef\xbf\xbdller.txt")) return false;
  }
  if (Maybe(0.5) && !SourceFileAt("", "\xff")) return false;
  if (Maybe(0.4) && !SourceFileAt("", "caf\xe9 cr\xe8me.txt")) return false;
  if (Maybe(0.4) && !SourceFileAt("", "Zeilen\numbruch.txt")) return false;
  if (Maybe(0.4) && !SourceFileAt("", "Tab\tname.txt")) return false;
  if (Maybe(0.3) && !SourceFileAt("", "Wagen\rruecklauf.txt")) return false;
  if (Maybe(0.5) && !SourceFileAt("", " vorne.txt")) return false;
  if (Maybe(0.5) && !SourceFileAt("", "hinten.txt ")) return false;
  if (Maybe(0.5) && !SourceFileAt("", "punkt.txt.")) return false;
  if (Maybe(0.4) && !SourceFileAt("", "...")) return false;
  if (Maybe(0.4) && !SourceFileAt("", " . ")) return false;
  if (Maybe(0.5) && !SourceFileAt("", ".versteckt")) return false;
  if (Maybe(0.4) && !SourceFileAt("", "frage?stern*doppel:punkt.txt")) return false;
  if (Maybe(0.5) && !SourceFileAt("", L251 + ".txt")) return false;
  if (Maybe(0.5) && !SourceFileAt("", utf8Long)) return false;
  if (Maybe(0.5) && (!SourceFileAt("", "bericht.txt") || !SourceFileAt("", "bericht(1).txt"))) return false;
  if (Maybe(0.4) && (!SourceFileAt("", "IMG_0001.JPG") || !SourceFileAt("", "IMG_0001.jpg"))) return false;
  if (!SourceFileAt("", "gleich.txt")) return false;

  // Folders: ordinary ones, one whose name climbs out on Windows, odd ones, a deep one.
  std::vector<std::string> folders = {"Fotos"};
  if (!Folder(s + "/Fotos") || !SourceFileAt("Fotos", "gleich.txt")) return false;
  if (Maybe(0.6)) {
    if (!Folder(s + "/Fotos/2023") || !SourceFileAt("Fotos/2023", "gleich.txt") || !SourceFileAt("Fotos/2023", "bild-1.jpg"))
      return false;
    folders.push_back("Fotos/2023");
  }
  if (Maybe(0.7) && !SourceFileAt("Fotos", "..\\..\\Documents\\thesis.txt")) return false;
  if (Maybe(0.6)) {
    if (!Folder(s + "/..\\Bilder") || !SourceFileAt("..\\Bilder", "urlaub.jpg")) return false;
  }
  if (Maybe(0.4)) {
    if (!Folder(s + "/..\\.ssh") || !SourceFileAt("..\\.ssh", "id_rsa", 1700)) return false;
  }
  if (Maybe(0.5)) {
    if (!Folder(s + "/Akten. ") || !SourceFileAt("Akten. ", "akte.pdf")) return false;
    folders.push_back("Akten. ");
  }
  if (Maybe(0.4)) {
    if (!Folder(s + "/neue\nZeile") || !SourceFileAt("neue\nZeile", "brief.txt")) return false;
  }
  if (Maybe(0.5)) {
    if (!Folder(s + "/Ordner\xe4") || !SourceFileAt("Ordner\xe4", "M\xfcller.txt")) return false;
    folders.push_back("Ordner\xe4");
  }
  if (Maybe(0.5)) {
    std::string deep = "tief";
    for (int level = 0; level < 4; ++level) deep += "/" + std::string(60, static_cast<char>('a' + level));
    if (!Folder(s + "/" + deep) || !SourceFileAt(deep, "ganz-unten.txt")) return false;
  }
  if (Maybe(0.5)) {
    if (!Folder(s + "/schreibgeschuetzt") || !SourceFileAt("schreibgeschuetzt", "vertrag.pdf") ||
        !SourceFileAt("schreibgeschuetzt", "gleich.txt"))
      return false;
    readOnlyFolders_.push_back(s + "/schreibgeschuetzt");
  }

  // Ordinary files up to a few dozen, spread over the folders.
  const int wanted = 24 + random_.Below(16);
  for (int i = 0; static_cast<int>(made_.size()) < wanted; ++i) {
    const std::string& folder = random_.Chance(0.4) ? std::string() : folders[static_cast<size_t>(random_.Below(static_cast<int>(folders.size())))];
    char leaf[32];
    std::snprintf(leaf, sizeof leaf, "datei-%02d.%s", i, random_.Chance(0.5) ? "jpg" : "txt");
    if (!SourceFileAt(folder, leaf)) return false;
  }

  // Large files give a kill or a mutator time to land inside a copy.
  if (plan_.disturbance == Disturbance::kMutator || plan_.disturbance == Disturbance::kKill) {
    const int large = 1 + random_.Below(2);
    for (int i = 0; i < large; ++i) {
      const size_t size = 256 * 1024 + static_cast<size_t>(random_.Below(1280 * 1024));
      if (!SourceFileAt(random_.Chance(0.7) ? "" : "Fotos", "gross-" + std::to_string(i) + ".bin", size, true)) return false;
    }
  }

  // Hard links: one name here, one among the bystanders; and two names both in the source.
  if (Maybe(0.7)) {
    if (!SourceFileAt("", "geteilt.bin")) return false;
    made_.back().linked = true;
    if (::link((s + "/geteilt.bin").c_str(), (world_.home + "/Sicherung/geteilt.bin").c_str()) != 0)
      return Fail("cannot make a hard link");
  }
  if (Maybe(0.4)) {
    if (!SourceFileAt("", "zwilling-a.bin")) return false;
    made_.back().linked = true;
    if (::link((s + "/zwilling-a.bin").c_str(), (s + "/Fotos/zwilling-b.bin").c_str()) != 0)
      return Fail("cannot make a hard link");
    made_.push_back({"Fotos/zwilling-b.bin", "zwilling-b.bin", made_.back().content, false, true});
  }

  // What is not a regular file: FIFOs and links to files and folders outside, to a parent,
  // to nowhere.
  const std::string& h = world_.home;
  struct Link {
    const char* name;
    std::string to;
  };
  const Link links[] = {{"thesis-verweis.txt", "../Documents/thesis.txt"},
                        {"schluessel", h + "/.ssh/id_rsa"},
                        {"Fotos/hoch", ".."},
                        {"zuhause", h},
                        {"bilder-verweis", "../Bilder"},
                        {"ins-leere.txt", "gibt/es/nicht.txt"}};
  for (const Link& l : links) {
    if (Maybe(0.6) && ::symlink(l.to.c_str(), (s + "/" + l.name).c_str()) != 0) return Fail("cannot make a link");
  }
  if (Maybe(0.6) && ::mkfifo((s + "/rohr").c_str(), 0644) != 0) return Fail("cannot make a FIFO");
  if (Maybe(0.4) && ::mkfifo((s + "/Fotos/pipe.jpg").c_str(), 0644) != 0) return Fail("cannot make a FIFO");
  // Copies for the duplicates condition: some files once or twice more, in the folder of another.
  if (plan_.duplicates) {
    const std::vector<SourceFile> originals = made_;
    int copies = 0;
    for (const SourceFile& f : originals) {
      if (f.linked || !Maybe(0.35)) continue;
      for (int n = 1 + (Maybe(0.3) ? 1 : 0); n > 0; --n) {
        const SourceFile& beside = originals[static_cast<size_t>(random_.Below(static_cast<int>(originals.size())))];
        const size_t slash = beside.rel.rfind('/');
        const std::string folder = slash == std::string::npos ? std::string() : beside.rel.substr(0, slash);
        std::string leaf = "kopie-" + std::to_string(++copies) + "-" + f.leaf;
        if (leaf.size() > 255) leaf = "kopie-" + std::to_string(copies) + ".bin";
        const std::string rel = folder.empty() ? leaf : folder + "/" + leaf;
        if (!Write(Join(s, rel), f.content, Maybe(0.1) ? 0444 : 0644)) return false;
        made_.push_back({rel, leaf, f.content, f.large, false});
      }
    }
  }
  world_.files = static_cast<int>(made_.size());
  return true;
}

// Files, FIFOs and links already at the names the run will want in the target.
bool Maker::TargetTraps() {
  if (plan_.target == TargetPlace::kMissing) return true;
  const std::string& t = world_.target;
  if (!Folder(t)) return false;
  std::vector<std::string> leaves;
  for (const SourceFile& f : made_) {
    bool known = false;
    for (const std::string& l : leaves) known = known || l == f.leaf;
    if (!known) leaves.push_back(f.leaf);
  }
  // The last part after a backslash too: that is the name a program that splits there would use.
  for (const SourceFile& f : made_) {
    const size_t slash = f.leaf.rfind('\\');
    if (slash != std::string::npos && random_.Chance(0.5)) leaves.push_back(f.leaf.substr(slash + 1));
  }
  for (const std::string& leaf : leaves) {
    if (!random_.Chance(0.3)) continue;
    std::string suffix;
    if (plan_.zip == 1 && random_.Chance(0.5) && leaf.size() + 4 <= 255) suffix = ".zip";
    const std::string path = t + "/" + leaf + suffix;
    if (::access(path.c_str(), F_OK) == 0) continue;
    const int kind = random_.Below(10);
    const SourceFile* same = nullptr;
    for (const SourceFile& f : made_) {
      if (f.leaf == leaf) same = &f;
    }
    if (kind < 3 && same && suffix.empty()) {
      if (!Write(path, same->content)) return false;  // identical to the file that will come
    } else if (kind < 7) {
      if (!Write(path, Content("target", SomeSize()))) return false;
    } else if (kind < 8 || (kind < 9 && leaf.size() > 200)) {
      if (::mkfifo(path.c_str(), 0644) != 0) return Fail("cannot make a FIFO in the target");
    } else {
      const std::string& to = world_.secrets[static_cast<size_t>(random_.Below(static_cast<int>(world_.secrets.size())))];
      if (::symlink(to.c_str(), path.c_str()) != 0) return Fail("cannot make a link in the target");
    }
  }
  for (const char* name : {"bericht(1).txt", "Archiv.zip"}) {
    const std::string path = t + "/" + name;
    const bool wanted = name[0] == 'b' || plan_.zip == 2;
    if (wanted && random_.Chance(0.3) && ::access(path.c_str(), F_OK) != 0 && !Write(path, Content("target", SomeSize()))) return false;
  }
  return true;
}

void Maker::ChooseVictims() {
  if (plan_.disturbance != Disturbance::kMutator) return;
  std::vector<std::string> large, small;
  for (const SourceFile& f : made_) {
    if (f.linked || (!plan_.subfolders && f.rel.find('/') != std::string::npos)) continue;
    (f.large ? large : small).push_back(f.rel);
  }
  for (const std::string& rel : large) world_.victims.push_back(rel);
  const int more = 1 + random_.Below(3);
  for (int i = 0; i < more && !small.empty(); ++i) {
    const size_t at = static_cast<size_t>(random_.Below(static_cast<int>(small.size())));
    world_.victims.push_back(small[at]);
    small.erase(small.begin() + static_cast<long>(at));
  }
}

bool Maker::Build() {
  if (!Folder(world_.root) || !Folder(world_.home) || !Folder(world_.stash) || !Folder(world_.run + "/config")) return false;
  if (!Bystanders() || !SourceTree()) return false;
  if (!world_.otherVolumeRoot.empty() && !Folder(world_.otherVolumeRoot)) return false;
  if (!TargetTraps()) return false;
  ChooseVictims();
  for (const std::string& folder : readOnlyFolders_) ::chmod(folder.c_str(), 0555);
  return true;
}

}  // namespace

bool BuildWorld(const Plan& plan, const std::string& root, const std::string& otherVolume, World* world, std::string* error) {
  World& w = *world;
  w.root = root;
  w.home = root + "/home";
  w.source = w.home + "/Quelle";
  w.dataHome = w.home + "/.local/share";
  w.trash = w.dataHome + "/Trash";
  w.stash = root + "/stash";
  w.run = root + "/run";
  switch (plan.target) {
    case TargetPlace::kBeside:
    case TargetPlace::kMissing:
      w.target = w.home + "/Ziel";
      break;
    case TargetPlace::kInsideSource:
      w.target = w.source + "/Ziel";
      break;
    case TargetPlace::kOtherVolume:
      w.otherVolumeRoot = otherVolume;
      w.target = otherVolume.empty() ? w.home + "/Ziel" : otherVolume + "/Ziel";
      break;
  }
  Maker maker(plan, world);
  if (!maker.Build()) {
    *error = maker.error;
    return false;
  }
  return true;
}

}  // namespace conservation
