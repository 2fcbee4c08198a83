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

const std::vector<SfxText>& SelfExtractorTexts() {
  static const std::vector<SfxText> texts = StandardSfxTexts();
  return texts;
}

bool StubAvailable() {
  std::string_view stub;
  return SfxStubBytes(&stub);
}

// What the collision policy makes of an archive name that is taken.
ZipCommit CommitFor(std::wstring_view kollision) {
  const std::wstring_view policy = Trim(kollision);
  if (policy.empty() || policy == L"1") return ZipCommit::kNumbered;
  if (policy == L"2") return ZipCommit::kCreateNew;
  return ZipCommit::kReplace;
}

ZipOptions OptionsFor(const ActionPlan& plan, ActionHost& host, bool createExe) {
  ZipOptions options;
  options.commit = CommitFor(plan.kollision);
  // Asked between blocks on this thread: Esc in the window, Ctrl+C on the command line.
  options.cancel = [&host] { return AbortRequested() || !host.CopyProgress(0, 0); };
  if (createExe) options.selfExtractor = &SelfExtractorTexts();
  return options;
}

bool IsMove(const ActionPlan& plan) { return EqualsNoCase(plan.aktion, kAktionVerschieben); }

// A moved file goes only once its archive is complete; a read-only one too, since the user
// asked for it to move. A file that cannot be deleted is in the archive and still here.
std::wstring DeleteZippedSource(const std::wstring& path) {
  const FsStatus removed = DeleteForGood(path, true);
  if (removed.ok()) return std::wstring(ResultWord::kGezippt);
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

ActionResult ZipFileToOwnArchive(const std::wstring& path, const std::wstring& targetFolder,
                                 const ActionPlan& plan, RunMode mode, ActionHost& host, RunState& state) {
  const ZipSettings settings = host.Zip();
  const bool move = IsMove(plan);
  ActionResult result;
  if (mode == RunMode::Execute && !EnsureTargetFolder(targetFolder, state).ok()) {
    result.resultWord = FolderFailedWord();
    return result;
  }
  std::wstring archive = JoinPath(targetFolder, NamePart(path)) + (settings.createExe ? L".exe" : L".zip");
  const ZipCommit commit = CommitFor(plan.kollision);
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
  const ZipWriteResult written = ZipOneFile({path, entryName},
                                            JoinPath(targetFolder, NamePart(path)) + (settings.createExe ? L".exe" : L".zip"),
                                            OptionsFor(plan, host, settings.createExe));
  JournalAfter(state, journaled, written.ok() ? written.path : L"", FromUtf8(entryName));
  if (!written.ok()) {
    result.targetFile.clear();
    result.resultWord = WordFor(written);
    return result;
  }
  result.targetFile = written.path;
  RememberChangedFolder(state, targetFolder);
  result.resultWord = move ? DeleteZippedSource(path) : std::wstring(ResultWord::kGezippt);
  return result;
}

//--- One archive for the run

struct RunArchive::Batch {
  ZipBatch zip;
  bool move = false;
  std::wstring folder;
  std::wstring archive;               // as planned; numbering may change it when it is written
  bool replace = false;               // "immer überschreiben"
  std::vector<JournalMark> journaled;  // per added file
};

RunArchive::RunArchive(const ActionPlan& plan, ActionHost& host, RunState& state)
    : plan_(plan), host_(host), state_(state) {}

RunArchive::~RunArchive() = default;

std::wstring RunArchive::Add(const std::wstring& path, const std::wstring& targetFolder, const std::wstring& zipName,
                             std::size_t row) {
  const ZipSettings settings = host_.Zip();
  if (!batch_ && startFailure_.empty()) {
    // The archive is made with the first file: its target folder and its resolved name.
    if (!EnsureTargetFolder(targetFolder, state_).ok()) {
      startFailure_ = FolderFailedWord();
    } else if (settings.createExe && !StubAvailable()) {
      startFailure_ = ErrorWord(kZipComponentMissing);
    } else {
      const std::wstring archive = JoinPath(targetFolder, zipName) + (settings.createExe ? L".exe" : L".zip");
      const ZipOptions options = OptionsFor(plan_, host_, settings.createExe);
      if (options.commit == ZipCommit::kCreateNew && PathExists(archive)) {
        startFailure_ = ResultWord::kUebersprungen;
      } else {
        auto batch = std::make_unique<Batch>();
        batch->move = IsMove(plan_);
        batch->folder = targetFolder;
        batch->archive = archive;
        batch->replace = options.commit == ZipCommit::kReplace;
        const ZipWriteResult started = batch->zip.Begin(archive, options);
        if (started.ok()) {
          batch_ = std::move(batch);
        } else {
          startFailure_ = WordFor(started);
        }
      }
    }
  }
  if (!batch_) return startFailure_;
  const std::string entryName = ZipEntryNameForPath(path, settings.keepPath);
  batch_->journaled.push_back(JournalBefore(state_, batch_->move ? JournalAction::kZipMove : JournalAction::kZipCopy,
                                            path, batch_->archive, batch_->replace, FromUtf8(entryName)));
  batch_->zip.Add({path, entryName});
  rows_.emplace_back(row, path);
  // For now; Finish says whether the file really is in the archive.
  return std::wstring(ResultWord::kGezippt);
}

std::size_t RunArchive::Finish(LogList& log, bool cancelled) {
  if (!batch_) return 0;
  if (cancelled) {
    batch_->zip.Abandon();
    for (const JournalMark& mark : batch_->journaled) JournalAfter(state_, mark, L"");
    for (const auto& [row, path] : rows_) log.SetResult(row, ErrorWord(L"Abgebrochen"));
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
    const auto& [row, path] = rows_[i];
    // Noted before a moved file is deleted: from then on the archive is its only copy.
    const bool inArchive = finished.ok() && batch_->zip.FileResult(i).ok();
    JournalAfter(state_, batch_->journaled[i], inArchive ? finished.path : L"", FromUtf8(batch_->zip.EntryName(i)));
    std::wstring word;
    if (!finished.ok()) {
      word = WordFor(finished);
    } else if (const ZipWriteResult& file = batch_->zip.FileResult(i); !file.ok()) {
      word = ErrorWord(ZipWriteText(file));
    } else {
      word = batch_->move ? DeleteZippedSource(path) : std::wstring(ResultWord::kGezippt);
    }
    if (RowKindOf(word) == LogRowKind::Error) ++errors;
    log.SetResult(row, word);
  }
  batch_.reset();
  return errors;
}

}  // namespace ablagix
