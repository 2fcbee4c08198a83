// Undoing an executed run from its journal (engine/journal.h), newest change first:
//
// - a moved file goes back where it was (a rename, or across drives a staged copy);
// - a copy or an archive that is still as the run wrote it is removed, and only while the
//   original is still there unchanged; a copy changed since is kept and the row says so;
// - a recycled file comes back out of the recycle bin;
// - a file zipped away by a move is extracted back from its archive;
// - a file deleted for good or shredded cannot come back, and its row says so.
//
// Nothing is ever overwritten: a taken original name gets the "(n)" numbering. Every file
// becomes a log row with "Zurückgeholt", "Entfernt", "Unverändert" (a change a crash cut
// short before it happened), "Nicht rückgängig" or "Fehler!" and the reason. Each final
// answer is appended to the journal, and a run whose every change has one is marked undone,
// so it is never undone twice; an undo that was stopped goes on where it stopped.
//
// The window's "Letzten Lauf rückgängig machen":
//   if (auto last = LatestJournal(folders)) UndoRun(last->path, host, log);
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/run.h"
#include "fileops/file_ops.h"
#include "log/log_list.h"
#include "profiles/settings_store.h"

namespace ablagix {

struct UndoWord {
  static constexpr std::wstring_view kZurueckgeholt = L"Zur\u00fcckgeholt";
  static constexpr std::wstring_view kEntfernt = L"Entfernt";
  static constexpr std::wstring_view kUnveraendert = L"Unver\u00e4ndert";
  static constexpr std::wstring_view kNichtRueckgaengig = L"Nicht r\u00fcckg\u00e4ngig";
};

// The "Aktion" of an undo row: checking it and running the checked rows does nothing.
inline constexpr std::wstring_view kUndoAktion = L"R\u00fcckg\u00e4ngig";

// One journal as a list shows it.
struct JournalSummary {
  std::wstring path;
  std::wstring name;         // the file name without ".txt": what `ablagix-cli undo` takes
  FileTime started = 0;
  std::wstring startedText;  // local time, "dd.mm.yyyy hh:nn:ss"
  std::wstring kind;         // "Lauf" or "Angehakte Zeilen"
  std::vector<std::wstring> profiles;
  std::size_t changes = 0;   // files changed (or maybe changed, when a crash cut it short)
  bool finished = false;     // false: the run was cut short (or is still going)
  bool undone = false;
  bool readable = true;
};

// The journals in `folder`, newest first.
std::vector<JournalSummary> ListJournals(const std::wstring& folder);
// The newest journal beside these settings, undone or not.
std::optional<JournalSummary> LatestJournal(const SettingsFolders& folders);

struct UndoSummary {
  std::size_t files = 0;   // rows written
  std::size_t errors = 0;  // of them "Fehler!"
  bool aborted = false;    // Esc or Ctrl+C; undoing it again goes on from there
  bool alreadyUndone = false;
  bool busy = false;  // its run still holds the journal: nothing was touched
  // Why nothing could be undone (an unreadable journal); also a row of the log.
  std::wstring problem;
};

// Undoes the run of the journal at `journalPath`, appending its rows to `log` between banner
// rows. Clears the abort flag first and stops between two files when it is set.
UndoSummary UndoRun(const std::wstring& journalPath, RunHost& host, LogList& log);

}  // namespace ablagix
