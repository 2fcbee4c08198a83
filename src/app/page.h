// One tab of the main window. A page builds its controls, keeps them in step with its model,
// and answers what they report; the frame hands each WM_COMMAND and WM_NOTIFY to the page
// whose number range the control belongs to (control_ids.h). What a page needs of the others
// it asks through PageHost, so no page knows another's members.
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <string>
#include <string_view>
#include <vector>

#include "app/app_ui.h"
#include "app/layout.h"
#include "app/page_size.h"
#include "app/run_view.h"
#include "profiles/profile.h"
#include "profiles/settings.h"
#include "profiles/settings_store.h"

namespace ablagix::app {

enum Page { kRunPage = 0, kEditorPage = 1, kSettingsPage = 2, kLogPage = 3, kPageCount = 4 };

// What the frame shares with every page: the program, the main window, the dialogs, the
// font, and the settings as read at the start and changed since.
struct WindowContext {
  WindowContext(HINSTANCE program, AppUi& dialogs) : instance(program), ui(dialogs) {}
  HINSTANCE instance;
  AppUi& ui;
  HWND window = nullptr;
  FontMetrics metrics;
  SettingsFolders folders;
  AppSettings settings;
};

class PageHost {
 public:
  virtual ~PageHost() = default;

  // --- the frame
  virtual void SelectTab(int page) = 0;
  virtual void AddTooltip(HWND owner, HWND control, std::wstring text) = 0;
  // Writes one key of the settings file; a failed write is shown to the user.
  virtual bool SaveSetting(std::wstring_view key, std::wstring_view value) = 0;
  // `which`: 0 the profile list, 1 the log list.
  virtual void ApplyListFont(int which) = 0;
  // The row colours changed.
  virtual void RepaintLists() = 0;
  // The pages are rebuilt in that language once the list that asked has finished.
  virtual void ChangeLanguageSoon(const std::wstring& choice) = 0;
  // The window's own handling of a message taken from the queue during long work.
  virtual bool PreTranslate(MSG* message) = 0;

  // --- the profile editor
  // Unsaved changes are offered for saving; false when the editor must stay.
  virtual bool AskIfSaveProfile() = 0;
  virtual void EditProfile(const Profile& profile) = 0;
  virtual void FilterListSaved(const std::wstring& filterList) = 0;

  // --- the profile list
  virtual std::wstring ProfileFile() const = 0;
  virtual void UseProfileFile(const std::wstring& path) = 0;
  // Reads the profile file into the list; `keepChecks` keeps the check marks by name.
  virtual void ReloadProfiles(bool keepChecks, const std::wstring& select = {}) = 0;
  virtual std::vector<std::wstring> CheckedProfileNames() const = 0;

  // --- the settings page
  // The report and timer options as the controls show them, into the settings.
  virtual void SettingsFromControls() = 0;
  // Both coordinates of the radius search's reference point are filled in.
  virtual bool HasReferencePoint() const = 0;
  virtual TimerSettings TimerSettingsShown() const = 0;
};

// Every other row of a list in the second pair of colours of the settings.
inline LRESULT StripedRowsCustomDraw(NMLVCUSTOMDRAW* draw, const AppSettings& settings) {
  switch (draw->nmcd.dwDrawStage) {
    case CDDS_PREPAINT:
      return CDRF_NOTIFYITEMDRAW;
    case CDDS_ITEMPREPAINT: {
      const bool odd = draw->nmcd.dwItemSpec % 2 == 1;
      draw->clrTextBk = odd ? settings.BackColor2 : settings.BackColor1;
      draw->clrText = odd ? settings.ForeColor2 : settings.ForeColor1;
      return CDRF_NEWFONT;
    }
  }
  return CDRF_DODEFAULT;
}

class TabPage {
 public:
  TabPage(WindowContext& context, PageHost& host) : context_(context), host_(host) {}
  virtual ~TabPage() = default;
  TabPage(const TabPage&) = delete;
  TabPage& operator=(const TabPage&) = delete;

  // The child window of the tabs that holds this page's controls.
  void Attach(HWND page) { page_ = page; }
  HWND window() const { return page_; }
  HWND Item(int id) const { return GetDlgItem(page_, id); }
  const Layout& layout() const { return layout_; }

  // Creates the controls in the current language; earlier ones have been destroyed.
  void Build() {
    layout_.Begin(page_, &context_.metrics, kPageWidth, kPageHeight);
    BuildControls(layout_);
  }
  virtual void OnCommand(int id, int code) = 0;
  virtual LRESULT OnNotify(NMHDR* /*header*/) { return 0; }
  // The colours of a static control of this page; nullptr for the standard ones.
  virtual HBRUSH StaticColours(int /*id*/, HDC /*dc*/) { return nullptr; }
  // Around a change of language: what the controls hold is kept, then put into the new ones.
  virtual void KeepForRebuild() {}
  virtual void RestoreAfterRebuild() {}

 protected:
  virtual void BuildControls(Layout& layout) = 0;

  WindowContext& context_;
  PageHost& host_;
  HWND page_ = nullptr;
  Layout layout_;
};

}  // namespace ablagix::app
