#include "cli/cli_host.h"

#include <cstdio>
#include <iostream>

#include "base/abort_flag.h"
#include "base/text.h"
#include "cli/console.h"
#include "engine/journal.h"
#include "fileops/file_ops.h"
#include "profiles/filter_list.h"
#include "profiles/settings.h"

namespace ablagix::cli {

MessageAnswer TerminalUi::ShowMessage(const std::wstring& text, MessageIcon, MessageButtons buttons) {
  const MessageAnswer no = buttons == MessageButtons::OkCancel ? MessageAnswer::Cancel : MessageAnswer::No;
  return Ask(text, buttons, assumeYes_ && buttons != MessageButtons::OkCancel ? MessageAnswer::Yes : no,
             assumeYes_ ? L"(keine Eingabe m\u00f6glich, --ja: Antwort \u201EJa\u201C)"
                        : L"(keine Eingabe m\u00f6glich: Antwort \u201ENein\u201C)");
}

MessageAnswer TerminalUi::AskBeforeDestroying(const std::wstring& text, MessageIcon, MessageButtons buttons,
                                              MessageAnswer keep) {
  // Unattended (a script, the timer, a scheduled task) nobody can weigh the question: the
  // file is kept unless the caller said --ja beforehand.
  if (assumeYes_) return Ask(text, buttons, MessageAnswer::Yes, L"(keine Eingabe m\u00f6glich, --ja: Antwort \u201EJa\u201C)");
  return Ask(text, buttons, keep,
             L"(keine Eingabe m\u00f6glich: die Datei bleibt unver\u00e4ndert; --ja antwortet \u201EJa\u201C)");
}

MessageAnswer TerminalUi::Ask(const std::wstring& text, MessageButtons buttons, MessageAnswer unattended,
                              std::wstring_view unattendedNote) {
  WriteErr(L"Ablagix: " + text + L"\n");
  if (buttons == MessageButtons::Ok) return MessageAnswer::Ok;
  if (!StandardInputIsTerminal()) {
    WriteErr(std::wstring(unattendedNote) + L"\n");
    return unattended;
  }
  for (;;) {
    WriteErr(buttons == MessageButtons::OkCancel      ? L"[o]k / [a]bbrechen? "
             : buttons == MessageButtons::YesNoCancel ? L"[j]a / [n]ein / [a]bbrechen? "
                                                      : L"[j]a / [n]ein? ");
    std::string line;
    if (!std::getline(std::cin, line)) return unattended;
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

CliRunHost::CliRunHost(SettingsFolders folders, bool assumeYes)
    : ui_(assumeYes),
      folders_(std::move(folders)),
      metadata_(ReadMetadataSettings(folders_.SettingsFilePath)),
      progressToTerminal_(StandardErrorIsTerminal()) {
  const AppSettings settings = ReadAppSettings(folders_.SettingsFilePath);
  zip_ = {settings.zipWholePaths, settings.zipAsSelfExtractor};
  extractDocumentText_ = !settings.DokumenttextAus;
  journalDays_ = settings.JournalTage;
}

void CliRunHost::Notify(const std::wstring& title, const std::wstring& text) {
  EndProgress();
  WriteErr(title + L": " + text + L"\n");
}

bool CliRunHost::CopyProgress(std::uint64_t, std::uint64_t) { return !AbortRequested(); }

LocalDateTime CliRunHost::Now() { return FileTimeToLocal(CurrentFileTime()); }

std::wstring CliRunHost::JournalFolder() { return JournalFolderIn(folders_); }

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
