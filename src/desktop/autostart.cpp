#include "desktop/autostart.h"

#include "base/ui_port.h"

namespace ablagix {

std::wstring AutostartCommand(std::wstring_view programFolder, std::wstring_view programName) {
  std::wstring command(programFolder);
  if (command.empty() || command.back() != L'\\') command += L'\\';
  return command + std::wstring(programName) + L".EXE";
}

AutostartOutcome SetAutostart(bool on, const std::wstring& command, AutostartHost& host) {
  const bool written = on ? host.WriteRunValue(command) : host.DeleteRunValue();
  if (written) {
    host.StoreChoice(on);
    return AutostartOutcome::Done;
  }
  if (host.ui().ShowMessage(std::wstring(kNoRightsQuestion), MessageIcon::Question, MessageButtons::YesNo) ==
      MessageAnswer::Yes) {
    host.RestartElevated();
    return AutostartOutcome::Restarting;
  }
  return AutostartOutcome::Unchanged;
}

}  // namespace ablagix
