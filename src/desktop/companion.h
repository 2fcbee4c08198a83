// Handing a file to the companion file manager "Kramdock.exe", which shows it in its own
// window. A running companion publishes its main window's handle in its "Opt.ini"; the path
// goes there as a WM_COPYDATA record. When that window is gone, the companion is started with
// the path instead.
//
// The decisions live here, without a window; the desktop program supplies the few system
// calls through CompanionHost, so every branch is tested on any platform.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace ablagix {

class UiPort;

inline constexpr std::wstring_view kCompanionProgram = L"Kramdock.exe";
inline constexpr std::wstring_view kCompanionNotFound = L"Kramdock nicht gefunden!";
inline constexpr std::wstring_view kCompanionWrongRequest = L"Senddata ist falsch";
inline constexpr std::wstring_view kTargetPathMissing = L"Zielpfad existiert nicht!";
// The only request kind the companion understands: show this path.
inline constexpr std::uint32_t kCompanionShowPath = 1;

// The decimal window handle as the companion writes it; 0 for an empty or malformed text.
// Handles are 32-bit values, so a negative number is taken as its 32-bit pattern.
std::uint64_t ParseWindowHandle(std::wstring_view text);

// The record's data: the path in the single-byte code page and a terminating zero byte, so
// that its size (cbData) is the number of path bytes plus one. Characters the code page
// cannot hold become "?".
std::string CompanionRecordBytes(std::wstring_view path);

class CompanionHost {
 public:
  virtual ~CompanionHost() = default;
  virtual UiPort& ui() = 0;
  // The companion's "Opt.ini" (in "Kramdock\" under the per-user application-data folder);
  // "" when that folder is unknown.
  virtual std::wstring CompanionSettingsFile() = 0;
  virtual bool WindowExists(std::uint64_t handle) = 0;
  // Sends WM_COPYDATA synchronously with dwData = kind and the bytes as lpData/cbData.
  virtual void SendRecord(std::uint64_t handle, std::uint32_t kind, const std::string& bytes) = 0;
  // Starts the companion through the shell ("open", the path as its parameters). Failure is
  // not reported to the user.
  virtual void StartCompanion(const std::wstring& path) = 0;
  virtual bool PathExists(const std::wstring& path) = 0;
};

// Sends `path` to the companion with the request `kind`: to its window when that still exists
// (then tells the user where it went), otherwise by starting the companion.
void SendPathToCompanion(std::uint32_t kind, const std::wstring& path, CompanionHost& host);

// The path of a log row's file at its target, as a double-click looks for it: the file in the
// folder part of "Zielpfad", else in "Zielpfad" itself. `numberedTarget` is the full target
// path of a file the collision policy renamed ("Ziel2"); it is tried first, because only it
// names the copy that was made. "" when none of them exists.
std::wstring FindLogRowTarget(std::wstring_view zielpfad, std::wstring_view datei,
                              std::wstring_view numberedTarget, CompanionHost& host);

// A double-click on a log row: hands the row's target file to the companion, or tells the
// user that it does not exist.
void OpenLogRowTarget(std::wstring_view zielpfad, std::wstring_view datei,
                      std::wstring_view numberedTarget, CompanionHost& host);

}  // namespace ablagix
