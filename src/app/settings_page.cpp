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
#include "profiles/language.h"

namespace ablagix::app {
namespace {

constexpr int kLeftX = kMargin;
constexpr int kLeftWidth = 300;
constexpr int kRightX = kLeftX + kLeftWidth + 8;
constexpr int kRightWidth = kPageWidth - kMargin - kRightX;
constexpr Anchor kWithColumnEdge{0.5f, 0, 0.5f, 0};
constexpr std::wstring_view kWatchSettingsText =
    L"\u00dcberwachung (\u201E\u00dcberwachung starten\u201C): angehakte Profile mit \u201EDiesen Ordner "
    L"\u00fcberwachen\u201C laufen, sobald neue Dateien im Quellordner 2 Sekunden unver\u00e4ndert sind. Eigene "
    L"Ablagen l\u00f6sen keinen Lauf aus; Systemtray wie beim Timer.";

std::wstring ColorText(COLORREF color) { return NumberText(color); }

// The info text under the interval list; the prompt stands for the ten minutes it means.
std::wstring TimerInfoFor(int position) { return TimerInfoText(TimerIntervalMinutes(std::max(0, position))); }

}  // namespace

void MainWindow::BuildSettingsPage() {
  Layout& l = layouts_[kSettingsPage];
  l.Begin(pages_[kSettingsPage], &metrics_, kPageWidth, kPageHeight);
  const DWORD tab = WS_TABSTOP;
  const DWORD edit = tab | ES_AUTOHSCROLL;
  const DWORD check = tab | BS_AUTOCHECKBOX;
  const DWORD push = tab | BS_PUSHBUTTON;
  auto group = [&](const std::wstring& text, int x, int y, int w, int h, int id, Anchor a) {
    l.Add(WC_BUTTONW, text, BS_GROUPBOX, x, y, w, h, id, a);
  };
  auto label = [&](const std::wstring& text, int x, int y, int w, int h, int id, Anchor a = kFixed) {
    return l.Add(WC_STATICW, text, SS_LEFT, x, y + 2, w, h, id, a);
  };
  // The widest of `texts` plus the room a control needs around its caption.
  auto widest = [&](std::initializer_list<std::wstring> texts, int padding) {
    int width = 0;
    for (const std::wstring& text : texts) width = std::max(width, metrics_.TextWidth(text) + padding);
    return width;
  };

  // --- Filter table
  const int gx = kLeftX + 7;
  const int gr = kLeftX + kLeftWidth - 7;
  group(Word(L"Gespeicherte Dateifilter"), kLeftX, kMargin, kLeftWidth, 150, kIdFilterGroup, kLeftHalf);
  const std::wstring commands[] = {Word(L"neuen Eintrag einf\u00fcgen"), Word(L"Eintrag l\u00f6schen"),
                                   Word(L"Ein nach oben verschieben"), Word(L"Ein nach unten verschieben"),
                                   Word(L"Speichern")};
  int commandWidth = kButtonWidth;
  for (const std::wstring& c : commands) commandWidth = std::max(commandWidth, metrics_.TextWidth(c) + 10);
  const int tableWidth = gr - gx - commandWidth - 4;
  HWND table = l.Add(WC_LISTVIEWW, L"", tab | WS_BORDER | LVS_REPORT | LVS_SHOWSELALWAYS | LVS_SINGLESEL |
                                            LVS_NOSORTHEADER,
                     gx, 20, tableWidth, 90, kIdFilterTable, kLeftHalf);
  ListView_SetExtendedListViewStyle(table, LVS_EX_FULLROWSELECT | LVS_EX_GRIDLINES | LVS_EX_DOUBLEBUFFER);
  std::wstring columns[] = {Word(L"Name"), Word(L"Maske")};
  for (int i = 0; i < 2; ++i) {
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.pszText = columns[i].data();
    column.cx = metrics_.X(i == 0 ? 60 : tableWidth - 66);
    ListView_InsertColumn(table, i, &column);
  }
  for (int i = 0; i < 5; ++i) {
    l.Add(WC_BUTTONW, commands[i], push, gr - commandWidth, 20 + i * 17 + (i == 4 ? 8 : 0), commandWidth,
          kButtonHeight, kIdFilterInsert + i, kWithColumnEdge);
  }
  AddTooltip(pages_[kSettingsPage], Item(kIdFilterSave), Word(L"Speichert alle Dateifilter"));
  const std::wstring name = Word(L"&Name:");
  const std::wstring mask = Word(L"Mas&ke:");
  const int nameLabel = widest({name, mask}, 4);
  label(name, gx, 116, nameLabel, 8, kIdFilterNameLabel);
  l.Add(WC_EDITW, L"", edit, gx + nameLabel, 116, tableWidth - nameLabel, kEditHeight, kIdFilterName, kLeftHalf,
        WS_EX_CLIENTEDGE);
  label(mask, gx, 133, nameLabel, 8, kIdFilterMaskLabel);
  l.Add(WC_EDITW, L"", edit, gx + nameLabel, 133, tableWidth - nameLabel, kEditHeight, kIdFilterMask, kLeftHalf,
        WS_EX_CLIENTEDGE);

  // --- Timer
  // --- and watching, which shares its tray option and runs as it does
  group(Word(L"Timer"), kLeftX, 161, kLeftWidth, 104, kIdTimerGroup, kLeftHalf);
  int intervalWidth = 0;
  for (std::wstring_view entry : kTimerIntervalEntries) {
    intervalWidth = std::max(intervalWidth, metrics_.TextWidth(WordOf(entry)) + 20);  // and the drop-down arrow
  }
  l.Add(WC_COMBOBOXW, L"", tab | CBS_DROPDOWNLIST | WS_VSCROLL, gx, 174, std::min(intervalWidth, gr - gx),
        kEditHeight, kIdCombo11);
  const std::wstring info = Word(L"Info:");
  const int infoWidth = metrics_.TextWidth(info) + 4;
  l.Add(WC_STATICW, info, SS_LEFT | SS_NOPREFIX, gx, 191, infoWidth, 8, kIdTimerInfoTitle);
  l.Add(WC_STATICW, L"", SS_LEFT | SS_NOPREFIX, gx + infoWidth, 191, gr - gx - infoWidth, 16, kIdTimerInfo,
        kLeftHalf);
  l.Add(WC_BUTTONW, Word(L"Bei Timerstart ins Systemtray ablegen"), check, gx, 210, gr - gx, 10, kIdCheckBox7,
        kLeftHalf);
  l.Add(WC_BUTTONW, Word(L"Bei Timerstart Log nach 5. Durchlauf l\u00f6schen"), check, gx, 223, gr - gx, 10,
        kIdCheckBox15, kLeftHalf);
  l.Add(WC_STATICW, WordOf(kWatchSettingsText), SS_LEFT | SS_NOPREFIX, gx, 237, gr - gx, 24, kIdWatchInfo,
        kLeftHalf);

  // --- Report
  const int rx = kRightX + 7;
  const int rr = kRightX + kRightWidth - 7;
  group(Word(L"Bericht"), kRightX, kMargin, kRightWidth, 104, kIdReportGroup, kRightHalf);
  const std::wstring formats[] = {Word(L"Textdatei"), Word(L"CSV-Datei"), Word(L"HTML-Datei"), Word(L"PDF-Datei")};
  const int quarter = (rr - rx) / 4;
  for (int i = 0; i < 4; ++i) {
    l.Add(WC_BUTTONW, formats[i], tab | BS_AUTORADIOBUTTON | (i == 0 ? WS_GROUP : 0), rx + i * quarter, 20,
          quarter - 2, 10, kIdOption5 + i, kWithColumnEdge);
  }
  l.Add(WC_BUTTONW, Word(L"Kopfzeile drucken"), check | WS_GROUP, rx, 34, quarter * 2 - 2, 10, kIdCheck17,
        kWithColumnEdge);
  l.Add(WC_BUTTONW, Word(L"farbig"), check, rx + quarter * 2, 34, quarter * 2 - 2, 10, kIdCheck1, kWithColumnEdge);
  l.Add(WC_BUTTONW, Word(L"Mit Leerzeichen auff\u00fcllen "), check, rx, 47, rr - rx, 10, kIdCheckBox16, kRightHalf);
  const std::wstring csv = Word(L"CSV-&Trennzeichen:");
  const int csvLabel = metrics_.TextWidth(csv) + 4;
  label(csv, rx, 60, csvLabel, 8, kIdCsvLabel, kWithColumnEdge);
  l.Add(WC_EDITW, L"", edit, rx + csvLabel, 60, 20, kEditHeight, kIdCsvSeparator, kWithColumnEdge, WS_EX_CLIENTEDGE);
  l.Add(WC_BUTTONW, Word(L"Log automatisch speichern im Ordner:"), check, rx, 77, rr - rx, 10, kIdCheckBox17,
        kRightHalf);
  l.Add(WC_EDITW, L"", edit, rx, 90, rr - rx - 20, kEditHeight, kIdTextBox7, kRightHalf, WS_EX_CLIENTEDGE);
  l.Add(WC_BUTTONW, L"...", push, rr - 16, 89, 16, kButtonHeight, kIdLogPathBrowse, kMoveX);

  // --- Lists
  group(Word(L"Listen"), kRightX, 115, kRightWidth, 70, kIdListsGroup, kRightHalf);
  const int third = (rr - rx - 8) / 3;
  label(Word(L"Schrift:"), rx, 128, third, 8, -1, kWithColumnEdge);
  l.Add(WC_BUTTONW, Word(L"&Profilliste..."), push, rx + third + 4, 127, third, kButtonHeight, kIdFont0,
        kWithColumnEdge);
  l.Add(WC_BUTTONW, Word(L"Lo&g-Liste..."), push, rx + 2 * third + 8, 127, third, kButtonHeight, kIdFont1,
        kWithColumnEdge);
  l.Add(WC_STATICW, Word(L"Zeile 1"), SS_CENTER | SS_CENTERIMAGE | WS_BORDER, rx, 145, third, kButtonHeight,
        kIdColorSample1, kWithColumnEdge);
  l.Add(WC_BUTTONW, Word(L"Hintergrund 1..."), push, rx + third + 4, 145, third, kButtonHeight, kIdBackColor1,
        kWithColumnEdge);
  l.Add(WC_BUTTONW, Word(L"Textfarbe 1..."), push, rx + 2 * third + 8, 145, third, kButtonHeight, kIdForeColor1,
        kWithColumnEdge);
  l.Add(WC_STATICW, Word(L"Zeile 2"), SS_CENTER | SS_CENTERIMAGE | WS_BORDER, rx, 163, third, kButtonHeight,
        kIdColorSample2, kWithColumnEdge);
  l.Add(WC_BUTTONW, Word(L"Hintergrund 2..."), push, rx + third + 4, 163, third, kButtonHeight, kIdBackColor2,
        kWithColumnEdge);
  l.Add(WC_BUTTONW, Word(L"Textfarbe 2..."), push, rx + 2 * third + 8, 163, third, kButtonHeight, kIdForeColor2,
        kWithColumnEdge);

  // --- Zip
  group(Word(L"Zip-Archive"), kLeftX, 269, kLeftWidth, 48, kIdZipOptionsGroup, kLeftHalf);
  l.Add(WC_BUTTONW, Word(L"Gesamten Pfad im Archiv speichern"), check, gx, 282, gr - gx, 10, kIdZipHolePath,
        kLeftHalf);
  l.Add(WC_BUTTONW, Word(L"Beim Zippen statt .zip-Archive selbstentpackendes Archiv (EXE-Datei) erstellen"),
        check | BS_MULTILINE | BS_TOP, gx, 294, gr - gx, 18, kIdZipCreateExe, kLeftHalf);

  // --- General
  group(Word(L"Allgemein"), kRightX, 189, kRightWidth, 124, kIdGeneralGroup, kRightHalf);
  const std::wstring language = Word(L"&Sprache:");
  const int languageLabel = metrics_.TextWidth(language) + 4;
  label(language, rx, 202, languageLabel, 8, kIdLanguageLabel);
  const std::vector<std::wstring> languages = AvailableLanguages(ProgramFolder());
  int languageWidth = 60;
  for (const std::wstring& entry : languages) languageWidth = std::max(languageWidth, metrics_.TextWidth(entry) + 20);
  HWND languageList = l.Add(WC_COMBOBOXW, L"", tab | CBS_DROPDOWNLIST | WS_VSCROLL, rx + languageLabel, 202,
                            std::min(languageWidth, rr - rx - languageLabel), kEditHeight, kIdLanguage);
  FillCombo(languageList, languages);
  l.Add(WC_BUTTONW, Word(L"Ablagix mit &Windows starten"), check, rx, 220, rr - rx, 10, kIdCheckBox9, kRightHalf);
  l.Add(WC_BUTTONW, Word(L"Text nur in reinen Textdateien suchen (Dokumente nicht auslesen)"), check, rx, 233,
        rr - rx, 10, kIdTextOnlyPlainFiles, kRightHalf);
  l.Add(WC_STATICW, Word(L"Genauigkeit der Kommastelle bei L\u00e4ngen- und Breitengraden (Exif-Fotos):"), SS_LEFT,
        rx, 248, rr - rx - 40, 16, kIdDecimalsLabel, kRightHalf);
  l.Add(WC_EDITW, L"", edit | ES_NUMBER, rr - 34, 248, 34, kEditHeight, kIdCombo13, kMoveX, WS_EX_CLIENTEDGE);
  HWND spin = l.Add(UPDOWN_CLASSW, L"", UDS_SETBUDDYINT | UDS_ALIGNRIGHT | UDS_ARROWKEYS, rr - 10, 248, 10,
                    kEditHeight, kIdCombo13Spin, kMoveX);
  SendMessageW(spin, UDM_SETBUDDY, reinterpret_cast<WPARAM>(Item(kIdCombo13)), 0);
  SendMessageW(spin, UDM_SETRANGE32, 0, 15);
  const std::wstring lat = Word(L"&Breitengrad:");
  const std::wstring lon = Word(L"&L\u00e4ngengrad:");
  const std::wstring reference = Word(L"&Referenzbild...");
  const std::wstring store = Word(L"Koordinaten speichern");
  const int coordLabel = widest({lat, lon}, 4);
  const int coordButtons = widest({reference, store}, 12);
  label(lat, rx, 271, coordLabel, 8, kIdLatLabel, kWithColumnEdge);
  l.Add(WC_EDITW, L"", edit, rx + coordLabel, 271, rr - rx - coordLabel - coordButtons - 4, kEditHeight, kIdLat,
        kRightHalf, WS_EX_CLIENTEDGE);
  label(lon, rx, 289, coordLabel, 8, kIdLonLabel, kWithColumnEdge);
  l.Add(WC_EDITW, L"", edit, rx + coordLabel, 289, rr - rx - coordLabel - coordButtons - 4, kEditHeight, kIdLon,
        kRightHalf, WS_EX_CLIENTEDGE);
  l.Add(WC_BUTTONW, reference, push, rr - coordButtons, 270, coordButtons, kButtonHeight, kIdCmdReferenzbild, kMoveX);
  l.Add(WC_BUTTONW, store, push, rr - coordButtons, 288, coordButtons, kButtonHeight, kIdCommand4, kMoveX);

  FillComboWords(Item(kIdCombo11), kTimerIntervalEntries);
}

void MainWindow::SettingsToControls() {
  const AppSettings& s = settings_;
  SetComboPos(Item(kIdCombo11), std::clamp(s.TimerIntervall, 0, static_cast<int>(kTimerIntervalEntries.size()) - 1));
  SetText(Item(kIdTimerInfo), TimerInfoFor(s.TimerIntervall));
  SetOn(Item(kIdCheckBox7), s.TimerSystray);
  SetOn(Item(kIdCheckBox15), s.CheckBox15);
  SetOn(Item(kIdCheckBox16), s.CheckBox16);
  SetOn(Item(kIdCheckBox17), s.CheckBox17);
  SetOn(Item(kIdCheck17), s.Check17);
  SetOn(Item(kIdCheck1), s.Check1);
  for (int i = 0; i < 4; ++i) SetOn(Item(kIdOption5 + i), static_cast<int>(s.Option5) == i);
  SetText(Item(kIdCsvSeparator), s.Delimeter);
  SetText(Item(kIdTextBox7), s.LogPath);
  SetOn(Item(kIdCheckBox9), s.AXRun);
  SetOn(Item(kIdTextOnlyPlainFiles), s.DokumenttextAus);
  HWND language = Item(kIdLanguage);
  const std::wstring current = s.AXSprache.empty() ? std::wstring(kBuiltInLanguage) : s.AXSprache;
  const LRESULT found = SendMessageW(language, CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1),
                                     reinterpret_cast<LPARAM>(current.c_str()));
  // A language whose file is gone speaks German again.
  SetComboPos(language, found == CB_ERR ? 0 : static_cast<int>(found));
  SetOn(Item(kIdZipCreateExe), s.AXCreateEXE);
  SetOn(Item(kIdZipHolePath), s.AXZipHolePath);
  SetText(Item(kIdCombo13), NumberText(static_cast<std::uint64_t>(std::max(0, s.Kommastelle))));
  SetText(Item(kIdLat), s.Lat);
  SetText(Item(kIdLon), s.Lon);
  chosenReference_ = {s.Lat, s.Lon, s.RefPicture};
}

void MainWindow::ControlsToSettings() {
  AppSettings& s = settings_;
  s.TimerIntervall = std::max(0, ComboPos(Item(kIdCombo11)));
  s.TimerSystray = IsOn(Item(kIdCheckBox7));
  s.CheckBox15 = IsOn(Item(kIdCheckBox15));
  s.CheckBox16 = IsOn(Item(kIdCheckBox16));
  s.CheckBox17 = IsOn(Item(kIdCheckBox17));
  s.Check17 = IsOn(Item(kIdCheck17));
  s.Check1 = IsOn(Item(kIdCheck1));
  s.Option5 = ReportFormatFromButtons(IsOn(Item(kIdOption5)), IsOn(Item(kIdOption5 + 1)),
                                      IsOn(Item(kIdOption5 + 2)), IsOn(Item(kIdOption5 + 3)));
  s.Delimeter = GetText(Item(kIdCsvSeparator));
  s.LogPath = GetText(Item(kIdTextBox7));
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
  InvalidateRect(Item(kIdExListviewLOG), nullptr, TRUE);
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
    } else if (id == kIdCombo13) {
      std::uint64_t places = 0;
      if (ParseWholeNumber(GetText(Item(id)), &places)) {
        settings_.Kommastelle = static_cast<int>(places);
        SaveSetting(L"Kommastelle", NumberText(places));
      }
    }
    return;
  }
  if (code == CBN_SELCHANGE && id == kIdCombo11) {
    SetText(Item(kIdTimerInfo), TimerInfoFor(ComboPos(Item(id))));
    return;
  }
  if (code == CBN_SELCHANGE && id == kIdLanguage) {
    const std::wstring choice = ComboEntry(Item(id), ComboPos(Item(id)));
    // The list that asks is rebuilt with the pages, so that happens once it has finished.
    if (!EqualsNoCase(LanguageForChoice(choice), CurrentLanguage())) {
      languageChoice_ = choice;
      PostMessageW(window_, kChangeLanguageMessage, 0, 0);
    }
    return;
  }
  if (code != BN_CLICKED) return;
  switch (id) {
    case kIdFilterInsert: {
      const int at = selected >= 0 ? selected + 1 : rows;
      filterRows_.insert(filterRows_.begin() + at, FilterRow{Word(L"Neuer Filter"), L".*"});
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
      if (auto folder = ui_.ChooseFolder(Word(L"Log automatisch speichern im Ordner:"))) {
        SetText(Item(kIdTextBox7), *folder);
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
    case kIdTextOnlyPlainFiles:
      settings_.DokumenttextAus = IsOn(Item(id));
      SaveSetting(L"DokumenttextAus", FlagText(settings_.DokumenttextAus));
      return;
    case kIdCheckBox9:
      OnAutostartBox();
      return;
    case kIdCmdReferenzbild: {
      FileDialogArgs args;
      args.title = WordOf(kReferencePictureTitle);
      args.filter = WordOf(kReferencePictureFilter);
      const std::optional<std::wstring> picture = ui_.OpenFile(args);
      if (!picture || picture->empty()) return;
      const std::optional<ReferencePoint> point = ReferencePointFromPicture(*picture, ui_);
      if (!point) return;
      SetText(Item(kIdLat), point->lat);
      SetText(Item(kIdLon), point->lon);
      chosenReference_ = *point;
      return;
    }
    case kIdCommand4: {
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
  HWND box = Item(kIdCheckBox9);
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
