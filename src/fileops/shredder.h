// The shredder: destroys a file's content before deleting it. The file is overwritten in four
// passes (0x00, 0xFF, 0xFF with a 0x8C tail, one random byte value per block), renamed in its
// folder to a random six-character name, and deleted. Esc stops it between two blocks.
//
//   ShredResult r = ShredFile(L"D:\\Alt\\konto.pdf", ui, [&](const ShredProgress& p) {
//     waitWindow.SetText(p.text);
//   });
//   if (!r.Succeeded()) log.Add(..., r.reason);
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "base/ui_port.h"
#include "fileops/file_system_seam.h"

namespace ablagix {

inline constexpr std::size_t kShredBlockSize = 32768;
inline constexpr int kShredPasses = 4;

enum class ShredOutcome {
  Shredded,         // overwritten, renamed and deleted
  // The data has other names too (hard links): overwriting it would destroy what those names
  // hold, so only this name was removed and the data was left as it is.
  NameRemoved,
  SkippedReadOnly,  // read-only and the question was cancelled; the file is untouched
  Aborted,          // Esc or the abort flag; the file stays, partly overwritten, under its name
  Failed,           // see `failure` and `reason`
};

// Where a shredding failed, for the caller to choose what to tell the user.
enum class ShredFailure {
  None,
  NotFound,      // gone before it could be opened
  NotAFile,      // a folder or a link: never overwritten
  CannotOpen,    // not overwritten (in use, no permission)
  Overwriting,   // partly overwritten, still under its name
  Renaming,      // overwritten, still under its name
  Deleting,      // overwritten and renamed, not deleted
};

// The texts of the read-only question and of the progress line; the caller passes them in
// the user's language.
inline constexpr std::wstring_view kShredReadOnlyQuestion =
    L"ist schreibgesch\u00fctz, sollen ' alle ' schreibgesch\u00fctzten Dateien geschreddert werden? "
    L"Wenn nur diese eine schreibgesch\u00fctzte Datei geschreddert werden soll best\u00e4tigen Sie mit nein!";
inline constexpr std::wstring_view kShredOverwriting = L"\u00dcberschreibe ";

struct ShredTexts {
  std::wstring readOnlyQuestion = std::wstring(kShredReadOnlyQuestion);  // after the path and a line break
  std::wstring overwriting = std::wstring(kShredOverwriting);           // before the file name
};

struct ShredResult {
  ShredOutcome outcome = ShredOutcome::Failed;
  ShredFailure failure = ShredFailure::None;
  // For Failed: a short German reason for the log row ("Löschen fehlgeschlagen").
  std::wstring reason;
  // The system error code behind a failure, 0 when there is none.
  std::uint32_t systemError = 0;
  // Where the file is after Aborted or Failed when it still exists: its own path, or the
  // random name when only the final delete failed. Empty when the file is gone.
  std::wstring leftOver;

  // The name is gone as asked (shredded, or only the name of data that has others).
  bool Succeeded() const { return outcome == ShredOutcome::Shredded || outcome == ShredOutcome::NameRemoved; }
};

struct ShredProgress {
  // "Überschreibe konto.pdf... 2 von 4": the file name and the current pass.
  std::wstring_view text;
  int pass = 0;                       // 1 .. kShredPasses
  std::uint64_t passBytesWritten = 0;  // of this pass, after the write just done
  std::uint64_t fileLength = 0;
};

// Called after every block written, so the wait window can repaint.
using ShredProgressFn = std::function<void(const ShredProgress&)>;

// Shreds one file. A read-only file is only shredded after asking (texts.readOnlyQuestion)
// unless "all" was answered before; its attributes are then reset to "archive" only. Between
// blocks `ui.PollForAbort()` and the process-wide abort flag are checked; Esc also sets the
// flag, so the caller's file loop stops as well. Failures are only returned, never shown.
ShredResult ShredFile(const FileRef& file, UiPort& ui, const ShredProgressFn& progress = {},
                      const ShredTexts& texts = {});

// What the row says when only the name of hard-linked data was removed.
inline constexpr std::wstring_view kShredNameOnly =
    L"Nur der Name entfernt: die Daten haben weitere Namen und wurden nicht geschreddert";

// The reason for a log row when `result` did not succeed: "Abgebrochen", "Schreibgeschützt,
// nicht geschreddert", "Löschen fehlgeschlagen (Zugriff verweigert)".
std::wstring ShredReasonText(const ShredResult& result);

// The answer memory of the read-only question: set by "Ja" (shred all read-only files), kept
// until the program ends. The setter is for start-up and tests.
bool ShredAllReadOnly();
void SetShredAllReadOnly(bool value);

// A random name of `length` characters from the shredder's alphabet.
std::wstring RandomName(std::size_t length);

}  // namespace ablagix
