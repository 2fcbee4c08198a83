// "list": the profiles of the profile file as a table.
#include <algorithm>

#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "fileops/file_ops.h"
#include "profiles/profile.h"

namespace ablagix::cli {
namespace {

std::wstring Pad(std::wstring_view text, size_t width) {
  std::wstring out(text);
  if (out.size() < width) out.append(width - out.size(), L' ');
  return out;
}

}  // namespace

int ListCommand(const std::vector<std::wstring>& args, const GlobalOptions& options) {
  if (!args.empty()) {
    WriteErr(L"list: unbekanntes Argument \"" + args.front() + L"\"\n");
    return kExitBadInput;
  }
  const std::wstring file = ProfileFileFor(options, SettingsFor(options));
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
    // A target kept from an earlier move or copy means nothing for the other actions; a
    // rename shows the name it gives instead.
    const bool renames = EqualsNoCase(p.Aktion, kAktionUmbenennen);
    rows.push_back({p.Beschreibung, p.Quelle, p.Aktion, renames ? p.Zielname : ActionNeedsTarget(p.Aktion) ? p.Ziel : L""});
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

}  // namespace ablagix::cli
