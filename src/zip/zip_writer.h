// Writes zip archives: deflated entries (stored when deflating would not make them smaller,
// and always for formats that are compressed already), UTF-8 names, the file time in the DOS
// fields and in the extended-timestamp field, ZIP64 only where an entry or the archive needs
// it. Optionally the archive becomes a self-extracting .exe (sfx_archive.h).
//
// An archive is written under a temporary name beside the target and renamed into place only
// when it is complete, so a failed or cancelled archive never leaves a broken file under the
// final name.
//
// One archive per file (Zippen 1):
//   ZipOptions options;
//   options.commit = ZipCommit::kNumbered;  // from the collision policy
//   options.cancel = [] { return AbortRequested(); };
//   ZipWriteResult r = ZipOneFile({source, ZipEntryNameForPath(source, keepPath)}, target + L".zip", options);
//   // r.ok(): "Gezippt", the archive is r.path; r.code == kExists: "Übersprungen"
//
// One archive for a run (Zippen 2): files are compressed on worker threads while the caller
// goes on adding, and written in the order they were added.
//   ZipBatch batch;
//   if (batch.Begin(folder + zipName + L".zip", options).ok()) {
//     for (...) batch.Add({path, ZipEntryNameForPath(path, keepPath)});
//     ZipWriteResult r = batch.Finish();
//     for (i ...) batch.FileResult(i).ok()   // whether file i is in the archive
//   }
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "fileops/file_ops.h"
#include "zip/sfx_archive.h"

namespace ablagix {

enum class ZipWriteCode {
  kOk,
  kCancelled,
  kExists,        // "create new": the archive's name is taken
  kCreateFailed,  // the temporary file beside the target could not be created
  kWriteFailed,   // writing the archive failed (full disk, ...)
  kReadFailed,    // a file could not be opened or read
  kFileChanged,   // a file was written to while it was read (it grew, shrank or changed)
  kNotTheFoundFile,  // the name no longer stands for the file that was found
  kArchiveChanged,   // the archive that entries were added to was changed by someone else meanwhile
  kRenameFailed,  // the finished archive could not be put under its name
  kNoStub,        // a self-extractor was asked for, but this build has none
  kNotZip,        // the archive to turn into a self-extractor cannot be read
  kNotStarted,    // ZipBatch used without a successful Begin
};

struct ZipWriteResult {
  ZipWriteCode code = ZipWriteCode::kOk;
  std::uint32_t systemError = 0;  // where the system gave one
  std::wstring path;              // the archive's final path, once it is in place
  // For a file that went in: the file and its version as they were read, whole. Deleting the
  // file (a move) is right only while it is still that file in that version.
  FileId sourceId;
  FileVersion sourceVersion;
  // For a file of a run archive that took the place of an entry of the same name.
  bool replacedEntry = false;
  bool ok() const { return code == ZipWriteCode::kOk; }
};

// A short German reason, for the log row of a file ("Nicht genügend Speicherplatz").
std::wstring ZipWriteText(const ZipWriteResult& result);

// What happens when a file of the archive's name exists by the time the archive is complete.
enum class ZipCommit {
  kCreateNew,  // fail with kExists and leave the other file alone ("überspringen")
  kReplace,    // replace it ("immer überschreiben")
  kNumbered,   // take the first free name of "a.zip", "a(1).zip" ... "a(1000).zip"
               // ("neue Datei umbenennen (1)"); chosen at the rename, so never a taken one
};

struct ZipOptions {
  ZipCommit commit = ZipCommit::kCreateNew;
  // ZipBatch: an archive of the name that exists already keeps its entries and gets the new
  // ones added (it may hold the only copies of files an earlier run moved). An entry of the
  // same name is replaced only with kReplace; with kNumbered the new one is numbered, with
  // kCreateNew the file is left out (kExists). The archive is put back in its place only if
  // nobody changed it meanwhile (kArchiveChanged otherwise).
  bool addToExisting = false;
  int level = 6;  // zlib's levels 1..9
  // Asked between blocks, on the calling thread only; true cancels the archive.
  std::function<bool()> cancel;
  // Write a self-extracting .exe with these texts (StandardSfxTexts()) instead of a plain zip.
  const std::vector<SfxText>* selfExtractor = nullptr;
  // ZipBatch: compressing threads; 0 = one per processor core.
  unsigned threads = 0;
};

struct ZipSource {
  ZipSource() = default;
  ZipSource(std::wstring p, std::string name, FileTime time = 0, FileId file = {}, FileId parent = {})
      : path(std::move(p)), entryName(std::move(name)), lastWrite(time), id(file), folder(parent) {}

  std::wstring path;
  std::string entryName;  // UTF-8, "/" between folders (ZipEntryNameForPath)
  FileTime lastWrite = 0;  // 0: taken from the file
  // What the scan saw: another file under the name is not packed (kNotTheFoundFile).
  FileId id;
  FileId folder;
};

// One archive holding one file.
ZipWriteResult ZipOneFile(const ZipSource& file, const std::wstring& archivePath, const ZipOptions& options);

// One archive holding many files.
class ZipBatch {
 public:
  ZipBatch();
  ~ZipBatch();  // abandons an unfinished archive
  ZipBatch(const ZipBatch&) = delete;
  ZipBatch& operator=(const ZipBatch&) = delete;

  // Creates the temporary file and starts the workers.
  ZipWriteResult Begin(const std::wstring& archivePath, const ZipOptions& options);
  // Queues a file and returns its number; writes the entries that are ready meanwhile. A name
  // that is already in the archive (ignoring case, as Windows would on extraction) gets a
  // number: "a.txt", "a(1).txt".
  std::size_t Add(ZipSource file);
  // Writes the remaining entries and the directory and puts the archive in place. A file that
  // could not be read is left out (see FileResult); the archive is written without it.
  ZipWriteResult Finish();
  // Drops the archive: stops the workers and removes the temporary file.
  void Abandon();

  // After Finish: ok() when file `index` is in the archive under its final name, otherwise why
  // not (its own read error, or the archive's error when the archive failed).
  const ZipWriteResult& FileResult(std::size_t index) const;
  std::size_t fileCount() const;
  // The entry name file `index` got (after numbering).
  const std::string& EntryName(std::size_t index) const;
  // The archive that Begin found under the name and adds to; unknown when it began a new one.
  FileId ExistingArchive() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

// Writes a self-extracting .exe from a finished zip: the stub, the texts, and the zip's
// entries copied as they are. The .zip is left as it is; the caller removes it.
ZipWriteResult WriteSelfExtractorFromZip(const std::wstring& zipPath, const std::wstring& exePath,
                                         const std::vector<SfxText>& texts, ZipCommit commit);

// Whether a file of this name is stored rather than deflated, because its format is
// compressed already (pictures, audio, video, archives, office packages).
bool IsCompressedFormat(std::wstring_view fileName);

namespace testing_hooks {
// Called with the archive's size so far before every write to it; returning a system error
// code (non-zero) makes that write fail with it, as a full disk would.
void SetZipWriteFailure(std::function<std::uint32_t(std::uint64_t)> failure);
}  // namespace testing_hooks

}  // namespace ablagix
