// "run", "timer" and "watch": the profiles of the profile file, executed or simulated, with
// the log printed as a table or as tab-separated lines.
#include <chrono>
#include <functional>
#include <optional>
#include <thread>

#include "base/abort_flag.h"
#include "base/text.h"
#include "cli/cli_host.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/log_output.h"
#include "engine/run.h"
#include "engine/timer_model.h"
#include "engine/watch_service.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "log/log_save.h"
#include "profiles/profile.h"
#include "profiles/settings.h"

namespace ablagix::cli {
namespace {

enum class Command { Run, Timer, Watch };

struct RunArguments {
  bool simulate = false;
  bool all = false;
  LogFormat format = LogFormat::Table;
  std::wstring exportFile;
  std::vector<std::wstring> names;
  // timer and watch (for folders that cannot be watched)
  int intervalMinutes = 0;
  int secondsPerMinute = 60;
  int maxRuns = 0;
  bool clearEveryFifth = false;
  int threads = 0;  // 0: one per core
};

bool ParseNumber(const std::wstring& text, int* out) {
  std::uint64_t n = 0;
  if (!ParseWholeNumber(text, &n) || n == 0 || n > 100000) return false;
  *out = static_cast<int>(n);
  return true;
}

// False with a German message for bad input.
bool ParseRunArguments(const std::vector<std::wstring>& args, Command command, RunArguments* r,
                       std::wstring* error) {
  const bool timer = command == Command::Timer;
  const bool unattended = command != Command::Run;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::wstring& a = args[i];
    auto value = [&](std::wstring* out) {
      if (i + 1 >= args.size()) {
        *error = L"Die Option " + a + L" braucht einen Wert.";
        return false;
      }
      *out = args[++i];
      return true;
    };
    std::wstring v;
    if (a == L"--simulate" && !unattended) {
      r->simulate = true;
    } else if (a == L"--all") {
      r->all = true;
    } else if (a == L"--format") {
      if (!value(&v)) return false;
      if (v == L"table") {
        r->format = LogFormat::Table;
      } else if (v == L"tsv") {
        r->format = LogFormat::Tsv;
      } else {
        *error = L"Unbekanntes Format \"" + v + L"\" (erlaubt: table, tsv).";
        return false;
      }
    } else if (a == L"--threads") {
      if (!value(&v) || !ParseNumber(v, &r->threads) || r->threads > 256) {
        *error = L"--threads braucht eine ganze Zahl von 1 bis 256.";
        return false;
      }
    } else if (a == L"--export" && !unattended) {
      if (!value(&r->exportFile)) return false;
    } else if (unattended && a == L"--interval") {
      if (!value(&v)) return false;
      if (!ParseNumber(v, &r->intervalMinutes)) {
        *error = L"Das Intervall muss eine ganze Zahl von Minuten sein.";
        return false;
      }
    } else if (timer && a == L"--tick-seconds") {
      if (!value(&v) || !ParseNumber(v, &r->secondsPerMinute)) {
        *error = L"--tick-seconds braucht eine ganze Zahl.";
        return false;
      }
    } else if (unattended && a == L"--runs") {
      if (!value(&v) || !ParseNumber(v, &r->maxRuns)) {
        *error = L"--runs braucht eine ganze Zahl.";
        return false;
      }
    } else if (timer && a == L"--clear-every-fifth") {
      r->clearEveryFifth = true;
    } else if (a.starts_with(L"--")) {
      *error = L"Unbekannte Option " + a + L".";
      return false;
    } else {
      r->names.push_back(a);
    }
  }
  if (r->all == !r->names.empty()) {
    *error = r->all ? L"Bitte entweder --all oder Profilnamen angeben, nicht beides."
                    : L"Bitte Profilnamen oder --all angeben.";
    return false;
  }
  if (timer && r->intervalMinutes == 0) {
    *error = L"Bitte das Intervall mit --interval MINUTEN angeben.";
    return false;
  }
  if (!r->exportFile.empty() && !ReportFormatForPath(r->exportFile)) {
    *error = L"--export: Unbekannte Dateiendung bei \"" + r->exportFile +
             L"\" (erlaubt: .txt, .csv, .html, .pdf).";
    return false;
  }
  return true;
}

// The named profiles in file order (or all of them).
bool SelectProfiles(const std::wstring& file, const RunArguments& r, std::vector<Profile>* selected,
                    std::wstring* error) {
  if (!FileExists(file)) {
    *error = L"Profildatei nicht gefunden: " + file;
    return false;
  }
  std::vector<Profile> profiles = Einlesen(file);
  for (const std::wstring& name : r.names) {
    bool known = false;
    for (const Profile& p : profiles) known = known || EqualsNoCase(p.Beschreibung, name);
    if (!known) {
      *error = L"Kein Profil \"" + name + L"\" in " + file + L".";
      return false;
    }
  }
  for (Profile& p : profiles) {
    bool wanted = r.all;
    for (const std::wstring& name : r.names) wanted = wanted || EqualsNoCase(p.Beschreibung, name);
    if (wanted) selected->push_back(std::move(p));
  }
  if (selected->empty()) {
    *error = L"Die Profildatei enth\u00e4lt keine Profile: " + file;
    return false;
  }
  return true;
}

bool Prepare(const std::vector<std::wstring>& args, const GlobalOptions& options, Command command,
             RunArguments* r, SettingsFolders* folders, std::vector<Profile>* profiles) {
  std::wstring error;
  *folders = SettingsFor(options);
  if (!ParseRunArguments(args, command, r, &error) ||
      !SelectProfiles(ProfileFileFor(options, *folders), *r, profiles, &error)) {
    WriteErr(error + L"\n");
    return false;
  }
  return true;
}

// The automatic save after a run, as the window does it: when "Log automatisch speichern im
// Ordner:" is on, the whole log goes into LogPath in the chosen format, without questions.
class AutoSaveHost : public LogSaveHost {
 public:
  explicit AutoSaveHost(CliRunHost& run) : run_(run) {}
  UiPort& ui() override { return run_.ui(); }
  LocalDateTime Now() override { return run_.Now(); }
  std::optional<std::wstring> AskSavePath(const SaveDialogRequest&) override { return std::nullopt; }
  void OpenWithProgram(const std::wstring&) override {}

 private:
  CliRunHost& run_;
};

void SaveLogAfterRun(const LogList& log, const SettingsFolders& folders, CliRunHost& host) {
  const AppSettings settings = ReadAppSettings(folders.SettingsFilePath);
  if (!settings.saveLogAutomatically) return;
  AutoSaveHost saveHost(host);
  // The save clears a Ctrl+C that ended the run, so that the report of it is whole; the
  // command must still end as stopped.
  const bool stopped = AbortRequested();
  const LogSaveResult saved = SaveLog(log, settings, folders.SettingsFilePath, true, saveHost);
  if (stopped) RequestAbort();
  WriteErr((saved.outcome == LogSaveOutcome::Saved ? L"Log gespeichert: " : L"Log nicht gespeichert: ") +
           (saved.path.empty() ? settings.LogPath : saved.path) + L"\n");
}

// A run nobody started by hand (the timer's, or one that watching started): executed by
// `run`, its new rows printed, the log saved as after every run.
RunSummary RunUnattended(const std::function<RunSummary()>& run, CliRunHost& host, LogList& log, LogFormat format,
                         const SettingsFolders& folders) {
  const std::size_t first = log.size();
  const RunSummary summary = run();
  host.EndProgress();
  PrintLog(log, format, first);
  FlushOut();
  SaveLogAfterRun(log, folders, host);
  return summary;
}

int ExitCodeFor(const RunSummary& summary) {
  if (summary.aborted) return kExitAborted;
  return summary.errors > 0 ? kExitFileError : kExitOk;
}

// The tally of a command that runs again and again (timer, watch): a run with an error row
// sets the exit code, and the command stops after `maxRuns` runs (0: never) or a stopped run.
class RepeatedRuns {
 public:
  explicit RepeatedRuns(int maxRuns) : maxRuns_(maxRuns) {}

  // Notes a finished run; false when the command stops after it.
  bool Continue(const RunSummary& summary) {
    if (summary.errors > 0) exitCode_ = kExitFileError;
    return !(summary.aborted || (maxRuns_ > 0 && ++runs_ >= maxRuns_));
  }
  // The command's exit code; Ctrl+C ends it with `stoppedMessage` on the error stream.
  int ExitCode(std::wstring_view stoppedMessage) const {
    if (AbortRequested()) {
      WriteErr(stoppedMessage);
      return kExitAborted;
    }
    return exitCode_;
  }

 private:
  int maxRuns_;
  int runs_ = 0;
  int exitCode_ = kExitOk;
};

}  // namespace

int RunCommand(const std::vector<std::wstring>& args, const GlobalOptions& options) {
  RunArguments r;
  SettingsFolders folders;
  std::vector<Profile> profiles;
  if (!Prepare(args, options, Command::Run, &r, &folders, &profiles)) return kExitBadInput;
  CliRunHost host(folders, options.assumeYes);
  if (r.threads > 0) host.SetContentThreads(static_cast<unsigned>(r.threads));
  LogList log;
  const RunSummary summary = RunProfiles(profiles, r.simulate ? RunMode::Simulate : RunMode::Execute, host, log);
  host.EndProgress();
  PrintLog(log, r.format);
  if (summary.aborted) WriteErr(L"Abgebrochen.\n");
  SaveLogAfterRun(log, folders, host);
  if (!r.exportFile.empty()) {
    // The report uses the program's own export settings (separator, header, colours).
    const ReportFormat format = *ReportFormatForPath(r.exportFile);
    const std::wstring folder = FolderPart(r.exportFile);
    if (!folder.empty()) CreateFolders(folder);
    // A Ctrl+C that ended the run leaves the flag set; the report of what was done is still
    // wanted, and a second Ctrl+C stops a text export.
    ClearAbort();
    const ReportOptions report = ReportOptionsFrom(ReadAppSettings(folders.SettingsFilePath));
    if (!WriteLogReport(log, r.exportFile, format, report, host.Now(), host.ui(), nullptr)) {
      // The PDF writer has said so itself.
      if (format != ReportFormat::Pdf) {
        WriteErr(L"Konnte den Bericht nicht speichern: " + r.exportFile + L"\n");
      }
      return kExitFileError;
    }
    // A report cut short by Ctrl+C holds only part of the log; a script must not take it whole.
    if (AbortRequested()) {
      WriteErr(L"Bericht abgebrochen, unvollst\u00e4ndig: " + r.exportFile + L"\n");
      return kExitAborted;
    }
  }
  return ExitCodeFor(summary);
}

int TimerCommand(const std::vector<std::wstring>& args, const GlobalOptions& options) {
  RunArguments r;
  SettingsFolders folders;
  std::vector<Profile> profiles;
  if (!Prepare(args, options, Command::Timer, &r, &folders, &profiles)) return kExitBadInput;
  CliRunHost host(folders, options.assumeYes);
  if (r.threads > 0) host.SetContentThreads(static_cast<unsigned>(r.threads));
  host.SetTimerRunning(true);
  TimerModel timer;
  timer.SetInterval(r.intervalMinutes);
  timer.SetClearLogEveryFifthRun(r.clearEveryFifth);
  timer.Start();
  WriteErr(TimerStartedBalloon(r.intervalMinutes) + L" (Strg+C beendet)\n");
  LogList log;
  RepeatedRuns repeated(r.maxRuns);
  while (!AbortRequested()) {
    for (int s = 0; s < r.secondsPerMinute && !AbortRequested(); ++s) {
      std::this_thread::sleep_for(std::chrono::seconds(1));
    }
    if (AbortRequested()) break;
    const TickResult tick = timer.Tick();
    if (tick == TickResult::Wait) continue;
    if (tick == TickResult::ClearLogAndRun) log.Clear();
    timer.SetBusy(true);
    const RunSummary summary =
        RunUnattended([&] { return RunProfiles(profiles, RunMode::Execute, host, log); }, host, log, r.format, folders);
    timer.SetBusy(false);
    if (!repeated.Continue(summary)) break;
  }
  return repeated.ExitCode(L"Timer gestoppt.\n");
}

int WatchCommand(const std::vector<std::wstring>& args, const GlobalOptions& options) {
  RunArguments r;
  SettingsFolders folders;
  std::vector<Profile> selected;
  if (!Prepare(args, options, Command::Watch, &r, &folders, &selected)) return kExitBadInput;
  std::vector<Profile> profiles;
  for (Profile& profile : selected) {
    if (MarkedForWatching(profile)) {
      profiles.push_back(std::move(profile));
    } else if (!r.all) {
      WriteErr(L"\u201E" + profile.Beschreibung +
               L"\u201C ist nicht zum \u00dcberwachen markiert (\u201EDiesen Ordner \u00fcberwachen\u201C) und wird "
               L"nicht \u00fcberwacht.\n");
    }
  }
  if (profiles.empty()) {
    WriteErr(L"Keines der Profile ist zum \u00dcberwachen markiert (\u201EDiesen Ordner \u00fcberwachen\u201C).\n");
    return kExitBadInput;
  }
  CliRunHost host(folders, options.assumeYes);
  if (r.threads > 0) host.SetContentThreads(static_cast<unsigned>(r.threads));
  // Notify profiles speak as in a timed run: nobody watches the terminal for their rows.
  host.SetTimerRunning(true);
  WatchOptions watchOptions;
  if (r.intervalMinutes > 0) watchOptions.fallbackInterval = std::chrono::minutes(r.intervalMinutes);
  WatchService watch(watchOptions);
  watch.Start(profiles, WatchClockNow());
  WriteErr(L"\u00dcberwachung gestartet: " + NumberText(watch.watchedCount()) + L" Ordner (Strg+C beendet)\n");
  LogList log;
  RepeatedRuns repeated(r.maxRuns);
  while (!AbortRequested()) {
    const std::vector<std::wstring> notes = watch.TakeNotes();
    if (!notes.empty()) {
      const std::size_t first = log.size();
      for (const std::wstring& note : notes) AppendWatchNote(log, note);
      PrintLog(log, r.format, first);
      FlushOut();
    }
    const std::vector<WatchRun> due = watch.Due(WatchClockNow());
    if (due.empty()) {
      std::this_thread::sleep_for(std::chrono::milliseconds(200));
      continue;
    }
    const std::size_t runFirst = log.size();
    // Each profile over the files that arrived for it, not over its whole folder again.
    const RunSummary summary = RunUnattended([&] { return RunWatchRuns(due, host, log); }, host, log, r.format, folders);
    watch.Ran(log, runFirst, WatchClockNow());
    if (!repeated.Continue(summary)) break;
  }
  return repeated.ExitCode(L"\u00dcberwachung gestoppt.\n");
}

}  // namespace ablagix::cli
