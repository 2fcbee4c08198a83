#include "engine/actions.h"

#include "base/abort_flag.h"
#include "base/text.h"
#include "desktop/shell_notify.h"
#include "engine/journal.h"
#include "fileops/copy_move.h"
#include "fileops/file_system_seam.h"
#include "fileops/path_text.h"
#include "fileops/recycle.h"
#include "fileops/shredder.h"
#include "log/log_row.h"
#include "profiles/language.h"
#include "profiles/profile.h"

namespace ablagix {
namespace {

// The shredder's question and progress line in the user's language (messages 658 and 659).
ShredTexts ShredTextsInLanguage() {
  ShredTexts texts;
  texts.readOnlyQuestion = LookupMessage(L"658", kShredReadOnlyQuestion);
  texts.overwriting = LookupMessage(L"659", kShredOverwriting);
  return texts;
}

constexpr int kMaxNumber = 1000;

bool Is(std::wstring_view aktion, std::wstring_view code) { return EqualsNoCase(aktion, code); }

// The word of a file that went, or would go in a simulation.
std::wstring_view TransferWord(std::wstring_view aktion, RunMode mode) {
  const bool simulate = mode == RunMode::Simulate;
  if (Is(aktion, kAktionUmbenennen)) return simulate ? ResultWord::kUmbenennenSimuliert : ResultWord::kUmbenannt;
  if (Is(aktion, kAktionVerschieben)) return simulate ? ResultWord::kVerschobenSimuliert : ResultWord::kVerschoben;
  return simulate ? ResultWord::kKopierenSimuliert : ResultWord::kKopiert;
}

}  // namespace

// Contents are compared only where the sizes agree, and only regular files are opened: a pipe
// under a target name would never answer.
bool IdenticalTargetExists(const FileRef& file, const std::wstring& target) {
  FileSystem& fs = ActiveFileSystem();
  FileInfo source;
  if (!fs.Inspect(file.path, &source).ok() || source.kind != FileKind::kFile) return false;
  int number = 0;
  for (std::wstring candidate = target; !candidate.empty(); candidate = NumberedName(target, ++number)) {
    FileInfo other;
    if (!fs.Inspect(candidate, &other).ok()) return false;  // the first free name ends the search
    if (other.kind != FileKind::kFile || other.version.size != source.version.size) continue;
    if (FoundFilesHaveSameContent(file, FileRef(candidate, other.id))) return true;
  }
  return false;
}

namespace {

}  // namespace

Collision CollisionOf(std::wstring_view kollision) {
  const std::wstring_view policy = Trim(kollision);
  if (policy.empty() || policy == L"1") return Collision::kNumber;
  if (policy == L"2") return Collision::kSkip;
  return Collision::kReplace;
}

namespace {

std::wstring FolderFailedWord(const RunState& state) {
  return JournalRefused(state) ? JournalRefusedWord()
                               : std::wstring(ResultWord::kUebersprungen) + std::wstring(ResultWord::kZielpfadNichtErstellt);
}

std::wstring SkippedWord(std::wstring_view why) { return std::wstring(ResultWord::kUebersprungen) + std::wstring(why); }

// The name a moved or copied file gets at `named` under the collision policy (`*number`: the
// "(n)" it took), or "" with the result word in `*word` when the file stays where it is.
std::wstring ChooseTarget(const FileRef& file, const std::wstring& targetFolder, const std::wstring& named,
                          Collision collision, const RunContext& run, int* number, std::wstring* word) {
  // A file whose target is the file itself is already where the profile wants it; numbering
  // or replacing it would only copy it onto itself or rename it on every run.
  if (SameFolderText(file.path, named)) {
    *word = ResultWord::kUebersprungen;
    return {};
  }
  bool folderPresent = true;
  if (run.mode == RunMode::Simulate) {
    auto& present = run.state.foldersPresent;
    auto known = present.find(targetFolder);
    if (known == present.end()) known = present.emplace(targetFolder, FolderExists(targetFolder)).first;
    folderPresent = known->second;
  }
  // What is under the target's name is looked at, never opened: a pipe or a device there
  // would hang the run, and replacing a link would act on what it points at.
  FileInfo existing;
  const bool targetTaken = folderPresent && ActiveFileSystem().Inspect(named, &existing).ok();
  if (targetTaken && (existing.kind == FileKind::kLink || existing.kind == FileKind::kSpecial)) {
    *word = SkippedWord(ResultWord::kZielKeineDatei);
    return {};
  }
  if (targetTaken && existing.kind == FileKind::kFile) {
    // The same file under another spelling of its folder ("src/.", a link to it): copying it
    // onto itself would gain nothing, and undoing that would remove the only copy.
    FileInfo source;
    const FileId sourceId = file.id.known() ? file.id
                            : ActiveFileSystem().Inspect(file.path, &source).ok() ? source.id : FileId{};
    if (sourceId.known() && sourceId == existing.id) {
      *word = SkippedWord(ResultWord::kZielIstQuelle);
      return {};
    }
  }
  if (folderPresent && run.plan.skipIdentical && IdenticalTargetExists(file, named)) {
    // Already there: an import run again does nothing, and a moved file stays in place.
    *word = ResultWord::kUebersprungenIdentisch;
    return {};
  }
  if (!targetTaken || collision == Collision::kReplace) return named;
  if (collision == Collision::kSkip) {
    *word = ResultWord::kUebersprungen;
    return {};
  }
  std::wstring target = NumberedFreeName(named, number);
  // Every number taken: giving up is better than overwriting one of them.
  if (target.empty()) *word = ErrorWord(kAllNumbersTaken);
  return target;
}

// The row's word for a transfer that did not end in its target.
std::wstring NotDoneWord(const TransferOutcome& outcome, Collision collision) {
  switch (outcome.result) {
    case TransferResult::Taken:
      return collision == Collision::kSkip ? std::wstring(ResultWord::kUebersprungen) : ErrorWord(kAllNumbersTaken);
    case TransferResult::Cancelled:
      return ErrorWord(L"Abgebrochen");
    case TransferResult::Failed:
    case TransferResult::Done:
      break;
  }
  return ErrorWord(FsStatusText(outcome.status));
}

// Moves or copies the file to `target` (numbered from `named`), noted in the journal first.
ActionResult TransferTo(const FileRef& file, const std::wstring& targetFolder, const std::wstring& named,
                        const std::wstring& target, int number, Collision collision, const RunContext& run) {
  RunState& state = run.state;
  const bool move = ActionMovesFile(run.plan.aktion);
  TransferRequest request;
  request.from = file;
  request.to = target;
  request.move = move;
  // Any policy other than numbering and skipping replaces, as "immer überschreiben" says.
  request.replace = collision == Collision::kReplace;
  // Ctrl+C on the command line sets the flag without a window to ask.
  request.progress = [&](std::uint64_t done, std::uint64_t total) {
    return !AbortRequested() && run.host.CopyProgress(done, total);
  };
  // A name that was free at the check but is taken when the file is written (another program
  // was quicker) is never overwritten: the next number is taken, or the file is skipped.
  if (collision == Collision::kNumber) request.nextName = [&] { return NumberedFreeName(named, &number); };
  const JournalMark journaled =
      JournalBefore(state, move ? JournalAction::kMove : JournalAction::kCopy, file.path, target, request.replace);
  if (journaled.refused) return {JournalRefusedWord(), {}};
  TransferOutcome outcome = TransferFile(request);
  if (outcome.result == TransferResult::Failed && outcome.status.error == FsError::kNotFound &&
      outcome.status.side != FsSide::kSource && !FolderExists(targetFolder)) {
    // The target folder went away during the run: made again once, then tried again.
    state.knownFolders.erase(targetFolder);
    if (!EnsureTargetFolder(targetFolder, state).ok()) return {FolderFailedWord(state), target};
    outcome = TransferFile(request);
  }
  JournalAfter(state, journaled, outcome.result == TransferResult::Done ? outcome.finalPath : L"");
  if (outcome.result != TransferResult::Done) return {NotDoneWord(outcome, collision), {}};
  RememberChangedFolder(state, targetFolder);
  return {std::wstring(TransferWord(run.plan.aktion, run.mode)), outcome.finalPath};
}

}  // namespace

ActionResult MoveOrCopyFile(const FileRef& file, const std::wstring& targetFolder, const std::wstring& targetName,
                            const RunContext& run) {
  if (run.mode == RunMode::Execute && !EnsureTargetFolder(targetFolder, run.state).ok()) {
    return {FolderFailedWord(run.state), {}};
  }
  const std::wstring named = JoinPath(targetFolder, targetName);
  const Collision collision = CollisionOf(run.plan.kollision);
  int number = 0;
  std::wstring word;
  const std::wstring target = ChooseTarget(file, targetFolder, named, collision, run, &number, &word);
  if (target.empty()) return {word, {}};
  if (run.mode == RunMode::Simulate) return {std::wstring(TransferWord(run.plan.aktion, run.mode)), target};
  return TransferTo(file, targetFolder, named, target, number, collision, run);
}

ActionResult RenameFile(const FileRef& file, const std::wstring& newName, const RunContext& run) {
  // Already named as the template says: nothing to do, and no "(1)" either.
  if (newName.empty() || newName == NamePart(file.path)) return {std::wstring(ResultWord::kUebersprungen), {}};
  const std::wstring folder = FolderPart(file.path);
  RememberChangedFolder(run.state, folder);
  return MoveOrCopyFile(file, folder, newName, run);
}

// A folder and its parent, so that both views refresh.
void RememberChangedFolder(RunState& state, std::wstring_view folder) {
  std::wstring f(WithoutTrailingSeparator(folder));
  if (f.empty()) return;
  state.changedFolders.insert(f);
  std::wstring parent(WithoutTrailingSeparator(FolderPart(f)));
  if (!parent.empty()) state.changedFolders.insert(parent);
}

FsStatus EnsureTargetFolder(const std::wstring& folder, RunState& state) {
  if (state.knownFolders.contains(folder)) return FsStatus::Ok();
  if (state.journal && state.journal->active()) {
    // The levels that are missing, outermost first, written down before they are made, so
    // that the undo can take away again what is left of them empty.
    std::vector<std::wstring> missing;
    for (std::wstring level(WithoutTrailingSeparator(folder)); !level.empty() && !FolderExists(level);) {
      missing.push_back(level);
      std::wstring parent(WithoutTrailingSeparator(FolderPart(level)));
      if (parent.size() >= level.size()) break;
      level = std::move(parent);
    }
    for (auto it = missing.rbegin(); it != missing.rend(); ++it) {
      if (!state.journal->FolderMade(*it)) return FsStatus::Fail(FsError::kOther, FsSide::kTarget);
    }
  }
  FsStatus status = ActiveFileSystem().CreateFolders(folder);
  if (status.ok()) state.knownFolders.insert(folder);
  return status;
}

ActionResult TransferFileAs(const FileRef& file, const std::wstring& targetFolder, const std::wstring& targetName,
                            const ActionPlan& plan, RunMode mode, ActionHost& host, RunState& state) {
  if (ActionMovesFile(plan.aktion)) RememberChangedFolder(state, FolderPart(file.path));
  return MoveOrCopyFile(file, targetFolder, targetName, RunContext{plan, mode, host, state});
}

std::wstring NumberedName(const std::wstring& target, int number) {
  if (number > kMaxNumber) return {};
  const std::wstring folder = FolderPart(target);
  const std::wstring name = NamePart(target);
  const size_t dot = name.rfind(L'.');
  const std::wstring stem = dot == std::wstring::npos ? name : name.substr(0, dot);
  const std::wstring extension = dot == std::wstring::npos ? L"" : name.substr(dot);
  return folder + stem + L"(" + NumberText(static_cast<std::uint64_t>(number)) + L")" + extension;
}

std::wstring NumberedFreeName(const std::wstring& target, int* number) {
  for (int n = number ? *number + 1 : 1; n <= kMaxNumber; ++n) {
    std::wstring candidate = NumberedName(target, n);
    if (!PathExists(candidate)) {
      if (number) *number = n;
      return candidate;
    }
  }
  if (number) *number = kMaxNumber;
  return {};
}

ActionResult RemoveFile(const FileRef& file, const RunContext& run) {
  const std::wstring& path = file.path;
  const std::wstring& aktion = run.plan.aktion;
  const bool simulate = run.mode == RunMode::Simulate;
  RunState& state = run.state;
  ActionHost& host = run.host;
  RememberChangedFolder(state, FolderPart(path));
  ActionResult result;
  if (Is(aktion, kAktionLoeschenP)) {
    if (simulate) {
      result.resultWord = ResultWord::kLoeschenPSimuliert;
    } else {
      const JournalMark journaled = JournalBefore(state, JournalAction::kRecycle, path);
      if (journaled.refused) return {JournalRefusedWord(), {}};
      const FsStatus status = ActiveFileSystem().Recycle(file);
      JournalAfter(state, journaled, status.ok());
      result.resultWord = status.ok() ? std::wstring(ResultWord::kGeloeschtP) : ErrorWord(FsStatusText(status));
    }
  } else if (Is(aktion, kAktionLoeschenX)) {
    if (simulate) {
      result.resultWord = ResultWord::kLoeschenXSimuliert;
    } else {
      const JournalMark journaled = JournalBefore(state, JournalAction::kDelete, path);
      if (journaled.refused) return {JournalRefusedWord(), {}};
      const FsStatus status = DeleteForGood(file, true);
      JournalAfter(state, journaled, status.ok());
      result.resultWord = status.ok() ? std::wstring(ResultWord::kGeloeschtX) : ErrorWord(FsStatusText(status));
    }
  } else if (Is(aktion, kAktionLoeschenS)) {
    if (simulate) {
      result.resultWord = ResultWord::kLoeschenSSimuliert;
    } else {
      const auto progress = [&host](const ShredProgress& p) { host.ShredProgress(p); };
      const JournalMark journaled = JournalBefore(state, JournalAction::kShred, path);
      if (journaled.refused) return {JournalRefusedWord(), {}};
      const ShredResult shred = ShredFile(file, host.ui(), progress, ShredTextsInLanguage());
      JournalAfter(state, journaled, shred.Succeeded());
      if (shred.outcome == ShredOutcome::NameRemoved) {
        result.resultWord = ShredReasonText(shred);  // the other names keep the data
      } else {
        result.resultWord = shred.Succeeded() ? std::wstring(ResultWord::kGeloeschtS) : ErrorWord(ShredReasonText(shred));
      }
      // A file that cannot be opened was not touched at all; the user hears why at once,
      // not only from the row.
      if (shred.failure == ShredFailure::CannotOpen || shred.failure == ShredFailure::NotFound) {
        host.ui().ShowMessage(std::wstring(kShredCannotOpen) + L"\r\n" + path + L"\r\n" + ShredReasonText(shred),
                              MessageIcon::Critical, MessageButtons::Ok);
      }
    }
  } else {
    result.resultWord = ErrorWord(L"Unbekannte Aktion " + aktion);
  }
  return result;
}

ActionResult NotifyFileFound(const RunContext& run) {
  // Only a timed run speaks, and only once; a run by hand just lists what would be reported.
  if (run.mode == RunMode::Simulate || !run.host.TimerRunning()) return {std::wstring(ResultWord::kSimuliert), {}};
  if (!run.state.notified) {
    run.host.Notify(L"Ablagix", L"Bedingung wurde erf\u00fcllt!");
    run.state.notified = true;
  }
  return {std::wstring(ResultWord::kBenachrichtigt), {}};
}

void AnnounceChangedFolders(RunState& state) {
  for (const auto& folder : state.changedFolders) NotifyFolderChanged(folder);
  state.changedFolders.clear();
}

}  // namespace ablagix
