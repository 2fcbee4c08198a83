#include "engine/run.h"

#include <algorithm>
#include <map>
#include <set>
#include <memory>
#include <optional>
#include <thread>
#include <unordered_set>

#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/conditions.h"
#include "engine/content_pool.h"
#include "engine/dispatch.h"
#include "engine/duplicates.h"
#include "engine/journal.h"
#include "engine/metadata_condition.h"
#include "engine/new_name.h"
#include "engine/scan.h"
#include "engine/sidecars.h"
#include "engine/unpack_action.h"
#include "engine/zip_actions.h"
#include "fileops/path_text.h"
#include "fileops/run_lock.h"
#include "fileops/temp_files.h"
#include "metadata/document_text.h"
#include "metadata/text_matcher.h"
#include "metadata/text_search.h"

namespace ablagix {
namespace {

// The progress callback is cheap, but a million calls are not free.
constexpr std::uint64_t kProgressEvery = 256;

// Why a profile cannot run in this build, "" when it can.
std::wstring ReasonNotRunnable(const Profile& profile, RunHost& host) {
  // A relative source would be read against the current folder, which the file dialogs move:
  // a delete profile could then empty a folder the user never named.
  if (!IsFullPath(Trim(profile.Quelle))) {
    return L"Die Bedingung Quelle=" + profile.Quelle +
           L" ist kein vollst\u00e4ndiger Pfad; das Profil wird nicht ausgef\u00fchrt.";
  }
  if (!IsKnownAction(profile.Aktion)) {
    return L"Die Bedingung Aktion=" + profile.Aktion +
           L" ist unbekannt; das Profil wird nicht ausgef\u00fchrt.";
  }
  if (EqualsNoCase(profile.Aktion, kAktionUmbenennen) && Trim(profile.Zielname).empty()) {
    return std::wstring(kNoNewNameMessage);
  }
  // Without metadata readers every such token would be "Unbekannt", and many files one name.
  if (!host.Metadata() && NeedsMetadata(profile.Zielname)) {
    return L"Der neue Name enth\u00e4lt Metadaten-Variablen, die hier nicht gelesen werden k\u00f6nnen; das "
           L"Profil wird nicht ausgef\u00fchrt.";
  }
  if (ActionNeedsTarget(profile.Aktion)) {
    if (Trim(profile.Ziel).empty()) return L"Bitte Zielpfad eingeben!";
    // A relative target would be put wherever the program happens to run from, and its
    // undo could not find the files again.
    if (!IsFullPath(Trim(profile.Ziel))) {
      return L"Die Bedingung Ziel=" + profile.Ziel +
             L" ist kein vollst\u00e4ndiger Pfad; das Profil wird nicht ausgef\u00fchrt.";
    }
    if (!host.Metadata() && NeedsMetadata(profile.Ziel)) {
      return L"Das Zielverzeichnis enth\u00e4lt Metadaten-Variablen, die hier nicht gelesen werden "
             L"k\u00f6nnen; das Profil wird nicht ausgef\u00fchrt.";
    }
  }
  return DuplicateFolderProblem(profile);
}

// "Datei enthält Text" as a file test: documents through their text, plain files in blocks.
class TextCondition : public FileContentTest {
 public:
  TextCondition(std::wstring_view textSuche, bool caseSensitive, bool documents, std::function<bool()> stop)
      : query_(ParseSearchTerms(textSuche), caseSensitive) {
    options_.caseSensitive = caseSensitive;
    options_.documents = documents ? &documents_ : nullptr;
    options_.stopRequested = std::move(stop);
  }
  bool Accepts(const std::wstring& path, const DirEntry& entry) override {
    return SearchTextInFile(FileRef(path, entry.id), query_, options_) > 0;
  }

 private:
  TextQuery query_;  // prepared once for the whole run
  DocumentTexts documents_;
  TextSearchOptions options_;
};

// The name at the end of a path, as a piece of it.
std::wstring_view NameView(std::wstring_view path) {
  std::size_t at = path.size();
  while (at > 0 && !IsPathSeparator(path[at - 1])) --at;
  return path.substr(at);
}

bool StopRequested(RunHost& host) {
  if (AbortRequested()) return true;
  if (host.PollForAbort()) {
    RequestAbort();
    return true;
  }
  return false;
}

// The folders a profile works in: its source and the fixed part of its target. Its undo
// touches nothing outside them.
std::vector<std::wstring> FoldersOfRun(const Profile& profile) {
  std::vector<std::wstring> folders{std::wstring(Trim(profile.Quelle))};
  if (ActionNeedsTarget(profile.Aktion)) {
    // "D:\Fotos\Jahr%YYYY%" works in "D:\Fotos\".
    const std::wstring prefix = OwnTargetPrefix(Trim(profile.Ziel));
    folders.push_back(prefix.empty() || EndsWithSeparator(prefix) ? prefix : FolderPart(prefix));
  }
  return folders;
}

// What the steps of one profile's run share: the profile with its switches read once, and
// the run's mode, host, log, state and tally.
struct ProfileRun {
  const Profile& profile;
  ProfileSwitches switches;
  bool needsTarget;  // move, copy or unpack: files go into "Ziel"
  bool transfers;    // move or copy: archives, sidecars and "Identisch" apply
  RunMode mode;
  RunHost& host;
  LogList& log;
  RunState& state;
  RunSummary& summary;
  const std::vector<std::wstring>* onlyFiles;  // null: the whole source
  LocalDateTime now;
  RunProgress progress;
};

// The builders the conditions need for the tests of a file's contents.
ConditionContext ConditionContextFor(const ProfileRun& run) {
  ConditionContext context;
  context.now = run.now;
  RunHost* host = &run.host;
  context.storedFilterMask = [host](const std::wstring& name) { return host->StoredFilterMask(name); };
  const bool caseSensitive = run.switches.caseSensitive;
  const LocalDateTime now = run.now;
  context.makeMetadataTest = [host, caseSensitive, now](const std::wstring& metadaten) {
    return MakeMetadataConditionTest(metadaten, caseSensitive, host->Metadata(), now);
  };
  // Content tests run on worker threads too: there they only read the abort flag; on the
  // window's thread they also let the window handle Esc.
  const std::thread::id windowThread = std::this_thread::get_id();
  context.makeTextTest = [host, caseSensitive, windowThread](const std::wstring& textSuche)
      -> std::unique_ptr<FileContentTest> {
    return std::make_unique<TextCondition>(textSuche, caseSensitive, host->ExtractDocumentText(),
                                           [host, windowThread] {
                                             return std::this_thread::get_id() == windowThread ? StopRequested(*host)
                                                                                                : AbortRequested();
                                           });
  };
  return context;
}

// The profile's conditions; `*problem` says why it cannot run ("" when it can).
ConditionSet BuildConditions(const ProfileRun& run, std::wstring* problem) {
  *problem = ReasonNotRunnable(run.profile, run.host);
  if (!problem->empty()) return {};
  return ConditionSet::Build(run.profile, ConditionContextFor(run), problem);
}

// A profile that does not run this time: the reason in the log and in the summary.
void RefuseProfile(ProfileRun& run, std::wstring_view reason, bool countsAsError) {
  AppendMessageRow(run.log, reason);
  run.summary.refused.push_back(run.profile.Beschreibung + L": " + std::wstring(reason));
  if (countsAsError) ++run.summary.errors;
  AppendEndBanner(run.log, run.profile.Beschreibung);
}

// The files of the source that the conditions accept, into `files`; false when the scan was
// stopped.
bool ScanProfile(ProfileRun& run, const ConditionSet& conditions, RunFileList* files) {
  ScanState scanState;
  ScanRequest request;
  request.folder = std::wstring(Trim(run.profile.Quelle));
  request.includeSubfolders = run.switches.includeSubfolders;
  request.blockedFolders = SplitBlockFolder(run.profile.BlockFolder);
  if (run.needsTarget) request.ownTarget = std::wstring(Trim(run.profile.Ziel));
  request.acceptName = [&](std::wstring_view name, std::wstring_view extension) {
    return conditions.AcceptsName(name, extension);
  };
  // Files that pass size and date go into the list at once; those that still need their
  // contents tested are handed to the workers and dropped later if they fail.
  ContentPool contents(conditions, conditions.NeedsContent() ? run.host.ContentThreads() : 0);
  request.accept = [&](const ScanEntry& e) {
    if (!conditions.AcceptsDetails(e)) return false;
    if (conditions.NeedsContent()) contents.Submit(files->size(), JoinPath(e.folder, e.entry.name), e.entry);
    return true;
  };
  run.host.Progress(run.progress);  // the window names the profile before its scan starts
  request.poll = [&] {
    if (scanState.entryCounter % kProgressEvery == 0) {
      run.progress.entriesSeen = scanState.entryCounter;
      run.host.Progress(run.progress);
    }
    return run.host.PollForAbort();
  };
  bool scanned = (run.onlyFiles ? ScanGivenFiles(request, *run.onlyFiles, files, &scanState)
                                : ScanFolder(request, files, &scanState)) == ScanResult::Completed;
  if (conditions.NeedsContent()) {
    scanned = contents.Wait([&] { return run.host.PollForAbort(); }) && scanned;
    std::vector<bool> keep(files->size());
    for (std::size_t i = 0; i < files->size(); ++i) keep[i] = contents.Accepted(i);
    files->Filter(keep);
  }
  return scanned;
}

// "Duplikate" over the scanned files, reading contents on the host's content threads; false
// when stopped (then no file is left).
bool SelectDuplicatesOf(ProfileRun& run, RunFileList* files, DuplicateMatches* matches) {
  DuplicateRequest request;
  request.otherFolder = std::wstring(Trim(run.profile.DuplikatOrdner));
  request.threads = run.host.ContentThreads();
  request.poll = [&] { return run.host.PollForAbort(); };
  request.progress = [&](std::size_t done, std::size_t total) {
    run.progress.filesDone = done;
    run.progress.filesTotal = total;
    run.host.Progress(run.progress);
  };
  return SelectDuplicates(request, files, matches);
}

// The plan of the profile's action, as a log row carries it too.
ActionPlan PlanFor(const ProfileRun& run) {
  const Profile& profile = run.profile;
  ActionPlan plan{profile.Aktion, profile.Kollision, profile.Zippen, profile.ZipName};
  plan.skipIdentical = run.switches.skipIdentical && run.transfers;
  return plan;
}

// The log row of a handled file.
void LogFileRow(ProfileRun& run, const SidecarGroupRow& file) {
  const Profile& profile = run.profile;
  LogFileFields row;
  // Pieces of the path, not copies: this runs for every file of a run.
  const std::wstring_view path = file.path;
  const std::wstring_view name = NameView(path);
  row.datei = name;
  row.pfad = path.substr(0, path.size() - name.size());
  row.size = file.size;
  row.lastWrite = file.lastWrite;
  row.creation = file.creation;
  // A renamed file stays in its folder: its row shows where it is now, the new name included.
  const bool renamedInPlace = EqualsNoCase(profile.Aktion, kAktionUmbenennen) && !file.result.targetFile.empty();
  row.zielpfad = renamedInPlace ? std::wstring_view(file.result.targetFile) : std::wstring_view(file.targetFolder);
  row.ergebnis = file.result.resultWord;
  row.aktion = profile.Aktion;
  row.zipp = profile.Zippen;
  row.kollision = profile.Kollision;
  row.zipName = profile.ZipName;
  row.metadaten = file.metadaten;
  // The second columns carry only what the others do not already say, so a long log
  // stays small: the source is Pfad + Datei, the target Zielpfad + Datei unless numbered.
  const bool renamed = !file.result.targetFile.empty() && NameView(file.result.targetFile) != name;
  row.quell2 = L"";
  row.ziel2 = renamed ? std::wstring_view(file.result.targetFile) : std::wstring_view();
  // An unpacked archive shows how many files it gave, and its entries that failed below it.
  const std::wstring unpacked = file.result.filesWritten ? UnpackedFilesText(*file.result.filesWritten) : L"";
  row.sizeText = unpacked;
  run.log.AppendFile(row);
  ++run.summary.files;
  if (RowKindOf(file.result.resultWord) == LogRowKind::Error) ++run.summary.errors;
  run.summary.errors += AppendUnpackEntryRows(run.log, row, file.result);
}

void ReportFileProgress(ProfileRun& run, std::size_t i, std::size_t total) {
  run.progress.filesDone = i + 1;
  if (i % 16 == 0 || i + 1 == total) run.host.Progress(run.progress);
}

// Where a file of the run goes and under which name: the target folder (the file's own for a
// rename) and the name "Zielname" builds, numbered through the run ("" for the file's own).
class FileDestinations {
 public:
  FileDestinations(const ProfileRun& run, const PathVariableContext& variables)
      : profile_(run.profile),
        variables_(variables),
        needsTarget_(run.needsTarget),
        renames_(EqualsNoCase(run.profile.Aktion, kAktionUmbenennen)),
        zielname_(Trim(run.profile.Zielname)) {
    // Archives take the file under its own name.
    if (!renames_ && !(run.transfers && ZipModeOf(run.profile.Zippen) == ZipMode::None)) zielname_ = {};
  }
  std::wstring Folder(const FileFacts& file) const {
    if (renames_) return std::wstring(WithoutTrailingSeparator(FolderPart(file.path)));
    return needsTarget_ ? TargetFolderFor(profile_, file, variables_) : L"";
  }
  // Counts the file for "%Nr%": call once per file, in the run's order.
  std::wstring Name(const FileFacts& file) {
    if (zielname_.empty()) return {};
    return NewFileName(zielname_, file, variables_, ++number_);
  }

 private:
  const Profile& profile_;
  const PathVariableContext& variables_;
  bool needsTarget_;
  bool renames_;
  std::wstring_view zielname_;
  std::uint64_t number_ = 0;
};

// Handles the files the scan found, one by one (or as groups with their sidecars, or into
// the run's one archive) and logs each; false when the run was (or, with `stopped`, had
// already been) stopped. With `duplicates`, each file's kept copy, by its place.
bool ActOnFiles(ProfileRun& run, const RunFileList& files, bool stopped, const DuplicateMatches* duplicates) {
  const Profile& profile = run.profile;
  const ActionPlan plan = PlanFor(run);
  const RunContext actions{plan, run.mode, run.host, run.state};
  const PathVariableContext variables{run.now, run.host.Metadata()};
  FileDestinations destinations(run, variables);
  run.progress.filesTotal = files.size();
  // "Zippen" 2: the run's files go into one archive, named after the first file's values.
  std::optional<RunArchive> archive;
  const bool oneArchive = run.transfers && ZipModeOf(profile.Zippen) == ZipMode::OneArchive;
  if (oneArchive && run.mode == RunMode::Execute) archive.emplace(plan, run.host, run.state);
  // "Begleitdateien": sidecars go with their main file (moves, copies and renames, not into
  // archives). Not with "Duplikate": a sidecar beside a duplicate belongs to the kept copy as much.
  std::optional<SidecarGroups> sidecarGroups;
  const bool renames = EqualsNoCase(profile.Aktion, kAktionUmbenennen);
  if (run.switches.sidecars && !duplicates && (run.transfers || renames) &&
      ZipModeOf(profile.Zippen) == ZipMode::None) {
    sidecarGroups.emplace(files);
  }
  auto factsOf = [](const RunFile& f) { return FileFacts{f.path, f.size, f.lastWrite, f.creation}; };
  const SidecarGroupRun sidecarRun{
      files, plan, run.mode, run.host, run.state,
      [&](const RunFile& f) { return destinations.Folder(factsOf(f)); },
      [&](const RunFile& f) {
        std::wstring name = destinations.Name(factsOf(f));
        return name.empty() ? NamePart(f.path) : name;
      },
      [&](const RunFile& f) { return MetadataConditionValue(profile.Metadaten, factsOf(f), variables); },
      [&](const SidecarGroupRow& r) { LogFileRow(run, r); }};

  for (size_t i = 0; i < files.size() && !stopped; ++i) {
    if (StopRequested(run.host)) {
      stopped = true;
      break;
    }
    // A file and the files that go with it (its sidecars, a RAW beside its JPEG) as one group.
    if (sidecarGroups) {
      sidecarGroups->Handle(i, sidecarRun);
      ReportFileProgress(run, i, files.size());
      continue;
    }
    const RunFile& file = files[i];
    const FileFacts facts = factsOf(file);
    // What the condition read from this file (its camera, its distance), not the condition;
    // read before the action moves or deletes the file.
    const FileRef* kept = duplicates ? &(*duplicates)[i] : nullptr;
    const std::wstring metadaten = WithDuplicateNote(MetadataConditionValue(profile.Metadaten, facts, variables), kept);
    const std::wstring targetFolder = destinations.Folder(facts);
    ActionResult result;
    const FileRef found(file.path, file.id, file.folder);
    if (!oneArchive) {
      const std::wstring targetName = destinations.Name(facts);
      result = kept ? HandleDuplicate(found, *kept, targetFolder, actions, targetName)
                    : HandleFile(found, targetFolder, actions, targetName);
    } else if (!archive) {
      result.resultWord = EqualsNoCase(profile.Aktion, kAktionVerschieben) ? ResultWord::kVerschobenSimuliert
                                                                            : ResultWord::kKopierenSimuliert;
    } else {
      result.resultWord = archive->Add(found, targetFolder, ExpandPathVariables(profile.ZipName, facts, variables),
                                       run.log.size());
    }
    LogFileRow(run, {file.path, file.size, file.lastWrite, file.creation, targetFolder, metadaten, result});
    ReportFileProgress(run, i, files.size());
  }
  // The archive's rows get their final words only now.
  if (archive) run.summary.errors += archive->Finish(run.log, stopped || AbortRequested());
  return !stopped;
}

// Whether the action takes files away from their folders, so that a folder can end up empty.
bool ActionEmptiesFolders(std::wstring_view aktion) {
  for (std::wstring_view taking : {kAktionVerschieben, kAktionLoeschenP, kAktionLoeschenX, kAktionLoeschenS}) {
    if (EqualsNoCase(Trim(aktion), taking)) return true;
  }
  return false;
}

std::size_t FolderDepth(std::wstring_view folder) {
  return static_cast<std::size_t>(std::count_if(folder.begin(), folder.end(), [](wchar_t c) { return c == L'\\' || c == L'/'; }));
}

// Whether a folder holds no entry at all (hidden ones count) once the entries `leaves` says
// go are gone; false when it cannot be read.
template <typename Leaves>
bool FolderHoldsNothing(const std::wstring& folder, Leaves leaves) {
  FolderReader reader;
  if (!reader.Open(folder)) return false;
  DirEntry entry;
  while (reader.Next(&entry)) {
    if (entry.name == L"." || entry.name == L"..") continue;
    if (!leaves(JoinPath(folder, entry.name), entry.IsDirectory())) return false;
  }
  return true;
}

// "Geleerte Ordner entfernen": the subfolders of the source that this run emptied go, deepest
// first, each with a row. A folder is looked at only when a file the scan found was in it or
// a folder removed here was, so one that was empty before the run stays; it goes only while
// it holds nothing at all, hidden files included (the system removes no other), and never the
// source itself. Each removal is written down first, so the undo can make the folder again.
// A simulation removes nothing: it counts the files its rows (from `firstRow` on) would take
// away and says which folders would go.
void RemoveEmptiedFolders(ProfileRun& run, const RunFileList& files, std::size_t firstRow) {
  const bool simulate = run.mode == RunMode::Simulate;
  const std::wstring source(WithoutTrailingSeparator(Trim(run.profile.Quelle)));
  auto belowSource = [&](std::wstring_view folder) {
    return folder.size() > source.size() + 1 && FolderTextStartsWith(folder, WithTrailingBackslash(source));
  };
  // Deepest first; among folders of one depth, in order of their text.
  auto deeper = [](const std::wstring& a, const std::wstring& b) {
    const std::size_t da = FolderDepth(a);
    const std::size_t db = FolderDepth(b);
    return da != db ? da > db : a < b;
  };
  std::set<std::wstring, decltype(deeper)> pending(deeper);
  for (const RunFile& file : files) {
    std::wstring folder(WithoutTrailingSeparator(FolderPart(file.path)));
    if (belowSource(folder)) pending.insert(std::move(folder));
  }
  if (pending.empty()) return;
  std::unordered_set<std::wstring> leaving;  // simulated: the files the rows take away
  std::unordered_set<std::wstring> gone;     // simulated: the folders that would go
  if (simulate) {
    for (std::size_t r = firstRow; r < run.log.size(); ++r) {
      if (run.log.IsFileRow(r) && run.log.Text(r, LogColumn::Ergebnis).ends_with(ResultWord::kSimuliert)) {
        leaving.insert(run.log.Text(r, LogColumn::Pfad) + run.log.Text(r, LogColumn::Datei));
      }
    }
  }
  auto leaves = [&](const std::wstring& path, bool folder) {
    return simulate && (folder ? gone.contains(path) : leaving.contains(path));
  };
  while (!pending.empty() && !AbortRequested()) {
    const std::wstring folder = *pending.begin();
    pending.erase(pending.begin());
    if (!FolderHoldsNothing(folder, leaves)) continue;
    if (simulate) {
      gone.insert(folder);
    } else {
      if (run.state.journal && !run.state.journal->FolderEmptied(folder)) continue;
      if (!RemoveEmptyFolder(folder)) continue;
      RememberChangedFolder(run.state, folder);
    }
    LogFileFields row;
    const std::wstring_view name = NameView(folder);
    row.datei = name;
    row.pfad = std::wstring_view(folder).substr(0, folder.size() - name.size());
    row.ergebnis = simulate ? ResultWord::kOrdnerEntfernenSimuliert : ResultWord::kOrdnerEntfernt;
    row.aktion = run.profile.Aktion;
    run.log.AppendFile(row);
    std::wstring parent(WithoutTrailingSeparator(FolderPart(folder)));
    if (belowSource(parent)) pending.insert(std::move(parent));
  }
}

// Runs one profile; false when the run was stopped.
bool RunOneProfile(ProfileRun& run) {
  const Profile& profile = run.profile;
  AppendStartBanner(run.log, profile.Beschreibung);
  if (run.state.journal) run.state.journal->BeginProfile(profile.Beschreibung, FoldersOfRun(profile));
  std::wstring problem;
  const ConditionSet conditions = BuildConditions(run, &problem);
  if (!problem.empty()) {
    RefuseProfile(run, problem, false);
    return true;
  }

  // Another process at work on the same folder (the window's timer, a watching command line)
  // would race this run for every file; this run waits for its next turn instead.
  FolderRunLock folderLock;
  const std::wstring journalFolder = run.mode == RunMode::Execute ? run.host.JournalFolder() : L"";
  if (!journalFolder.empty() &&
      !folderLock.TryLock(JoinPath(journalFolder, L"Sperren"), std::wstring(Trim(profile.Quelle)))) {
    RefuseProfile(run, kSourceFolderBusy, true);
    return true;
  }

  RunFileList files;
  bool scanned = ScanProfile(run, conditions, &files);
  // "Duplikate": of what the conditions accepted, only the files whose content is there twice.
  DuplicateMatches duplicates;
  if (run.switches.duplicates && !(scanned = scanned && SelectDuplicatesOf(run, &files, &duplicates))) files.clear();
  if (files.empty() && scanned) AppendNothingFoundRow(run.log);
  const std::size_t firstRow = run.log.size();
  const bool stopped = !ActOnFiles(run, files, !scanned, run.switches.duplicates ? &duplicates : nullptr);
  if (run.switches.removeEmptied && ActionEmptiesFolders(profile.Aktion)) RemoveEmptiedFolders(run, files, firstRow);
  AppendEndBanner(run.log, profile.Beschreibung);
  return !stopped && !AbortRequested();
}

// The name a row's file went (or would go) under when "Zielname" gave it one; "" for its own
// name, also when only the collision policy numbered it ("a(2).jpg"), which it does again.
std::wstring TargetNameOfRow(const LogRowAction& row) {
  if (row.ziel2.empty()) return {};
  const std::wstring name = NamePart(row.ziel2);
  if (name == row.datei) return {};
  const std::size_t open = name.rfind(L'(');
  const std::size_t close = name.find(L')', open == std::wstring::npos ? name.size() : open);
  if (open != std::wstring::npos && close != std::wstring::npos && close > open + 1 &&
      name.substr(0, open) + name.substr(close + 1) == row.datei &&
      std::all_of(name.begin() + static_cast<std::ptrdiff_t>(open) + 1, name.begin() + static_cast<std::ptrdiff_t>(close),
                  [](wchar_t c) { return c >= L'0' && c <= L'9'; })) {
    return {};
  }
  return name;
}

// The journal's last line; a journal that could not be written is said in the log.
void FinishJournal(RunJournal& journal, LogList& log) {
  journal.Finish();
  if (!journal.problem().empty()) AppendMessageRow(log, journal.problem());
}

}  // namespace

std::wstring RunHost::JournalFolder() { return DefaultJournalFolder(); }

std::wstring TargetFolderFor(const Profile& profile, const FileFacts& file,
                             const PathVariableContext& context) {
  std::wstring folder = ExpandPathVariables(profile.Ziel, file, context);
  if (IsSwitchedOn(profile.OrdnerStruktur)) {
    // The file's folder below the source folder, rebuilt under the target.
    const std::wstring source = WithTrailingBackslash(profile.Quelle);
    const std::wstring fileFolder = FolderPart(file.path);
    if (fileFolder.size() > source.size() && SameFolderText(fileFolder.substr(0, source.size()), source)) {
      folder = JoinPath(folder, WithoutTrailingSeparator(std::wstring_view(fileFolder).substr(source.size())));
    }
  }
  return folder;
}

RunSummary RunProfiles(const std::vector<Profile>& profiles, RunMode mode, RunHost& host, LogList& log,
                       const std::vector<std::wstring>* onlyFiles) {
  const std::vector<const std::vector<std::wstring>*> onlyFilesOf(profiles.size(), onlyFiles);
  return RunProfiles(profiles, mode, host, log, onlyFilesOf);
}

RunSummary RunProfiles(const std::vector<Profile>& profiles, RunMode mode, RunHost& host, LogList& log,
                       const std::vector<const std::vector<std::wstring>*>& onlyFilesOf) {
  ClearAbort();
  RunSummary summary;
  RunState state;
  if (mode == RunMode::Execute) {
    CleanUpAfterKilledRuns(host.JournalFolder());
    RemoveOldJournals(host.JournalFolder(), host.JournalDays(), CurrentFileTime());
  }
  RunJournal journal(mode == RunMode::Execute ? host.JournalFolder() : L"", kJournalKindRun);
  state.journal = &journal;
  host.SetLogEmptyText(kLogEmptyBusy);
  for (std::size_t i = 0; i < profiles.size(); ++i) {
    const std::vector<std::wstring>* onlyFiles = i < onlyFilesOf.size() ? onlyFilesOf[i] : nullptr;
    if (AbortRequested()) {
      summary.aborted = true;
      break;
    }
    const Profile& profile = profiles[i];
    ProfileRun run{profile, SwitchesOf(profile), ActionNeedsTarget(profile.Aktion), ActionTransfersFile(profile.Aktion),
                   mode, host, log, state,
                   summary, onlyFiles, host.Now(), RunProgress{profile.Beschreibung}};
    if (!RunOneProfile(run)) {
      summary.aborted = true;
      break;
    }
  }
  FinishJournal(journal, log);
  AnnounceChangedFolders(state);
  host.SetLogEmptyText(kLogEmptyDone);
  return summary;
}

RunSummary RunCheckedRows(LogList& log, RunHost& host) {
  ClearAbort();
  RunSummary summary;
  RunState state;
  CleanUpAfterKilledRuns(host.JournalFolder());
  RemoveOldJournals(host.JournalFolder(), host.JournalDays(), CurrentFileTime());
  RunJournal journal(host.JournalFolder(), kJournalKindCheckedRows);
  state.journal = &journal;
  // Rows of "Zippen" 2 go into one archive per target folder and archive name, as in the run
  // that logged them.
  std::map<std::pair<std::wstring, std::wstring>, std::unique_ptr<RunArchive>> archives;
  const PathVariableContext variables{host.Now(), host.Metadata()};
  for (std::size_t row : log.CheckedRows()) {
    if (StopRequested(host)) {
      summary.aborted = true;
      break;
    }
    // A removed folder's row names no file: there is nothing to do again.
    if (!log.IsFileRow(row)) continue;
    const std::wstring result = log.Text(row, LogColumn::Ergebnis);
    if (result == ResultWord::kOrdnerEntfernt || result == ResultWord::kOrdnerEntfernenSimuliert) continue;
    const LogRowAction a = log.ActionOf(row);
    const std::wstring path = a.quell2.empty() ? JoinPath(a.pfad, a.datei) : a.quell2;
    const ActionPlan plan{a.aktion, a.kollision, a.zipp, a.zipName};
    // A rename row's target column names the renamed file, which lies in the source's folder.
    const bool renames = EqualsNoCase(a.aktion, kAktionUmbenennen);
    journal.AddRoots({FolderPart(path), renames ? FolderPart(path) : a.zielpfad});
    std::wstring word;
    if (ActionTransfersFile(a.aktion) && ZipModeOf(a.zipp) == ZipMode::OneArchive) {
      const FileFacts facts{path, log.FileSize(row), log.LastWrite(row), log.Creation(row)};
      const std::wstring zipName = ExpandPathVariables(a.zipName, facts, variables);
      auto& archive = archives[{a.zielpfad, zipName}];
      if (!archive) archive = std::make_unique<RunArchive>(plan, host, state);
      word = archive->Add(path, a.zielpfad, zipName, row);
    } else if (const std::wstring kept = KeptCopyOfNote(log.Text(row, LogColumn::Metadaten)); !kept.empty()) {
      // A duplicate is deleted only while its kept copy still holds the same bytes.
      word = HandleDuplicate(path, kept, a.zielpfad, RunContext{plan, RunMode::Execute, host, state}, TargetNameOfRow(a))
                 .resultWord;
    } else {
      const ActionResult done =
          HandleFile(path, a.zielpfad, RunContext{plan, RunMode::Execute, host, state}, TargetNameOfRow(a));
      word = done.resultWord;
      summary.errors += AppendUnpackEntryRows(log, row, done);
    }
    log.SetResult(row, word);
    ++summary.files;
    if (RowKindOf(word) == LogRowKind::Error) ++summary.errors;
  }
  for (auto& [key, archive] : archives) summary.errors += archive->Finish(log, summary.aborted);
  FinishJournal(journal, log);
  AnnounceChangedFolders(state);
  host.SetLogEmptyText(kLogEmptyDone);
  return summary;
}

}  // namespace ablagix
