// "Einstellungen": the stored extension filters, timer and report options, list fonts and
// colours, zip options, language, autostart and the reference point of the radius search.
// The values live in AppSettings; this page copies them to and from its controls.
#pragma once

#include <windows.h>
#include <commctrl.h>

#include <string>
#include <vector>

#include "app/page.h"
#include "metadata/radius.h"
#include "profiles/filter_list.h"

namespace ablagix::app {

class SettingsPage : public TabPage {
 public:
  using TabPage::TabPage;

  void OnCommand(int id, int code) override;
  LRESULT OnNotify(NMHDR* header) override;
  HBRUSH StaticColours(int id, HDC dc) override;
  void KeepForRebuild() override;
  void RestoreAfterRebuild() override;

  // The stored filter table and the settings into the controls.
  void Start();
  // The options that are stored only when the window closes, from the controls.
  void ControlsToSettings();
  bool HasReferencePoint() const;
  TimerSettings TimerSettingsShown() const;

 private:
  void BuildControls(Layout& l) override;
  void BuildFilterGroup(Layout& l);
  void BuildTimerGroup(Layout& l);
  void BuildReportGroup(Layout& l);
  void BuildListsGroup(Layout& l);
  void BuildZipGroup(Layout& l);
  void BuildGeneralGroup(Layout& l);
  void BuildCoordinates(Layout& l);
  void SettingsToControls();
  void FillFilterTable();
  void SelectFilterRow(int row);
  void OnFilterSelection();
  void OnFilterTextChanged(int id);
  void OnFilterCommand(int id);
  void OnClicked(int id);
  void SaveFlag(int id, bool* flag, const wchar_t* key);
  void ChooseListFont(int which);
  void ChooseRowColor(int id);
  void ChooseReferencePicture();
  void StoreCoordinates();
  void OnAutostartBox();

  std::vector<FilterRow> filterRows_;
  bool fillingFilters_ = false;
  // The reference picture chosen on this page and its coordinates, until stored.
  ReferencePoint chosenReference_;
  // Across a change of language: the selected filter and the coordinates typed or taken from a
  // picture, not yet stored.
  int keptFilterRow_ = -1;
  std::wstring keptLat_;
  std::wstring keptLon_;
  ReferencePoint keptReference_;
};

}  // namespace ablagix::app
