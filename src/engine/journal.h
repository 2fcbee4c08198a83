// The journal of a run: every change the run makes to a file, written down before the change
// and completed after it, so that the run can be undone later, also after a crash. No change
// is made that could not be written down first.
//
// One UTF-8 text file per run that changed anything, in the folder "Journal" beside the
// settings, named after the moment the run started in UTC ("Lauf-20250615-100000-123.txt").
// It is readable by its owner only, and held locked by the run while the run goes on, so an
// undo never takes it from under a running run. One record per line, its fields separated by
// tabs, then a seal and a check: the seal (32 hex digits) is a keyed hash (HMAC-SHA-256) of
// the line and the run's start with a key that only this installation's settings folder holds,
// so a journal brought in from elsewhere or made up is refused; the check is a CRC-32 of the
// rest (eight hex digits), so a line cut short by a crash or filled with garbage fails and is
// ignored. In fields, "%", tab, CR and LF are written "%25", "%09", "%0D", "%0A".
//
//   Ablagix-Journal  2
//   Beginn           <start, FILETIME>  <start, local "dd.mm.yyyy hh:nn:ss">  <Lauf | Angehakte Zeilen>
//   Profil           <name>                                    (the profile whose files follow)
//   Wurzel           <folder>    (a folder the run works in: only files below one are undone)
//   Ordner           <folder>    (a folder the run is about to make; the undo removes it if empty)
//   Geleert          <folder>    (a source folder the run emptied, about to be removed; the
//                                 undo makes it again)
//   Vorhaben         <n> <action> <from> <to> <size> <time> <now> <ersetzt | ergänzt?> <zip entry>
//   Erledigt         <n> <final path> <size> <time> <now> <zip entry> <change time> <file id>
//   Fehlgeschlagen   <n>                                       (nothing was changed)
//   Ende             <FILETIME>
//   Zurück           <n> <result word> <where the file is now> (written by the undo)
//   Rückgängig       <FILETIME>                                (the whole run is undone)
//
// "Vorhaben" is written before a file is touched: what will be done (action Verschieben,
// Kopieren, Zip-Verschieben, Zip-Kopieren, Papierkorb, Löschen, Schreddern, Entpacken), from where, to
// which planned target (or archive), with the source's size and last-write time. "Erledigt"
// follows when the change is complete: the final target after "(n)" numbering and what was
// written there (size, last-write and change time, identity; the archive, for zip), so that
// the undo touches it only while it is still exactly that. A "Vorhaben" without either is a
// change a crash cut short.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "fileops/append_file.h"
#include "fileops/in_place_io.h"
#include "fileops/file_stamp.h"
#include "fileops/file_ops.h"
#include "fileops/output_file.h"
#include "profiles/settings_store.h"

namespace ablagix {

struct RunState;

inline constexpr int kJournalVersion = 2;
inline constexpr std::wstring_view kJournalKindRun = L"Lauf";
inline constexpr std::wstring_view kJournalKindCheckedRows = L"Angehakte Zeilen";

// kUnpack: one file written out of an archive ("Entpacken"): `from` is the archive, `to` the
// file, the zip entry its name in the archive.
enum class JournalAction { kMove, kCopy, kZipMove, kZipCopy, kRecycle, kDelete, kShred, kUnpack };

std::wstring_view JournalActionText(JournalAction action);

// "<settings folder>Journal\".
std::wstring JournalFolderIn(const SettingsFolders& folders);
// The key of this installation's journal seals, kept in `journalFolder` (made with its first
// use, readable by its owner only); "" when it can be neither read nor made.
std::string JournalKey(const std::wstring& journalFolder);
// The same for the folders the program was started with; "" when none were set (tests).
std::wstring DefaultJournalFolder();

//--- Writing, during a run

// Which "Vorhaben" an "Erledigt" completes; 0 when nothing was written.
struct JournalMark {
  std::uint64_t entry = 0;
  // The run keeps a journal, but the intent could not be written: the change must not be made.
  bool refused = false;
};

class RunJournal {
 public:
  // With an empty folder nothing is ever written. Otherwise the file is made with the first
  // change, so a run that changes nothing leaves no journal.
  RunJournal(std::wstring folder, std::wstring_view kind);
  ~RunJournal();  // Finish()
  RunJournal(const RunJournal&) = delete;
  RunJournal& operator=(const RunJournal&) = delete;

  // The profile the following changes belong to, and the folders it works in: its source and
  // the fixed part of its target (written with the next change).
  void BeginProfile(std::wstring_view name, const std::vector<std::wstring>& roots);
  // More folders the following changes work in (the rows of a log handled again).
  void AddRoots(const std::vector<std::wstring>& roots);
  // Before the run makes a folder: false when that could not be written down (the folder must
  // then not be made). Nothing to write without a journal.
  bool FolderMade(const std::wstring& folder);
  // Before the run removes a folder it emptied: false when that could not be written down
  // (the folder must then stay).
  bool FolderEmptied(const std::wstring& folder);
  // Before a change. `to` is the planned target (move, copy) or archive (zip); `replaces`
  // says the change will replace a file that is there, `addsTo` that the file goes into an
  // archive that is there (and holds more than this run put in).
  JournalMark Before(JournalAction action, const std::wstring& from, const std::wstring& to, bool replaces,
                     std::wstring_view entryName, bool addsTo = false);
  // After it: `done` false when it failed and nothing was changed; else where the file (or
  // archive) is now, "" for a change without a target.
  void After(JournalMark mark, bool done, const std::wstring& finalPath, std::wstring_view entryName);
  // The end line, flushed to the disk.
  void Finish();

  const std::wstring& path() const { return path_; }
  // Why (part of) the run could not be written down, "" while all is well.
  const std::wstring& problem() const { return problem_; }
  // Whether the run keeps a journal at all (not in a simulation).
  bool active() const { return !folder_.empty(); }

 private:
  bool EnsureOpen();
  void Write(std::initializer_list<std::wstring_view> fields);
  void WritePending();

  std::wstring folder_;
  std::wstring kind_;
  std::wstring path_;
  std::wstring pendingProfile_;
  std::vector<std::wstring> pendingRoots_;
  std::unordered_set<std::wstring> knownRoots_;
  std::wstring problem_;
  std::string key_;
  std::wstring started_;  // the start as written in "Beginn": part of every seal
  AppendFile file_;
  std::uint64_t nextEntry_ = 1;
  bool broken_ = false;
  bool finished_ = false;
};

// The hooks the handling of a file calls; they do nothing in a run without a journal.
JournalMark JournalBefore(RunState& state, JournalAction action, const std::wstring& from,
                          const std::wstring& to = {}, bool replace = false, std::wstring_view entryName = {},
                          bool addToArchive = false);
void JournalAfter(RunState& state, JournalMark mark, const std::wstring& finalPath, std::wstring_view entryName = {});
// For changes without a target (recycle, delete, shred).
void JournalAfter(RunState& state, JournalMark mark, bool done);
// The row of a file that was left as it was because its change could not be written down.
std::wstring JournalRefusedWord();
// Whether the run's journal refused to write (a folder must then not be made either).
bool JournalRefused(const RunState& state);

//--- Reading

struct JournalEntry {
  std::uint64_t number = 0;
  JournalAction action = JournalAction::kMove;
  std::wstring profile;
  std::wstring from;
  std::wstring to;
  std::optional<FileStamp> source;  // the source before the change, when it could be read
  FileTime startedAt = 0;
  bool replaces = false;
  bool addedToArchive = false;  // the archive was there before the run: it is never removed
  std::wstring entryName;

  enum class Outcome { kOpen, kDone, kFailed };
  Outcome outcome = Outcome::kOpen;
  std::wstring finalPath;
  std::optional<FileStamp> written;  // what the change wrote, when it could be read
  FileTime writtenChanged = 0;       // and its change time and identity, where noted
  FileId writtenId;
  FileTime doneAt = 0;
  std::wstring finalEntryName;
  // A path of the entry lies outside every folder its run worked in: it is not undone.
  bool outsideRoots = false;

  std::optional<std::wstring> undoWord;  // the undo's final word for it, once there is one
  std::wstring undoPath;                 // where the undo left the file ("" when nowhere)
};

struct JournalContents {
  FileTime started = 0;
  std::wstring startedText;
  std::wstring kind;
  std::vector<std::wstring> profiles;
  std::vector<JournalEntry> entries;  // in the order of their numbers
  bool finished = false;              // the run reached its end line
  bool undone = false;
  FileTime undoneAt = 0;
  std::size_t damagedLines = 0;       // lines that failed their check (a crash's cut)
  std::size_t unsealedLines = 0;      // lines without this installation's seal: ignored
  std::vector<std::wstring> folders;  // folders the run made, in the order it made them
  std::vector<std::wstring> emptiedFolders;  // folders it emptied and removed, deepest first
  std::vector<std::wstring> roots;    // the folders the run worked in
};

// False with a German reason when the file cannot be read, is no journal of a version this
// program knows, or does not carry the seal of `key` (the installation's, JournalKey).
bool ReadJournal(const std::wstring& path, std::string_view key, JournalContents* contents, std::wstring* error);
// Only the start of a journal, cheaply (for ordering runs by when they began); false when it
// is no sealed journal of this installation.
bool ReadJournalStart(const std::wstring& path, std::string_view key, FileTime* started);
// True when `path` lies below one of `roots` (compared by the file system's case rule) and
// takes no "." or ".." step below it; with `rootItself` a root itself counts too.
bool PathWithinRoots(std::wstring_view path, const std::vector<std::wstring>& roots, bool rootItself = false);

//--- Appending, for the undo

class JournalAppender {
 public:
  JournalAppender() = default;
  ~JournalAppender();  // flushes what was appended
  JournalAppender(const JournalAppender&) = delete;
  JournalAppender& operator=(const JournalAppender&) = delete;

  // Opens an existing journal for appending, held locked like a run holds it. A last line
  // that a crash cut short is ended first, so it stays one damaged line and never merges with
  // the next. kBusy while its run (or another undo) still holds it.
  [[nodiscard]] AppendFile::Opened Open(const std::wstring& path, std::string key, FileTime started);
  bool UndoneEntry(std::uint64_t number, std::wstring_view word, std::wstring_view pathNow);
  bool UndoneRun(FileTime when);

 private:
  bool Write(std::initializer_list<std::wstring_view> fields);
  AppendFile file_;
  std::string key_;
  std::wstring started_;
  bool written_ = false;
};

// Removes the journals that began more than `days` days before `now` (and are held by no
// run), so that the names of the files a run handled are not kept for ever. Returns how many.
std::size_t RemoveOldJournals(const std::wstring& journalFolder, int days, FileTime now);

}  // namespace ablagix
