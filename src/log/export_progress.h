// The progress bar that a long export moves. The window passes its bar; the command line and
// tests pass none.
#pragma once

#include <cstddef>

namespace ablagix {

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
