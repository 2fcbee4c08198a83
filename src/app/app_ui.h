// What the window asks of a person: message boxes titled "Ablagix", file and folder choosers,
// a short text prompt, font and colour dialogs. The normal implementation shows the system
// dialogs; the test implementation answers from a script file and records every question, so
// the GUI tests run without anybody at the screen.
#pragma once

#include <windows.h>

#include <memory>
#include <optional>
#include <string>

#include "app/control_ids.h"
#include "base/ui_port.h"

namespace ablagix::app {

struct FileDialogArgs {
  std::wstring title;
  std::wstring filter;  // "Name|pattern|Name|pattern", as the dialogs list them
  std::wstring folder;  // start folder, "" for the system's choice
  std::wstring suggestedName;
  std::wstring defaultExtension;
};

class AppUi : public UiPort {
 public:
  void SetOwner(HWND owner) { owner_ = owner; }
  HWND owner() const { return owner_; }
  // The window that receives the tray icon's events (kTrayMessage); the owner until set.
  void SetTrayWindow(HWND window) { trayWindow_ = window; }

  virtual std::optional<std::wstring> OpenFile(const FileDialogArgs& args) = 0;
  virtual std::optional<std::wstring> SaveFile(const FileDialogArgs& args) = 0;
  // `startFolder`: where the chooser opens, "" for the system drive.
  virtual std::optional<std::wstring> ChooseFolder(const std::wstring& title, const std::wstring& startFolder = {}) = 0;
  virtual std::optional<std::wstring> AskText(const std::wstring& title, const std::wstring& prompt,
                                              const std::wstring& initial) = 0;
  virtual bool ChooseFontFor(LOGFONTW* font) = 0;
  virtual bool ChooseColorFor(COLORREF* color) = 0;

  // Opens a file with the program the system associates with it, or offers the "open with"
  // chooser when there is none. Tells the user when the file has gone.
  virtual void OpenWithProgram(const std::wstring& path) = 0;
  // Starts a program through the shell with the verb "open"; false when it could not start.
  virtual bool StartProgram(const std::wstring& program, const std::wstring& parameters) = 0;
  // Starts a program with administrator rights (the shell's "runas") and these parameters;
  // false when it did not.
  virtual bool StartElevated(const std::wstring& program, const std::wstring& parameters) = 0;
  // The program's icon in the notification area, with the tip "Ablagix". False when the
  // system refused it.
  virtual bool AddTrayIcon() = 0;
  // After Explorer restarted (the "TaskbarCreated" message) the icon is gone; it is added
  // again when there was one. False when that fails.
  virtual bool ReAddTrayIcon() = 0;
  // A balloon at that icon, which is added for it when missing.
  virtual void ShowBalloon(const std::wstring& title, const std::wstring& text) = 0;
  // Removes that icon again; nothing when there is none.
  virtual void RemoveTrayIcon() = 0;
  // A finding of the window's own checks, for the test record; nothing for a person.
  virtual void Note(const std::wstring& /*line*/) {}

 protected:
  HWND TrayWindow() const { return trayWindow_ ? trayWindow_ : owner_; }

  HWND owner_ = nullptr;
  HWND trayWindow_ = nullptr;
};

// The system dialogs.
std::unique_ptr<AppUi> MakeWindowsUi(HINSTANCE instance);

// Answers come from `answersFile`, one per line, taken from the top: "Yes", "No", "Ok",
// "Cancel" for message boxes, a path or text for the choosers ("Cancel" cancels them), and
// "Ok"/"Cancel" for font and colour dialogs. A missing answer means Yes/Ok resp. cancel.
// Every question is appended to `recordFile` as one UTF-8 line: "MESSAGE|<icon>|<text>" or
// "DIALOG|<title>"; what would start a program or show a balloon is recorded instead of
// done: "OPEN|<path>", "START|<program>|<parameters>", "ELEVATED|<program>|<parameters>", "TRAY|add",
// "TRAY|remove" (only when there was an icon), "BALLOON|<title>|<text>"; notes of the window's
// own checks are recorded as they come.
std::unique_ptr<AppUi> MakeScriptedUi(std::wstring answersFile, std::wstring recordFile);

}  // namespace ablagix::app
