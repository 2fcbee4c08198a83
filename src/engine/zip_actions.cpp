#include "engine/zip_actions.h"

#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/journal.h"
#include "fileops/path_text.h"
#include "fileops/recycle.h"
#include "log/log_row.h"
#include "profiles/profile.h"
#include "zip/sfx_archive.h"
#include "zip/zip_names.h"
#include "zip/zip_writer.h"

namespace ablagix {
namespace {

// The row of a file that took the place of an entry of the same name ("immer überschreiben").
const std::wstring kGezipptErsetzt = std::wstring(ResultWord::kGezippt) + L", ersetzt";

const std::vector<SfxText>& SelfExtractorTexts() {
  static const std::vector<SfxText> texts = StandardSfxTexts();
  return texts;
}

bool StubAvailable() {
  std::string_view stub;
  return SfxStubBytes(&stub);
}

bool IsMove(const ActionPlan& plan) { return EqualsNoCase(plan.aktion, kAktionVerschieben); }

// What the collision policy makes of an archive name that is taken.
ZipCommit CommitFor(std::wstring_view kollision) {
  switch (CollisionOf(kollision)) {
    case Collision::kNumber:
      return ZipCommit::kNumbered;
    case Collision::kSkip:
      return ZipCommit::kCreateNew;
    case Collision::kReplace:
      break;
  }
  return ZipCommit::kReplace;
}

// The same for an archive of one file: an archive that is there may hold the only copy of a
// file an earlier run moved, so a move never replaces it but takes the next number.
ZipCommit CommitForOwnArchive(const ActionPlan& plan) {
  const ZipCommit commit = CommitFor(plan.kollision);
  return commit == ZipCommit::kReplace && IsMove(plan) ? ZipCommit::kNumbered : commit;
}

ZipOptions OptionsFor(const ActionPlan& plan, ActionHost& host, bool createExe) {
  ZipOptions options;
  options.commit = CommitFor(plan.kollision);
  // Asked between blocks on this thread: Esc in the window, Ctrl+C on the command line.
  options.cancel = [&host] { return AbortRequested() || !host.CopyProgress(0, 0); };
  if (createExe) options.selfExtractor = &SelfExtractorTexts();
  return options;
}

// A moved file goes only once its archive is complete; a read-only one too, since the user
// asked for it to move. It goes only while it is still the file and the version that went into
// the archive: a file saved anew or grown since it was packed stays, and so does what was
// written to it. A file that cannot be deleted is in the archive and still here.
std::wstring DeleteZippedSource(const FileRef& file, const ZipWriteResult& packed, std::wstring_view word) {
  FileRef read = file;
  read.id = packed.sourceId;
  read.versionKnown = true;
  read.version = packed.sourceVersion;
  const FsStatus removed = DeleteForGood(read, true);
  if (removed.ok()) return std::wstring(word);
  return ErrorWord(L"Gezippt, aber die Quelle blieb: " + FsErrorText(removed.error));
}

std::wstring WordFor(const ZipWriteResult& r) {
  if (r.code == ZipWriteCode::kExists) return std::wstring(ResultWord::kUebersprungen);
  if (r.code == ZipWriteCode::kCancelled) return ErrorWord(L"Abgebrochen");
  if (r.code == ZipWriteCode::kNoStub) return ErrorWord(kZipComponentMissing);
  return ErrorWord(ZipWriteText(r));
}

std::wstring FolderFailedWord() {
  return std::wstring(ResultWord::kUebersprungen) + std::wstring(ResultWord::kZielpfadNichtErstellt);
}

}  // namespace

ZipMode ZipModeOf(std::wstring_view zippen) {
  zippen = Trim(zippen);
  if (zippen == L"1") return ZipMode::PerFile;
  if (zippen == L"2") return ZipMode::OneArchive;
  return ZipMode::None;
}

ActionResult ZipFileToOwnArchive(const FileRef& file, const std::wstring& targetFolder, const RunContext& run) {
  const ActionPlan& plan = run.plan;
  const RunMode mode = run.mode;
  ActionHost& host = run.host;
  RunState& state = run.state;
  const std::wstring& path = file.path;
  const ZipSettings settings = host.Zip();
  const bool move = IsMove(plan);
  ActionResult result;
  if (mode == RunMode::Execute && !EnsureTargetFolder(targetFolder, state).ok()) {
    result.resultWord = JournalRefused(state) ? JournalRefusedWord() : FolderFailedWord();
    return result;
  }
  std::wstring archive = JoinPath(targetFolder, NamePart(path)) + (settings.createExe ? L".exe" : L".zip");
  const ZipCommit commit = CommitForOwnArchive(plan);
  if (PathExists(archive)) {
    if (commit == ZipCommit::kCreateNew) {
      result.resultWord = ResultWord::kUebersprungen;
      return result;
    }
    if (commit == ZipCommit::kNumbered) {
      archive = NumberedFreeName(archive);
      if (archive.empty()) {
        result.resultWord = ErrorWord(kAllNumbersTaken);
        return result;
      }
    }
  }
  result.targetFile = archive;
  if (mode == RunMode::Simulate) {
    result.resultWord = move ? ResultWord::kVerschobenSimuliert : ResultWord::kKopierenSimuliert;
    return result;
  }
  if (settings.createExe && !StubAvailable()) {
    result.targetFile.clear();
    result.resultWord = ErrorWord(kZipComponentMissing);
    return result;
  }
  const std::string entryName = ZipEntryNameForPath(path, settings.keepPath);
  const JournalMark journaled = JournalBefore(state, move ? JournalAction::kZipMove : JournalAction::kZipCopy, path,
                                              archive, commit == ZipCommit::kReplace, FromUtf8(entryName));
  if (journaled.refused) {
    result.targetFile.clear();
    result.resultWord = JournalRefusedWord();
    return result;
  }
  ZipOptions options = OptionsFor(plan, host, settings.createExe);
  options.commit = commit;
  const ZipWriteResult written = ZipOneFile({path, entryName, 0, file.id, file.folder},
                                            JoinPath(targetFolder, NamePart(path)) + (settings.createExe ? L".exe" : L".zip"),
                                            options);
  JournalAfter(state, journaled, written.ok() ? written.path : L"", FromUtf8(entryName));
  if (!written.ok()) {
    result.targetFile.clear();
    result.resultWord = WordFor(written);
    return result;
  }
  result.targetFile = written.path;
  RememberChangedFolder(state, targetFolder);
  result.resultWord = move ? DeleteZippedSource(file, written, ResultWord::kGezippt) : std::wstring(ResultWord::kGezippt);
  return result;
}

//--- One archive for the run

struct RunArchive::Batch {
  ZipBatch zip;
  bool move = false;
  std::wstring folder;
  std::wstring archive;               // as planned; numbering may change it when it is written
  std::vector<JournalMark> journaled;  // per added file
};

RunArchive::RunArchive(const ActionPlan& plan, ActionHost& host, RunState& state)
    : plan_(plan), host_(host), state_(state) {}

RunArchive::~RunArchive() = default;

std::wstring RunArchive::Add(const FileRef& file, const std::wstring& targetFolder, const std::wstring& zipName,
                             std::size_t row) {
  const std::wstring& path = file.path;
  const ZipSettings settings = host_.Zip();
  if (!batch_ && startFailure_.empty()) {
    // The archive is made with the first file: its target folder and its resolved name.
    if (!EnsureTargetFolder(targetFolder, state_).ok()) {
      startFailure_ = JournalRefused(state_) ? JournalRefusedWord() : FolderFailedWord();
    } else if (settings.createExe && !StubAvailable()) {
      startFailure_ = ErrorWord(kZipComponentMissing);
    } else {
      std::wstring archive = JoinPath(targetFolder, zipName) + (settings.createExe ? L".exe" : L".zip");
      ZipOptions options = OptionsFor(plan_, host_, settings.createExe);
      // An archive of that name keeps what it holds and gets the run's files added.
      options.addToExisting = true;
      auto batch = std::make_unique<Batch>();
      batch->move = IsMove(plan_);
      batch->folder = targetFolder;
      ZipWriteResult started = batch->zip.Begin(archive, options);
      if (started.code == ZipWriteCode::kNotZip && options.commit == ZipCommit::kNumbered) {
        // Something that is no archive of ours holds the name: a new one takes the next number.
        archive = NumberedFreeName(archive);
        options.addToExisting = false;
        if (archive.empty()) {
          started.code = ZipWriteCode::kExists;
        } else {
          started = batch->zip.Begin(archive, options);
        }
      }
      batch->archive = archive;
      if (started.ok()) {
        batch_ = std::move(batch);
      } else {
        startFailure_ = started.code == ZipWriteCode::kNotZip
                            ? ErrorWord(L"Am Ziel liegt eine Datei dieses Namens, die kein lesbares Archiv ist: " + archive)
                            : WordFor(started);
      }
    }
  }
  if (!batch_) return startFailure_;
  // The archive the run adds to may lie in the folder it scans: it is never one of its files.
  if (file.id.known() && file.id == batch_->zip.ExistingArchive()) {
    return std::wstring(ResultWord::kUebersprungen) + L": Das Archiv dieses Laufs";
  }
  const std::string entryName = ZipEntryNameForPath(path, settings.keepPath);
  const JournalMark journaled = JournalBefore(state_, batch_->move ? JournalAction::kZipMove : JournalAction::kZipCopy,
                                              path, batch_->archive, false, FromUtf8(entryName), true);
  if (journaled.refused) return JournalRefusedWord();
  batch_->journaled.push_back(journaled);
  batch_->zip.Add({path, entryName, 0, file.id, file.folder});
  rows_.emplace_back(row, file);
  // For now; Finish says whether the file really is in the archive.
  return std::wstring(ResultWord::kGezippt);
}

std::size_t RunArchive::Finish(LogList& log, bool cancelled) {
  if (!batch_) return 0;
  if (cancelled) {
    batch_->zip.Abandon();
    for (const JournalMark& mark : batch_->journaled) JournalAfter(state_, mark, L"");
    for (const auto& [row, file] : rows_) log.SetResult(row, ErrorWord(L"Abgebrochen"));
    batch_.reset();
    return rows_.size();
  }
  const ZipWriteResult finished = batch_->zip.Finish();
  std::size_t errors = 0;
  if (finished.ok()) {
    archivePath_ = finished.path;
    RememberChangedFolder(state_, batch_->folder);
  }
  for (std::size_t i = 0; i < rows_.size(); ++i) {
    const auto& [row, file] = rows_[i];
    // Noted before a moved file is deleted: from then on the archive is its only copy.
    const ZipWriteResult& packed = batch_->zip.FileResult(i);
    const bool inArchive = finished.ok() && packed.ok();
    JournalAfter(state_, batch_->journaled[i], inArchive ? finished.path : L"", FromUtf8(batch_->zip.EntryName(i)));
    std::wstring word;
    const std::wstring zipped = packed.replacedEntry ? kGezipptErsetzt : std::wstring(ResultWord::kGezippt);
    if (!finished.ok()) {
      word = WordFor(finished);
    } else if (packed.code == ZipWriteCode::kExists) {
      word = std::wstring(ResultWord::kUebersprungen) + L": Name im Archiv vergeben";
    } else if (!packed.ok()) {
      word = ErrorWord(ZipWriteText(packed));
    } else {
      word = batch_->move ? DeleteZippedSource(file, packed, zipped) : zipped;
    }
    if (RowKindOf(word) == LogRowKind::Error) ++errors;
    log.SetResult(row, word);
  }
  batch_.reset();
  return errors;
}

}  // namespace ablagix
