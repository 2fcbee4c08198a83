#include "engine/actions.h"

#include "base/text.h"
#include "desktop/shell_notify.h"
#include "fileops/copy_move.h"
#include "fileops/path_text.h"
#include "fileops/recycle.h"
#include "fileops/shredder.h"
#include "log/log_row.h"
#include "profiles/profile.h"

namespace ablagix {
namespace {

constexpr int kMaxNumber = 1000;

bool Is(std::wstring_view aktion, std::wstring_view code) { return EqualsNoCase(aktion, code); }

// A folder and its parent, so that both views refresh.
void RememberFolder(RunState& state, std::wstring_view folder) {
  std::wstring f(WithoutTrailingSeparator(folder));
  if (f.empty()) return;
  state.changedFolders.insert(f);
  std::wstring parent(WithoutTrailingSeparator(FolderPart(f)));
  if (!parent.empty()) state.changedFolders.insert(parent);
}

ActionResult TransferFile(const std::wstring& path, const std::wstring& targetFolder,
                          const ActionSpec& spec, RunMode mode, ActionHost& host, RunState& state) {
  const bool move = Is(spec.aktion, kAktionVerschieben);
  ActionResult result;
  // Files of one run mostly share their target folder; it is checked once, not per file.
  if (mode == RunMode::Execute && targetFolder != state.lastTargetFolder) {
    if (!FolderExists(targetFolder) && !CreateFolders(targetFolder)) {
      result.resultWord = std::wstring(ResultWord::kUebersprungen) + std::wstring(ResultWord::kZielpfadNichtErstellt);
      return result;
    }
    state.lastTargetFolder = targetFolder;
  }
  std::wstring target = JoinPath(targetFolder, NamePart(path));
  const std::wstring_view policy = Trim(spec.kollision);
  if (PathExists(target)) {
    if (policy == L"2") {
      result.resultWord = ResultWord::kUebersprungen;
      return result;
    }
    if (policy.empty() || policy == L"1") {
      target = NumberedFreeName(target);
      // Every number taken: giving up is better than overwriting one of them.
      if (target.empty()) {
        result.resultWord = ResultWord::kFehler;
        return result;
      }
    }
  }
  result.targetFile = target;
  if (mode == RunMode::Simulate) {
    result.resultWord = move ? ResultWord::kVerschobenSimuliert : ResultWord::kKopierenSimuliert;
    return result;
  }
  // A file moved onto itself is already where it should be; replacing it would lose it.
  if (SameFolderText(path, target)) {
    result.resultWord = move ? ResultWord::kVerschoben : ResultWord::kKopiert;
    return result;
  }
  auto progress = [&](std::uint64_t done, std::uint64_t total) { return host.CopyProgress(done, total); };
  const TransferResult done = move ? MoveFileReplacing(path, target, progress)
                                   : CopyFileWithProgress(path, target, progress);
  if (done != TransferResult::Done) {
    result.resultWord = ResultWord::kFehler;
    return result;
  }
  RememberFolder(state, targetFolder);
  result.resultWord = move ? ResultWord::kVerschoben : ResultWord::kKopiert;
  return result;
}

}  // namespace

std::wstring NumberedFreeName(const std::wstring& target) {
  const std::wstring folder = FolderPart(target);
  const std::wstring name = NamePart(target);
  const size_t dot = name.rfind(L'.');
  const std::wstring stem = dot == std::wstring::npos ? name : name.substr(0, dot);
  const std::wstring extension = dot == std::wstring::npos ? L"" : name.substr(dot);
  for (int n = 1; n <= kMaxNumber; ++n) {
    std::wstring candidate = folder + stem + L"(" + NumberText(static_cast<std::uint64_t>(n)) + L")" + extension;
    if (!PathExists(candidate)) return candidate;
  }
  return {};
}

ActionResult HandleFile(const std::wstring& path, const std::wstring& targetFolder,
                        const ActionSpec& spec, RunMode mode, ActionHost& host, RunState& state) {
  const std::wstring& aktion = spec.aktion;
  const bool simulate = mode == RunMode::Simulate;
  ActionResult result;
  if (Is(aktion, kAktionVerschieben) || Is(aktion, kAktionKopieren)) {
    if (Is(aktion, kAktionVerschieben)) RememberFolder(state, FolderPart(path));
    return TransferFile(path, targetFolder, spec, mode, host, state);
  }
  if (Is(aktion, kAktionLoeschenP) || Is(aktion, kAktionLoeschenX) || Is(aktion, kAktionLoeschenS)) {
    RememberFolder(state, FolderPart(path));
  }
  if (Is(aktion, kAktionLoeschenP)) {
    result.resultWord = simulate                 ? ResultWord::kLoeschenPSimuliert
                        : MoveToRecycleBin(path) ? ResultWord::kGeloeschtP
                                                 : ResultWord::kFehler;
  } else if (Is(aktion, kAktionLoeschenX)) {
    result.resultWord = simulate                          ? ResultWord::kLoeschenXSimuliert
                        : DeletePermanently(path, true)   ? ResultWord::kGeloeschtX
                                                          : ResultWord::kFehler;
  } else if (Is(aktion, kAktionLoeschenS)) {
    if (simulate) {
      result.resultWord = ResultWord::kLoeschenSSimuliert;
    } else {
      const auto progress = [&host](const ShredProgress& p) { host.ShredProgress(p); };
      result.resultWord =
          ShredFile(path, host.ui(), progress).Succeeded() ? ResultWord::kGeloeschtS : ResultWord::kFehler;
    }
  } else if (Is(aktion, kAktionBenachrichtigen)) {
    // Only a timed run speaks, and only once; a run by hand just lists what would be reported.
    if (!simulate && host.TimerRunning()) {
      if (!state.notified) {
        host.Notify(L"Ablagix", L"Bedingung wurde erf\u00fcllt!");
        state.notified = true;
      }
      result.resultWord = ResultWord::kBenachrichtigt;
    } else {
      result.resultWord = ResultWord::kSimuliert;
    }
  } else {
    result.resultWord = ResultWord::kFehler;
  }
  return result;
}

void AnnounceChangedFolders(RunState& state) {
  for (const auto& folder : state.changedFolders) NotifyFolderChanged(folder);
  state.changedFolders.clear();
}

}  // namespace ablagix
