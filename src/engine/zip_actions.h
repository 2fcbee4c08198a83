// Copy and move profiles that pack their files into zip archives instead: one archive per file
// ("Zippen" 1) or one archive for all files of a run ("Zippen" 2), optionally as
// self-extracting programs. The archive's name follows the collision policy like a copied
// file's; a moved file is deleted only after its archive is complete and in place.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "engine/actions.h"
#include "log/log_list.h"

namespace ablagix {

enum class ZipMode { None, PerFile, OneArchive };

// "1" one archive per file, "2" one for the run; every other value ("0", "3", "ja", blank)
// means no zip, and the profile copies or moves normally.
ZipMode ZipModeOf(std::wstring_view zippen);

// The row text of a file that could not be zipped because the self-extractor is missing.
inline constexpr std::wstring_view kZipComponentMissing = L"Konnte Zipkomponente nicht laden";

// One archive holding one file, at the target path plus ".zip" (".exe" for a self-extractor).
ActionResult ZipFileToOwnArchive(const FileRef& file, const std::wstring& targetFolder, const RunContext& run);

// One archive for many files: the files are compressed on worker threads while the run goes
// on, and every row is given its final word when the archive is finished. An archive of the
// name that is there already keeps its entries and gets the new ones added; an entry of the
// same name is replaced only under "immer überschreiben" (the row then says so).
class RunArchive {
 public:
  RunArchive(const ActionPlan& plan, ActionHost& host, RunState& state);
  ~RunArchive();
  RunArchive(const RunArchive&) = delete;
  RunArchive& operator=(const RunArchive&) = delete;

  // Adds a file whose log row is `row`. The archive is started with the first file: its
  // folder is `targetFolder` (made if missing) and its name `zipName` plus ".zip" or ".exe".
  // Returns the row's word until the archive is finished ("Gezippt" for now, or why not).
  std::wstring Add(const FileRef& file, const std::wstring& targetFolder, const std::wstring& zipName,
                   std::size_t row);
  // Writes the archive and gives every row its final word; for a move, deletes the files that
  // are in the archive. With `cancelled` (Esc) the archive is dropped and nothing is deleted.
  // Returns how many of the rows that Add answered "Gezippt" for now read "Fehler!".
  std::size_t Finish(LogList& log, bool cancelled);
  // Where the archive went, "" when there is none.
  const std::wstring& archivePath() const { return archivePath_; }

 private:
  struct Batch;
  ActionPlan plan_;
  ActionHost& host_;
  RunState& state_;
  std::unique_ptr<Batch> batch_;
  std::wstring startFailure_;  // the word of every row when the archive could not be started
  std::wstring archivePath_;
  std::vector<std::pair<std::size_t, FileRef>> rows_;  // row and source of each added file
};

}  // namespace ablagix
