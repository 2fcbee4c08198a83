// ablagix-cli: the Ablagix engine from a terminal.
#include <algorithm>
#include <string>
#include <vector>

#include "cli/console.h"
#include "cli/options.h"
#include "fileops/files.h"
#include "profiles/profile.h"

namespace ablagix::cli {
namespace {

constexpr int kExitOk = 0;
constexpr int kExitBadInput = 2;

constexpr std::wstring_view kUsage =
    L"Ablagix – Ordner nach Regeln aufräumen\n"
    L"\n"
    L"Aufruf: ablagix-cli BEFEHL [OPTIONEN]\n"
    L"\n"
    L"Befehle:\n"
    L"  list                 zeigt die Profile der Profildatei (Name, Quelle, Aktion, Ziel)\n"
    L"  help                 zeigt diese Hilfe\n"
    L"\n"
    L"Optionen für alle Befehle:\n"
    L"  --profiles DATEI     diese Profildatei statt Ablagix.ini im Einstellungsordner\n"
    L"  --config-dir ORDNER  Einstellungsordner (Standard: %APPDATA%\\Kramdock\\,\n"
    L"                       unter Linux $APPDATA, $XDG_CONFIG_HOME oder ~/.config, dann Kramdock/)\n";

std::wstring Pad(std::wstring_view text, size_t width) {
  std::wstring out(text);
  if (out.size() < width) out.append(width - out.size(), L' ');
  return out;
}

int ListProfiles(const std::vector<std::wstring>& args, const GlobalOptions& options) {
  if (!args.empty()) {
    WriteErr(L"list: unbekanntes Argument \"" + args.front() + L"\"\n");
    return kExitBadInput;
  }
  const std::wstring file = ProfileFileFor(options);
  if (!FileExists(file)) {
    WriteErr(L"Profildatei nicht gefunden: " + file + L"\n");
    return kExitBadInput;
  }
  std::vector<Profile> profiles = Einlesen(file);
  WriteOut(L"Profildatei: " + file + L"\n");
  if (profiles.empty()) {
    WriteOut(L"Keine Profile vorhanden.\n");
    return kExitOk;
  }
  const std::vector<std::wstring> headers = {L"Beschreibung", L"Quellordner", L"Aktion",
                                             L"Zielverzeichnis"};
  std::vector<std::vector<std::wstring>> rows;
  for (const Profile& p : profiles) {
    // A target kept from an earlier move or copy means nothing for the other actions.
    rows.push_back({p.Beschreibung, p.Quelle, p.Aktion, ActionNeedsTarget(p.Aktion) ? p.Ziel : L""});
  }
  std::vector<size_t> widths;
  for (size_t c = 0; c < headers.size(); ++c) {
    size_t w = headers[c].size();
    for (const auto& row : rows) w = std::max(w, row[c].size());
    widths.push_back(w);
  }
  auto line = [&](const std::vector<std::wstring>& cells) {
    std::wstring out;
    for (size_t c = 0; c < cells.size(); ++c) {
      out += c + 1 < cells.size() ? Pad(cells[c], widths[c]) + L"  " : cells[c];
    }
    while (!out.empty() && out.back() == L' ') out.pop_back();
    WriteOut(out + L"\n");
  };
  line(headers);
  std::vector<std::wstring> rule;
  for (size_t w : widths) rule.emplace_back(w, L'-');
  line(rule);
  for (const auto& row : rows) line(row);
  return kExitOk;
}

int Main(std::vector<std::wstring> args) {
  GlobalOptions options;
  std::wstring error;
  if (!ExtractGlobalOptions(&args, &options, &error)) {
    WriteErr(error + L"\n");
    return kExitBadInput;
  }
  if (args.empty() || args.front() == L"help" || args.front() == L"--help" || args.front() == L"-h") {
    WriteOut(kUsage);
    return args.empty() ? kExitBadInput : kExitOk;
  }
  const std::wstring command = args.front();
  args.erase(args.begin());
  if (command == L"list") return ListProfiles(args, options);
  WriteErr(L"Unbekannter Befehl \"" + command + L"\". Hilfe: ablagix-cli --help\n");
  return kExitBadInput;
}

}  // namespace
}  // namespace ablagix::cli

int main(int argc, char** argv) {
  ablagix::cli::InstallInterruptHandler();
  return ablagix::cli::Main(ablagix::cli::Arguments(argc, argv));
}
