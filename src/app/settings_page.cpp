// "Einstellungen": the stored extension filters, timer and report options, list fonts and
// colours, zip options, autostart and the reference point of the radius search.
#include <windows.h>
#include <commctrl.h>

#include <algorithm>

#include "app/control_ids.h"
#include "app/main_window.h"
#include "app/page_size.h"
#include "app/win_controls.h"
#include "base/environment.h"
#include "base/text.h"
#include "desktop/autostart.h"
#include "desktop/shell_open.h"
#include "engine/timer_model.h"
#include "fileops/path_text.h"
#include "metadata/radius.h"
#include "profiles/ini_file.h"

namespace ablagix::app {
namespace {

constexpr int kLeftX = kMargin;
constexpr int kLeftWidth = 290;
constexpr int kRightX = kLeftX + kLeftWidth + 8;
constexpr int kRightWidth = kPageWidth - kMargin - kRightX;
constexpr Anchor kWithColumnEdge{0.5f, 0, 0.5f, 0};

const wchar_t* const kFilterCommands[] = {L"neuen Eintrag einf\u00fcgen", L"Eintrag l\u00f6schen",
                                          L"Ein nach oben verschieben", L"Ein nach unten verschieben",
                                          L"Speichern"};

std::wstring ColorText(COLORREF color) { return NumberText(color); }

}  // namespace

void MainWindow::BuildSettingsPage() {
  Layout& l = layouts_[kSettingsPage];
  l.Begin(pages_[kSettingsPage], &metrics_, kPageWidth, kPageHeight);
  const DWORD tab = WS_TABSTOP;
  const DWORD edit = tab | ES_AUTOHSCROLL;
  const DWORD check = tab | BS_AUTOCHECKBOX;
  const DWORD push = tab | BS_PUSHBUTTON;
  auto group = [&](const wchar_t* text, int x, int y, int w, int h, int id, Anchor a) {
    l.Add(WC_BUTTONW, text, BS_GROUPBOX, x, y, w, h, id, a);
  };
  auto label = [&](const wchar_t* text, int x, int y, int w, int h, int id, Anchor a = kFixed) {
    l.Add(WC_STATICW, text, SS_LEFT, x, y + 2, w, h, id, a);
  };

  // --- Filter table
  const int gx = kLeftX + 7;
  const int gr = kLeftX + kLeftWidth - 7;
  group(L"Gespeicherte Dateifilter", kLeftX, kMargin, kLeftWidth, 170, kIdFilterGroup, kLeftHalf);
  int commandWidth = kButtonWidth;
  for (const wchar_t* c : kFilterCommands) commandWidth = std::max(commandWidth, metrics_.TextWidth(c) + 10);
  const int tableWidth = gr - gx - commandWidth - 4;
  HWND table = l.Add(WC_LISTVIEWW, L"", tab | WS_BORDER | LVS_REPORT | LVS_SHOWSELALWAYS | LVS_SINGLESEL |
                                            LVS_NOSORTHEADER,
                     gx, 20, tableWidth, 110, kIdFilterTable, kLeftHalf);
  ListView_SetExtendedListViewStyle(table, LVS_EX_FULLROWSELECT | LVS_EX_GRIDLINES | LVS_EX_DOUBLEBUFFER);
  const wchar_t* columns[] = {L"Name", L"Maske"};
  for (int i = 0; i < 2; ++i) {
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.pszText = const_cast<wchar_t*>(columns[i]);
    column.cx = metrics_.X(i == 0 ? 60 : tableWidth - 66);
    ListView_InsertColumn(table, i, &column);
  }
  for (int i = 0; i < 5; ++i) {
    l.Add(WC_BUTTONW, kFilterCommands[i], push, gr - commandWidth, 20 + i * 17 + (i == 4 ? 8 : 0), commandWidth,
          kButtonHeight, kIdFilterInsert + i, kWithColumnEdge);
  }
  const int nameLabel = std::max(metrics_.TextWidth(L"Name:"), metrics_.TextWidth(L"Maske:")) + 4;
  label(L"&Name:", gx, 136, nameLabel, 8, kIdFilterNameLabel);
  l.Add(WC_EDITW, L"", edit, gx + nameLabel, 136, tableWidth - nameLabel, kEditHeight, kIdFilterName, kLeftHalf,
        WS_EX_CLIENTEDGE);
  label(L"Mas&ke:", gx, 153, nameLabel, 8, kIdFilterMaskLabel);
  l.Add(WC_EDITW, L"", edit, gx + nameLabel, 153, tableWidth - nameLabel, kEditHeight, kIdFilterMask, kLeftHalf,
        WS_EX_CLIENTEDGE);

  // --- Timer
  group(L"Timer", kLeftX, 181, kLeftWidth, 80, kIdTimerGroup, kLeftHalf);
  l.Add(WC_COMBOBOXW, L"", tab | CBS_DROPDOWNLIST | WS_VSCROLL, gx, 194, 150, kEditHeight, kIdTimerInterval);
  l.Add(WC_STATICW, L"", SS_LEFT, gx, 211, gr - gx, 16, kIdTimerInfo, kLeftHalf);
  l.Add(WC_BUTTONW, L"Bei Timerstart ins Systemtray ablegen", check, gx, 230, gr - gx, 10, kIdTimerSystray,
        kLeftHalf);
  l.Add(WC_BUTTONW, L"Bei Timerstart Log nach 5. Durchlauf l\u00f6schen", check, gx, 243, gr - gx, 10,
        kIdTimerClearLog, kLeftHalf);

  // --- Report
  const int rx = kRightX + 7;
  const int rr = kRightX + kRightWidth - 7;
  group(L"Bericht", kRightX, kMargin, kRightWidth, 104, kIdReportGroup, kRightHalf);
  const wchar_t* formats[] = {L"Textdatei", L"CSV-Datei", L"HTML-Datei", L"PDF-Datei"};
  const int quarter = (rr - rx) / 4;
  for (int i = 0; i < 4; ++i) {
    l.Add(WC_BUTTONW, formats[i], tab | BS_AUTORADIOBUTTON | (i == 0 ? WS_GROUP : 0), rx + i * quarter, 20,
          quarter - 2, 10, kIdReportFirst + i, kWithColumnEdge);
  }
  l.Add(WC_BUTTONW, L"Kopfzeile drucken", check | WS_GROUP, rx, 34, quarter * 2 - 2, 10, kIdReportHeader,
        kWithColumnEdge);
  l.Add(WC_BUTTONW, L"farbig", check, rx + quarter * 2, 34, quarter * 2 - 2, 10, kIdReportColoured, kWithColumnEdge);
  l.Add(WC_BUTTONW, L"Mit Leerzeichen auff\u00fcllen ", check, rx, 47, rr - rx, 10, kIdReportPad, kRightHalf);
  const int csvLabel = metrics_.TextWidth(L"CSV-Trennzeichen:") + 4;
  label(L"CSV-&Trennzeichen:", rx, 60, csvLabel, 8, kIdCsvLabel, kWithColumnEdge);
  l.Add(WC_EDITW, L"", edit, rx + csvLabel, 60, 20, kEditHeight, kIdCsvSeparator, kWithColumnEdge, WS_EX_CLIENTEDGE);
  l.Add(WC_BUTTONW, L"Log automatisch speichern im Ordner:", check, rx, 77, rr - rx, 10, kIdAutoSave, kRightHalf);
  l.Add(WC_EDITW, L"", edit, rx, 90, rr - rx - 20, kEditHeight, kIdLogPath, kRightHalf, WS_EX_CLIENTEDGE);
  l.Add(WC_BUTTONW, L"...", push, rr - 16, 89, 16, kButtonHeight, kIdLogPathBrowse, kMoveX);

  // --- Lists
  group(L"Listen", kRightX, 115, kRightWidth, 70, kIdListsGroup, kRightHalf);
  const int third = (rr - rx - 8) / 3;
  label(L"Schrift:", rx, 128, third, 8, -1, kWithColumnEdge);
  l.Add(WC_BUTTONW, L"&Profilliste...", push, rx + third + 4, 127, third, kButtonHeight, kIdFont0, kWithColumnEdge);
  l.Add(WC_BUTTONW, L"Lo&g-Liste...", push, rx + 2 * third + 8, 127, third, kButtonHeight, kIdFont1, kWithColumnEdge);
  l.Add(WC_STATICW, L"Zeile 1", SS_CENTER | SS_CENTERIMAGE | WS_BORDER, rx, 145, third, kButtonHeight,
        kIdColorSample1, kWithColumnEdge);
  l.Add(WC_BUTTONW, L"Hintergrund 1...", push, rx + third + 4, 145, third, kButtonHeight, kIdBackColor1,
        kWithColumnEdge);
  l.Add(WC_BUTTONW, L"Textfarbe 1...", push, rx + 2 * third + 8, 145, third, kButtonHeight, kIdForeColor1,
        kWithColumnEdge);
  l.Add(WC_STATICW, L"Zeile 2", SS_CENTER | SS_CENTERIMAGE | WS_BORDER, rx, 163, third, kButtonHeight,
        kIdColorSample2, kWithColumnEdge);
  l.Add(WC_BUTTONW, L"Hintergrund 2...", push, rx + third + 4, 163, third, kButtonHeight, kIdBackColor2,
        kWithColumnEdge);
  l.Add(WC_BUTTONW, L"Textfarbe 2...", push, rx + 2 * third + 8, 163, third, kButtonHeight, kIdForeColor2,
        kWithColumnEdge);

  // --- Zip
  group(L"Zip-Archive", kLeftX, 265, kLeftWidth, 48, kIdZipOptionsGroup, kLeftHalf);
  l.Add(WC_BUTTONW, L"Gesamten Pfad im Archiv speichern", check, gx, 278, gr - gx, 10, kIdZipHolePath, kLeftHalf);
  l.Add(WC_BUTTONW,
        L"Beim Zippen statt .zip-Archive selbstentpackendes Archiv (EXE-Datei) erstellen",
        check | BS_MULTILINE | BS_TOP, gx, 290, gr - gx, 18, kIdZipCreateExe, kLeftHalf);

  // --- General
  group(L"Allgemein", kRightX, 189, kRightWidth, 90, kIdGeneralGroup, kRightHalf);
  l.Add(WC_BUTTONW, L"Ablagix mit &Windows starten", check, rx, 202, rr - rx, 10, kIdAutostart, kRightHalf);
  l.Add(WC_STATICW,
        L"Genauigkeit der Kommastelle bei L\u00e4ngen- und Breitengraden (Exif-Fotos):", SS_LEFT, rx, 216,
        rr - rx - 40, 16, kIdDecimalsLabel, kRightHalf);
  l.Add(WC_EDITW, L"", edit | ES_NUMBER, rr - 34, 216, 34, kEditHeight, kIdDecimals, kMoveX, WS_EX_CLIENTEDGE);
  HWND spin = l.Add(UPDOWN_CLASSW, L"", UDS_SETBUDDYINT | UDS_ALIGNRIGHT | UDS_ARROWKEYS, rr - 10, 216, 10,
                    kEditHeight, kIdDecimalsSpin, kMoveX);
  SendMessageW(spin, UDM_SETBUDDY, reinterpret_cast<WPARAM>(Item(kIdDecimals)), 0);
  SendMessageW(spin, UDM_SETRANGE32, 0, 15);
  const int coordLabel = std::max(metrics_.TextWidth(L"Breitengrad:"), metrics_.TextWidth(L"L\u00e4ngengrad:")) + 4;
  const int coordButtons = std::max(metrics_.TextWidth(L"Koordinaten speichern"), metrics_.TextWidth(L"Referenzbild..."))
                           + 12;
  label(L"&Breitengrad:", rx, 238, coordLabel, 8, kIdLatLabel, kWithColumnEdge);
  l.Add(WC_EDITW, L"", edit, rx + coordLabel, 238, rr - rx - coordLabel - coordButtons - 4, kEditHeight, kIdLat,
        kRightHalf, WS_EX_CLIENTEDGE);
  label(L"&L\u00e4ngengrad:", rx, 255, coordLabel, 8, kIdLonLabel, kWithColumnEdge);
  l.Add(WC_EDITW, L"", edit, rx + coordLabel, 255, rr - rx - coordLabel - coordButtons - 4, kEditHeight, kIdLon,
        kRightHalf, WS_EX_CLIENTEDGE);
  l.Add(WC_BUTTONW, L"&Referenzbild...", push, rr - coordButtons, 237, coordButtons, kButtonHeight,
        kIdReferencePicture, kMoveX);
  l.Add(WC_BUTTONW, L"Koordinaten speichern", push, rr - coordButtons, 254, coordButtons, kButtonHeight,
        kIdSaveCoordinates, kMoveX);

  FillCombo(Item(kIdTimerInterval), kTimerIntervalEntries);
}

void MainWindow::SettingsToControls() {
  const AppSettings& s = settings_;
  SetComboPos(Item(kIdTimerInterval), std::clamp(s.TimerIntervall, 0, static_cast<int>(kTimerIntervalEntries.size()) - 1));
  SetText(Item(kIdTimerInfo), s.TimerIntervall > 0 ? TimerInfoText(TimerIntervalMinutes(s.TimerIntervall)) : L"");
  SetOn(Item(kIdTimerSystray), s.TimerSystray);
  SetOn(Item(kIdTimerClearLog), s.CheckBox15);
  SetOn(Item(kIdReportPad), s.CheckBox16);
  SetOn(Item(kIdAutoSave), s.CheckBox17);
  SetOn(Item(kIdReportHeader), s.Check17);
  SetOn(Item(kIdReportColoured), s.Check1);
  for (int i = 0; i < 4; ++i) SetOn(Item(kIdReportFirst + i), static_cast<int>(s.Option5) == i);
  SetText(Item(kIdCsvSeparator), s.Delimeter);
  SetText(Item(kIdLogPath), s.LogPath);
  SetOn(Item(kIdAutostart), s.AXRun);
  SetOn(Item(kIdZipCreateExe), s.AXCreateEXE);
  SetOn(Item(kIdZipHolePath), s.AXZipHolePath);
  SetText(Item(kIdDecimals), NumberText(static_cast<std::uint64_t>(std::max(0, s.Kommastelle))));
  SetText(Item(kIdLat), s.Lat);
  SetText(Item(kIdLon), s.Lon);
  chosenReference_ = {s.Lat, s.Lon, s.RefPicture};
}

void MainWindow::ControlsToSettings() {
  AppSettings& s = settings_;
  s.TimerIntervall = std::max(0, ComboPos(Item(kIdTimerInterval)));
  s.TimerSystray = IsOn(Item(kIdTimerSystray));
  s.CheckBox15 = IsOn(Item(kIdTimerClearLog));
  s.CheckBox16 = IsOn(Item(kIdReportPad));
  s.CheckBox17 = IsOn(Item(kIdAutoSave));
  s.Check17 = IsOn(Item(kIdReportHeader));
  s.Check1 = IsOn(Item(kIdReportColoured));
  s.Option5 = ReportFormatFromButtons(IsOn(Item(kIdReportFirst)), IsOn(Item(kIdReportFirst + 1)),
                                      IsOn(Item(kIdReportFirst + 2)), IsOn(Item(kIdReportFirst + 3)));
  s.Delimeter = GetText(Item(kIdCsvSeparator));
  s.LogPath = GetText(Item(kIdLogPath));
}

void MainWindow::FillFilterTable() {
  HWND table = Item(kIdFilterTable);
  fillingFilters_ = true;
  int selected = ListView_GetNextItem(table, -1, LVNI_SELECTED);
  ListView_DeleteAllItems(table);
  for (int i = 0; i < static_cast<int>(filterRows_.size()); ++i) {
    LVITEMW item{};
    item.mask = LVIF_TEXT;
    item.iItem = i;
    item.pszText = const_cast<wchar_t*>(filterRows_[static_cast<size_t>(i)].name.c_str());
    ListView_InsertItem(table, &item);
    ListView_SetItemText(table, i, 1, const_cast<wchar_t*>(filterRows_[static_cast<size_t>(i)].mask.c_str()));
  }
  if (selected >= static_cast<int>(filterRows_.size())) selected = static_cast<int>(filterRows_.size()) - 1;
  if (selected >= 0) ListView_SetItemState(table, selected, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
  fillingFilters_ = false;
  OnFilterSelection();
}

void MainWindow::OnFilterSelection() {
  if (fillingFilters_) return;
  int selected = ListView_GetNextItem(Item(kIdFilterTable), -1, LVNI_SELECTED);
  fillingFilters_ = true;
  const bool valid = selected >= 0 && selected < static_cast<int>(filterRows_.size());
  SetText(Item(kIdFilterName), valid ? filterRows_[static_cast<size_t>(selected)].name : L"");
  SetText(Item(kIdFilterMask), valid ? filterRows_[static_cast<size_t>(selected)].mask : L"");
  EnableWindow(Item(kIdFilterName), valid);
  EnableWindow(Item(kIdFilterMask), valid);
  fillingFilters_ = false;
}

void MainWindow::ChooseListFont(int which) {
  ListFont& font = settings_.fonts[static_cast<size_t>(which)];
  LOGFONTW lf{};
  lf.lfHeight = -MulDiv(font.size, metrics_.dpi, 72);
  lf.lfWeight = font.bold ? FW_BOLD : FW_NORMAL;
  lf.lfItalic = font.italic ? TRUE : FALSE;
  lstrcpynW(lf.lfFaceName, font.name.c_str(), LF_FACESIZE);
  if (!ui_.ChooseFontFor(&lf)) return;
  font.name = lf.lfFaceName;
  font.size = std::max(1, MulDiv(lf.lfHeight < 0 ? -lf.lfHeight : lf.lfHeight, 72, metrics_.dpi));
  font.bold = lf.lfWeight >= FW_BOLD;
  font.italic = lf.lfItalic != FALSE;
  FsStatus status;
  TellIfNotSaved(WriteListFont(folders_.SettingsFilePath, which, font, &status), status, ui_,
                 L"Die Schriftart", folders_.SettingsFilePath);
  ApplyListFont(which);
}

void MainWindow::ChooseRowColor(int id) {
  std::uint32_t* color = id == kIdBackColor1   ? &settings_.BackColor1
                         : id == kIdBackColor2 ? &settings_.BackColor2
                         : id == kIdForeColor1 ? &settings_.ForeColor1
                                               : &settings_.ForeColor2;
  const wchar_t* key = id == kIdBackColor1   ? L"BackColor1"
                       : id == kIdBackColor2 ? L"BackColor2"
                       : id == kIdForeColor1 ? L"ForeColor1"
                                             : L"ForeColor2";
  COLORREF chosen = *color;
  if (!ui_.ChooseColorFor(&chosen)) return;
  *color = chosen;
  SaveSetting(key, ColorText(chosen));
  InvalidateRect(Item(kIdColorSample1), nullptr, TRUE);
  InvalidateRect(Item(kIdColorSample2), nullptr, TRUE);
  InvalidateRect(Item(kIdProfileList), nullptr, TRUE);
  InvalidateRect(Item(kIdLogList), nullptr, TRUE);
}

void MainWindow::OnSettingsCommand(int id, int code) {
  HWND table = Item(kIdFilterTable);
  const int selected = ListView_GetNextItem(table, -1, LVNI_SELECTED);
  const int rows = static_cast<int>(filterRows_.size());
  auto select = [&](int row) {
    ListView_SetItemState(table, -1, 0, LVIS_SELECTED | LVIS_FOCUSED);
    if (row >= 0) ListView_SetItemState(table, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
  };
  if (code == EN_CHANGE) {
    if ((id == kIdFilterName || id == kIdFilterMask) && !fillingFilters_ && selected >= 0 && selected < rows) {
      FilterRow& row = filterRows_[static_cast<size_t>(selected)];
      (id == kIdFilterName ? row.name : row.mask) = GetText(Item(id));
      ListView_SetItemText(table, selected, id == kIdFilterName ? 0 : 1,
                           const_cast<wchar_t*>((id == kIdFilterName ? row.name : row.mask).c_str()));
    } else if (id == kIdDecimals) {
      std::uint64_t places = 0;
      if (ParseWholeNumber(GetText(Item(id)), &places)) {
        settings_.Kommastelle = static_cast<int>(places);
        SaveSetting(L"Kommastelle", NumberText(places));
      }
    }
    return;
  }
  if (code == CBN_SELCHANGE && id == kIdTimerInterval) {
    int pos = ComboPos(Item(id));
    SetText(Item(kIdTimerInfo), pos > 0 ? TimerInfoText(TimerIntervalMinutes(pos)) : L"");
    return;
  }
  if (code != BN_CLICKED) return;
  switch (id) {
    case kIdFilterInsert: {
      const int at = selected >= 0 ? selected + 1 : rows;
      filterRows_.insert(filterRows_.begin() + at, FilterRow{L"Neuer Filter", L".*"});
      FillFilterTable();
      select(at);
      SetFocus(Item(kIdFilterName));
      return;
    }
    case kIdFilterDelete:
      if (selected >= 0 && selected < rows) {
        filterRows_.erase(filterRows_.begin() + selected);
        FillFilterTable();
      }
      return;
    case kIdFilterUp:
    case kIdFilterDown: {
      const int other = id == kIdFilterUp ? selected - 1 : selected + 1;
      if (selected < 0 || other < 0 || other >= rows) return;
      std::swap(filterRows_[static_cast<size_t>(selected)], filterRows_[static_cast<size_t>(other)]);
      FillFilterTable();
      select(other);
      return;
    }
    case kIdFilterSave:
      {
        FsStatus status;
        TellIfNotSaved(SaveFilterTable(folders_, filterRows_, &status), status, ui_, L"Die Dateifilter",
                       SettingPath(folders_, kFilterListFileName));
      }
      filterList_ = FilterListText(filterRows_);
      FillIncludeList();
      return;
    case kIdLogPathBrowse:
      if (auto folder = ui_.ChooseFolder(L"Log automatisch speichern im Ordner:")) {
        SetText(Item(kIdLogPath), *folder);
        settings_.LogPath = *folder;
        SaveSetting(L"LogPath", *folder);
      }
      return;
    case kIdFont0:
    case kIdFont1:
      ChooseListFont(id == kIdFont0 ? 0 : 1);
      return;
    case kIdBackColor1:
    case kIdBackColor2:
    case kIdForeColor1:
    case kIdForeColor2:
      ChooseRowColor(id);
      return;
    case kIdZipHolePath:
      settings_.AXZipHolePath = IsOn(Item(id));
      SaveSetting(L"AXZipHolePath", FlagText(settings_.AXZipHolePath));
      return;
    case kIdZipCreateExe:
      settings_.AXCreateEXE = IsOn(Item(id));
      SaveSetting(L"AXCreateEXE", FlagText(settings_.AXCreateEXE));
      return;
    case kIdAutostart:
      OnAutostartBox();
      return;
    case kIdReferencePicture: {
      FileDialogArgs args;
      args.title = kReferencePictureTitle;
      args.filter = kReferencePictureFilter;
      const std::optional<std::wstring> picture = ui_.OpenFile(args);
      if (!picture || picture->empty()) return;
      const std::optional<ReferencePoint> point = ReferencePointFromPicture(*picture, ui_);
      if (!point) return;
      SetText(Item(kIdLat), point->lat);
      SetText(Item(kIdLon), point->lon);
      chosenReference_ = *point;
      return;
    }
    case kIdSaveCoordinates: {
      ReferencePoint point{GetText(Item(kIdLat)), GetText(Item(kIdLon)), L""};
      // The picture is named only while the fields still hold its coordinates; typed-in
      // coordinates have none.
      if (point.lat == chosenReference_.lat && point.lon == chosenReference_.lon) {
        point.picture = chosenReference_.picture;
      }
      if (!StoreReferencePoint(point, folders_.SettingsFilePath, ui_)) return;
      settings_.Lat = point.lat;
      settings_.Lon = point.lon;
      settings_.RefPicture = point.picture;
      return;
    }
  }
}

namespace {

// The per-user "Run" key of the registry.
class RegistryAutostart : public AutostartHost {
 public:
  RegistryAutostart(AppUi& ui, std::wstring settingsFile) : ui_(ui), settingsFile_(std::move(settingsFile)) {}
  UiPort& ui() override { return ui_; }
  bool WriteRunValue(const std::wstring& data) override {
    HKEY key = nullptr;
    if (RegCreateKeyExW(HKEY_CURRENT_USER, std::wstring(kRunKey).c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr,
                        &key, nullptr) != ERROR_SUCCESS) {
      return false;
    }
    const LONG result = RegSetValueExW(key, std::wstring(kRunValueName).c_str(), 0, REG_SZ,
                                       reinterpret_cast<const BYTE*>(data.c_str()),
                                       static_cast<DWORD>((data.size() + 1) * sizeof(wchar_t)));
    RegCloseKey(key);
    return result == ERROR_SUCCESS;
  }
  bool DeleteRunValue() override {
    HKEY key = nullptr;
    const LONG opened = RegOpenKeyExW(HKEY_CURRENT_USER, std::wstring(kRunKey).c_str(), 0, KEY_SET_VALUE, &key);
    if (opened == ERROR_FILE_NOT_FOUND) return true;  // no key, no entry
    if (opened != ERROR_SUCCESS) return false;
    const LONG result = RegDeleteValueW(key, std::wstring(kRunValueName).c_str());
    RegCloseKey(key);
    return result == ERROR_SUCCESS || result == ERROR_FILE_NOT_FOUND;
  }
  void RestartElevated() override {
    wchar_t path[MAX_PATH * 4] = {};
    GetModuleFileNameW(nullptr, path, static_cast<DWORD>(std::size(path)));
    // The new instance works on the same profile file and settings folder as this one.
    ui_.StartElevated(path, CommandLineParameters(GetCommandLineW()));
  }
  void StoreChoice(bool on) override {
    FsStatus status;
    TellIfNotSaved(WriteAppSetting(settingsFile_, L"AXRun", on ? L"1" : L"0", &status), status, ui_,
                   L"Die Einstellung AXRun", settingsFile_);
  }

 private:
  AppUi& ui_;
  std::wstring settingsFile_;
};

}  // namespace

void MainWindow::OnAutostartBox() {
  HWND box = Item(kIdAutostart);
  const bool on = IsOn(box);
  wchar_t path[MAX_PATH * 4] = {};
  GetModuleFileNameW(nullptr, path, static_cast<DWORD>(std::size(path)));
  std::wstring name = NamePart(path);
  if (const size_t dot = name.rfind(L'.'); dot != std::wstring::npos) name.resize(dot);
  RegistryAutostart registry(ui_, folders_.SettingsFilePath);
  switch (SetAutostart(on, AutostartCommand(ExecutableFolder(), name), registry)) {
    case AutostartOutcome::Done:
      settings_.AXRun = on;
      return;
    case AutostartOutcome::Unchanged:
      SetOn(box, !on);  // the box shows what the registry holds
      return;
    case AutostartOutcome::Restarting:
      PostMessageW(window_, WM_CLOSE, 0, 0);
      return;
  }
}

}  // namespace ablagix::app
