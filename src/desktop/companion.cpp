#include "desktop/companion.h"

#include "base/text.h"
#include "base/ui_port.h"
#include "fileops/path_text.h"
#include "profiles/ini_file.h"

namespace ablagix {

std::uint64_t ParseWindowHandle(std::wstring_view text) {
  text = Trim(text);
  const bool negative = !text.empty() && text.front() == L'-';
  if (negative) text.remove_prefix(1);
  if (text.empty() || text.size() > 10) return 0;
  std::uint64_t value = 0;
  for (wchar_t c : text) {
    if (c < L'0' || c > L'9') return 0;
    value = value * 10 + static_cast<std::uint64_t>(c - L'0');
  }
  if (value > 0xFFFFFFFFu) return 0;
  if (negative) value = (~value + 1) & 0xFFFFFFFFu;
  return value;
}

std::string CompanionRecordBytes(std::wstring_view path) {
  std::string bytes = ToWindows1252(path);
  bytes.push_back('\0');
  return bytes;
}

void SendPathToCompanion(std::uint32_t kind, const std::wstring& path, CompanionHost& host) {
  const std::wstring settings = host.CompanionSettingsFile();
  const std::uint64_t handle =
      settings.empty() ? 0 : ParseWindowHandle(ReadIniString(settings, L"Pfad1", L"Fensterhwnd", L""));
  if (handle == 0) {
    host.ui().ShowMessage(std::wstring(kCompanionNotFound), MessageIcon::Exclamation, MessageButtons::Ok);
    return;
  }
  if (kind != kCompanionShowPath) {
    host.ui().ShowMessage(std::wstring(kCompanionWrongRequest), MessageIcon::Exclamation, MessageButtons::Ok);
    return;
  }
  if (!host.WindowExists(handle)) {
    // The companion ended without clearing its handle: start it with the path instead.
    host.StartCompanion(path);
    return;
  }
  host.SendRecord(handle, kind, CompanionRecordBytes(path));
  host.ui().ShowMessage(L"Pfad gesendet an: " + NumberText(handle) + L"\r\nPfad = " + path,
                        MessageIcon::Information, MessageButtons::Ok);
}

std::wstring FindLogRowTarget(std::wstring_view zielpfad, std::wstring_view datei,
                              std::wstring_view numberedTarget, CompanionHost& host) {
  if (datei.empty()) return {};
  if (!numberedTarget.empty() && host.PathExists(std::wstring(numberedTarget))) return std::wstring(numberedTarget);
  if (zielpfad.empty()) return {};
  const std::wstring folder = FolderPart(zielpfad);
  if (!folder.empty()) {
    std::wstring path = folder + std::wstring(datei);
    if (host.PathExists(path)) return path;
  }
  std::wstring path = JoinPath(zielpfad, datei);
  if (host.PathExists(path)) return path;
  return {};
}

void OpenLogRowTarget(std::wstring_view zielpfad, std::wstring_view datei, std::wstring_view numberedTarget,
                      CompanionHost& host) {
  const std::wstring path = FindLogRowTarget(zielpfad, datei, numberedTarget, host);
  if (path.empty()) {
    host.ui().ShowMessage(std::wstring(kTargetPathMissing), MessageIcon::Exclamation, MessageButtons::Ok);
    return;
  }
  SendPathToCompanion(kCompanionShowPath, path, host);
}

}  // namespace ablagix
