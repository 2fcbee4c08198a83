// The progress bar that a long export moves. The window passes its bar; the command line and
// tests pass none.
#pragma once

#include <cstddef>
#include <string_view>

#include "base/abort_flag.h"
#include "base/ui_port.h"

namespace ablagix {

// The last line of an export stopped with Esc.
inline constexpr std::wstring_view kExportAborted = L"Abbruch";

// Asked after every row: Esc in the window (through `ui`, which may be null) or the abort
// flag (Ctrl+C on the command line, closing the window) ends an export early.
inline bool ExportStopRequested(UiPort* ui) { return (ui && ui->PollForAbort()) || AbortRequested(); }

class ExportProgress {
 public:
  virtual ~ExportProgress() = default;
  // The bar's maximum: the number of rows that will be written.
  virtual void Start(std::size_t rows) = 0;
  // Rows written so far.
  virtual void Advance(std::size_t rowsDone) = 0;
  // The export is over (finished or stopped): the bar goes back to empty.
  virtual void Reset() = 0;
};

}  // namespace ablagix
