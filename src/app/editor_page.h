// "Profile bearbeiten": the controls of the profile editor and the commands on profiles and
// profile files. The rules behind them are ProfileEditor's; this page maps controls to it.
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "app/page.h"
#include "metadata/path_variables.h"
#include "profiles/profile.h"
#include "profiles/profile_editor.h"

namespace ablagix::app {

class EditorPage : public TabPage {
 public:
  using TabPage::TabPage;

  void OnCommand(int id, int code) override;
  HBRUSH StaticColours(int id, HDC dc) override;
  void KeepForRebuild() override;
  void RestoreAfterRebuild() override;

  // The stored filters, the include list and the name history as the settings folder holds them.
  void Start();
  // An empty profile in the controls.
  void ShowNewProfile();
  void EditProfile(const Profile& profile);
  void SetFilterList(const std::wstring& filterList);
  // An include-list pick that opened the filter table puts the old text back.
  void ShowIncludeText();
  bool AskIfSaveProfile();

 private:
  void BuildControls(Layout& l) override;
  void BuildSourceGroup(Layout& l);
  void BuildConditionGroup(Layout& l);
  void BuildConditionFields(Layout& l, const std::array<std::wstring, 8>& captions, int captionWidth, int y);
  void BuildActionGroup(Layout& l);
  void BuildTargetGroup(Layout& l);
  void BuildCollisionGroup(Layout& l);
  void BuildZipGroup(Layout& l);
  void BuildCommands(Layout& l);
  void FillLists();
  static LRESULT CALLBACK TextBox6Proc(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR id,
                                       DWORD_PTR self);

  void EditorToControls();
  void ControlsToEditor();
  void ShowConditionSwitches();
  void OnListPicked(int id);
  void OnClicked(int id);
  bool SaveProfile();
  void NewProfile();
  void DeleteProfiles();
  void LoadProfileFile();
  void CreateProfileFile();
  void ShowTokenMenu(int buttonId);
  void InsertToken(int commandId);
  void FillNameHistory();
  void FillIncludeList();
  void ShowIncludeMask();
  // The new name the template gives a file of the source, under the field.
  void ShowNewNameExample();

  ProfileEditor editor_;
  // The field the token menus add to: the target folder or the new name, whichever had the
  // focus last.
  int tokenTarget_ = 0;
  // The file of the source the example shows, read once per source folder.
  std::wstring exampleSource_;
  std::optional<FileFacts> exampleFile_;
  std::vector<std::wstring> nameHistory_;
  std::wstring filterList_;
  bool keptModified_ = false;  // across a change of language
};

}  // namespace ablagix::app
