// One entry of an archive written out as a file, for the extractors that work through the file
// system layer (the action "Entpacken", the undo of a move into an archive). The data goes
// into a hidden temporary file in the folder of its target (fileops/temp_files.h, so a killed
// run's leftovers are removed by the next one), read once as it streams out of the archive,
// and only a complete file whose size and CRC are right is kept: a damaged or cut entry never
// leaves a half-written file under any name. The caller gives the kept file its name.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "fileops/file_ops.h"
#include "zip/zip_reader.h"

namespace ablagix {

struct ExtractedEntry {
  ZipError read = ZipError::kNone;  // kStopped when `keepGoing` said stop
  std::uint32_t writeError = 0;     // the system's code when the file could not be written
  std::wstring tempPath;            // the complete file, no longer hidden; "" on failure
  std::uint64_t size = 0;           // bytes written

  bool ok() const { return !tempPath.empty(); }
};

// Writes the data of `entry` into a new temporary file in `folder`. It is private while it is
// written and gets the entry's Unix permissions (without set-id bits) afterwards, or those a
// new file gets. `durable`: flushed to the disk before this returns, for a file that takes the
// place of another one. `keepGoing` (optional) is asked with the bytes done before each piece.
ExtractedEntry ExtractEntryToTemp(ZipReader& reader, const ZipEntry& entry, const std::wstring& folder, bool durable,
                                  const std::function<bool(std::uint64_t)>& keepGoing = {});

// Why it failed, in German: the system's text, "Abgebrochen" or the reader's.
std::wstring ExtractProblemText(const ExtractedEntry& extracted);

// The last-write time an extracted file gets: the extended-timestamp field's, else the header's
// DOS time read as local time; 0 when the DOS time is no valid date either.
FileTime EntryLastWrite(const ZipEntry& entry);

}  // namespace ablagix
