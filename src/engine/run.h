// Runs profiles: for each one a start banner, the scan with its conditions, every accepted
// file handled and logged, an end banner. Esc (or the abort flag) stops between two files
// and no further profile starts.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "engine/actions.h"
#include "engine/content_pool.h"
#include "log/log_list.h"
#include "metadata/path_variables.h"
#include "profiles/profile.h"
#include "profiles/settings.h"

namespace ablagix {

// Texts the empty log list shows, by state.
inline constexpr std::wstring_view kLogEmptyBusy = L"Zeitintensive Datenverarbeitung, bitte warten ...";
inline constexpr std::wstring_view kLogEmptyDone = L"Keine Dateien gefunden!";
inline constexpr std::wstring_view kLogEmptyTimerStopped = L"Timer gestoppt, warte auf Befehle...";
inline constexpr std::wstring_view kLogEmptyTimerStarted = L"Timer gestartet, Intervall l\u00e4uft...";

// The row of a profile whose source folder another Ablagix process is working on.
inline constexpr std::wstring_view kSourceFolderBusy =
    L"Fehler! Der Quellordner wird gerade von einem anderen Ablagix-Lauf bearbeitet; das Profil wird diesmal "
    L"nicht ausgef\u00fchrt.";

struct RunProgress {
  std::wstring_view profile;
  std::uint64_t entriesSeen = 0;  // while scanning
  std::size_t filesDone = 0;      // while handling
  std::size_t filesTotal = 0;
};

class RunHost : public ActionHost {
 public:
  // Local wall-clock time; fixed by tests.
  virtual LocalDateTime Now() = 0;
  // Lets the window handle pending input; true when Esc was pressed.
  virtual bool PollForAbort() { return ui().PollForAbort(); }
  virtual void Progress(const RunProgress&) {}
  virtual void SetLogEmptyText(std::wstring_view) {}
  // The mask of a stored extension filter, "" when unknown.
  virtual std::wstring StoredFilterMask(const std::wstring&) { return {}; }
  // Metadata readers, or null when this build has none.
  virtual MetadataSource* Metadata() { return nullptr; }
  // Worker threads for the tests of a file's contents; 0 tests them on the run's own thread.
  virtual unsigned ContentThreads() { return ContentPool::DefaultThreads(); }
  // Where executed runs keep their journals for undoing them (engine/journal.h); "" keeps
  // none. By default the "Journal" folder beside the settings the program started with.
  virtual std::wstring JournalFolder();
  // How many days the journals of runs are kept (the setting JournalTage).
  virtual int JournalDays() { return kDefaultJournalDays; }
  // False when the setting DokumenttextAus is on: the text condition then reads office, PDF,
  // web and mail documents as plain files instead of extracting their text.
  virtual bool ExtractDocumentText() const { return true; }
};

struct RunSummary {
  std::size_t files = 0;   // file rows written
  std::size_t errors = 0;  // of them "Fehler!"
  bool aborted = false;
  // Profiles that could not run, with the reason shown in the log.
  std::vector<std::wstring> refused;
};

// Runs `profiles` in the given order. Clears the abort flag first. With `onlyFiles`, each
// profile handles just those of the files that its walk would have met and its conditions
// accept (the files a watch saw arrive), instead of walking its whole source.
RunSummary RunProfiles(const std::vector<Profile>& profiles, RunMode mode, RunHost& host, LogList& log,
                       const std::vector<std::wstring>* onlyFiles = nullptr);
// The same with a list for each profile (null: its whole source): a watch knows for each
// profile which files arrived since that profile's last run.
RunSummary RunProfiles(const std::vector<Profile>& profiles, RunMode mode, RunHost& host, LogList& log,
                       const std::vector<const std::vector<std::wstring>*>& onlyFilesOf);

// "Ausführen nur bei angehakten Dateien": repeats each checked row's action for its file,
// from the values the row carries, and writes the new result into the row.
RunSummary RunCheckedRows(LogList& log, RunHost& host);

// The target folder of a file: `Ziel` with its path variables resolved, plus, with
// `OrdnerStruktur` on, the file's folder relative to the source folder.
std::wstring TargetFolderFor(const Profile& profile, const FileFacts& file,
                             const PathVariableContext& context);

}  // namespace ablagix
