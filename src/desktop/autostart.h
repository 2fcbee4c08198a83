// Starting the program with Windows: a value "Ablagix" in the per-user "Run" key names the
// program file. The decisions live here (autostart.cpp); the registry calls are in
// autostart_win32.cpp, which only the Windows program is built with.
#pragma once

#include <string>
#include <string_view>

namespace ablagix {

class UiPort;

inline constexpr std::wstring_view kRunKey = L"Software\\Microsoft\\Windows\\CurrentVersion\\Run";
inline constexpr std::wstring_view kRunValueName = L"Ablagix";
inline constexpr std::wstring_view kNoRightsQuestion =
    L"Sie haben keine ausreichenden Schreibrechte, wollen Sie das Programm jetzt mit Adminrechten starten?";

// The value's data: the folder, one backslash, the program's name and ".EXE"
// ("C:\Programme\Ablagix\Ablagix.EXE"; a drive root gives "C:\Ablagix.EXE").
std::wstring AutostartCommand(std::wstring_view programFolder, std::wstring_view programName);

class AutostartHost {
 public:
  virtual ~AutostartHost() = default;
  virtual UiPort& ui() = 0;
  virtual bool WriteRunValue(const std::wstring& data) = 0;
  virtual bool DeleteRunValue() = 0;
  // Starts the program again with administrator rights; the caller then ends this instance.
  virtual void RestartElevated() = 0;
  virtual void StoreChoice(bool on) = 0;  // AXRun
};

enum class AutostartOutcome { Done, Restarting, Unchanged };

// The per-user "Run" key's value: written (the key is created when missing), or deleted. A
// missing key or value counts as deleted. False when the registry refused.
bool WriteRunKeyValue(const std::wstring& data);
bool DeleteRunKeyValue();

// Switches the entry on or off. When the registry refuses, the user may restart the program
// with administrator rights; otherwise nothing changes.
AutostartOutcome SetAutostart(bool on, const std::wstring& command, AutostartHost& host);

}  // namespace ablagix
