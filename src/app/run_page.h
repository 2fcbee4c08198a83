// "Profile ausführen": the profile list with its check marks and the run, simulate, timer and
// watch buttons. The runs themselves are RunSession's.
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <string>
#include <vector>

#include "app/page.h"
#include "app/run_session.h"
#include "profiles/profile.h"

namespace ablagix::app {

class RunPage : public TabPage {
 public:
  RunPage(WindowContext& context, PageHost& host, RunSession& session) : TabPage(context, host), session_(session) {}

  void OnCommand(int id, int code) override;
  LRESULT OnNotify(NMHDR* header) override;
  void KeepForRebuild() override;
  void RestoreAfterRebuild() override;

  HWND List() const { return Item(kIdProfileList); }
  const std::wstring& ProfileFile() const { return profileFile_; }
  void SetProfileFile(const std::wstring& path, const std::wstring& label);
  // Reads the profile file into the list; `keepChecks` keeps the check marks by name.
  void ReloadProfiles(bool keepChecks, const std::wstring& select = {});
  // The column order the user dragged the headers into, and back.
  void StoreColumnOrder();
  void ApplyColumnOrder();
  std::vector<Profile> CheckedProfiles() const;
  std::vector<std::wstring> CheckedProfileNames() const;
  void StopWatching();

 private:
  void BuildControls(Layout& l) override;
  void BuildButtons(Layout& l);
  // Fills the list from the profile file with these profiles checked and `select` selected.
  void FillProfileList(const std::vector<std::wstring>& checked, const std::wstring& select);
  void OnRunButton(bool simulate);
  void OnTimerButton();
  void OnWatchButton();

  RunSession& session_;
  std::wstring profileFile_;
  std::wstring profileFileLabel_;  // what the page shows of it
  std::vector<Profile> profiles_;
  bool fillingList_ = false;
  // A change of language keeps the check marks and the selection.
  std::vector<std::wstring> keptChecks_;
  std::wstring keptSelection_;
};

}  // namespace ablagix::app
