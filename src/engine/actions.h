// What happens to one accepted file: the target path, the collision policy and the action
// (move, copy, rename, recycle, delete, shred, notify), or in a simulation only the result word.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/ui_port.h"
#include "engine/run_state.h"
#include "fileops/file_system_seam.h"
#include "fileops/file_ops.h"
#include "fileops/shredder.h"
#include "log/log_row.h"

namespace ablagix {

enum class RunMode { Execute, Simulate };

// The profile values the handling of a file needs. A log row carries the same values, so
// the checked rows of a log can be handled again later.
struct ActionPlan {
  std::wstring aktion;     // action code, compared ignoring case
  std::wstring kollision;  // "0" overwrite, "1" (or empty) number the new file, "2" skip
  std::wstring zippen;
  std::wstring zipName;
  // "Identisch": a target with the same content (also under a number it got before) makes
  // the file "Übersprungen (identisch)", and a moved file stays where it is.
  bool skipIdentical = false;
};

// The two program settings that shape every archive.
struct ZipSettings {
  bool keepPath = false;   // AXZipHolePath: the file's folder path in the entry name
  bool createExe = false;  // AXCreateEXE: a self-extracting .exe instead of a .zip
};

// The world as the per-file handling sees it.
class ActionHost {
 public:
  virtual ~ActionHost() = default;
  virtual UiPort& ui() = 0;
  // Whether the interval timer is running (notify profiles only speak then).
  virtual bool TimerRunning() const { return false; }
  // A notification-area balloon or, on a terminal, a line.
  virtual void Notify(const std::wstring& title, const std::wstring& text) = 0;
  // Bytes done of a long copy; return false to cancel it.
  virtual bool CopyProgress(std::uint64_t /*done*/, std::uint64_t /*total*/) { return true; }
  // After every block the shredder wrote, for its wait window.
  virtual void ShredProgress(const ablagix::ShredProgress& /*progress*/) {}
  virtual ZipSettings Zip() const { return {}; }
};

// An entry of an archive that "Entpacken" did not write (or, simulated, would not write).
struct EntryResult {
  std::wstring name;        // as the archive names it
  std::wstring resultWord;  // "Fehler! ..." or "Übersprungen"
  std::wstring target;      // the file it was meant for, "" when it has none
};

struct ActionResult {
  std::wstring resultWord;
  std::wstring targetFile;  // where the file went (move/copy), "" otherwise
  // "Entpacken": the files written (or that would be), shown in the row's size column, and
  // the entries that were not, each a row of its own (engine/unpack_action.h).
  std::optional<std::uint64_t> filesWritten{};
  std::vector<EntryResult> entries{};
};

// Everything the handling of a file needs besides the file: the profile's plan, whether it
// is a simulation, the host and the run's state. One per profile (or checked row) and run.
struct RunContext {
  const ActionPlan& plan;
  RunMode mode;
  ActionHost& host;
  RunState& state;
};

// The collision policy stored under "Kollision".
enum class Collision {
  kReplace,  // "0" (and every other value): "immer überschreiben"
  kNumber,   // "1" or empty: the new file gets the next free "(n)"
  kSkip,     // "2": the file stays where it is
};
Collision CollisionOf(std::wstring_view kollision);

// The single actions; engine/dispatch.h picks one by the plan's action. Each never throws;
// every failure is a result word. `file` carries what the scan saw of it: another file under
// its name is not handled.

// Moves or copies `file` into `targetFolder` as `targetName` under the plan's collision
// policy, making the folder first (not in a simulation).
ActionResult MoveOrCopyFile(const FileRef& file, const std::wstring& targetFolder, const std::wstring& targetName,
                            const RunContext& run);
// "Umbenennen": gives `file` the name `newName` in its own folder under the plan's collision
// policy; a name that is already the file's own makes it "Übersprungen".
ActionResult RenameFile(const FileRef& file, const std::wstring& newName, const RunContext& run);
// "LöschenP" (recycle), "LöschenX" (delete) and "LöschenS" (shred).
ActionResult RemoveFile(const FileRef& file, const RunContext& run);
// "Benachrichtigen": the first file of a timed run shows the balloon.
ActionResult NotifyFileFound(const RunContext& run);

// A move or copy under another name than the file's own (a sidecar that follows the number
// its main file got).
ActionResult TransferFileAs(const FileRef& file, const std::wstring& targetFolder, const std::wstring& targetName,
                            const ActionPlan& plan, RunMode mode, ActionHost& host, RunState& state);

// Whether `target`, or one of the numbered names it got before ("a(1).jpg", "a(2).jpg" ...),
// holds exactly the bytes of `file` ("Identisch").
bool IdenticalTargetExists(const FileRef& file, const std::wstring& target);

// "name(n).ext" for `target`; "" beyond (1000).
std::wstring NumberedName(const std::wstring& target, int number);
// The free name for `target` under the numbering policy: name(1).ext, name(2).ext, ... up to
// (1000), starting after `*number` (0: from the first); `*number` receives the number used.
// "" when every number is taken.
std::wstring NumberedFreeName(const std::wstring& target, int* number = nullptr);

// What the user is told when a file to be shred cannot be opened, above its path and the
// reason.
inline constexpr std::wstring_view kShredCannotOpen =
    L"Die Datei kann nicht ge\u00f6ffnet werden und wird nicht geschreddert:";

// The reason when every "(n)" up to the last one is taken: giving up is better than
// overwriting one of them.
inline constexpr std::wstring_view kAllNumbersTaken = L"Alle Namen bis (1000) sind vergeben";

// Makes sure a target folder exists, once per folder and run.
FsStatus EnsureTargetFolder(const std::wstring& folder, RunState& state);
// Remembers a folder (and its parent) for the shell's refresh at the end of the run.
void RememberChangedFolder(RunState& state, std::wstring_view folder);

// Tells the shell about every folder collected in `state` (Windows; nothing elsewhere).
void AnnounceChangedFolders(RunState& state);

}  // namespace ablagix
