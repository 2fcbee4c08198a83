// "undo": the journals of executed runs listed, and a run undone from its journal.
#include <algorithm>

#include "base/text.h"
#include "cli/cli_host.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "cli/log_output.h"
#include "engine/journal.h"
#include "engine/undo.h"
#include "fileops/path_text.h"

namespace ablagix::cli {
namespace {

struct UndoArguments {
  bool list = false;
  bool last = false;
  std::wstring run;
  LogFormat format = LogFormat::Table;
};

bool ParseUndoArguments(const std::vector<std::wstring>& args, UndoArguments* u, std::wstring* error) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::wstring& a = args[i];
    if (a == L"--list") {
      u->list = true;
    } else if (a == L"--last") {
      u->last = true;
    } else if (a == L"--format") {
      const std::wstring v = i + 1 < args.size() ? args[++i] : L"";
      if (v != L"table" && v != L"tsv") {
        *error = L"--format braucht table oder tsv.";
        return false;
      }
      u->format = v == L"tsv" ? LogFormat::Tsv : LogFormat::Table;
    } else if (a.starts_with(L"--") || !u->run.empty()) {
      *error = L"undo: unbekanntes Argument \"" + a + L"\".";
      return false;
    } else {
      u->run = a;
    }
  }
  if ((u->list ? 1 : 0) + (u->last ? 1 : 0) + (u->run.empty() ? 0 : 1) != 1) {
    *error = L"Bitte genau eines angeben: --list, --last oder den Namen eines Laufs (aus --list).";
    return false;
  }
  return true;
}

std::wstring StateText(const JournalSummary& s) {
  if (!s.readable) return L"unlesbar";
  if (s.undone) return L"r\u00fcckg\u00e4ngig gemacht";
  return s.finished ? L"ausgef\u00fchrt" : L"unterbrochen";
}

std::wstring Pad(std::wstring_view text, size_t width) {
  std::wstring out(text);
  if (out.size() < width) out.append(width - out.size(), L' ');
  return out;
}

int ListJournalsCommand(const std::wstring& folder) {
  const std::vector<JournalSummary> journals = ListJournals(folder);
  if (journals.empty()) {
    WriteOut(L"Keine L\u00e4ufe im Journal (" + folder + L").\n");
    return kExitOk;
  }
  std::vector<std::vector<std::wstring>> rows = {{L"Nr", L"Name", L"Beginn", L"Dateien", L"Zustand", L"Profile"}};
  for (size_t i = 0; i < journals.size(); ++i) {
    const JournalSummary& s = journals[i];
    const std::wstring what = s.profiles.empty() ? s.kind : Join(s.profiles, L", ");
    rows.push_back({NumberText(i + 1), s.name, s.startedText, NumberText(s.changes), StateText(s), what});
  }
  std::vector<size_t> widths(rows.front().size(), 0);
  for (const auto& row : rows) {
    for (size_t c = 0; c < row.size(); ++c) widths[c] = std::max(widths[c], row[c].size());
  }
  for (const auto& row : rows) {
    std::wstring line;
    for (size_t c = 0; c < row.size(); ++c) line += c + 1 < row.size() ? Pad(row[c], widths[c]) + L"  " : row[c];
    WriteOut(line + L"\n");
  }
  return kExitOk;
}

// The journal a name from --list stands for: its number there, its name, or a path.
std::wstring FindJournal(const std::wstring& folder, const std::wstring& run) {
  const std::vector<JournalSummary> journals = ListJournals(folder);
  std::uint64_t number = 0;
  if (ParseWholeNumber(run, &number)) return number >= 1 && number <= journals.size() ? journals[number - 1].path : L"";
  for (const JournalSummary& s : journals) {
    if (EqualsNoCase(s.name, run) || EqualsNoCase(NamePart(s.path), run)) return s.path;
  }
  return FileExists(run) ? run : L"";
}

}  // namespace

int UndoCommand(const std::vector<std::wstring>& args, const GlobalOptions& options) {
  UndoArguments u;
  std::wstring error;
  if (!ParseUndoArguments(args, &u, &error)) {
    WriteErr(error + L"\n");
    return kExitBadInput;
  }
  const SettingsFolders folders = SettingsFor(options);
  const std::wstring folder = JournalFolderIn(folders);
  if (u.list) return ListJournalsCommand(folder);
  std::wstring journal;
  if (u.last) {
    if (const std::optional<JournalSummary> latest = LatestJournal(folders)) journal = latest->path;
    if (journal.empty()) {
      WriteErr(L"Es gibt keinen Lauf, der sich r\u00fcckg\u00e4ngig machen lie\u00dfe (" + folder + L").\n");
      return kExitBadInput;
    }
  } else {
    journal = FindJournal(folder, u.run);
    if (journal.empty()) {
      WriteErr(L"Kein Lauf \"" + u.run + L"\" im Journal (ablagix-cli undo --list zeigt sie).\n");
      return kExitBadInput;
    }
  }
  CliRunHost host(folders, options.assumeYes);
  LogList log;
  const UndoSummary summary = UndoRun(journal, host, log);
  host.EndProgress();
  PrintLog(log, u.format);
  if (summary.alreadyUndone) {
    WriteErr(L"Dieser Lauf wurde schon r\u00fcckg\u00e4ngig gemacht; es wurde nichts ver\u00e4ndert.\n");
    return kExitOk;
  }
  if (!summary.problem.empty()) WriteErr(summary.problem + L"\n");
  if (summary.aborted) {
    WriteErr(L"Abgebrochen; ein neuer Aufruf macht den Rest r\u00fcckg\u00e4ngig.\n");
    return kExitAborted;
  }
  return summary.errors > 0 || !summary.problem.empty() ? kExitFileError : kExitOk;
}

}  // namespace ablagix::cli
