#include "engine/undo.h"

#include <algorithm>
#include <chrono>
#include <memory>
#include <thread>
#include <map>
#include <unordered_map>
#include <unordered_set>

#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/actions.h"
#include "engine/journal.h"
#include "fileops/byte_source.h"
#include "fileops/copy_move.h"
#include "fileops/in_place_io.h"
#include "fileops/file_stamp.h"
#include "fileops/output_file.h"
#include "fileops/path_text.h"
#include "fileops/recycle.h"
#include "fileops/run_lock.h"
#include "fileops/temp_files.h"
#include "zip/zip_extract.h"
#include "zip/zip_reader.h"

namespace ablagix {
namespace {

using Outcome = JournalEntry::Outcome;

constexpr std::wstring_view kAllNamesTaken = L"Alle Namen bis (1000) sind vergeben";

// What became of one entry.
struct Result {
  std::wstring word;
  std::wstring pathNow;  // where the file is after the undo, "" when nowhere
  // A final answer is written to the journal and never tried again; an error is tried again by
  // the next undo (the drive may be back, the file no longer locked).
  bool final = true;
};

Result Done(std::wstring_view word, std::wstring pathNow) { return {std::wstring(word), std::move(pathNow), true}; }
Result Fail(std::wstring_view reason, std::wstring pathNow = {}) { return {ErrorWord(reason), std::move(pathNow), false}; }
Result Kept(std::wstring_view reason, std::wstring pathNow = {}) {
  return {std::wstring(UndoWord::kNichtRueckgaengig) + L": " + std::wstring(reason), std::move(pathNow), true};
}

bool IsZip(JournalAction a) { return a == JournalAction::kZipMove || a == JournalAction::kZipCopy; }

// The file is there and exactly as noted.
bool Matches(const std::wstring& path, const std::optional<FileStamp>& expected) {
  FileStamp now;
  return expected && !path.empty() && ReadFileStamp(path, &now) && now == *expected;
}

// The same bytes in both files. Only asked where a crash (of the run or of an undo) can have
// left a complete copy beside its original; that copy is removed only when it is the same.
bool SameContent(const std::wstring& a, const std::wstring& b) {
  ReadOnlyFile fa, fb;
  if (!fa.Open(a) || !fb.Open(b) || fa.size() != fb.size()) return false;
  constexpr std::size_t kBlock = 1 << 20;
  std::string ba, bb;
  for (std::uint64_t at = 0; at < fa.size(); at += kBlock) {
    if (!fa.ReadAt(at, kBlock, &ba) || !fb.ReadAt(at, kBlock, &bb) || ba != bb || ba.empty()) return false;
  }
  return true;
}

// The file at `path` is still the one the run left there: the same file (identity), with the
// size, last-write and change time noted after the change. Anything else under that name (a
// newer run's file, the user's) is not this run's to move or remove.
bool AsWritten(const std::wstring& path, const JournalEntry& e) {
  FileInfo now;
  if (!e.written || path.empty() || !ActiveFileSystem().Inspect(path, &now).ok() || now.kind != FileKind::kFile) {
    return false;
  }
  // The record of a file with several names changes whenever another name is moved or
  // removed; then its identity, size and last write say that it is the same.
  return now.version.size == e.written->size && now.version.lastWrite == e.written->lastWrite &&
         (e.writtenChanged == 0 || now.version.changed == e.writtenChanged || now.version.links > 1) &&
         (!e.writtenId.known() || now.id == e.writtenId);
}

constexpr std::wstring_view kChangedSinceRun = L"Die Datei wurde seit dem Lauf ge\u00e4ndert und bleibt";

// The original at its place and a copy of it at `copy`, as stamped and byte for byte.
bool LeftBeside(const JournalEntry& e, const std::wstring& copy) {
  return e.source && !e.replaces && Matches(e.from, e.source) && Matches(copy, e.source) && SameContent(e.from, copy);
}

bool StopRequested(RunHost& host) {
  if (AbortRequested()) return true;
  if (host.PollForAbort()) {
    RequestAbort();
    return true;
  }
  return false;
}

std::wstring EnsureFolderOf(const std::wstring& path) {
  const std::wstring folder = FolderPart(path);
  if (folder.empty() || FolderExists(folder)) return {};
  const FsStatus made = ActiveFileSystem().CreateFolders(folder);
  return made.ok() ? std::wstring() : L"Konnte den Ordner nicht anlegen (" + FsStatusText(made) + L"): " + folder;
}

// Puts a file under `original`, or when that is taken under the first free "(n)" name, with
// `place(target)`; a name taken meanwhile moves on to the next number.
template <typename Place>
Result PlaceAtFreeName(const std::wstring& original, Place place, std::wstring_view notFound = {}) {
  if (std::wstring problem = EnsureFolderOf(original); !problem.empty()) return Fail(problem);
  int number = 0;
  std::wstring target = original;
  for (;;) {
    if (target.empty()) return Fail(kAllNamesTaken);
    if (PathExists(target)) {
      target = NumberedFreeName(original, &number);
      continue;
    }
    const FsStatus status = place(target);
    if (status.ok()) return Done(UndoWord::kZurueckgeholt, target);
    if (status.error == FsError::kNotFound && status.side == FsSide::kSource && !notFound.empty()) return Fail(notFound);
    if (status.error != FsError::kExists) return Fail(FsStatusText(status));
    target = NumberedFreeName(original, &number);
  }
}

Result MoveBack(const FileRef& current, const std::wstring& original, RunHost& host) {
  if (std::wstring problem = EnsureFolderOf(original); !problem.empty()) return Fail(problem, current.path);
  int number = 0;
  TransferRequest request;
  request.from = current;
  request.to = PathExists(original) ? NumberedFreeName(original, &number) : original;
  if (request.to.empty()) return Fail(kAllNamesTaken, current.path);
  request.move = true;
  request.progress = [&](std::uint64_t done, std::uint64_t total) {
    return !AbortRequested() && host.CopyProgress(done, total);
  };
  request.nextName = [&] { return NumberedFreeName(original, &number); };
  const TransferOutcome outcome = TransferFile(request);
  switch (outcome.result) {
    case TransferResult::Done: return Done(UndoWord::kZurueckgeholt, outcome.finalPath);
    case TransferResult::Taken: return Fail(kAllNamesTaken, current.path);
    case TransferResult::Cancelled: return Fail(L"Abgebrochen", current.path);
    case TransferResult::Failed: break;
  }
  return Fail(FsStatusText(outcome.status), current.path);
}

// True when both names stand for one file (a link, "." in a path, another spelling).
bool SameFile(const std::wstring& a, const std::wstring& b) {
  FileInfo first, second;
  FileSystem& fs = ActiveFileSystem();
  return fs.Inspect(a, &first).ok() && fs.Inspect(b, &second).ok() && first.id.known() && first.id == second.id;
}

// Removes a file the run made; `pathNow` is where the file the row is about stays.
Result RemoveOwnFile(const FileRef& file, std::wstring_view word, const std::wstring& pathNow) {
  const FsStatus removed = DeleteForGood(file, true);
  if (!removed.ok()) return Fail(FsStatusText(removed), file.path);
  return Done(word, pathNow);
}

Result RestoreRecycled(const JournalEntry& e) {
  if (!e.source) return Fail(L"Gr\u00f6\u00dfe und \u00c4nderungszeit der Datei sind nicht bekannt");
  RecycledFile file;
  file.originalPath = e.from;
  file.deletedFrom = e.startedAt;
  file.deletedTo = e.outcome == Outcome::kDone ? e.doneAt : 0;
  file.size = e.source->size;
  file.lastWrite = e.source->lastWrite;
  return PlaceAtFreeName(
      e.from, [&](const std::wstring& target) { return RestoreFromRecycleBin(file, target); },
      L"Nicht im Papierkorb gefunden");
}

// A file that a move packed into an archive, written back from there: into a hidden file
// beside its place, checked (CRC and size), given its old time, then named.
Result ExtractFromArchive(const JournalEntry& e) {
  const std::wstring& archive = e.finalPath;
  FileByteSource source;
  if (!source.Open(archive)) return Fail(L"Das Archiv ist nicht lesbar: " + archive);
  ZipReader zip(source);
  if (const ZipError opened = zip.Open(); opened != ZipError::kNone) {
    return Fail(std::wstring(ZipErrorText(opened)) + L": " + archive);
  }
  const std::wstring entryName = e.finalEntryName.empty() ? e.entryName : e.finalEntryName;
  const ZipEntry* entry = zip.Find(ToUtf8(entryName));
  if (!entry) return Fail(L"\"" + entryName + L"\" fehlt im Archiv " + archive);
  if (std::wstring problem = EnsureFolderOf(e.from); !problem.empty()) return Fail(problem);

  const ExtractedEntry extracted = ExtractEntryToTemp(zip, *entry, FolderPart(e.from), false,
                                                      [](std::uint64_t) { return !AbortRequested(); });
  std::wstring problem;
  if (!extracted.ok()) {
    problem = ExtractProblemText(extracted);
    if (extracted.writeError == 0 && extracted.read != ZipError::kStopped) problem += L": " + archive;
  } else if (e.source && extracted.size != e.source->size) {
    problem = L"Die Datei im Archiv hat nicht die erwartete Gr\u00f6\u00dfe: " + archive;
  }
  const std::wstring& temp = extracted.tempPath;
  if (problem.empty() && e.source) (void)SetFileLastWrite(temp, e.source->lastWrite);
  Result r = problem.empty() ? PlaceAtFreeName(e.from, [&](const std::wstring& target) {
    return ActiveFileSystem().Rename(temp, target, false);
  })
                             : Fail(problem);
  if (!r.final && !temp.empty()) ActiveFileSystem().RemoveFile(temp);
  return r;
}

// One step of the undo, for the entries that are not zip entries, as the world is now.
Result ReverseEntry(const JournalEntry& e, RunHost& host) {
  const bool done = e.outcome == Outcome::kDone;
  const bool atSource = Matches(e.from, e.source);
  switch (e.action) {
    case JournalAction::kMove:
      if (done) {
        // An undo cut short across drives: its copy was named, the moved file not yet deleted.
        if (LeftBeside(e, e.finalPath)) return RemoveOwnFile(e.finalPath, UndoWord::kZurueckgeholt, e.from);
        if (FileExists(e.finalPath)) {
          if (!AsWritten(e.finalPath, e)) return Kept(kChangedSinceRun, e.finalPath);
          return MoveBack(FileRef(e.finalPath, e.writtenId), e.from, host);
        }
        if (atSource) return Done(UndoWord::kZurueckgeholt, e.from);  // an undo cut short did it
        return Fail(L"Die Datei ist nicht mehr am Ziel: " + e.finalPath);
      }
      // Cut short by a crash: the file is at its source, at its target, or (a copy across
      // drives whose source was not deleted yet) at both.
      if (LeftBeside(e, e.to)) return RemoveOwnFile(e.to, UndoWord::kEntfernt, e.from);
      if (atSource) return Done(UndoWord::kUnveraendert, e.from);
      if (Matches(e.to, e.source)) return MoveBack(e.to, e.from, host);
      return Fail(L"Die Datei ist weder an der Quelle noch am Ziel: " + e.to);
    case JournalAction::kCopy:
      if (!done) {
        if (LeftBeside(e, e.to)) return RemoveOwnFile(e.to, UndoWord::kEntfernt, e.from);
        return Done(UndoWord::kUnveraendert, e.from);
      }
      if (!FileExists(e.finalPath)) return Done(std::wstring(UndoWord::kEntfernt) + L" (die Kopie war schon weg)", e.from);
      if (!AsWritten(e.finalPath, e)) {
        return Kept(L"Die Kopie wurde seit dem Lauf ge\u00e4ndert und bleibt", e.finalPath);
      }
      // Without its original the copy is the only one left.
      if (!atSource) return Kept(L"Das Original fehlt oder wurde ge\u00e4ndert; die Kopie bleibt", e.finalPath);
      // A "copy" that is the original itself, under another spelling of its folder.
      if (SameFile(e.finalPath, e.from)) return Kept(L"Kopie und Original sind dieselbe Datei; sie bleibt", e.finalPath);
      return RemoveOwnFile(FileRef(e.finalPath, e.writtenId), UndoWord::kEntfernt, e.from);
    case JournalAction::kRecycle:
      if (atSource) return Done(done ? UndoWord::kZurueckgeholt : UndoWord::kUnveraendert, e.from);
      return RestoreRecycled(e);
    case JournalAction::kDelete:
    case JournalAction::kShred: {
      if (!done && FileExists(e.from)) return Done(UndoWord::kUnveraendert, e.from);
      return Kept(e.action == JournalAction::kDelete ? L"Die Datei wurde endg\u00fcltig gel\u00f6scht"
                                                     : L"Die Datei wurde geschreddert");
    }
    case JournalAction::kUnpack:
      if (!done) {
        // Cut short before its name was noted: a file under the name may be this run's or
        // anybody's; not knowing, the undo keeps it.
        if (!PathExists(e.to)) return Done(UndoWord::kUnveraendert, e.from);
        return Kept(L"Ob die Datei vom Lauf stammt, ist nicht bekannt; sie bleibt", e.to);
      }
      if (!FileExists(e.finalPath)) return Done(std::wstring(UndoWord::kEntfernt) + L" (die Datei war schon weg)", e.from);
      if (!AsWritten(e.finalPath, e)) {
        return Kept(L"Die entpackte Datei wurde seit dem Lauf ge\u00e4ndert und bleibt", e.finalPath);
      }
      // Without the archive as it was, the unpacked file may be the only copy of its data.
      if (!atSource) return Kept(L"Das Archiv fehlt oder wurde ge\u00e4ndert; die entpackte Datei bleibt", e.finalPath);
      return RemoveOwnFile(FileRef(e.finalPath, e.writtenId), UndoWord::kEntfernt, e.from);
    case JournalAction::kZipMove:
    case JournalAction::kZipCopy:
      break;
  }
  return Fail(L"Unbekannter Eintrag");
}

// One step of the undo, for the entries that are not zip entries.
Result UndoEntry(const JournalEntry& e, RunHost& host) {
  Result r = ReverseEntry(e, host);
  // "immer überschreiben" replaced a file at the target; the run's log said so, and the undo
  // cannot bring it back either.
  if (e.replaces && e.outcome == Outcome::kDone && r.final && RowKindOf(r.word) == LogRowKind::Normal &&
      !r.word.starts_with(UndoWord::kNichtRueckgaengig)) {
    r.word += L" (die ersetzte Datei am Ziel l\u00e4sst sich nicht zur\u00fcckholen)";
  }
  return r;
}

std::size_t AppendUndoRow(LogList& log, const JournalEntry& e, const Result& r) {
  const std::wstring where = e.outcome == Outcome::kDone && !e.finalPath.empty() ? e.finalPath : e.to;
  // A file unpacked from an archive is named by itself; the archive goes into "Quell2".
  const bool unpacked = e.action == JournalAction::kUnpack;
  const std::wstring name = NamePart(unpacked ? where : e.from);
  const std::wstring folder = FolderPart(unpacked ? where : e.from);
  const std::wstring whereFolder = FolderPart(where);
  const std::wstring aktion = std::wstring(kUndoAktion) + L": " + std::wstring(JournalActionText(e.action));
  LogFileFields f;
  f.datei = name;
  f.pfad = folder;
  const std::optional<FileStamp>& first = unpacked ? e.written : e.source;
  if (const std::optional<FileStamp>& stamp = first ? first : unpacked ? e.source : e.written) {
    f.size = stamp->size;
    f.lastWrite = stamp->lastWrite;
  }
  f.zielpfad = whereFolder;
  f.ergebnis = r.word;
  f.aktion = aktion;
  // The file's place now when it is not its old one (a "(n)" name), and where the run had put it.
  if (!r.pathNow.empty() && r.pathNow != e.from) f.quell2 = r.pathNow;
  if (unpacked) f.quell2 = e.from;
  f.ziel2 = where;
  return log.AppendFile(f);
}

// The archives of a run's zip entries. An archive is decided when the undo reaches its first
// entry (the last one it meets), so an archive is only removed once every file in it is back.
struct Archive {
  std::optional<FileStamp> written;
  std::uint64_t firstEntry = UINT64_MAX;
  std::vector<const JournalEntry*> entries;  // every file that went into it
  struct Pending {
    const JournalEntry* entry;
    std::size_t row;
    std::wstring pathNow;
    bool extracted;
  };
  std::vector<Pending> pending;  // this undo's rows that wait for the decision
};

class Undo {
 public:
  Undo(const std::wstring& path, RunHost& host, LogList& log, JournalAppender& appender, UndoSummary& summary)
      : path_(path), host_(host), log_(log), appender_(appender), summary_(summary) {}

  // True when every change of the run now has its final answer.
  bool Run(const JournalContents& journal) {
    for (const JournalEntry& e : journal.entries) {
      if (!IsZip(e.action) || e.outcome != Outcome::kDone) continue;
      Archive& a = archives_[e.finalPath];
      a.written = e.written;  // the last one: what the archive became
      a.firstEntry = std::min(a.firstEntry, e.number);
      a.entries.push_back(&e);
    }
    MakeEmptiedFoldersAgain(journal.emptiedFolders);
    RunProgress progress{kUndoAktion};
    progress.filesTotal = journal.entries.size();
    for (auto it = journal.entries.rbegin(); it != journal.entries.rend(); ++it) {
      const JournalEntry& e = *it;
      if (e.outcome == Outcome::kFailed || e.undoWord) continue;  // nothing changed, or done before
      if (StopRequested(host_)) {
        summary_.aborted = true;
        break;
      }
      if (++progress.filesDone % 16 == 1) host_.Progress(progress);
      if (e.outsideRoots) {
        // A line that names a place its run never worked in was not written by the run.
        const Result r{ErrorWord(L"Der Eintrag liegt au\u00dferhalb der Ordner seines Laufs und wird nicht angefasst"),
                       {}, true};
        Finish(e, r, AppendUndoRow(log_, e, r));
      } else if (IsZip(e.action)) {
        UndoZipEntry(e);
      } else {
        const Result r = UndoEntry(e, host_);
        Finish(e, r, AppendUndoRow(log_, e, r));
      }
    }
    // An undo stopped before an archive was decided leaves the archive; the next one decides.
    for (auto& [archivePath, a] : archives_) {
      for (const Archive::Pending& p : a.pending) {
        SetRow(p.row, p.extracted ? Result{std::wstring(UndoWord::kZurueckgeholt), p.pathNow, false}
                                  : Fail(L"Abgebrochen", p.pathNow));
      }
    }
    RemoveEmptyFolders(journal.folders);
    return !summary_.aborted && std::all_of(journal.entries.begin(), journal.entries.end(), [&](const JournalEntry& e) {
      return e.outcome == Outcome::kFailed || e.undoWord || finalized_.contains(e.number);
    });
  }

 private:
  void UndoZipEntry(const JournalEntry& e) {
    const bool atSource = Matches(e.from, e.source);
    if (e.outcome != Outcome::kDone) {
      const Result r = atSource ? Done(UndoWord::kUnveraendert, e.from) : Kept(L"Die Datei ist nicht mehr an ihrem Platz");
      Finish(e, r, AppendUndoRow(log_, e, r));
      return;
    }
    Archive& a = archives_[e.finalPath];
    if (atSource) {
      // The file never left (a copy), or its deletion did not happen: the archive is extra.
      const Result r = Done(e.action == JournalAction::kZipMove ? UndoWord::kZurueckgeholt : UndoWord::kEntfernt, e.from);
      placed_[e.number] = e.from;
      a.pending.push_back({&e, AppendUndoRow(log_, e, r), e.from, false});
    } else if (e.action == JournalAction::kZipMove) {
      const Result r = ExtractFromArchive(e);
      const std::size_t row = AppendUndoRow(log_, e, r);
      if (r.final) {
        placed_[e.number] = r.pathNow;
        a.pending.push_back({&e, row, r.pathNow, true});
      }
    } else {
      // A copy whose original is gone: the archive holds the only copy.
      const Result r = Kept(L"Das Original fehlt oder wurde ge\u00e4ndert; das Archiv bleibt: " + e.finalPath);
      Finish(e, r, AppendUndoRow(log_, e, r));
    }
    if (e.number == a.firstEntry) Decide(e.finalPath, a);
  }

  // Removes the archive when it is as the run left it and every file in it is back.
  void Decide(const std::wstring& archivePath, Archive& a) {
    std::wstring keptBecause;
    bool removed = false, gone = false, failed = false, retry = false;
    const bool older = std::any_of(a.entries.begin(), a.entries.end(), [](const JournalEntry* e) { return e->addedToArchive; });
    if (!FileExists(archivePath)) {
      gone = true;
    } else if (older) {
      // The run added to an archive that was there before: it holds more than this run's files
      // (the only copies of an earlier run's, maybe), so it stays as it is.
      keptBecause = L"Das Archiv bestand schon vor dem Lauf und bleibt: " + archivePath;
    } else if (!Matches(archivePath, a.written)) {
      keptBecause = L"Das Archiv wurde seit dem Lauf ge\u00e4ndert und bleibt: " + archivePath;
    } else if (!std::all_of(a.entries.begin(), a.entries.end(), [&](const JournalEntry* e) { return IsHome(*e); })) {
      keptBecause = L"Das Archiv bleibt, bis alle seine Dateien zur\u00fcck sind: " + archivePath;
      retry = true;
    } else {
      const FsStatus status = DeleteForGood(archivePath, true);
      removed = status.ok();
      if (!removed) {
        keptBecause = L"Das Archiv konnte nicht entfernt werden (" + FsStatusText(status) + L"): " + archivePath;
        failed = true;
      }
    }
    for (const Archive::Pending& p : a.pending) {
      Result r;
      if (removed || gone) {
        r = Done(p.extracted ? UndoWord::kZurueckgeholt : UndoWord::kEntfernt, p.pathNow);
        if (gone && !p.extracted) r.word += L" (das Archiv war schon weg)";
      } else if (p.extracted) {
        r = Done(UndoWord::kZurueckgeholt, p.pathNow);
        r.word += L" (" + keptBecause + L")";
        r.final = !retry && !failed;
      } else if (failed) {
        r = Fail(keptBecause, p.pathNow);
      } else {
        r = Kept(keptBecause, p.pathNow);
        r.final = !retry;
      }
      Finish(*p.entry, r, p.row);
    }
    a.pending.clear();
  }

  // The source folders the run emptied and removed are there again before any file goes
  // back, the outermost first; one that is there already is left as it is.
  void MakeEmptiedFoldersAgain(const std::vector<std::wstring>& folders) {
    std::size_t made = 0;
    for (auto it = folders.rbegin(); it != folders.rend(); ++it) {
      if (FolderExists(*it)) continue;
      if (ActiveFileSystem().CreateFolders(*it).ok()) ++made;
    }
    if (made > 0) {
      AppendMessageRow(log_, NumberText(made) + (made == 1 ? L" geleerter Ordner wurde wieder angelegt."
                                                           : L" geleerte Ordner wurden wieder angelegt."));
    }
  }

  // The folders the run made and left empty by now go again, the deepest first; one that
  // holds anything (the user's files, a file that stayed) is kept as it is.
  void RemoveEmptyFolders(const std::vector<std::wstring>& folders) {
    std::size_t removed = 0;
    for (auto it = folders.rbegin(); it != folders.rend(); ++it) {
      if (FolderExists(*it) && RemoveEmptyFolder(*it)) ++removed;
    }
    if (removed > 0) {
      AppendMessageRow(log_, NumberText(removed) + (removed == 1 ? L" leerer Ordner des Laufs wurde entfernt."
                                                                 : L" leere Ordner des Laufs wurden entfernt."));
    }
  }

  bool IsHome(const JournalEntry& e) const {
    if (auto it = placed_.find(e.number); it != placed_.end()) return FileExists(it->second);
    return e.undoWord && !e.undoPath.empty() && FileExists(e.undoPath);
  }

  void SetRow(std::size_t row, const Result& r) { log_.SetResult(row, r.word); }

  // Gives the row its word and notes a final one in the journal.
  void Finish(const JournalEntry& e, const Result& r, std::size_t row) {
    SetRow(row, r);
    if (!r.final) return;
    finalized_.insert(e.number);
    if (!appender_.UndoneEntry(e.number, r.word, r.pathNow) && summary_.problem.empty()) {
      summary_.problem = L"Konnte das Journal nicht fortschreiben: " + path_;
    }
  }

  const std::wstring& path_;
  RunHost& host_;
  LogList& log_;
  JournalAppender& appender_;
  UndoSummary& summary_;
  std::map<std::wstring, Archive> archives_;
  std::unordered_map<std::uint64_t, std::wstring> placed_;  // zip entries' files back in place
  std::unordered_set<std::uint64_t> finalized_;
};

std::wstring StemOf(const std::wstring& path) {
  std::wstring name = NamePart(path);
  if (name.size() > 4 && EqualsNoCase(std::wstring_view(name).substr(name.size() - 4), L".txt")) name.resize(name.size() - 4);
  return name;
}

// The journals in `folder`, newest first by the start written inside them (a name says
// nothing: anyone can name a file "Lauf-99991231-…"). Journals without this installation's
// seal come last.
std::vector<std::wstring> JournalPaths(const std::wstring& folder, std::string_view key) {
  std::vector<std::pair<FileTime, std::wstring>> found;
  FolderReader reader;
  if (folder.empty() || !reader.Open(folder)) return {};
  DirEntry entry;
  while (reader.NextName(&entry)) {
    if (!StartsWithNoCase(entry.name, L"Lauf-") || !EqualsNoCase(ExtensionOf(entry.name), L"txt")) continue;
    std::wstring path = JoinPath(folder, entry.name);
    FileTime started = 0;
    if (!ReadJournalStart(path, key, &started)) started = INT64_MIN;
    found.emplace_back(started, std::move(path));
  }
  std::sort(found.begin(), found.end(), [](const auto& a, const auto& b) {
    return a.first != b.first ? a.first > b.first : NamePart(a.second) > NamePart(b.second);
  });
  std::vector<std::wstring> paths;
  paths.reserve(found.size());
  for (auto& [started, path] : found) paths.push_back(std::move(path));
  return paths;
}

JournalSummary Summarize(const std::wstring& path, std::string_view key) {
  JournalSummary s;
  s.path = path;
  s.name = StemOf(path);
  JournalContents contents;
  std::wstring error;
  if (!ReadJournal(path, key, &contents, &error)) {
    s.readable = false;
    return s;
  }
  s.started = contents.started;
  s.startedText = contents.startedText;
  s.kind = contents.kind;
  s.profiles = contents.profiles;
  s.finished = contents.finished;
  s.undone = contents.undone;
  for (const JournalEntry& e : contents.entries) s.changes += e.outcome != Outcome::kFailed ? 1 : 0;
  return s;
}

// Holds the run locks of the folders the run worked in for as long as the undo goes on, so
// that no run of the same profile (a timer, a watch) acts on the files the undo brings back.
// Waits a little for a run that is about to end; false when one keeps them.
bool LockFoldersOfRun(const std::vector<std::wstring>& roots, RunHost& host,
                      std::vector<std::unique_ptr<FolderRunLock>>* locks) {
  const std::wstring lockFolder = host.JournalFolder().empty() ? L"" : JoinPath(host.JournalFolder(), L"Sperren");
  for (const std::wstring& root : roots) {
    auto lock = std::make_unique<FolderRunLock>();
    bool held = false;
    for (int attempt = 0; attempt < 100 && !held; ++attempt) {
      held = lock->TryLock(lockFolder, root);
      if (!held) {
        if (StopRequested(host)) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
      }
    }
    if (!held) return false;
    locks->push_back(std::move(lock));
  }
  return true;
}

}  // namespace

std::vector<JournalSummary> ListJournals(const std::wstring& folder) {
  const std::string key = JournalKey(folder);
  std::vector<JournalSummary> list;
  for (const std::wstring& path : JournalPaths(folder, key)) list.push_back(Summarize(path, key));
  return list;
}

std::optional<JournalSummary> LatestJournal(const SettingsFolders& folders) {
  const std::wstring folder = JournalFolderIn(folders);
  const std::string key = JournalKey(folder);
  const std::vector<std::wstring> paths = JournalPaths(folder, key);
  if (paths.empty()) return std::nullopt;
  return Summarize(paths.front(), key);
}

UndoSummary UndoRun(const std::wstring& journalPath, RunHost& host, LogList& log) {
  ClearAbort();
  // A file half taken out of an archive by an undo that was killed goes first.
  CleanUpAfterKilledRuns(FolderPart(journalPath));
  UndoSummary summary;
  const std::wstring banner = std::wstring(kUndoAktion) + L" " + StemOf(journalPath);
  AppendStartBanner(log, banner);
  const std::size_t firstRow = log.size();
  JournalContents journal;
  std::wstring error;
  JournalAppender appender;
  std::vector<std::unique_ptr<FolderRunLock>> folderLocks;
  // Only this installation's seal counts, wherever the journal lies.
  const std::string key = JournalKey(host.JournalFolder());
  AppendFile::Opened opened = AppendFile::Opened::kFailed;
  if (!ReadJournal(journalPath, key, &journal, &error)) {
    summary.problem = error;
  } else if (opened = appender.Open(journalPath, key, journal.started); opened == AppendFile::Opened::kBusy) {
    // Its run still writes it: undoing now would lose what the run does next.
    summary.busy = true;
    summary.problem = L"Der Lauf vom " + journal.startedText +
                      L" l\u00e4uft noch; er kann erst r\u00fcckg\u00e4ngig gemacht werden, wenn er beendet ist.";
  } else if (opened != AppendFile::Opened::kOk) {
    // Without noting what is undone, a second undo could not tell; nothing is touched.
    summary.problem = L"Konnte das Journal nicht fortschreiben: " + journalPath;
  } else if (!ReadJournal(journalPath, key, &journal, &error)) {
    // Read again now that nobody else writes it: the run may have gone on until it let go.
    summary.problem = error;
  } else if (!LockFoldersOfRun(journal.roots, host, &folderLocks)) {
    // Another run at work in these folders would take back what the undo puts there.
    summary.busy = true;
    summary.problem = L"Ein anderer Ablagix-Lauf arbeitet gerade in den Ordnern dieses Laufs; er wird nicht "
                      L"r\u00fcckg\u00e4ngig gemacht. Bitte sp\u00e4ter noch einmal versuchen.";
  } else if (journal.undone) {
    summary.alreadyUndone = true;
    AppendMessageRow(log, L"Dieser Lauf wurde schon am " + FormatLogTime(journal.undoneAt) +
                              L" r\u00fcckg\u00e4ngig gemacht.");
  } else if (journal.entries.empty()) {
    AppendMessageRow(log, L"Der Lauf hat keine \u00c4nderung festgehalten; es gibt nichts r\u00fcckg\u00e4ngig zu machen.");
  } else {
    Undo undo(journalPath, host, log, appender, summary);
    if (undo.Run(journal) && !appender.UndoneRun(CurrentFileTime()) && summary.problem.empty()) {
      summary.problem = L"Konnte das Journal nicht fortschreiben: " + journalPath;
    }
  }
  for (std::size_t row = firstRow; row < log.size(); ++row) {
    if (!log.IsFileRow(row)) continue;
    ++summary.files;
    if (log.Kind(row) == LogRowKind::Error) ++summary.errors;
  }
  if (!summary.problem.empty()) AppendMessageRow(log, summary.problem);
  if (journal.unsealedLines > 0 && !summary.busy) {
    AppendMessageRow(log, NumberText(journal.unsealedLines) +
                              L" Zeile(n) des Journals tragen nicht das Siegel dieser Installation; sie wurden "
                              L"\u00fcbergangen.");
  }
  if (journal.damagedLines > 0 && !summary.alreadyUndone && !summary.busy) {
    AppendMessageRow(log, L"Im Journal steht eine abgeschnittene Zeile (der Lauf wurde unterbrochen); "
                          L"r\u00fcckg\u00e4ngig gemacht wurde, was es sonst festh\u00e4lt.");
  }
  AppendEndBanner(log, banner);
  host.SetLogEmptyText(kLogEmptyDone);
  return summary;
}

}  // namespace ablagix
