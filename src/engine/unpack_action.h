// "Entpacken": the entries of a zip archive the conditions accepted, written into the target
// folder with their folders. The archive stays where it is, untouched.
//
// - Names that would leave the target folder (absolute names, drive letters, "..", colons and
//   data streams), link entries, and entries below a folder that is a link on the disk are not
//   written; names Windows does not allow are made storable (zip/zip_names.h).
// - Each file is streamed into a hidden temporary file and gets its name only once it is
//   complete and its CRC is right (zip/zip_extract.h); a damaged, encrypted or unsupported
//   entry is a row "Fehler!" of its own, and the rest of the archive is still unpacked.
// - A taken name follows "Kollision": "1" (or empty) numbers the new file, "2" skips it, "0"
//   replaces: the file that was there goes to the recycle bin first, so the undo brings it
//   back. A second entry of a name this archive already wrote is always numbered.
// - Every file and folder is written down in the run's journal before it is made; the undo
//   removes the unpacked files that are as the run left them while the archive is still there.
//
// The archive's row reads "Entpackt" ("Entpacken, simuliert") with the number of files in the
// size column ("12 Dateien").
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "engine/actions.h"
#include "log/log_list.h"

namespace ablagix {

// Unpacks `archive` into `targetFolder` (made when missing). A simulation writes nothing and
// counts the files it would write.
ActionResult UnpackArchive(const FileRef& archive, const std::wstring& targetFolder, const RunContext& run);

// The size column of an unpacked archive's row: "1 Datei", "12 Dateien".
std::wstring UnpackedFilesText(std::uint64_t files);

// The rows of the entries an unpack did not write, appended below `archiveRow`'s values (the
// archive's row being built); returns how many of them read "Fehler!". Nothing for other
// actions.
std::size_t AppendUnpackEntryRows(LogList& log, const LogFileFields& archiveRow, const ActionResult& result);
// The same for the archive's row `row` of the list, handled again: its size column gets the
// new count, the entries' rows go to the end of the list.
std::size_t AppendUnpackEntryRows(LogList& log, std::size_t row, const ActionResult& result);

}  // namespace ablagix
