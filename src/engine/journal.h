// The journal of a run: every change the run makes to a file, written down before the change
// and completed after it, so that the run can be undone later, also after a crash.
//
// One UTF-8 text file per run that changed anything, in the folder "Journal" beside the
// settings, named after the moment the run started in UTC ("Lauf-20250615-100000-123.txt"),
// so the names sort by time. One record per line, its fields separated by tabs, the last
// field a CRC-32 of the rest of the line (eight hex digits): a line cut short by a crash or
// filled with garbage fails its check and is ignored, and so is a record of an unknown kind.
// In fields, "%", tab, CR and LF are written "%25", "%09", "%0D", "%0A".
//
//   Ablagix-Journal  1
//   Beginn           <start, FILETIME>  <start, local "dd.mm.yyyy hh:nn:ss">  <Lauf | Angehakte Zeilen>
//   Profil           <name>                                    (the profile whose files follow)
//   Vorhaben         <n> <action> <from> <to> <size> <time> <now> <ersetzt?> <zip entry>
//   Erledigt         <n> <final path> <size> <time> <now> <zip entry>
//   Fehlgeschlagen   <n>                                       (nothing was changed)
//   Ende             <FILETIME>
//   Zurück           <n> <result word> <where the file is now> (written by the undo)
//   Rückgängig       <FILETIME>                                (the whole run is undone)
//
// "Vorhaben" is written and flushed before a file is touched: what will be done (action
// Verschieben, Kopieren, Zip-Verschieben, Zip-Kopieren, Papierkorb, Löschen, Schreddern),
// from where, to which planned target (or archive), with the source's size and last-write
// time. "Erledigt" follows when the change is complete: the final target after "(n)"
// numbering and the size and last-write time of what was written (the archive, for zip). A
// "Vorhaben" without either is a change a crash cut short.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fileops/file_io.h"
#include "fileops/file_stamp.h"
#include "fileops/files.h"
#include "fileops/output_file.h"
#include "profiles/settings_store.h"

namespace ablagix {

struct RunState;

inline constexpr int kJournalVersion = 1;
inline constexpr std::wstring_view kJournalKindRun = L"Lauf";
inline constexpr std::wstring_view kJournalKindCheckedRows = L"Angehakte Zeilen";

enum class JournalAction { kMove, kCopy, kZipMove, kZipCopy, kRecycle, kDelete, kShred };

std::wstring_view JournalActionText(JournalAction action);

// "<settings folder>Journal\".
std::wstring JournalFolderIn(const SettingsFolders& folders);
// The same for the folders the program was started with; "" when none were set (tests).
std::wstring DefaultJournalFolder();

//--- Writing, during a run

// Which "Vorhaben" an "Erledigt" completes; 0 when nothing was written.
struct JournalMark {
  std::uint64_t entry = 0;
};

class RunJournal {
 public:
  // With an empty folder nothing is ever written. Otherwise the file is made with the first
  // change, so a run that changes nothing leaves no journal.
  RunJournal(std::wstring folder, std::wstring_view kind);
  ~RunJournal();  // Finish()
  RunJournal(const RunJournal&) = delete;
  RunJournal& operator=(const RunJournal&) = delete;

  // The profile the following changes belong to (written with the next change).
  void BeginProfile(std::wstring_view name);
  // Before a change. `to` is the planned target (move, copy) or archive (zip); `replaces`
  // says the change will replace a file that is there.
  JournalMark Before(JournalAction action, const std::wstring& from, const std::wstring& to, bool replaces,
                     std::wstring_view entryName);
  // After it: `done` false when it failed and nothing was changed; else where the file (or
  // archive) is now, "" for a change without a target.
  void After(JournalMark mark, bool done, const std::wstring& finalPath, std::wstring_view entryName);
  // The end line, flushed to the disk.
  void Finish();

  const std::wstring& path() const { return path_; }
  // Why (part of) the run could not be written down, "" while all is well.
  const std::wstring& problem() const { return problem_; }

 private:
  bool EnsureOpen();
  void Write(std::initializer_list<std::wstring_view> fields);

  std::wstring folder_;
  std::wstring kind_;
  std::wstring path_;
  std::wstring pendingProfile_;
  std::wstring problem_;
  OutputFile file_;
  std::uint64_t offset_ = 0;
  std::uint64_t nextEntry_ = 1;
  bool broken_ = false;
  bool finished_ = false;
};

// The hooks the handling of a file calls; they do nothing in a run without a journal.
JournalMark JournalBefore(RunState& state, JournalAction action, const std::wstring& from,
                          const std::wstring& to = {}, bool replace = false, std::wstring_view entryName = {});
void JournalAfter(RunState& state, JournalMark mark, const std::wstring& finalPath, std::wstring_view entryName = {});
// For changes without a target (recycle, delete, shred).
void JournalAfter(RunState& state, JournalMark mark, bool done);

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
  std::wstring entryName;

  enum class Outcome { kOpen, kDone, kFailed };
  Outcome outcome = Outcome::kOpen;
  std::wstring finalPath;
  std::optional<FileStamp> written;  // what the change wrote, when it could be read
  FileTime doneAt = 0;
  std::wstring finalEntryName;

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
};

// False with a German reason when the file cannot be read or is no journal of a version
// this program knows.
bool ReadJournal(const std::wstring& path, JournalContents* contents, std::wstring* error);

//--- Appending, for the undo

class JournalAppender {
 public:
  JournalAppender() = default;
  ~JournalAppender();  // flushes what was appended
  JournalAppender(const JournalAppender&) = delete;
  JournalAppender& operator=(const JournalAppender&) = delete;

  // Opens an existing journal for appending. A last line that a crash cut short is ended
  // first, so it stays one damaged line and never merges with the next.
  [[nodiscard]] bool Open(const std::wstring& path);
  bool UndoneEntry(std::uint64_t number, std::wstring_view word, std::wstring_view pathNow);
  bool UndoneRun(FileTime when);

 private:
  bool Write(std::initializer_list<std::wstring_view> fields);
  InPlaceFile file_;
  std::uint64_t offset_ = 0;
};

}  // namespace ablagix
