#include "cli/cli_host.h"

#include <cstdio>
#include <iostream>

#include "base/text.h"
#include "cli/console.h"
#include "fileops/files.h"
#include "profiles/filter_list.h"

namespace ablagix::cli {

MessageAnswer TerminalUi::ShowMessage(const std::wstring& text, MessageIcon, MessageButtons buttons) {
  WriteErr(L"Ablagix: " + text + L"\n");
  if (buttons == MessageButtons::Ok) return MessageAnswer::Ok;
  // Without a person at the terminal every question gets the answer that changes nothing.
  if (!StandardInputIsTerminal()) {
    WriteErr(L"(keine Eingabe m\u00f6glich: Antwort \u201ENein\u201C)\n");
    return buttons == MessageButtons::OkCancel ? MessageAnswer::Cancel : MessageAnswer::No;
  }
  for (;;) {
    WriteErr(buttons == MessageButtons::OkCancel ? L"[o]k / [a]bbrechen? " : L"[j]a / [n]ein? ");
    std::string line;
    if (!std::getline(std::cin, line)) return MessageAnswer::No;
    const char c = line.empty() ? ' ' : static_cast<char>(std::tolower(static_cast<unsigned char>(line[0])));
    if (buttons == MessageButtons::OkCancel) {
      if (c == 'o') return MessageAnswer::Ok;
      if (c == 'a') return MessageAnswer::Cancel;
    } else {
      if (c == 'j' || c == 'y') return MessageAnswer::Yes;
      if (c == 'n') return MessageAnswer::No;
      if (c == 'a' && buttons == MessageButtons::YesNoCancel) return MessageAnswer::Cancel;
    }
  }
}

CliRunHost::CliRunHost(SettingsFolders folders)
    : folders_(std::move(folders)),
      metadata_(ReadMetadataSettings(folders_.SettingsFilePath)),
      progressToTerminal_(StandardErrorIsTerminal()) {}

void CliRunHost::Notify(const std::wstring& title, const std::wstring& text) {
  EndProgress();
  WriteErr(title + L": " + text + L"\n");
}

LocalDateTime CliRunHost::Now() { return FileTimeToLocal(CurrentFileTime()); }

void CliRunHost::Progress(const RunProgress& p) {
  if (!progressToTerminal_) return;
  std::wstring line = L"\r" + std::wstring(p.profile) + L": ";
  line += p.filesTotal == 0 ? NumberText(p.entriesSeen) + L" Eintr\u00e4ge gepr\u00fcft"
                            : NumberText(p.filesDone) + L" von " + NumberText(p.filesTotal) + L" Dateien";
  WriteErr(line + L"\x1b[K");
  progressShown_ = true;
}

void CliRunHost::EndProgress() {
  if (progressShown_) WriteErr(L"\r\x1b[K");
  progressShown_ = false;
}

std::wstring CliRunHost::StoredFilterMask(const std::wstring& name) {
  return StoredFilterMaskByName(folders_, name);
}

}  // namespace ablagix::cli
