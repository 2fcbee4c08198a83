// The handling of one accepted file: picks the action the plan names (engine/actions.h) or,
// for a copy or move into an archive of its own, the zip action (engine/zip_actions.h), or
// for "Entpacken" the unpacking of an archive (engine/unpack_action.h).
#pragma once

#include <string>

#include "engine/actions.h"

namespace ablagix {

// Handles one file. `targetFolder` is used by move, copy and unpack only, `targetName` by
// move, copy and rename (the name "Zielname" builds; "" keeps the file's own name). Creates
// the target folder (not in a simulation); never throws; every failure is a result word.
// `file` carries what the scan saw of it: another file under its name is not handled.
ActionResult HandleFile(const FileRef& file, const std::wstring& targetFolder, const RunContext& run,
                        const std::wstring& targetName = {});
ActionResult HandleFile(const FileRef& file, const std::wstring& targetFolder,
                        const ActionPlan& plan, RunMode mode, ActionHost& host, RunState& state);

}  // namespace ablagix
