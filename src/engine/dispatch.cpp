#include "engine/dispatch.h"

#include "base/text.h"
#include "engine/unpack_action.h"
#include "engine/zip_actions.h"
#include "fileops/path_text.h"
#include "profiles/profile.h"

namespace ablagix {

ActionResult HandleFile(const FileRef& file, const std::wstring& targetFolder, const RunContext& run,
                        const std::wstring& targetName) {
  const std::wstring& aktion = run.plan.aktion;
  if (EqualsNoCase(aktion, kAktionVerschieben) || EqualsNoCase(aktion, kAktionKopieren)) {
    if (EqualsNoCase(aktion, kAktionVerschieben)) RememberChangedFolder(run.state, FolderPart(file.path));
    if (ZipModeOf(run.plan.zippen) == ZipMode::PerFile) return ZipFileToOwnArchive(file, targetFolder, run);
    return MoveOrCopyFile(file, targetFolder, targetName.empty() ? NamePart(file.path) : targetName, run);
  }
  if (EqualsNoCase(aktion, kAktionUmbenennen)) return RenameFile(file, targetName, run);
  if (EqualsNoCase(aktion, kAktionLoeschenP) || EqualsNoCase(aktion, kAktionLoeschenX) ||
      EqualsNoCase(aktion, kAktionLoeschenS)) {
    return RemoveFile(file, run);
  }
  if (EqualsNoCase(aktion, kAktionBenachrichtigen)) return NotifyFileFound(run);
  if (EqualsNoCase(aktion, kAktionEntpacken)) return UnpackArchive(file, targetFolder, run);
  return {ErrorWord(L"Unbekannte Aktion " + aktion), {}};
}

ActionResult HandleFile(const FileRef& file, const std::wstring& targetFolder,
                        const ActionPlan& plan, RunMode mode, ActionHost& host, RunState& state) {
  return HandleFile(file, targetFolder, RunContext{plan, mode, host, state});
}

}  // namespace ablagix
