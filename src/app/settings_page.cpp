#include "app/settings_page.h"

#include <algorithm>

#include "app/control_ids.h"
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
// The inner edges of the group boxes of the left and of the right column.
constexpr int kLeftInnerX = kLeftX + 7;
constexpr int kLeftInnerRight = kLeftX + kLeftWidth - 7;
constexpr int kRightInnerX = kRightX + 7;
constexpr int kRightInnerRight = kRightX + kRightWidth - 7;
constexpr std::wstring_view kWatchSettingsText =
    L"\u00dcberwachung (\u201E\u00dcberwachung starten\u201C): angehakte Profile mit \u201EDiesen Ordner "
    L"\u00fcberwachen\u201C laufen, sobald neue Dateien im Quellordner 2 Sekunden unver\u00e4ndert sind. Eigene "
    L"Ablagen l\u00f6sen keinen Lauf aus; Systemtray wie beim Timer.";

std::wstring ColorText(COLORREF color) { return NumberText(color); }

// The info text under the interval list; the prompt stands for the ten minutes it means.
std::wstring TimerInfoFor(int position) { return TimerInfoText(TimerIntervalMinutes(std::max(0, position))); }

// The widest of `texts` plus the room a control needs around its caption.
int Widest(const FontMetrics& metrics, std::initializer_list<std::wstring> texts, int padding) {
  int width = 0;
  for (const std::wstring& text : texts) width = std::max(width, metrics.TextWidth(text) + padding);
  return width;
}

}  // namespace

void SettingsPage::BuildControls(Layout& l) {
  BuildFilterGroup(l);
  BuildTimerGroup(l);
  BuildReportGroup(l);
  BuildListsGroup(l);
  BuildZipGroup(l);
  BuildGeneralGroup(l);
  FillComboWords(Item(kIdCombo11), kTimerIntervalEntries);
}

void SettingsPage::BuildFilterGroup(Layout& l) {
  const FontMetrics& metrics = l.metrics();
  const int gx = kLeftInnerX;
  const int gr = kLeftInnerRight;
  l.Group(Word(L"Gespeicherte Dateifilter"), kLeftX, kMargin, kLeftWidth, 150, kIdFilterGroup, kLeftHalf);
  const std::wstring commands[] = {Word(L"neuen Eintrag einf\u00fcgen"), Word(L"Eintrag l\u00f6schen"),
                                   Word(L"Ein nach oben verschieben"), Word(L"Ein nach unten verschieben"),
                                   Word(L"Speichern")};
  int commandWidth = kButtonWidth;
  for (const std::wstring& c : commands) commandWidth = std::max(commandWidth, metrics.TextWidth(c) + 10);
  const int tableWidth = gr - gx - commandWidth - 4;
  HWND table = l.Add(WC_LISTVIEWW, L"", WS_TABSTOP | WS_BORDER | LVS_REPORT | LVS_SHOWSELALWAYS | LVS_SINGLESEL |
                                            LVS_NOSORTHEADER,
                     gx, 20, tableWidth, 90, kIdFilterTable, kLeftHalf);
  ListView_SetExtendedListViewStyle(table, LVS_EX_FULLROWSELECT | LVS_EX_GRIDLINES | LVS_EX_DOUBLEBUFFER);
  std::wstring columns[] = {Word(L"Name"), Word(L"Maske")};
  for (int i = 0; i < 2; ++i) {
    LVCOLUMNW column{};
    column.mask = LVCF_TEXT | LVCF_WIDTH;
    column.pszText = columns[i].data();
    column.cx = metrics.X(i == 0 ? 60 : tableWidth - 66);
    ListView_InsertColumn(table, i, &column);
  }
  for (int i = 0; i < 5; ++i) {
    l.Button(commands[i], gr - commandWidth, 20 + i * 17 + (i == 4 ? 8 : 0), commandWidth, kIdFilterInsert + i,
             kWithColumnEdge);
  }
  host_.AddTooltip(page_, Item(kIdFilterSave), Word(L"Speichert alle Dateifilter"));
  const std::wstring name = Word(L"&Name:");
  const std::wstring mask = Word(L"Mas&ke:");
  const int nameLabel = Widest(metrics, {name, mask}, 4);
  l.Label(name, gx, 116, nameLabel, kIdFilterNameLabel);
  l.Edit(gx + nameLabel, 116, tableWidth - nameLabel, kIdFilterName, kLeftHalf);
  l.Label(mask, gx, 133, nameLabel, kIdFilterMaskLabel);
  l.Edit(gx + nameLabel, 133, tableWidth - nameLabel, kIdFilterMask, kLeftHalf);
}

// The timer, and watching, which shares its tray option and runs as it does.
void SettingsPage::BuildTimerGroup(Layout& l) {
  const FontMetrics& metrics = l.metrics();
  const int gx = kLeftInnerX;
  const int gr = kLeftInnerRight;
  l.Group(Word(L"Timer"), kLeftX, 161, kLeftWidth, 104, kIdTimerGroup, kLeftHalf);
  int intervalWidth = 0;
  for (std::wstring_view entry : kTimerIntervalEntries) {
    intervalWidth = std::max(intervalWidth, metrics.TextWidth(WordOf(entry)) + 20);  // and the drop-down arrow
  }
  l.Combo(gx, 174, std::min(intervalWidth, gr - gx), kIdCombo11);
  const std::wstring info = Word(L"Info:");
  const int infoWidth = metrics.TextWidth(info) + 4;
  l.Add(WC_STATICW, info, SS_LEFT | SS_NOPREFIX, gx, 191, infoWidth, 8, kIdTimerInfoTitle);
  l.Add(WC_STATICW, L"", SS_LEFT | SS_NOPREFIX, gx + infoWidth, 191, gr - gx - infoWidth, 16, kIdTimerInfo,
        kLeftHalf);
  l.Check(Word(L"Bei Timerstart ins Systemtray ablegen"), gx, 210, gr - gx, 10, kIdCheckBox7, kLeftHalf);
  l.Check(Word(L"Bei Timerstart Log nach 5. Durchlauf l\u00f6schen"), gx, 223, gr - gx, 10, kIdCheckBox15,
          kLeftHalf);
  l.Add(WC_STATICW, WordOf(kWatchSettingsText), SS_LEFT | SS_NOPREFIX, gx, 237, gr - gx, 24, kIdWatchInfo,
        kLeftHalf);
}

void SettingsPage::BuildReportGroup(Layout& l) {
  const int rx = kRightInnerX;
  const int rr = kRightInnerRight;
  l.Group(Word(L"Bericht"), kRightX, kMargin, kRightWidth, 104, kIdReportGroup, kRightHalf);
  const std::wstring formats[] = {Word(L"Textdatei"), Word(L"CSV-Datei"), Word(L"HTML-Datei"), Word(L"PDF-Datei")};
  const int quarter = (rr - rx) / 4;
  for (int i = 0; i < 4; ++i) {
    l.Add(WC_BUTTONW, formats[i], WS_TABSTOP | BS_AUTORADIOBUTTON | (i == 0 ? WS_GROUP : 0), rx + i * quarter, 20,
          quarter - 2, 10, kIdOption5 + i, kWithColumnEdge);
  }
  l.Check(Word(L"Kopfzeile drucken"), rx, 34, quarter * 2 - 2, 10, kIdCheck17, kWithColumnEdge, WS_GROUP);
  l.Check(Word(L"farbig"), rx + quarter * 2, 34, quarter * 2 - 2, 10, kIdCheck1, kWithColumnEdge);
  l.Check(Word(L"Mit Leerzeichen auff\u00fcllen "), rx, 47, rr - rx, 10, kIdCheckBox16, kRightHalf);
  const std::wstring csv = Word(L"CSV-&Trennzeichen:");
  const int csvLabel = l.metrics().TextWidth(csv) + 4;
  l.Label(csv, rx, 60, csvLabel, kIdCsvLabel, kWithColumnEdge);
  l.Edit(rx + csvLabel, 60, 20, kIdCsvSeparator, kWithColumnEdge);
  l.Check(Word(L"Log automatisch speichern im Ordner:"), rx, 77, rr - rx, 10, kIdCheckBox17, kRightHalf);
  l.Edit(rx, 90, rr - rx - 20, kIdTextBox7, kRightHalf);
  l.Button(L"...", rr - 16, 89, 16, kIdLogPathBrowse, kMoveX);
}

// The fonts and row colours of the profile and the log list.
void SettingsPage::BuildListsGroup(Layout& l) {
  const int rx = kRightInnerX;
  const int rr = kRightInnerRight;
  l.Group(Word(L"Listen"), kRightX, 115, kRightWidth, 70, kIdListsGroup, kRightHalf);
  const int third = (rr - rx - 8) / 3;
  l.Label(Word(L"Schrift:"), rx, 128, third, -1, kWithColumnEdge);
  l.Button(Word(L"&Profilliste..."), rx + third + 4, 127, third, kIdFont0, kWithColumnEdge);
  l.Button(Word(L"Lo&g-Liste..."), rx + 2 * third + 8, 127, third, kIdFont1, kWithColumnEdge);
  l.Add(WC_STATICW, Word(L"Zeile 1"), SS_CENTER | SS_CENTERIMAGE | WS_BORDER, rx, 145, third, kButtonHeight,
        kIdColorSample1, kWithColumnEdge);
  l.Button(Word(L"Hintergrund 1..."), rx + third + 4, 145, third, kIdBackColor1, kWithColumnEdge);
  l.Button(Word(L"Textfarbe 1..."), rx + 2 * third + 8, 145, third, kIdForeColor1, kWithColumnEdge);
  l.Add(WC_STATICW, Word(L"Zeile 2"), SS_CENTER | SS_CENTERIMAGE | WS_BORDER, rx, 163, third, kButtonHeight,
        kIdColorSample2, kWithColumnEdge);
  l.Button(Word(L"Hintergrund 2..."), rx + third + 4, 163, third, kIdBackColor2, kWithColumnEdge);
  l.Button(Word(L"Textfarbe 2..."), rx + 2 * third + 8, 163, third, kIdForeColor2, kWithColumnEdge);
}

void SettingsPage::BuildZipGroup(Layout& l) {
  const int gx = kLeftInnerX;
  const int gr = kLeftInnerRight;
  l.Group(Word(L"Zip-Archive"), kLeftX, 269, kLeftWidth, 48, kIdZipOptionsGroup, kLeftHalf);
  l.Check(Word(L"Gesamten Pfad im Archiv speichern"), gx, 282, gr - gx, 10, kIdZipHolePath, kLeftHalf);
  l.Check(Word(L"Beim Zippen statt .zip-Archive selbstentpackendes Archiv (EXE-Datei) erstellen"), gx, 294,
          gr - gx, 18, kIdZipCreateExe, kLeftHalf, BS_MULTILINE | BS_TOP);
}

// Language, autostart, document text, and the radius search's precision and reference point.
void SettingsPage::BuildGeneralGroup(Layout& l) {
  const FontMetrics& metrics = l.metrics();
  const int rx = kRightInnerX;
  const int rr = kRightInnerRight;
  l.Group(Word(L"Allgemein"), kRightX, 189, kRightWidth, 124, kIdGeneralGroup, kRightHalf);
  const std::wstring language = Word(L"&Sprache:");
  const int languageLabel = metrics.TextWidth(language) + 4;
  l.Label(language, rx, 202, languageLabel, kIdLanguageLabel);
  const std::vector<std::wstring> languages = AvailableLanguages(ProgramFolder());
  int languageWidth = 60;
  for (const std::wstring& entry : languages) languageWidth = std::max(languageWidth, metrics.TextWidth(entry) + 20);
  HWND languageList = l.Combo(rx + languageLabel, 202, std::min(languageWidth, rr - rx - languageLabel), kIdLanguage);
  FillCombo(languageList, languages);
  l.Check(Word(L"Ablagix mit &Windows starten"), rx, 220, rr - rx, 10, kIdCheckBox9, kRightHalf);
  l.Check(Word(L"Text nur in reinen Textdateien suchen (Dokumente nicht auslesen)"), rx, 233, rr - rx, 10,
          kIdTextOnlyPlainFiles, kRightHalf);
  l.Add(WC_STATICW, Word(L"Genauigkeit der Kommastelle bei L\u00e4ngen- und Breitengraden (Exif-Fotos):"), SS_LEFT,
        rx, 248, rr - rx - 40, 16, kIdDecimalsLabel, kRightHalf);
  l.Edit(rr - 34, 248, 34, kIdCombo13, kMoveX, ES_NUMBER);
  HWND spin = l.Add(UPDOWN_CLASSW, L"", UDS_SETBUDDYINT | UDS_ALIGNRIGHT | UDS_ARROWKEYS, rr - 10, 248, 10,
                    kEditHeight, kIdCombo13Spin, kMoveX);
  SendMessageW(spin, UDM_SETBUDDY, reinterpret_cast<WPARAM>(Item(kIdCombo13)), 0);
  SendMessageW(spin, UDM_SETRANGE32, 0, 15);
  BuildCoordinates(l);
}

void SettingsPage::BuildCoordinates(Layout& l) {
  const FontMetrics& metrics = l.metrics();
  const int rx = kRightInnerX;
  const int rr = kRightInnerRight;
  const std::wstring lat = Word(L"&Breitengrad:");
  const std::wstring lon = Word(L"&L\u00e4ngengrad:");
  const std::wstring reference = Word(L"&Referenzbild...");
  const std::wstring store = Word(L"Koordinaten speichern");
  const int coordLabel = Widest(metrics, {lat, lon}, 4);
  const int coordButtons = Widest(metrics, {reference, store}, 12);
  l.Label(lat, rx, 271, coordLabel, kIdLatLabel, kWithColumnEdge);
  l.Edit(rx + coordLabel, 271, rr - rx - coordLabel - coordButtons - 4, kIdLat, kRightHalf);
  l.Label(lon, rx, 289, coordLabel, kIdLonLabel, kWithColumnEdge);
  l.Edit(rx + coordLabel, 289, rr - rx - coordLabel - coordButtons - 4, kIdLon, kRightHalf);
  l.Button(reference, rr - coordButtons, 270, coordButtons, kIdCmdReferenzbild, kMoveX);
  l.Button(store, rr - coordButtons, 288, coordButtons, kIdCommand4, kMoveX);
}

namespace {

// The check boxes of the timer and report options, each showing one setting.
struct SettingCheck {
  int id;
  bool AppSettings::*field;
};
constexpr SettingCheck kSettingChecks[] = {{kIdCheckBox7, &AppSettings::TimerSystray},
                                           {kIdCheckBox15, &AppSettings::clearLogEveryFifthTimedRun},
                                           {kIdCheckBox16, &AppSettings::padTextReports},
                                           {kIdCheckBox17, &AppSettings::saveLogAutomatically},
                                           {kIdCheck17, &AppSettings::reportHeaderLine},
                                           {kIdCheck1, &AppSettings::colouredReports}};

}  // namespace

void SettingsPage::SettingsToControls() {
  const AppSettings& s = context_.settings;
  SetComboPos(Item(kIdCombo11), std::clamp(s.TimerIntervall, 0, static_cast<int>(kTimerIntervalEntries.size()) - 1));
  SetText(Item(kIdTimerInfo), TimerInfoFor(s.TimerIntervall));
  for (const SettingCheck& c : kSettingChecks) SetOn(Item(c.id), s.*c.field);
  for (int i = 0; i < 4; ++i) SetOn(Item(kIdOption5 + i), static_cast<int>(s.reportFormat) == i);
  SetText(Item(kIdCsvSeparator), s.Delimeter);
  SetText(Item(kIdTextBox7), s.LogPath);
  SetOn(Item(kIdCheckBox9), s.startWithWindows);
  SetOn(Item(kIdTextOnlyPlainFiles), s.DokumenttextAus);
  HWND language = Item(kIdLanguage);
  const std::wstring current = s.AXSprache.empty() ? std::wstring(kBuiltInLanguage) : s.AXSprache;
  const LRESULT found = SendMessageW(language, CB_FINDSTRINGEXACT, static_cast<WPARAM>(-1),
                                     reinterpret_cast<LPARAM>(current.c_str()));
  // A language whose file is gone speaks German again.
  SetComboPos(language, found == CB_ERR ? 0 : static_cast<int>(found));
  SetOn(Item(kIdZipCreateExe), s.zipAsSelfExtractor);
  SetOn(Item(kIdZipHolePath), s.zipWholePaths);
  SetText(Item(kIdCombo13), NumberText(static_cast<std::uint64_t>(std::max(0, s.Kommastelle))));
  SetText(Item(kIdLat), s.Lat);
  SetText(Item(kIdLon), s.Lon);
  chosenReference_ = {s.Lat, s.Lon, s.RefPicture};
}

void SettingsPage::ControlsToSettings() {
  AppSettings& s = context_.settings;
  s.TimerIntervall = std::max(0, ComboPos(Item(kIdCombo11)));
  for (const SettingCheck& c : kSettingChecks) s.*c.field = IsOn(Item(c.id));
  s.reportFormat = ReportFormatFromButtons(IsOn(Item(kIdOption5)), IsOn(Item(kIdOption5 + 1)),
                                      IsOn(Item(kIdOption5 + 2)), IsOn(Item(kIdOption5 + 3)));
  s.Delimeter = GetText(Item(kIdCsvSeparator));
  s.LogPath = GetText(Item(kIdTextBox7));
}

TimerSettings SettingsPage::TimerSettingsShown() const {
  return {ComboPos(Item(kIdCombo11)), IsOn(Item(kIdCheckBox15)), IsOn(Item(kIdCheckBox7))};
}

bool SettingsPage::HasReferencePoint() const {
  return !GetText(Item(kIdLat)).empty() && !GetText(Item(kIdLon)).empty();
}

void SettingsPage::Start() {
  filterRows_ = ReadFilterTable(context_.folders);
  FillFilterTable();
  SettingsToControls();
}

void SettingsPage::KeepForRebuild() {
  ControlsToSettings();
  keptFilterRow_ = ListView_GetNextItem(Item(kIdFilterTable), -1, LVNI_SELECTED);
  keptLat_ = GetText(Item(kIdLat));
  keptLon_ = GetText(Item(kIdLon));
  keptReference_ = chosenReference_;
}

void SettingsPage::RestoreAfterRebuild() {
  FillFilterTable();
  if (keptFilterRow_ >= 0 && keptFilterRow_ < static_cast<int>(filterRows_.size())) {
    ListView_SetItemState(Item(kIdFilterTable), keptFilterRow_, LVIS_SELECTED | LVIS_FOCUSED,
                          LVIS_SELECTED | LVIS_FOCUSED);
  }
  SettingsToControls();
  SetText(Item(kIdLat), keptLat_);
  SetText(Item(kIdLon), keptLon_);
  chosenReference_ = keptReference_;
}

HBRUSH SettingsPage::StaticColours(int id, HDC dc) {
  if (id != kIdColorSample1 && id != kIdColorSample2) return nullptr;
  const AppSettings& s = context_.settings;
  const bool first = id == kIdColorSample1;
  const COLORREF back = first ? s.BackColor1 : s.BackColor2;
  SetTextColor(dc, first ? s.ForeColor1 : s.ForeColor2);
  SetBkColor(dc, back);
  SetDCBrushColor(dc, back);
  return static_cast<HBRUSH>(GetStockObject(DC_BRUSH));
}

LRESULT SettingsPage::OnNotify(NMHDR* header) {
  if (header->idFrom == kIdFilterTable && header->code == LVN_ITEMCHANGED) OnFilterSelection();
  return 0;
}

void SettingsPage::FillFilterTable() {
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

void SettingsPage::SelectFilterRow(int row) {
  HWND table = Item(kIdFilterTable);
  ListView_SetItemState(table, -1, 0, LVIS_SELECTED | LVIS_FOCUSED);
  if (row >= 0) ListView_SetItemState(table, row, LVIS_SELECTED | LVIS_FOCUSED, LVIS_SELECTED | LVIS_FOCUSED);
}

void SettingsPage::OnFilterSelection() {
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

void SettingsPage::ChooseListFont(int which) {
  const int dpi = context_.metrics.dpi;
  ListFont& font = context_.settings.fonts[static_cast<size_t>(which)];
  LOGFONTW lf{};
  lf.lfHeight = -MulDiv(font.size, dpi, 72);
  lf.lfWeight = font.bold ? FW_BOLD : FW_NORMAL;
  lf.lfItalic = font.italic ? TRUE : FALSE;
  lstrcpynW(lf.lfFaceName, font.name.c_str(), LF_FACESIZE);
  if (!context_.ui.ChooseFontFor(&lf)) return;
  font.name = lf.lfFaceName;
  font.size = std::max(1, MulDiv(lf.lfHeight < 0 ? -lf.lfHeight : lf.lfHeight, 72, dpi));
  font.bold = lf.lfWeight >= FW_BOLD;
  font.italic = lf.lfItalic != FALSE;
  FsStatus status;
  const std::wstring& file = context_.folders.SettingsFilePath;
  TellIfNotSaved(WriteListFont(file, which, font, &status), status, context_.ui, L"Die Schriftart", file);
  host_.ApplyListFont(which);
}

void SettingsPage::ChooseRowColor(int id) {
  AppSettings& s = context_.settings;
  std::uint32_t* color = id == kIdBackColor1   ? &s.BackColor1
                         : id == kIdBackColor2 ? &s.BackColor2
                         : id == kIdForeColor1 ? &s.ForeColor1
                                               : &s.ForeColor2;
  const wchar_t* key = id == kIdBackColor1   ? L"BackColor1"
                       : id == kIdBackColor2 ? L"BackColor2"
                       : id == kIdForeColor1 ? L"ForeColor1"
                                             : L"ForeColor2";
  COLORREF chosen = *color;
  if (!context_.ui.ChooseColorFor(&chosen)) return;
  *color = chosen;
  host_.SaveSetting(key, ColorText(chosen));
  InvalidateRect(Item(kIdColorSample1), nullptr, TRUE);
  InvalidateRect(Item(kIdColorSample2), nullptr, TRUE);
  host_.RepaintLists();
}

void SettingsPage::OnCommand(int id, int code) {
  if (code == EN_CHANGE) {
    OnFilterTextChanged(id);
    return;
  }
  if (code == CBN_SELCHANGE && id == kIdCombo11) {
    SetText(Item(kIdTimerInfo), TimerInfoFor(ComboPos(Item(id))));
    return;
  }
  if (code == CBN_SELCHANGE && id == kIdLanguage) {
    const std::wstring choice = ComboEntry(Item(id), ComboPos(Item(id)));
    // The list that asks is rebuilt with the pages, so that happens once it has finished.
    if (!EqualsNoCase(LanguageForChoice(choice), CurrentLanguage())) host_.ChangeLanguageSoon(choice);
    return;
  }
  if (code != BN_CLICKED) return;
  if (id >= kIdFilterInsert && id <= kIdFilterSave) {
    OnFilterCommand(id);
  } else {
    OnClicked(id);
  }
}

// Typing into the name or mask of a filter changes its row at once; the decimal places are
// stored as they are typed.
void SettingsPage::OnFilterTextChanged(int id) {
  HWND table = Item(kIdFilterTable);
  const int selected = ListView_GetNextItem(table, -1, LVNI_SELECTED);
  if ((id == kIdFilterName || id == kIdFilterMask) && !fillingFilters_ && selected >= 0 &&
      selected < static_cast<int>(filterRows_.size())) {
    FilterRow& row = filterRows_[static_cast<size_t>(selected)];
    (id == kIdFilterName ? row.name : row.mask) = GetText(Item(id));
    ListView_SetItemText(table, selected, id == kIdFilterName ? 0 : 1,
                         const_cast<wchar_t*>((id == kIdFilterName ? row.name : row.mask).c_str()));
  } else if (id == kIdCombo13) {
    std::uint64_t places = 0;
    if (ParseWholeNumber(GetText(Item(id)), &places)) {
      context_.settings.Kommastelle = static_cast<int>(places);
      host_.SaveSetting(L"Kommastelle", NumberText(places));
    }
  }
}

void SettingsPage::OnFilterCommand(int id) {
  const int selected = ListView_GetNextItem(Item(kIdFilterTable), -1, LVNI_SELECTED);
  const int rows = static_cast<int>(filterRows_.size());
  switch (id) {
    case kIdFilterInsert: {
      const int at = selected >= 0 ? selected + 1 : rows;
      filterRows_.insert(filterRows_.begin() + at, FilterRow{Word(L"Neuer Filter"), L".*"});
      FillFilterTable();
      SelectFilterRow(at);
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
      SelectFilterRow(other);
      return;
    }
    case kIdFilterSave: {
      FsStatus status;
      TellIfNotSaved(SaveFilterTable(context_.folders, filterRows_, &status), status, context_.ui,
                     L"Die Dateifilter", SettingPath(context_.folders, kFilterListFileName));
      host_.FilterListSaved(FilterListText(filterRows_));
      return;
    }
  }
}

void SettingsPage::SaveFlag(int id, bool* flag, const wchar_t* key) {
  *flag = IsOn(Item(id));
  host_.SaveSetting(key, FlagText(*flag));
}

void SettingsPage::OnClicked(int id) {
  AppSettings& s = context_.settings;
  switch (id) {
    case kIdLogPathBrowse:
      if (auto folder = context_.ui.ChooseFolder(Word(L"Log automatisch speichern im Ordner:"))) {
        SetText(Item(kIdTextBox7), *folder);
        s.LogPath = *folder;
        host_.SaveSetting(L"LogPath", *folder);
      }
      return;
    case kIdFont0:
    case kIdFont1: ChooseListFont(id == kIdFont0 ? 0 : 1); return;
    case kIdBackColor1:
    case kIdBackColor2:
    case kIdForeColor1:
    case kIdForeColor2: ChooseRowColor(id); return;
    case kIdZipHolePath: SaveFlag(id, &s.zipWholePaths, L"AXZipHolePath"); return;
    case kIdZipCreateExe: SaveFlag(id, &s.zipAsSelfExtractor, L"AXCreateEXE"); return;
    case kIdTextOnlyPlainFiles: SaveFlag(id, &s.DokumenttextAus, L"DokumenttextAus"); return;
    case kIdCheckBox9: OnAutostartBox(); return;
    case kIdCmdReferenzbild: ChooseReferencePicture(); return;
    case kIdCommand4: StoreCoordinates(); return;
  }
}

void SettingsPage::ChooseReferencePicture() {
  FileDialogArgs args;
  args.title = WordOf(kReferencePictureTitle);
  args.filter = WordOf(kReferencePictureFilter);
  const std::optional<std::wstring> picture = context_.ui.OpenFile(args);
  if (!picture || picture->empty()) return;
  const std::optional<ReferencePoint> point = ReferencePointFromPicture(*picture, context_.ui);
  if (!point) return;
  SetText(Item(kIdLat), point->lat);
  SetText(Item(kIdLon), point->lon);
  chosenReference_ = *point;
}

void SettingsPage::StoreCoordinates() {
  ReferencePoint point{GetText(Item(kIdLat)), GetText(Item(kIdLon)), L""};
  // The picture is named only while the fields still hold its coordinates; typed-in
  // coordinates have none.
  if (point.lat == chosenReference_.lat && point.lon == chosenReference_.lon) {
    point.picture = chosenReference_.picture;
  }
  if (!StoreReferencePoint(point, context_.folders.SettingsFilePath, context_.ui)) return;
  AppSettings& s = context_.settings;
  s.Lat = point.lat;
  s.Lon = point.lon;
  s.RefPicture = point.picture;
}

namespace {

// Autostart through the per-user "Run" key, with this window's questions.
class RegistryAutostart : public AutostartHost {
 public:
  RegistryAutostart(AppUi& ui, std::wstring settingsFile) : ui_(ui), settingsFile_(std::move(settingsFile)) {}
  UiPort& ui() override { return ui_; }
  bool WriteRunValue(const std::wstring& data) override { return WriteRunKeyValue(data); }
  bool DeleteRunValue() override { return DeleteRunKeyValue(); }
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

void SettingsPage::OnAutostartBox() {
  HWND box = Item(kIdCheckBox9);
  const bool on = IsOn(box);
  wchar_t path[MAX_PATH * 4] = {};
  GetModuleFileNameW(nullptr, path, static_cast<DWORD>(std::size(path)));
  std::wstring name = NamePart(path);
  if (const size_t dot = name.rfind(L'.'); dot != std::wstring::npos) name.resize(dot);
  RegistryAutostart registry(context_.ui, context_.folders.SettingsFilePath);
  switch (SetAutostart(on, AutostartCommand(ExecutableFolder(), name), registry)) {
    case AutostartOutcome::Done:
      context_.settings.startWithWindows = on;
      return;
    case AutostartOutcome::Unchanged:
      SetOn(box, !on);  // the box shows what the registry holds
      return;
    case AutostartOutcome::Restarting:
      PostMessageW(context_.window, WM_CLOSE, 0, 0);
      return;
  }
}

}  // namespace ablagix::app
