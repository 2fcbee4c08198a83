// One process-wide abort flag. Esc in the window and Ctrl+C on the command line set it; the
// scan, the per-file loop and the exports read it and stop. A run clears it before it starts.
#pragma once

namespace ablagix {

bool AbortRequested();
// Safe to call from a signal handler.
void RequestAbort();
void ClearAbort();

}  // namespace ablagix
