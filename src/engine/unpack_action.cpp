#include "engine/unpack_action.h"

#include <unordered_set>
#include <vector>

#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/journal.h"
#include "fileops/byte_source.h"
#include "fileops/file_system_seam.h"
#include "fileops/path_text.h"
#include "profiles/profile.h"
#include "zip/zip_extract.h"
#include "zip/zip_names.h"
#include "zip/zip_reader.h"

namespace ablagix {
namespace {

constexpr int kMaxNumber = 1000;

// How a complete entry gets its name.
enum class Placing {
  kFree,      // nothing has it
  kNumbered,  // "name(n).ext"
  kReplace,   // the file there goes to the recycle bin first
  kSkip,
};

// What the folder levels of an entry are found to be.
enum class FolderCheck { kReady, kFailed, kStop };

class Unpacking {
 public:
  Unpacking(ZipReader& reader, const FileRef& archive, const std::wstring& targetFolder, const RunContext& run)
      : reader_(reader), archive_(archive), target_(targetFolder), run_(run),
        simulate_(run.mode == RunMode::Simulate), collision_(CollisionOf(run.plan.kollision)) {}

  // Makes the target folder (not in a simulation); false with the row's word when it cannot.
  bool Begin(std::wstring* word);
  // False when the run must stop here: the journal refused, or Esc / Ctrl+C.
  bool Entry(const ZipEntry& entry);

  ActionResult& result() { return result_; }
  std::uint64_t files() const { return files_; }
  const std::wstring& stopWord() const { return stopWord_; }

 private:
  void Note(const std::wstring& shown, std::wstring word, std::wstring target = {}) {
    result_.entries.push_back({shown, std::move(word), std::move(target)});
  }
  FolderCheck FolderFor(const std::vector<std::wstring>& parts, std::size_t count, std::wstring* folder,
                        std::wstring* problem);
  bool Taken(const std::wstring& path) const { return made_.contains(ToLowerText(path)); }
  std::wstring FreeNumberedName(const std::wstring& target, bool folderMissing) const;
  Placing PlacingFor(const std::wstring& target, bool folderMissing, FileInfo* existing, std::wstring* word) const;
  bool Write(const ZipEntry& entry, const std::wstring& shown, const std::wstring& folder, std::wstring target,
             Placing placing, const FileInfo& existing);
  bool Stopped() {
    if (AbortRequested()) return true;
    if (run_.host.ui().PollForAbort()) {
      RequestAbort();
      return true;
    }
    return false;
  }

  ZipReader& reader_;
  const FileRef& archive_;
  const std::wstring& target_;
  const RunContext& run_;
  const bool simulate_;
  const Collision collision_;
  bool targetPresent_ = true;
  FileId archiveId_;
  ActionResult result_;
  std::uint64_t files_ = 0;
  std::wstring stopWord_;
  // Folders below the target seen to be real folders (or, simulated, that would be made).
  std::unordered_set<std::wstring> folders_;
  std::unordered_set<std::wstring> wouldMake_;
  // The files this archive wrote, folded: a second entry of one of their names (or of one
  // that differs only in case) must not replace or skip for them.
  std::unordered_set<std::wstring> made_;
};

bool Unpacking::Begin(std::wstring* word) {
  archiveId_ = archive_.id;
  if (FileInfo info; !archiveId_.known() && ActiveFileSystem().Inspect(archive_.path, &info).ok()) archiveId_ = info.id;
  if (simulate_) {
    targetPresent_ = FolderExists(target_);
    return true;
  }
  if (EnsureTargetFolder(target_, run_.state).ok()) return true;
  *word = JournalRefused(run_.state)
              ? JournalRefusedWord()
              : std::wstring(ResultWord::kUebersprungen) + std::wstring(ResultWord::kZielpfadNichtErstellt);
  return false;
}

// The folder of the first `count` parts below the target. Each level must be a real folder:
// a link there (made by the user, or by an earlier entry of a hostile archive on another
// platform) could lead the file out of the target. Missing levels are made, each written down
// first; a simulation only notes them.
FolderCheck Unpacking::FolderFor(const std::vector<std::wstring>& parts, std::size_t count, std::wstring* folder,
                                 std::wstring* problem) {
  *folder = target_;
  bool missing = simulate_ && !targetPresent_;
  for (std::size_t i = 0; i < count; ++i) {
    *folder = JoinPath(*folder, parts[i]);
    if (folders_.contains(*folder)) continue;
    if (missing || wouldMake_.contains(*folder)) {
      missing = true;
      wouldMake_.insert(*folder);
      continue;
    }
    FileInfo info;
    const FsStatus looked = ActiveFileSystem().Inspect(*folder, &info);
    if (looked.ok()) {
      if (info.kind == FileKind::kFolder) {
        folders_.insert(*folder);
        continue;
      }
      *problem = info.kind == FileKind::kLink ? L"Der Ordner ist eine Verkn\u00fcpfung: " + *folder
                                              : L"Der Ordnername ist durch eine Datei belegt: " + *folder;
      return FolderCheck::kFailed;
    }
    if (looked.error != FsError::kNotFound) {
      *problem = FsStatusText(looked) + L": " + *folder;
      return FolderCheck::kFailed;
    }
    if (simulate_) {
      missing = true;
      wouldMake_.insert(*folder);
      continue;
    }
    const FsStatus made = EnsureTargetFolder(*folder, run_.state);
    if (!made.ok()) {
      if (JournalRefused(run_.state)) {
        stopWord_ = JournalRefusedWord();
        return FolderCheck::kStop;
      }
      *problem = L"Konnte den Ordner nicht anlegen (" + FsStatusText(made) + L"): " + *folder;
      return FolderCheck::kFailed;
    }
    folders_.insert(*folder);
  }
  return FolderCheck::kReady;
}

// The first "(n)" name that is neither on the disk nor written by this archive; "" beyond
// (1000). In a folder a simulation would make, only this archive's names count.
std::wstring Unpacking::FreeNumberedName(const std::wstring& target, bool folderMissing) const {
  for (int n = 1; n <= kMaxNumber; ++n) {
    std::wstring candidate = NumberedName(target, n);
    if (!Taken(candidate) && (folderMissing || !PathExists(candidate))) return candidate;
  }
  return {};
}

Placing Unpacking::PlacingFor(const std::wstring& target, bool folderMissing, FileInfo* existing,
                              std::wstring* word) const {
  if (Taken(target)) return Placing::kNumbered;
  if (folderMissing) return Placing::kFree;
  // Looked at, never opened: a pipe there would hang the run, and replacing a link would act
  // on what it points at.
  const FsStatus looked = ActiveFileSystem().Inspect(target, existing);
  if (!looked.ok()) {
    if (looked.error == FsError::kNotFound) return Placing::kFree;
    *word = ErrorWord(FsStatusText(looked));
    return Placing::kSkip;
  }
  if (existing->kind == FileKind::kLink || existing->kind == FileKind::kSpecial) {
    *word = std::wstring(ResultWord::kUebersprungen) + std::wstring(ResultWord::kZielKeineDatei);
    return Placing::kSkip;
  }
  // An entry named like its own archive, unpacked beside it: the archive is never replaced.
  if (existing->kind == FileKind::kFile && archiveId_.known() && existing->id == archiveId_ &&
      collision_ != Collision::kNumber) {
    *word = std::wstring(ResultWord::kUebersprungen) + std::wstring(ResultWord::kZielIstQuelle);
    return Placing::kSkip;
  }
  switch (collision_) {
    case Collision::kSkip:
      *word = ResultWord::kUebersprungen;
      return Placing::kSkip;
    case Collision::kReplace:
      // A folder of the name is never replaced by a file: the file goes beside it.
      return existing->kind == FileKind::kFile ? Placing::kReplace : Placing::kNumbered;
    case Collision::kNumber:
      break;
  }
  return Placing::kNumbered;
}

bool Unpacking::Entry(const ZipEntry& entry) {
  if (Stopped()) {
    stopWord_ = ErrorWord(L"Abgebrochen");
    return false;
  }
  const std::wstring shown = FromUtf8(entry.name);
  std::vector<std::wstring> parts;
  if (const EntryRefusal refusal = ExtractPartsOf(entry, &parts); refusal != EntryRefusal::kNone) {
    Note(shown, ErrorWord(EntryRefusalText(refusal)));
    return true;
  }
  const std::size_t folderCount = entry.isDirectory() ? parts.size() : parts.size() - 1;
  std::wstring folder;
  std::wstring problem;
  switch (FolderFor(parts, folderCount, &folder, &problem)) {
    case FolderCheck::kStop: return false;
    case FolderCheck::kFailed: Note(shown, ErrorWord(problem)); return true;
    case FolderCheck::kReady: break;
  }
  if (entry.isDirectory()) return true;
  const std::wstring target = JoinPath(folder, parts.back());
  // Known before a byte is read, so that a simulation tells them too.
  if (entry.encrypted()) {
    Note(shown, ErrorWord(L"Der Eintrag ist verschl\u00fcsselt"), target);
    return true;
  }
  if (entry.method != 0 && entry.method != 8) {
    Note(shown, ErrorWord(L"Das Kompressionsverfahren " + NumberText(entry.method) + L" wird nicht unterst\u00fctzt"),
         target);
    return true;
  }
  const bool folderMissing = wouldMake_.contains(folder) || (simulate_ && !targetPresent_ && folder == target_);
  FileInfo existing;
  std::wstring word;
  const Placing placing = PlacingFor(target, folderMissing, &existing, &word);
  if (placing == Placing::kSkip) {
    Note(shown, word, target);
    return true;
  }
  std::wstring named = target;
  if (placing == Placing::kNumbered) {
    named = FreeNumberedName(target, folderMissing);
    if (named.empty()) {
      Note(shown, ErrorWord(kAllNumbersTaken), target);
      return true;
    }
  }
  if (simulate_) {
    made_.insert(ToLowerText(named));
    ++files_;
    return true;
  }
  return Write(entry, shown, folder, named, placing, existing);
}

// Streams the entry into a temporary file, then gives it its name: after the file it replaces
// went to the recycle bin, or under the next free number should the name be taken meanwhile.
bool Unpacking::Write(const ZipEntry& entry, const std::wstring& shown, const std::wstring& folder,
                      std::wstring target, Placing placing, const FileInfo& existing) {
  RunState& state = run_.state;
  const std::uint64_t total = entry.uncompressedSize;
  const ExtractedEntry extracted =
      ExtractEntryToTemp(reader_, entry, folder, placing == Placing::kReplace, [&](std::uint64_t done) {
        return !AbortRequested() && run_.host.CopyProgress(done, total);
      });
  if (!extracted.ok()) {
    if (extracted.read == ZipError::kStopped && extracted.writeError == 0) {
      stopWord_ = ErrorWord(L"Abgebrochen");
      return false;
    }
    Note(shown, ErrorWord(ExtractProblemText(extracted)), target);
    return true;
  }
  FileSystem& fs = ActiveFileSystem();
  const std::wstring& temp = extracted.tempPath;
  if (const FileTime time = EntryLastWrite(entry); time != 0) (void)SetFileLastWrite(temp, time);
  if (placing == Placing::kReplace) {
    const JournalMark recycled = JournalBefore(state, JournalAction::kRecycle, target);
    if (recycled.refused) {
      fs.RemoveFile(temp);
      stopWord_ = JournalRefusedWord();
      return false;
    }
    const FsStatus status = fs.Recycle(FileRef(target, existing.id));
    JournalAfter(state, recycled, status.ok());
    if (!status.ok()) {
      fs.RemoveFile(temp);
      Note(shown,
           ErrorWord(L"Die vorhandene Datei lie\u00df sich nicht in den Papierkorb legen (" + FsStatusText(status) +
                     L"); sie bleibt"),
           target);
      return true;
    }
  }
  const JournalMark journaled = JournalBefore(state, JournalAction::kUnpack, archive_.path, target, false, shown);
  if (journaled.refused) {
    fs.RemoveFile(temp);
    stopWord_ = JournalRefusedWord();
    return false;
  }
  // Never replacing: a file that took the name meanwhile stays, and this one is numbered.
  const std::wstring named = target;
  FsStatus status = fs.Rename(temp, target, false);
  while (status.error == FsError::kExists && collision_ != Collision::kSkip) {
    target = FreeNumberedName(named, false);
    if (target.empty()) break;
    status = fs.Rename(temp, target, false);
  }
  if (!status.ok()) {
    fs.RemoveFile(temp);
    JournalAfter(state, journaled, L"", shown);
    Note(shown,
         status.error == FsError::kExists ? std::wstring(collision_ == Collision::kSkip ? ResultWord::kUebersprungen
                                                                                       : ErrorWord(kAllNumbersTaken))
                                          : ErrorWord(FsStatusText(status)),
         named);
    return true;
  }
  JournalAfter(state, journaled, target, shown);
  made_.insert(ToLowerText(target));
  RememberChangedFolder(state, folder);
  ++files_;
  return true;
}

}  // namespace

ActionResult UnpackArchive(const FileRef& archive, const std::wstring& targetFolder, const RunContext& run) {
  FileByteSource file;
  FsStatus opened;
  if (!file.OpenFound(archive, &opened)) return {ErrorWord(FsStatusText(opened)), {}};
  ReadAheadByteSource buffered(file, 1 << 16);
  ZipReader reader(buffered);
  // Archives of photo collections hold many entries; the directory is read once, in one piece.
  ZipLimits limits;
  limits.maxEntries = 10'000'000;
  limits.maxCentralDirectoryBytes = 1ull << 30;
  if (const ZipError error = reader.Open(limits); error != ZipError::kNone) {
    return {ErrorWord(L"Entpacken nicht m\u00f6glich: " + std::wstring(ZipErrorText(error))), {}};
  }
  Unpacking unpacking(reader, archive, targetFolder, run);
  std::wstring word;
  if (!unpacking.Begin(&word)) return {word, {}};
  for (const ZipEntry& entry : reader.entries()) {
    if (!unpacking.Entry(entry)) break;
  }
  ActionResult result = std::move(unpacking.result());
  result.filesWritten = unpacking.files();
  if (!unpacking.stopWord().empty()) {
    result.resultWord = unpacking.stopWord();
  } else {
    result.resultWord = run.mode == RunMode::Simulate ? ResultWord::kEntpackenSimuliert : ResultWord::kEntpackt;
  }
  return result;
}

std::wstring UnpackedFilesText(std::uint64_t files) {
  return files == 1 ? std::wstring(L"1 Datei") : NumberText(files) + L" Dateien";
}

std::size_t AppendUnpackEntryRows(LogList& log, const LogFileFields& archiveRow, const ActionResult& result) {
  std::size_t errors = 0;
  const std::wstring archivePath = std::wstring(archiveRow.pfad) + std::wstring(archiveRow.datei);
  for (const EntryResult& e : result.entries) {
    LogRowTexts texts{};
    texts[static_cast<int>(LogColumn::Datei)] = e.name;
    texts[static_cast<int>(LogColumn::Pfad)] = archiveRow.pfad;
    texts[static_cast<int>(LogColumn::Zielpfad)] = archiveRow.zielpfad;
    texts[static_cast<int>(LogColumn::Ergebnis)] = e.resultWord;
    texts[static_cast<int>(LogColumn::Aktion)] = archiveRow.aktion;
    texts[static_cast<int>(LogColumn::Zipp)] = archiveRow.zipp;
    texts[static_cast<int>(LogColumn::Kollision)] = archiveRow.kollision;
    texts[static_cast<int>(LogColumn::ZipName)] = archiveRow.zipName;
    texts[static_cast<int>(LogColumn::Quell2)] = archivePath;
    texts[static_cast<int>(LogColumn::Ziel2)] = e.target;
    // A row of its own but no file row: checking it and running the checked rows again passes
    // it over, as its archive's row does that.
    log.AppendTexts(texts);
    if (RowKindOf(e.resultWord) == LogRowKind::Error) ++errors;
  }
  return errors;
}

std::size_t AppendUnpackEntryRows(LogList& log, std::size_t row, const ActionResult& result) {
  if (!result.filesWritten) return 0;
  log.SetSizeText(row, UnpackedFilesText(*result.filesWritten));
  const LogRowAction a = log.ActionOf(row);
  LogFileFields fields;
  fields.datei = a.datei;
  fields.pfad = a.pfad;
  fields.zielpfad = a.zielpfad;
  fields.aktion = a.aktion;
  fields.zipp = a.zipp;
  fields.kollision = a.kollision;
  fields.zipName = a.zipName;
  return AppendUnpackEntryRows(log, fields, result);
}

}  // namespace ablagix
