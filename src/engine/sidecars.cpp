#include "engine/sidecars.h"

#include <algorithm>
#include <array>

#include "base/text.h"
#include "engine/dispatch.h"
#include "fileops/file_system_seam.h"
#include "fileops/path_text.h"
#include "log/log_row.h"
#include "profiles/profile.h"

namespace ablagix {
namespace {

constexpr std::array<std::wstring_view, 7> kSidecarExtensions = {L"xmp", L"aae", L"thm", L"json",
                                                                  L"xml", L"pp3", L"dop"};

// Camera and phone formats, RAW included, and the videos cameras record: the only files that
// a .json (a photo service's export) or a .xml (a camcorder's clip data) can describe.
constexpr std::array<std::wstring_view, 54> kPictureAndVideoExtensions = {
    L"jpg",  L"jpeg", L"jpe", L"jfif", L"png", L"gif", L"bmp", L"tif",  L"tiff", L"webp", L"heic",
    L"heif", L"avif", L"jxl", L"psd",  L"dng", L"cr2", L"cr3", L"crw",  L"nef",  L"nrw",  L"arw",
    L"srf",  L"sr2",  L"orf", L"rw2",  L"raf", L"pef", L"rwl", L"srw",  L"x3f",  L"3fr",  L"iiq",
    L"mrw",  L"erf",  L"kdc", L"dcr",  L"raw", L"mp4", L"m4v", L"mov",  L"avi",  L"mkv",  L"mts",
    L"m2ts", L"3gp",  L"wmv", L"webm", L"mpg", L"mpeg", L"insv", L"insp", L"lrv", L"mxf"};

bool InList(std::wstring_view extension, const auto& list) {
  return std::any_of(list.begin(), list.end(), [&](std::wstring_view e) { return EqualsNoCase(e, extension); });
}

std::wstring_view StemOf(std::wstring_view name) {
  const size_t dot = name.rfind(L'.');
  return dot == std::wstring_view::npos ? name : name.substr(0, dot);
}

// How a sidecar names its main file: by the main file's base name ("IMG_1.xmp" of
// "IMG_1.jpg") or by its whole name ("IMG_1.jpg.xmp"); no relation at all otherwise.
enum class Naming { kNone, kStem, kWholeName };

Naming NamingOf(std::wstring_view sidecarName, std::wstring_view mainName) {
  const std::wstring_view extension = ExtensionOf(sidecarName);
  if (!IsSidecarExtension(extension) || IsSidecarExtension(ExtensionOf(mainName)) ||
      !IsSidecarFor(extension, ExtensionOf(mainName))) {
    return Naming::kNone;
  }
  const std::wstring_view named = StemOf(sidecarName);
  if (EqualsNoCase(named, StemOf(mainName))) return Naming::kStem;
  if (EqualsNoCase(named, mainName)) return Naming::kWholeName;
  return Naming::kNone;
}

// The sidecar's name beside a main file that was `mainName` and is now `mainTargetName`.
std::wstring FollowingName(std::wstring_view sidecarName, std::wstring_view mainName,
                           std::wstring_view mainTargetName) {
  Sidecar sidecar;
  sidecar.entry.name = sidecarName;
  sidecar.carriesMainName = NamingOf(sidecarName, mainName) == Naming::kWholeName;
  return SidecarTargetName(sidecar, mainTargetName);
}

// "IMG_1.jpg" with the number `n` of the group, "IMG_1(n).jpg"; the name itself for 0.
std::wstring WithNumber(const std::wstring& name, int n) { return n == 0 ? name : NumberedName(name, n); }

// Whether the file went where the profile sends it (a simulation included).
bool Went(const ActionResult& result) {
  return !result.targetFile.empty() && RowKindOf(result.resultWord) == LogRowKind::Normal &&
         result.resultWord != ResultWord::kUebersprungenIdentisch;
}

std::wstring SkippedBecause(std::wstring_view why, std::wstring_view name) {
  return std::wstring(ResultWord::kUebersprungen) + std::wstring(why) + std::wstring(name);
}

}  // namespace

bool IsSidecarExtension(std::wstring_view extension) { return InList(extension, kSidecarExtensions); }

bool IsSidecarFor(std::wstring_view sidecarExtension, std::wstring_view mainExtension) {
  if (!EqualsNoCase(sidecarExtension, L"json") && !EqualsNoCase(sidecarExtension, L"xml")) return true;
  return InList(mainExtension, kPictureAndVideoExtensions);
}

std::wstring SidecarTargetName(const Sidecar& sidecar, std::wstring_view mainTargetName) {
  const std::wstring_view extension = ExtensionOf(sidecar.entry.name);
  const std::wstring_view base = sidecar.carriesMainName ? mainTargetName : StemOf(mainTargetName);
  return std::wstring(base) + L"." + std::wstring(extension);
}

//--- SidecarFinder

const SidecarFinder::Listing& SidecarFinder::List(const std::wstring& folder) {
  auto listed = folders_.find(folder);
  if (listed != folders_.end()) return listed->second;
  Listing listing;
  std::vector<std::wstring> others;
  FolderReader reader;
  DirEntry entry;
  if (reader.Open(folder)) {
    while (reader.Next(&entry)) {
      if (!entry.IsRegularFile()) continue;
      if (IsSidecarExtension(ExtensionOf(entry.name))) {
        listing.sidecars.push_back(entry);
      } else {
        others.push_back(entry.name);
      }
    }
  }
  // A folder of ten thousand photos keeps only the names that some sidecar points to.
  std::unordered_set<std::wstring> named;
  for (const DirEntry& sidecar : listing.sidecars) named.insert(ToLowerText(StemOf(sidecar.name)));
  for (std::wstring& name : others) {
    if (named.contains(ToLowerText(StemOf(name))) || named.contains(ToLowerText(name))) {
      listing.mains.push_back(std::move(name));
    }
  }
  return folders_.emplace(folder, std::move(listing)).first->second;
}

std::vector<Sidecar> SidecarFinder::For(const std::wstring& folder, std::wstring_view name) {
  std::vector<Sidecar> found;
  if (IsSidecarExtension(ExtensionOf(name))) return found;
  for (const DirEntry& candidate : List(folder).sidecars) {
    const Naming naming = NamingOf(candidate.name, name);
    if (naming != Naming::kNone) found.push_back({folder, candidate, naming == Naming::kWholeName});
  }
  return found;
}

std::vector<std::wstring> SidecarFinder::MainsOf(const std::wstring& folder, std::wstring_view sidecarName) {
  std::vector<std::wstring> mains;
  for (const std::wstring& main : List(folder).mains) {
    if (NamingOf(sidecarName, main) != Naming::kNone) mains.push_back(main);
  }
  return mains;
}

//--- TargetSidecars

std::unordered_map<std::wstring, std::wstring>& TargetSidecars::List(const std::wstring& folderText) {
  // Spelled as the folder part of a path that the run made in it.
  const std::wstring folder = WithTrailingBackslash(folderText);
  auto listed = folders_.find(folder);
  if (listed != folders_.end()) return listed->second;
  std::unordered_map<std::wstring, std::wstring> names;
  FolderReader reader;
  DirEntry entry;
  // A folder that is not there yet holds nothing.
  if (reader.Open(folder)) {
    while (reader.Next(&entry)) {
      if (!entry.IsDirectory() && IsSidecarExtension(ExtensionOf(entry.name))) {
        names.emplace(ToLowerText(entry.name), entry.name);
      }
    }
  }
  return folders_.emplace(folder, std::move(names)).first->second;
}

std::wstring TargetSidecars::Find(const std::wstring& folder, std::wstring_view name) {
  if (!IsSidecarExtension(ExtensionOf(name))) return {};
  const auto& names = List(folder);
  const auto found = names.find(ToLowerText(name));
  return found == names.end() ? std::wstring() : found->second;
}

std::wstring TargetSidecars::BelongingTo(const std::wstring& folder, std::wstring_view mainName) {
  const std::wstring_view mainExtension = ExtensionOf(mainName);
  if (IsSidecarExtension(mainExtension)) return {};
  const auto& names = List(folder);
  if (names.empty()) return {};
  const std::wstring stem = ToLowerText(StemOf(mainName));
  const std::wstring whole = ToLowerText(mainName);
  for (std::wstring_view extension : kSidecarExtensions) {
    if (!IsSidecarFor(extension, mainExtension)) continue;
    for (const std::wstring* base : {&stem, &whole}) {
      const auto found = names.find(*base + L"." + std::wstring(extension));
      if (found != names.end()) return found->second;
    }
  }
  return {};
}

void TargetSidecars::Add(const std::wstring& path) {
  const std::wstring name = NamePart(path);
  if (!IsSidecarExtension(ExtensionOf(name))) return;
  List(FolderPart(path)).emplace(ToLowerText(name), name);
}

//--- SidecarGroups

struct SidecarGroups::Member {
  RunFile file;
  std::wstring name;
  std::wstring targetName;  // the name it gets at the target, before any "(n)"
  std::wstring targetFolder;
  std::wstring metadaten;
  // Its transfer refuses its own name whatever the others do: the same content is there
  // ("Identisch"), a link or a pipe has the name, or the target is the file itself.
  bool refused = false;
  ActionResult result;
  bool went = false;
};

struct SidecarGroups::Follower {
  Sidecar sidecar;
  std::wstring path;
  std::vector<std::size_t> owners;  // the main files of the group it belongs to, in order
  std::wstring stayingMain;         // a main file it belongs to that the run does not take
  bool mayGo = false;               // as far as is known before anything is moved
};

std::wstring SidecarGroups::StemKey(std::wstring_view path) {
  // The folder as the scan spelled it (on Linux "Fotos" and "fotos" are two folders); a NUL
  // divides it from the name, as no name holds one.
  return FolderPart(path) + L'\0' + ToLowerText(StemOf(NamePart(path)));
}

SidecarGroups::SidecarGroups(const RunFileList& files) : handled_(files.size(), false) {
  std::vector<std::size_t> sidecars;
  for (std::size_t i = 0; i < files.size(); ++i) {
    const std::wstring path = files[i].path;
    if (IsSidecarExtension(ExtensionOf(NamePart(path)))) {
      sidecars.push_back(i);
    } else {
      mainsByStem_[StemKey(path)].push_back(i);
    }
  }
  // A sidecar of a main file of the run goes with that file's group, never on its own.
  for (std::size_t i : sidecars) {
    const std::wstring path = files[i].path;
    const std::wstring name = NamePart(path);
    // Its main file has its base name, or, for "IMG_1.jpg.xmp", that base name's base name.
    for (const std::wstring& key : {StemKey(path), StemKey(FolderPart(path) + std::wstring(StemOf(name)))}) {
      const auto mains = mainsByStem_.find(key);
      if (mains == mainsByStem_.end()) continue;
      for (std::size_t main : mains->second) {
        if (NamingOf(name, NamePart(files[main].path)) != Naming::kNone) handled_[i] = true;
      }
    }
  }
}

void SidecarGroups::Handle(std::size_t index, const SidecarGroupRun& run) {
  if (handled_[index]) return;
  handled_[index] = true;
  const RunFile file = run.files[index];
  const std::wstring folder = FolderPart(file.path);
  if (IsSidecarExtension(ExtensionOf(NamePart(file.path)))) {
    HandleOnItsOwn(file, run);
    return;
  }

  // The group: this file, the other main files of the run that share a sidecar with it, and
  // the sidecars of them all. Where each goes and what the conditions read is taken now,
  // before anything moves.
  std::vector<Member> mains;
  auto join = [&](const RunFile& main) {
    Member& member = mains.emplace_back();
    member.file = main;
    member.name = NamePart(main.path);
    member.targetName = run.targetName(main);
    member.targetFolder = run.targetFolder(main);
    member.metadaten = run.metadaten(main);
  };
  join(file);
  const std::vector<Sidecar> own = finder_.For(folder, mains.front().name);
  for (std::size_t other : mainsByStem_[StemKey(file.path)]) {
    if (handled_[other]) continue;
    const RunFile candidate = run.files[other];
    const std::wstring name = NamePart(candidate.path);
    const bool shares = std::any_of(own.begin(), own.end(), [&](const Sidecar& s) {
      return !s.carriesMainName && NamingOf(s.entry.name, name) == Naming::kStem;
    });
    if (!shares) continue;
    handled_[other] = true;
    join(candidate);
  }
  std::vector<Follower> followers;
  for (std::size_t m = 0; m < mains.size(); ++m) {
    for (Sidecar& sidecar : finder_.For(folder, mains[m].name)) {
      std::wstring path = JoinPath(sidecar.folder, sidecar.entry.name);
      if (!sidecarsHandled_.insert(ToLowerText(path)).second) continue;
      Follower& follower = followers.emplace_back();
      follower.path = std::move(path);
      for (std::size_t owner = 0; owner < mains.size(); ++owner) {
        if (NamingOf(sidecar.entry.name, mains[owner].name) != Naming::kNone) follower.owners.push_back(owner);
      }
      for (const std::wstring& main : finder_.MainsOf(folder, sidecar.entry.name)) {
        const bool inGroup = std::any_of(mains.begin(), mains.end(), [&](const Member& member) {
          return member.name == main;
        });
        if (!inGroup) {
          follower.stayingMain = main;
          break;
        }
      }
      follower.sidecar = std::move(sidecar);
    }
  }
  HandleGroup(mains, followers, run);
}

void SidecarGroups::HandleOnItsOwn(const RunFile& file, const SidecarGroupRun& run) {
  const std::wstring targetFolder = run.targetFolder(file);
  const std::wstring metadaten = run.metadaten(file);
  ActionResult result;
  const std::vector<std::wstring> mains = finder_.MainsOf(FolderPart(file.path), NamePart(file.path));
  if (ActionMovesFile(run.plan.aktion) && !mains.empty()) {
    // The profile takes the sidecar but not its photo: the edits stay with the photo.
    result.resultWord = SkippedBecause(kSidecarStaysWith, mains.front());
  } else {
    result = HandleFile(FileRef(file.path, file.id, file.folder), targetFolder,
                        RunContext{run.plan, run.mode, run.host, run.state}, run.targetName(file));
    if (!result.targetFile.empty()) targets_.Add(result.targetFile);
  }
  run.row({file.path, file.size, file.lastWrite, file.creation, targetFolder, metadaten, result});
}

void SidecarGroups::MarkRefusedMains(std::vector<Member>& mains, const ActionPlan& plan) {
  FileSystem& fs = ActiveFileSystem();
  for (Member& m : mains) {
    const std::wstring target = JoinPath(m.targetFolder, m.targetName);
    FileInfo there;
    if (SameFolderText(m.file.path, target)) {
      m.refused = true;
    } else if (fs.Inspect(target, &there).ok()) {
      FileInfo source;
      const FileId sourceId = m.file.id.known()                          ? m.file.id
                              : fs.Inspect(m.file.path, &source).ok() ? source.id
                                                                         : FileId{};
      m.refused = there.kind == FileKind::kLink || there.kind == FileKind::kSpecial ||
                  (there.kind == FileKind::kFile && sourceId.known() && sourceId == there.id) ||
                  (plan.skipIdentical && IdenticalTargetExists(FileRef(m.file.path, m.file.id), target));
    }
  }
}

// The main file a sidecar goes with: the first of its main files that goes.
std::size_t SidecarGroups::CarrierOf(const std::vector<Member>& mains, const Follower& follower, bool beforeMoving) {
  for (std::size_t owner : follower.owners) {
    if (beforeMoving ? !mains[owner].refused : mains[owner].went) return owner;
  }
  return mains.size();
}

void SidecarGroups::DecideFollowers(const std::vector<Member>& mains, std::vector<Follower>& followers, bool move) {
  for (Follower& f : followers) {
    const bool ownerStays = std::any_of(f.owners.begin(), f.owners.end(), [&](std::size_t o) { return mains[o].refused; });
    f.mayGo = CarrierOf(mains, f, true) < mains.size() && (!move || (f.stayingMain.empty() && !ownerStays));
  }
}

// The first name of the group that is taken under the number `number`, "" when all are free.
std::wstring SidecarGroups::TakenName(const std::vector<Member>& mains, const std::vector<Follower>& followers,
                                      int number) {
  // The group's own files in the source are no strangers at the target (a target folder
  // that is the source folder).
  auto isGroupFile = [&](const std::wstring& path) {
    return std::any_of(mains.begin(), mains.end(), [&](const Member& m) { return SameFolderText(m.file.path, path); }) ||
           std::any_of(followers.begin(), followers.end(), [&](const Follower& f) { return SameFolderText(f.path, path); });
  };
  for (const Member& m : mains) {
    if (m.refused) continue;
    const std::wstring name = WithNumber(m.targetName, number);
    const std::wstring target = JoinPath(m.targetFolder, name);
    if (!isGroupFile(target) && PathExists(target)) return name;
    const std::wstring stranger = targets_.BelongingTo(m.targetFolder, name);
    if (!stranger.empty() && !isGroupFile(JoinPath(m.targetFolder, stranger))) return stranger;
  }
  for (const Follower& f : followers) {
    if (!f.mayGo) continue;
    const Member& carrier = mains[CarrierOf(mains, f, true)];
    const std::wstring name =
        FollowingName(f.sidecar.entry.name, carrier.name, WithNumber(carrier.targetName, number));
    const std::wstring target = JoinPath(carrier.targetFolder, name);
    if (isGroupFile(target)) continue;
    if (PathExists(target)) return name;
    std::wstring there = targets_.Find(carrier.targetFolder, name);
    if (!there.empty()) return there;
  }
  return {};
}

void SidecarGroups::HandleMains(std::vector<Member>& mains, int number, const std::wstring& taken,
                                bool allNumbersTaken, const SidecarGroupRun& run) {
  for (Member& m : mains) {
    const FileRef ref(m.file.path, m.file.id, m.file.folder);
    if (m.refused) {
      // Its transfer says why in its own words.
      m.result = TransferFileAs(ref, m.targetFolder, m.targetName, run.plan, run.mode, run.host, run.state);
    } else if (allNumbersTaken) {
      m.result.resultWord = ErrorWord(kAllNumbersTaken);
    } else if (!taken.empty()) {
      m.result.resultWord = PathExists(JoinPath(m.targetFolder, m.targetName)) ? std::wstring(ResultWord::kUebersprungen)
                                                                               : SkippedBecause(kGroupNameTaken, taken);
    } else {
      m.result = TransferFileAs(ref, m.targetFolder, WithNumber(m.targetName, number), run.plan, run.mode, run.host,
                                run.state);
    }
    m.went = Went(m.result);
    run.row({m.file.path, m.file.size, m.file.lastWrite, m.file.creation, m.targetFolder, m.metadaten, m.result});
  }
}

void SidecarGroups::HandleFollowers(const std::vector<Member>& mains, const std::vector<Follower>& followers,
                                    bool move, const SidecarGroupRun& run) {
  const std::wstring noMetadaten;
  for (const Follower& f : followers) {
    const std::size_t carrier = CarrierOf(mains, f, false);
    // In a move a sidecar stays with any of its main files that stays; a copy leaves the
    // source as it was, so the copied photo gets its sidecar even then.
    std::wstring staysWith;
    if (move) {
      staysWith = f.stayingMain;
      for (std::size_t owner : f.owners) {
        if (staysWith.empty() && !mains[owner].went) staysWith = mains[owner].name;
      }
    }
    if (staysWith.empty() && carrier == mains.size()) staysWith = mains[f.owners.front()].name;
    const Member& with = mains[carrier < mains.size() ? carrier : f.owners.front()];
    ActionResult result;
    if (!staysWith.empty()) {
      result.resultWord = SkippedBecause(kSidecarStaysWith, staysWith);
    } else {
      result = TransferFileAs(FileRef(f.path, f.sidecar.entry.id), with.targetFolder,
                              FollowingName(f.sidecar.entry.name, with.name, NamePart(with.result.targetFile)),
                              run.plan, run.mode, run.host, run.state);
      if (!result.targetFile.empty()) targets_.Add(result.targetFile);
    }
    const DirEntry& e = f.sidecar.entry;
    run.row({f.path, e.size, e.lastWrite, e.creation, with.targetFolder, noMetadaten, result});
  }
}

void SidecarGroups::HandleGroup(std::vector<Member>& mains, std::vector<Follower>& followers,
                                const SidecarGroupRun& run) {
  const bool move = ActionMovesFile(run.plan.aktion);
  const Collision collision = CollisionOf(run.plan.kollision);
  MarkRefusedMains(mains, run.plan);
  DecideFollowers(mains, followers, move);

  int number = 0;
  std::wstring taken;  // under "überspringen": the name that keeps the group where it is
  bool allNumbersTaken = false;
  if (collision == Collision::kSkip) {
    taken = TakenName(mains, followers, 0);
  } else if (collision == Collision::kNumber) {
    for (;; ++number) {
      // NumberedName gives nothing beyond the last number, (1000).
      if (number > 0 && NumberedName(mains.front().targetName, number).empty()) {
        allNumbersTaken = true;
        break;
      }
      if (TakenName(mains, followers, number).empty()) break;
    }
  }
  HandleMains(mains, number, taken, allNumbersTaken, run);
  HandleFollowers(mains, followers, move, run);
}

}  // namespace ablagix
