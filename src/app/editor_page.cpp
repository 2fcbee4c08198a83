#include "app/editor_page.h"

#include <algorithm>
#include <array>

#include "app/control_ids.h"
#include "app/page_size.h"
#include "app/recent_folders_dialog.h"
#include "app/win_controls.h"
#include "desktop/recent_folders.h"
#include "engine/new_name.h"
#include "engine/watch_copies_warning.h"
#include "base/text.h"
#include "fileops/path_text.h"
#include "metadata/metadata_source.h"
#include "fileops/win32_handle.h"
#include "profiles/filter_list.h"
#include "profiles/ini_file.h"
#include "profiles/language.h"
#include "profiles/profile_file_choice.h"

namespace ablagix::app {
namespace {

// Moves with the boundary between the two columns.
constexpr Anchor kWithColumnEdge{0.5f, 0, 0.5f, 0};

constexpr int kLeftX = kMargin;
constexpr int kLeftWidth = 360;
constexpr int kRightX = kLeftX + kLeftWidth + 8;
constexpr int kRightWidth = kPageWidth - kMargin - kRightX;
constexpr int kInner = 7;  // group box padding
constexpr int kListArrow = 16;  // what a drop-down list needs beside its text
// The inner edges of the group boxes of the left and of the right column.
constexpr int kLeftInnerX = kLeftX + kInner;
constexpr int kLeftInnerRight = kLeftX + kLeftWidth - kInner;
constexpr int kRightInnerX = kRightX + kInner;
constexpr int kRightInnerRight = kRightX + kRightWidth - kInner;

std::array<std::wstring, 6> TokenButtons() {
  return {Word(L"&Datum \u00BB"), Word(L"Da&tei \u00BB"), Word(L"&Exif \u00BB"),
          Word(L"&Audio \u00BB"), Word(L"Doku&mente \u00BB"), Word(L"&Version \u00BB")};
}

// The menus the token buttons open, in the order of the buttons.
constexpr std::array<int, 6> kTokenMenus = {kIdMnuDateSub, kIdMnuFileSub, kIdMnuExif,
                                            kIdMnuAudio,   kIdMnuDokus,   kIdMnuVersionSub};

// The check boxes of the conditions, in screen order.
using ConditionCaptions = std::array<std::wstring, 8>;
ConditionCaptions ConditionCaptionTexts() {
  return {Word(L"Dateiname (enth\u00e4lt=*):"), Word(L"Dateiname enth\u00e4lt nicht *:"),
          Word(L"Datei enth\u00e4lt Text:"),     Word(L"Dateiendung:"),
          Word(L"Endungen ausschlie\u00dfen:"),  Word(L"Datum:"),
          Word(L"Dateigr\u00f6\u00dfe:"),       Word(L"Enth\u00e4lt Metadaten:")};
}

// The widest of `entries` in the current language, with room for the drop-down arrow.
int WidestEntry(const FontMetrics& metrics, std::initializer_list<std::wstring_view> entries) {
  int width = 0;
  for (std::wstring_view entry : entries) width = std::max(width, metrics.TextWidth(WordOf(entry)));
  return width + kListArrow;
}

}  // namespace

void EditorPage::BuildControls(Layout& l) {
  BuildSourceGroup(l);
  BuildConditionGroup(l);
  BuildActionGroup(l);
  BuildTargetGroup(l);
  BuildCollisionGroup(l);
  BuildZipGroup(l);
  BuildCommands(l);
  FillLists();
}

// The description above it, then the source folder, its subfolders and the excluded folders.
void EditorPage::BuildSourceGroup(Layout& l) {
  const FontMetrics& metrics = l.metrics();
  const int gx = kLeftInnerX;
  const int gr = kLeftInnerRight;
  const std::wstring description = Word(L"Besc&hreibung:");
  const int descWidth = metrics.TextWidth(description) + 4;
  l.Label(description, kLeftX, kMargin, descWidth, kIdDescriptionLabel);
  l.Edit(kLeftX + descWidth, kMargin, kLeftWidth - descWidth, kIdDescription, kLeftHalf);

  l.Group(Word(L"Quelle"), kLeftX, 24, kLeftWidth, 92, kIdSourceGroup, kLeftHalf);
  const std::wstring sourceCaption = Word(L"&Quellverzeichnis");
  const int srcWidth = metrics.TextWidth(sourceCaption) + 4;
  l.Label(sourceCaption, gx, 36, srcWidth, kIdSourceLabel);
  l.Edit(gx + srcWidth, 36, gr - gx - srcWidth - 20, kIdSource, kLeftHalf);
  l.Button(L"...", gr - 16, 35, 16, kIdSourceBrowse, kWithColumnEdge);
  l.Check(Word(L"inklusive &Unterordner"), gx, 52, 160, 10, kIdSubfolders);
  l.Check(Word(L"Diesen Ordner \u00fc&berwachen"), gx + 164, 52, gr - gx - 164, 10, kIdWatchFolder, kLeftHalf);
  l.Label(Word(L"Ordner ausschlie\u00dfen"), gx, 63, 160, kIdBlockLabel);
  l.Check(Word(L"&Geleerte Ordner entfernen"), gx + 164, 63, gr - gx - 164, 10, kIdRemoveEmptied, kLeftHalf);
  const std::wstring blockAdd = Word(L"Ordner hinzuf\u00fcgen");
  const std::wstring blockRemove = Word(L"Ordner entfernen");
  const int blockButton =
      std::max({kButtonWidth, metrics.TextWidth(blockAdd) + 12, metrics.TextWidth(blockRemove) + 12});
  l.Add(WC_LISTBOXW, L"", WS_TABSTOP | WS_BORDER | WS_VSCROLL | LBS_NOINTEGRALHEIGHT | LBS_NOTIFY, gx, 75,
        gr - gx - blockButton - 4, 34, kIdBlockList, kLeftHalf);
  l.Button(blockAdd, gr - blockButton, 75, blockButton, kIdBlockAdd, kWithColumnEdge);
  l.Button(blockRemove, gr - blockButton, 93, blockButton, kIdBlockRemove, kWithColumnEdge);
}

// Check box captions in one column, fields aligned after it.
void EditorPage::BuildConditionGroup(Layout& l) {
  const FontMetrics& metrics = l.metrics();
  const int gx = kLeftInnerX;
  const int gr = kLeftInnerRight;
  l.Group(Word(L"Bedingungen"), kLeftX, 120, kLeftWidth, 196, kIdConditionGroup, kLeftHalf);
  const ConditionCaptions captions = ConditionCaptionTexts();
  int captionWidth = 0;
  for (const std::wstring& c : captions) captionWidth = std::max(captionWidth, metrics.TextWidth(c));
  captionWidth += 16;  // the check box itself
  const int fx = gx + captionWidth;
  const int fw = gr - fx;
  int y = 133;
  l.Check(captions[0], gx, y + 1, captionWidth - 2, 10, kIdNameOn);
  const std::wstring clear = Word(L"Verlauf &leeren");
  const int clearWidth = metrics.TextWidth(clear) + 12;
  l.Combo(fx, y, fw - clearWidth - 3, kIdName, kLeftHalf, Layout::ComboKind::kEditable);
  l.Button(clear, gr - clearWidth, y - 1, clearWidth, kIdNameClear, kWithColumnEdge);
  y += 17;
  l.Check(captions[1], gx, y + 1, captionWidth - 2, 10, kIdExcludeNameOn);
  l.Edit(fx, y, fw, kIdExcludeName, kLeftHalf);
  y += 17;
  l.Check(captions[2], gx, y + 1, captionWidth - 2, 10, kIdTextOn);
  HWND text = l.Edit(fx, y, fw, kIdText, kLeftHalf);
  // How several words are joined, shown in the empty field and, once it holds text, on hovering.
  const std::wstring textHint =
      Word(L"Gesuchten Text eingeben: Trennzeichen + alle Suchw\u00f6rter / Trennzeichen | eines oder mehrere");
  SendMessageW(text, EM_SETCUEBANNER, FALSE, reinterpret_cast<LPARAM>(textHint.c_str()));
  host_.AddTooltip(page_, text, textHint);
  l.Label(Word(L"Achtung: Zeitintensive Suchfunktion!"), fx, y + 12, fw, kIdTextWarning, kLeftHalf);
  y += 27;
  l.Check(captions[3], gx, y + 1, captionWidth - 2, 10, kIdIncludeOn);
  const int includeWidth = std::min(110, fw / 2);
  l.Combo(fx, y, includeWidth, kIdInclude, kFixed, Layout::ComboKind::kEditable);
  l.Add(WC_STATICW, L"", SS_LEFT | SS_NOPREFIX | SS_ENDELLIPSIS, fx + includeWidth + 4, y + 2,
        fw - includeWidth - 4, 8, kIdIncludeMask, kLeftHalf);
  y += 17;
  l.Check(captions[4], gx, y + 1, captionWidth - 2, 10, kIdExcludeOn);
  l.Combo(fx, y, fw, kIdExclude, kLeftHalf, Layout::ComboKind::kEditable);
  y += 17;
  l.Check(captions[5], gx, y + 1, captionWidth - 2, 10, kIdDateOn);
  BuildConditionFields(l, captions, captionWidth, y);
}

// Date, size and metadata: the lists as wide as their longest entry, the amount takes what is left.
void EditorPage::BuildConditionFields(Layout& l, const ConditionCaptions& captions, int captionWidth, int y) {
  const FontMetrics& metrics = l.metrics();
  const int gx = kLeftInnerX;
  const int gr = kLeftInnerRight;
  const int fx = gx + captionWidth;
  const int fw = gr - fx;
  const int kind = WidestEntry(metrics, {kDateKindEntries[0], kDateKindEntries[1]});
  const int cmp = WidestEntry(metrics, {kDateComparatorEntries[0], kDateComparatorEntries[1],
                                        kSizeComparatorEntries[0], kSizeComparatorEntries[1]});
  int unit = 0;
  for (std::wstring_view entry : kDateUnitEntries) unit = std::max(unit, WidestEntry(metrics, {entry}));
  for (std::wstring_view entry : kSizeUnitEntries) unit = std::max(unit, WidestEntry(metrics, {entry}));
  const int amount = fw - kind - cmp - unit - 9;
  l.Combo(fx, y, kind, kIdDateKind);
  l.Combo(fx + kind + 3, y, cmp, kIdDateComparator);
  l.Edit(fx + kind + cmp + 6, y, amount, kIdDateAmount, kFixed, ES_NUMBER);
  l.Combo(fx + kind + cmp + amount + 9, y, fw - kind - cmp - amount - 9, kIdDateUnit);
  y += 17;
  l.Check(captions[6], gx, y + 1, captionWidth - 2, 10, kIdSizeOn);
  l.Combo(fx + kind + 3, y, cmp, kIdSizeComparator);
  l.Edit(fx + kind + cmp + 6, y, amount, kIdSizeAmount, kFixed, ES_NUMBER);
  l.Combo(fx + kind + cmp + amount + 9, y, fw - kind - cmp - amount - 9, kIdSizeUnit);
  y += 17;
  l.Check(captions[7], gx, y + 1, captionWidth - 2, 10, kIdMetadataOn);
  // The field list shows whole entries such as "Dokumente --->%Revision Nummer%".
  int name = kind + cmp + 3;
  for (const std::wstring& entry : MetadataListEntries()) {
    name = std::max(name, metrics.TextWidth(entry) + kListArrow);
  }
  const int comparator = WidestEntry(metrics, {L">", L"<", L"="});
  l.Combo(fx, y, name, kIdCombo10);
  l.Combo(fx + name + 3, y, comparator, kIdMetadataComparator);
  l.Edit(fx + name + comparator + 6, y, fw - name - comparator - 6, kIdMetadataValue, kLeftHalf);
  y += 17;
  // Duplicates: within the source, or also against a folder of their own (the photo archive).
  const std::wstring duplicates = Word(L"Nur Duplikate (gleicher Inhalt)");
  const int duplicatesWidth = std::max(captionWidth, metrics.TextWidth(duplicates) + 18);
  l.Check(duplicates, gx, y + 1, duplicatesWidth - 2, 10, kIdDuplicatesOn);
  HWND duplicateFolder = l.Edit(gx + duplicatesWidth, y, gr - gx - duplicatesWidth - 20, kIdDuplicateFolder, kLeftHalf);
  const std::wstring duplicateHint = Word(L"auch gegen diesen Ordner (leer: nur in der Quelle)");
  SendMessageW(duplicateFolder, EM_SETCUEBANNER, FALSE, reinterpret_cast<LPARAM>(duplicateHint.c_str()));
  host_.AddTooltip(page_, duplicateFolder, duplicateHint);
  l.Button(L"...", gr - 16, y - 1, 16, kIdDuplicateBrowse, kWithColumnEdge);
  y += 18;
  l.Check(Word(L"Gro\u00df- und &Kleinschreibung beachten"), gx, y, gr - gx, 10, kIdMatchCase, kLeftHalf);
}

void EditorPage::BuildActionGroup(Layout& l) {
  const int rx = kRightInnerX;
  const int half = (kRightInnerRight - rx) / 2;
  l.Group(Word(L"dann diese Aktion durchf\u00fchren"), kRightX, kMargin, kRightWidth, 68, kIdActionGroup,
          kRightHalf);
  constexpr int kRows = 4;
  for (int i = 0; i < static_cast<int>(kActionEntries.size()); ++i) {
    DWORD style = WS_TABSTOP | BS_AUTORADIOBUTTON | (i == 0 ? WS_GROUP : 0);
    l.Add(WC_BUTTONW, WordOf(kActionEntries[static_cast<size_t>(i)]), style, rx + (i / kRows) * half,
          20 + (i % kRows) * 12, half - 2, 10, kIdActionFirst + i, kWithColumnEdge);
  }
}

// The target folder, the buttons that add path variables to it, and how files are placed there.
void EditorPage::BuildTargetGroup(Layout& l) {
  const int rx = kRightInnerX;
  const int rr = kRightInnerRight;
  l.Group(Word(L"Zielverzeichnis"), kRightX, 79, kRightWidth, 117, kIdTargetGroup, kRightHalf);
  l.Edit(rx, 92, rr - rx - 20, kIdTxtName, kRightHalf, WS_GROUP);
  l.Button(L"...", rr - 16, 91, 16, kIdTargetBrowse, kMoveX);
  // The new name (without extension) a renamed, moved or copied file gets; the token menus
  // add to it too.
  const std::wstring newName = Word(L"Neuer Name:");
  const int newNameWidth = l.metrics().TextWidth(newName) + 4;
  l.Label(newName, rx, 110, newNameWidth, kIdNewNameLabel);
  HWND newNameField = l.Edit(rx + newNameWidth, 108, rr - rx - newNameWidth, kIdNewName, kRightHalf);
  const std::wstring newNameHint = Word(L"leer: der Name bleibt; z. B. %Ge\u00e4ndert*yyyy-mm-dd% %Nr*000%");
  SendMessageW(newNameField, EM_SETCUEBANNER, FALSE, reinterpret_cast<LPARAM>(newNameHint.c_str()));
  host_.AddTooltip(page_, newNameField, newNameHint);
  const int third = (rr - rx - 6) / 3;
  const std::array<std::wstring, 6> tokenButtons = TokenButtons();
  for (int i = 0; i < 6; ++i) {
    l.Button(tokenButtons[static_cast<size_t>(i)], rx + (i % 3) * (third + 3), 125 + (i / 3) * 17, third,
             kIdTokenDates + i, kWithColumnEdge);
  }
  l.Add(WC_STATICW, L"", SS_LEFT | SS_NOPREFIX | SS_ENDELLIPSIS, rx, 159, rr - rx, 8, kIdNewNameExample, kRightHalf);
  l.Check(Word(L"&Ordnerstruktur aus dem Quellverzeichnis \u00fcbernehmen"), rx, 170, rr - rx, 10,
          kIdFolderStructure, kRightHalf);
  l.Check(Word(L"&Begleitdateien (.xmp, .aae, .json ...) mitnehmen"), rx, 182, rr - rx, 10, kIdSidecars,
          kRightHalf);
}

void EditorPage::BuildCollisionGroup(Layout& l) {
  const int rx = kRightInnerX;
  const int rr = kRightInnerRight;
  l.Group(Word(L"Wenn Datei bereits existiert:"), kRightX, 200, kRightWidth, 62, kIdCollisionGroup, kRightHalf);
  for (int i = 0; i < 3; ++i) {
    DWORD style = WS_TABSTOP | BS_AUTORADIOBUTTON | (i == 0 ? WS_GROUP : 0);
    l.Add(WC_BUTTONW, WordOf(kCollisionEntries[static_cast<size_t>(i)]), style, rx, 213 + i * 12, rr - rx, 10,
          kIdCollisionFirst + i, kRightHalf);
  }
  l.Check(Word(L"&Identische Dateien \u00fcberspringen"), rx, 249, rr - rx, 10, kIdSkipIdentical, kRightHalf,
          WS_GROUP);
}

void EditorPage::BuildZipGroup(Layout& l) {
  const int rx = kRightInnerX;
  const int rr = kRightInnerRight;
  l.Group(Word(L"Zip-Archive"), kRightX, 266, kRightWidth, 45, kIdZipGroup, kRightHalf);
  l.Check(Word(L"Zip-Archiv erstellen (separate Dateien)"), rx, 279, rr - rx, 10, kIdZipSeparate, kRightHalf,
          WS_GROUP);
  const std::wstring zipOne = Word(L"Zip-Archiv erstellen (eine Datei)   Name:");
  const int zipOneWidth = l.metrics().TextWidth(zipOne) + 16;
  l.Check(zipOne, rx, 294, zipOneWidth, 10, kIdZipOne, kWithColumnEdge);
  HWND zipName = l.Edit(rx + zipOneWidth + 2, 293, rr - rx - zipOneWidth - 2, kIdTextBox6, kRightHalf);
  SetWindowSubclass(zipName, TextBox6Proc, 1, reinterpret_cast<DWORD_PTR>(this));
}

void EditorPage::BuildCommands(Layout& l) {
  const FontMetrics& metrics = l.metrics();
  const int by = kPageHeight - kMargin - kButtonHeight;
  const std::wstring left[] = {Word(L"&Neues Profil"), Word(L"Profil &speichern"), Word(L"L\u00f6schen")};
  int leftWidth = kButtonWidth;
  for (const std::wstring& caption : left) leftWidth = std::max(leftWidth, metrics.TextWidth(caption) + 12);
  for (int i = 0; i < 3; ++i) {
    l.Button(left[i], kLeftX + i * (leftWidth + 4), by, leftWidth, kIdNewProfile + i, kMoveY);
  }
  const std::wstring load = Word(L"&Profil-Datei laden...");
  const std::wstring create = Word(L"Neue Profildatei e&rstellen...");
  const int wide = std::max({kButtonWidth, metrics.TextWidth(load) + 12, metrics.TextWidth(create) + 12});
  l.Button(load, kPageWidth - kMargin - 2 * wide - 4, by, wide, kIdLoadProfileFile, kMoveXY);
  l.Button(create, kPageWidth - kMargin - wide, by, wide, kIdCreateProfileFile, kMoveXY);
}

void EditorPage::FillLists() {
  FillComboWords(Item(kIdDateKind), kDateKindEntries);
  FillComboWords(Item(kIdDateComparator), kDateComparatorEntries);
  FillComboWords(Item(kIdDateUnit), kDateUnitEntries);
  FillComboWords(Item(kIdSizeComparator), kSizeComparatorEntries);
  FillComboWords(Item(kIdSizeUnit), kSizeUnitEntries);
  FillCombo(Item(kIdMetadataComparator), kMetadataComparatorEntries);
  editor_.TranslateMetadataEntries();
  FillCombo(Item(kIdCombo10), editor_.metadataEntries());
  FillComboWords(Item(kIdExclude), kExcludeExtensionEntries);
}

LRESULT CALLBACK EditorPage::TextBox6Proc(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR,
                                         DWORD_PTR self) {
  if (message == WM_CHAR && IsRefusedZipNameChar(static_cast<wchar_t>(wParam))) {
    auto* page = reinterpret_cast<EditorPage*>(self);
    page->context_.ui.ShowMessage(RefusedCharsMessage(), MessageIcon::Critical, MessageButtons::Ok);
    return 0;
  }
  return DefSubclassProc(window, message, wParam, lParam);
}

void EditorPage::FillNameHistory() {
  HWND name = Item(kIdName);
  std::wstring text = GetText(name);
  std::vector<std::wstring> shown;
  for (const std::wstring& entry : nameHistory_) shown.push_back(ListWordShown(entry));
  FillCombo(name, shown);
  SetText(name, text);
}

void EditorPage::FillIncludeList() {
  editor_.SetIncludeEntries(IncludeExtensionEntries(filterList_));
  HWND include = Item(kIdInclude);
  std::wstring text = GetText(include);
  FillCombo(include, editor_.includeEntries());
  SetText(include, text.empty() ? editor_.includeEntries().front() : text);
}

void EditorPage::ShowIncludeMask() {
  const auto& entries = editor_.includeEntries();
  std::wstring mask;
  for (size_t i = 1; i + 1 < entries.size(); ++i) {
    if (entries[i] == editor_.values.includeExtText) {
      mask = StoredFilterMask(context_.folders, i - 1);
      break;
    }
  }
  SetText(Item(kIdIncludeMask), mask);
}

namespace {

using Values = ProfileEditorValues;

// The controls that show one field of the editor's values, each in both directions.
struct CheckField {
  int id;
  bool Values::*field;
};
struct TextField {
  int id;
  std::wstring Values::*field;
};
struct ComboField {
  int id;
  int Values::*field;
};
// A text field whose empty value shows as a word ("Alles", "Nichts").
struct WordField {
  int id;
  std::wstring Values::*field;
  std::wstring_view word;
};

// The switches in front of the conditions, which a change of their values also turns on.
constexpr CheckField kConditionSwitches[] = {
    {kIdNameOn, &Values::nameOn},         {kIdExcludeNameOn, &Values::excludeNameOn}, {kIdTextOn, &Values::textOn},
    {kIdIncludeOn, &Values::includeExtOn}, {kIdExcludeOn, &Values::excludeExtOn},      {kIdDateOn, &Values::dateOn},
    {kIdSizeOn, &Values::sizeOn},          {kIdMetadataOn, &Values::metadataOn}};
constexpr CheckField kChecks[] = {{kIdSubfolders, &Values::includeSubfolders}, {kIdMatchCase, &Values::matchCase},
                                  {kIdFolderStructure, &Values::keepFolderStructure},
                                  {kIdSidecars, &Values::takeSidecars},       {kIdSkipIdentical, &Values::skipIdentical},
                                  {kIdWatchFolder, &Values::watch}, {kIdRemoveEmptied, &Values::removeEmptied},
                                  {kIdDuplicatesOn, &Values::duplicatesOn},   {kIdZipSeparate, &Values::zipSeparate},
                                  {kIdZipOne, &Values::zipOne}};
constexpr TextField kTexts[] = {{kIdDescription, &Values::description}, {kIdSource, &Values::source},
                                {kIdExcludeName, &Values::excludeName},  {kIdText, &Values::text},
                                {kIdDateAmount, &Values::dateAmount},    {kIdSizeAmount, &Values::sizeAmount},
                                {kIdMetadataValue, &Values::metadataValue}, {kIdTxtName, &Values::target},
                                {kIdTextBox6, &Values::zipName},         {kIdNewName, &Values::newName},
                                {kIdDuplicateFolder, &Values::duplicateFolder}};
constexpr WordField kWords[] = {{kIdName, &Values::namePattern, kAllFilesEntry},
                                {kIdInclude, &Values::includeExtText, kAllFilesEntry},
                                {kIdExclude, &Values::excludeExt, kNoExcludeEntry}};
constexpr ComboField kCombos[] = {{kIdDateKind, &Values::dateKindPos},         {kIdDateComparator, &Values::dateComparatorPos},
                                  {kIdDateUnit, &Values::dateUnitPos},         {kIdSizeComparator, &Values::sizeComparatorPos},
                                  {kIdSizeUnit, &Values::sizeUnitPos}};

}  // namespace

void EditorPage::EditorToControls() {
  editor_.isFilling = true;
  const Values& v = editor_.values;
  for (const CheckField& c : kChecks) SetOn(Item(c.id), v.*c.field);
  for (const TextField& t : kTexts) SetText(Item(t.id), v.*t.field);
  for (const WordField& w : kWords) SetText(Item(w.id), ListWordShown(v.*w.field));
  for (const ComboField& c : kCombos) SetComboPos(Item(c.id), v.*c.field);
  HWND block = Item(kIdBlockList);
  SendMessageW(block, LB_RESETCONTENT, 0, 0);
  for (const auto& folder : v.blockedFolders) {
    SendMessageW(block, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(folder.c_str()));
  }
  HWND metadata = Item(kIdCombo10);
  if (SendMessageW(metadata, CB_GETCOUNT, 0, 0) != static_cast<LRESULT>(editor_.metadataEntries().size())) {
    FillCombo(metadata, editor_.metadataEntries());
  }
  SetComboPos(metadata, v.metadataNamePos);
  int comparator = -1;
  for (size_t i = 0; i < kMetadataComparatorEntries.size(); ++i) {
    if (kMetadataComparatorEntries[i] == v.metadataComparator) comparator = static_cast<int>(i);
  }
  SetComboPos(Item(kIdMetadataComparator), comparator);
  for (std::size_t i = 0; i < v.actions.size(); ++i) SetOn(Item(kIdActionFirst + static_cast<int>(i)), v.actions[i]);
  for (int i = 0; i < 3; ++i) SetOn(Item(kIdCollisionFirst + i), editor_.CollisionPos() == i);
  ShowConditionSwitches();
  ShowIncludeMask();
  ShowNewNameExample();
  editor_.isFilling = false;
}

void EditorPage::ShowConditionSwitches() {
  for (const CheckField& c : kConditionSwitches) SetOn(Item(c.id), editor_.values.*c.field);
}

void EditorPage::ControlsToEditor() {
  Values& v = editor_.values;
  for (const CheckField& c : kConditionSwitches) v.*c.field = IsOn(Item(c.id));
  for (const CheckField& c : kChecks) v.*c.field = IsOn(Item(c.id));
  for (const TextField& t : kTexts) v.*t.field = GetText(Item(t.id));
  for (const WordField& w : kWords) v.*w.field = ListWordStored(GetText(Item(w.id)), w.word);
  for (const ComboField& c : kCombos) v.*c.field = ComboPos(Item(c.id));
  v.blockedFolders = ListBoxEntries(Item(kIdBlockList));
  v.metadataNamePos = std::max(0, ComboPos(Item(kIdCombo10)));
  const int comparator = ComboPos(Item(kIdMetadataComparator));
  v.metadataComparator = comparator >= 0 ? std::wstring(kMetadataComparatorEntries[static_cast<size_t>(comparator)])
                                         : std::wstring();
  for (std::size_t i = 0; i < v.actions.size(); ++i) v.actions[i] = IsOn(Item(kIdActionFirst + static_cast<int>(i)));
  for (int i = 0; i < 3; ++i) {
    if (IsOn(Item(kIdCollisionFirst + i))) editor_.SetCollisionPos(i);
  }
}

void EditorPage::OnCommand(int id, int code) {
  if (id >= kIdTokenMenuBase) {
    InsertToken(id);
    return;
  }
  if (code == EN_SETFOCUS && (id == kIdTxtName || id == kIdNewName)) {
    tokenTarget_ = id;
    return;
  }
  if (code == EN_CHANGE && (id == kIdNewName || id == kIdSource)) ShowNewNameExample();
  if (editor_.isFilling) return;
  if (code == EN_CHANGE || code == CBN_EDITCHANGE) {
    if (id == kIdExclude) {
      ControlsToEditor();
      editor_.ListChanged(EditorList::ExcludeExt);
      ShowConditionSwitches();
    } else {
      editor_.FieldChanged();
    }
    return;
  }
  if (code == CBN_SELCHANGE) {
    OnListPicked(id);
    return;
  }
  if (code == BN_CLICKED) OnClicked(id);
}

void EditorPage::OnListPicked(int id) {
  ControlsToEditor();
  HWND combo = Item(id);
  const int pos = ComboPos(combo);
  switch (id) {
    case kIdDateKind: editor_.ListChanged(EditorList::DateKind); break;
    case kIdDateComparator: editor_.ListChanged(EditorList::DateComparator); break;
    case kIdDateUnit: editor_.ListChanged(EditorList::DateUnit); break;
    case kIdSizeComparator: editor_.ListChanged(EditorList::SizeComparator); break;
    case kIdSizeUnit: editor_.ListChanged(EditorList::SizeUnit); break;
    case kIdName: editor_.NamePicked(ComboEntry(combo, pos)); break;
    case kIdExclude: editor_.ExcludePicked(ComboEntry(combo, pos)); break;
    case kIdInclude:
      if (pos >= 0 && editor_.IncludePicked(static_cast<size_t>(pos)) == IncludePick::EditFilters) {
        PostMessageW(context_.window, WM_APP, 0, 0);
        host_.SelectTab(kSettingsPage);
        return;
      }
      ShowIncludeMask();
      break;
    case kIdCombo10: {
      std::wstring entry = ComboEntry(combo, pos);
      if (MetadataEntryNeedsReference(entry) && !host_.HasReferencePoint()) {
        context_.ui.ShowMessage(std::wstring(kNoReferenceMessage), MessageIcon::Exclamation, MessageButtons::Ok);
      }
      editor_.values.metadataOn = pos > 0;
      editor_.FieldChanged();
      break;
    }
    default: editor_.FieldChanged(); break;
  }
  ShowConditionSwitches();
}

void EditorPage::OnClicked(int id) {
  AppUi& ui = context_.ui;
  switch (id) {
    case kIdSourceBrowse:
      if (auto folder = ui.ChooseFolder(Word(L"Quellverzeichnis"))) SetText(Item(kIdSource), *folder);
      return;
    case kIdDuplicateBrowse:
      if (auto folder = ui.ChooseFolder(Word(L"Nur Duplikate (gleicher Inhalt)"))) {
        SetText(Item(kIdDuplicateFolder), *folder);
        SetOn(Item(kIdDuplicatesOn), true);
        editor_.FieldChanged();
      }
      return;
    case kIdTargetBrowse: {
      // Targets come back again and again: they are picked from the recently used ones.
      const std::wstring folder = ShowRecentFoldersDialog(context_.instance, ui, context_.folders.SettingsFilePath);
      if (folder != kNoFolderChosen) SetText(Item(kIdTxtName), folder);
      return;
    }
    case kIdBlockAdd:
      if (auto folder = ui.ChooseFolder(Word(L"Ordner ausschlie\u00dfen"))) {
        SendMessageW(Item(kIdBlockList), LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(folder->c_str()));
        editor_.FieldChanged();
      }
      return;
    case kIdBlockRemove: {
      HWND block = Item(kIdBlockList);
      LRESULT selected = SendMessageW(block, LB_GETCURSEL, 0, 0);
      if (selected != LB_ERR) {
        SendMessageW(block, LB_DELETESTRING, static_cast<WPARAM>(selected), 0);
        editor_.FieldChanged();
      }
      return;
    }
    case kIdNameClear:
      nameHistory_ = ParseNameHistory(L"");
      host_.SaveSetting(L"FilenameVerlauf", L"");
      FillNameHistory();
      return;
    case kIdZipSeparate:
    case kIdZipOne:
      // One archive per file and one archive for all exclude each other.
      if (IsOn(Item(id))) SetOn(Item(id == kIdZipOne ? kIdZipSeparate : kIdZipOne), false);
      editor_.FieldChanged();
      return;
    case kIdNewProfile: NewProfile(); return;
    case kIdSaveProfile: SaveProfile(); return;
    case kIdDeleteProfiles: DeleteProfiles(); return;
    case kIdLoadProfileFile: LoadProfileFile(); return;
    case kIdCreateProfileFile: CreateProfileFile(); return;
    default:
      if (id >= kIdTokenDates && id <= kIdTokenVersion) {
        ShowTokenMenu(id);
      } else {
        editor_.FieldChanged();
      }
  }
}

bool EditorPage::SaveProfile() {
  ControlsToEditor();
  const ProfileEditorValues values = editor_.ToEditorValues();
  SaveOutcome outcome = SaveTheProfil(values, host_.ProfileFile(), context_.ui);
  if (!outcome.saved) {
    // A failed write names no field: the editor keeps every value for a second try.
    const int focus = outcome.focus == EditorField::Description  ? kIdDescription
                      : outcome.focus == EditorField::Source     ? kIdSource
                      : outcome.focus == EditorField::Target     ? kIdTxtName
                      : outcome.focus == EditorField::DateAmount ? kIdDateAmount
                      : outcome.focus == EditorField::SizeAmount ? kIdSizeAmount
                      : outcome.focus == EditorField::NewName    ? kIdNewName
                      : outcome.focus == EditorField::DuplicateFolder ? kIdDuplicateFolder
                                                                 : 0;
    host_.SelectTab(kEditorPage);
    if (focus != 0) SetFocus(Item(focus));
    return false;
  }
  // Saved all the same: the user may want exactly these copies, but should know what they cost.
  if (WatchedCopiesMultiply(values)) {
    context_.ui.ShowMessage(WatchedCopiesMultiplyWarning(values.description), MessageIcon::Exclamation, MessageButtons::Ok);
  }
  editor_.isFilling = true;
  editor_.values.includeExtText = outcome.filterShown;
  SetText(Item(kIdInclude), ListWordShown(outcome.filterShown));
  editor_.isFilling = false;
  if (editor_.values.nameOn) {
    RememberNamePattern(nameHistory_, editor_.values.namePattern);
    host_.SaveSetting(L"FilenameVerlauf", NameHistoryText(nameHistory_));
    FillNameHistory();
  }
  host_.ReloadProfiles(true, editor_.values.description);
  editor_.isModified = false;
  return true;
}

bool EditorPage::AskIfSaveProfile() {
  return editor_.askIfSaveProfil(context_.ui, [this] { return SaveProfile(); });
}

void EditorPage::NewProfile() {
  host_.SelectTab(kEditorPage);
  if (!AskIfSaveProfile()) return;
  editor_.NewProfile();
  EditorToControls();
  SetFocus(Item(kIdDescription));
}

void EditorPage::DeleteProfiles() {
  if (DeleteCheckedProfiles(host_.ProfileFile(), host_.CheckedProfileNames(), context_.ui)) {
    host_.ReloadProfiles(false);
  }
}

void EditorPage::LoadProfileFile() {
  if (!AskIfSaveProfile()) return;
  FileDialogArgs args;
  args.title = Word(L"Neue IniDatei laden");
  args.filter = Word(L"Ini Dateien|*.ini*");
  args.folder = FolderPart(host_.ProfileFile());
  std::optional<std::wstring> path = context_.ui.OpenFile(args);
  if (!path || path->empty()) return;
  host_.UseProfileFile(*path);
  context_.settings.IniPfad = *path;
  host_.SaveSetting(L"IniPfad", *path);
  host_.ReloadProfiles(false);
}

void EditorPage::CreateProfileFile() {
  if (!AskIfSaveProfile()) return;
  FileDialogArgs args;
  args.title = Word(L"Neue Profildatei erstellen");
  args.filter = Word(L".ini Dateien (*.ini)|*.ini");
  args.folder = context_.folders.SettingsFolder;
  args.suggestedName = L"AXProfilDatei.ini";
  args.defaultExtension = L"ini";
  std::optional<std::wstring> path = context_.ui.SaveFile(args);
  if (!path || path->empty()) return;
  // IniPfad stays as it is: the next start returns to the remembered file until the new one
  // is loaded once with "Profil-Datei laden...".
  host_.UseProfileFile(*path);
  host_.ReloadProfiles(false);
  NewProfile();
}

void EditorPage::ShowTokenMenu(int buttonId) {
  const int group = buttonId - kIdTokenDates;
  UniqueMenu menu(CreatePopupMenu());
  auto add = [&](int index, std::wstring caption) {
    AppendMenuW(menu.get(), MF_STRING, static_cast<UINT_PTR>(kTokenMenus[static_cast<size_t>(group)] + index),
                caption.c_str());
  };
  auto addNames = [&](const auto& names) {
    int i = 0;
    for (auto name : names) add(i++, std::wstring(name));
  };
  // A token and, right-aligned beside it, what it stands for.
  auto addDescribed = [&](const auto& tokens, const auto& words) {
    for (std::size_t i = 0; i < tokens.size(); ++i) {
      add(static_cast<int>(i), std::wstring(tokens[i]) + L"\t" + WordOf(words[i]));
    }
  };
  switch (group) {
    case 0: addDescribed(kDateTokens, kDateTokenWords); break;
    case 1:
      addDescribed(kFileTokens, kFileTokenWords);
      add(static_cast<int>(kFileTokens.size()), L"%DateiNameTeil[3-8]% ...\t" + WordOf(kNamePartWord));
      break;
    case 2: addNames(kExifNames); break;
    case 3: addNames(kAudioNames); break;
    case 4: addNames(kDocumentNames); break;
    default: addNames(kVersionNames); break;
  }
  RECT rect{};
  GetWindowRect(Item(buttonId), &rect);
  TrackPopupMenu(menu.get(), TPM_LEFTALIGN | TPM_TOPALIGN, rect.left, rect.bottom, 0, context_.window, nullptr);
}

void EditorPage::InsertToken(int commandId) {
  const int group = (commandId - kIdTokenMenuBase) / 100;
  const size_t index = static_cast<size_t>((commandId - kIdTokenMenuBase) % 100);
  std::wstring token;
  auto framed = [&](const auto& names) {
    if (index < names.size()) token = L"%" + std::wstring(names[index]) + L"%";
  };
  switch (group) {
    case 0:
      if (index < kDateTokens.size()) token = kDateTokens[index];
      break;
    case 1:
      if (index < kFileTokens.size()) {
        token = kFileTokens[index];
      } else if (auto answer = context_.ui.AskText(Word(L"Eingabe"), WordOf(kNamePartPrompt), L"[3-8]")) {
        if (!answer->empty()) token = NamePartToken(*answer);
      }
      break;
    case 2: framed(kExifNames); break;
    case 3: framed(kAudioNames); break;
    case 4: framed(kDocumentNames); break;
    case 5: framed(kVersionNames); break;
  }
  if (token.empty()) return;
  if (tokenTarget_ == kIdNewName) {
    // A name takes its tokens where the caret is, without folder levels.
    HWND field = Item(kIdNewName);
    SendMessageW(field, EM_REPLACESEL, TRUE, reinterpret_cast<LPARAM>(token.c_str()));
    SetFocus(field);
    return;
  }
  HWND target = Item(kIdTxtName);
  SetText(target, AppendTargetToken(GetText(target), token));
  SendMessageW(target, EM_SETSEL, static_cast<WPARAM>(-1), -1);
}

namespace {

// The first file of `folder` (its own files, not those of subfolders), for the example.
std::optional<FileFacts> FirstFileOf(const std::wstring& folder) {
  FolderReader reader;
  if (folder.empty() || !IsFullPath(folder) || !reader.Open(folder)) return std::nullopt;
  DirEntry entry;
  for (int looked = 0; looked < 10000 && reader.Next(&entry); ++looked) {
    if (entry.IsDirectory() || entry.isLink || entry.isSpecial) continue;
    return FileFacts{JoinPath(folder, entry.name), entry.size, entry.lastWrite, entry.creation};
  }
  return std::nullopt;
}

}  // namespace

void EditorPage::ShowNewNameExample() {
  const std::wstring zielname(Trim(GetText(Item(kIdNewName))));
  std::wstring text;
  if (!zielname.empty()) {
    const std::wstring source(Trim(GetText(Item(kIdSource))));
    if (source != exampleSource_ || !exampleFile_) {
      exampleSource_ = source;
      exampleFile_ = FirstFileOf(source);
    }
    if (exampleFile_) {
      // Metadata tokens show the file's own values, as the run would read them.
      FileMetadataSource metadata({context_.settings.Kommastelle, context_.settings.Lat, context_.settings.Lon});
      const PathVariableContext variables{FileTimeToLocal(CurrentFileTime()), &metadata};
      text = Word(L"Beispiel:") + L" " + NamePart(exampleFile_->path) + L" \u2192 " +
             NewFileName(zielname, *exampleFile_, variables, 1);
    } else {
      text = Word(L"Beispiel: keine Datei in der Quelle");
    }
  }
  SetText(Item(kIdNewNameExample), text);
}

HBRUSH EditorPage::StaticColours(int id, HDC dc) {
  if (id != kIdTextWarning) return nullptr;
  SetTextColor(dc, RGB(180, 0, 0));
  SetBkColor(dc, GetSysColor(COLOR_BTNFACE));
  return GetSysColorBrush(COLOR_BTNFACE);
}

void EditorPage::Start() {
  filterList_ = ReadStoredFilterList(context_.folders);
  FillIncludeList();
  nameHistory_ = ParseNameHistory(ReadAppSetting(context_.folders.SettingsFilePath, L"FilenameVerlauf"));
  FillNameHistory();
}

void EditorPage::ShowNewProfile() {
  editor_.NewProfile();
  EditorToControls();
}

void EditorPage::EditProfile(const Profile& profile) {
  editor_.LoadFromRow(profile);
  EditorToControls();
}

void EditorPage::SetFilterList(const std::wstring& filterList) {
  filterList_ = filterList;
  FillIncludeList();
}

void EditorPage::ShowIncludeText() { SetText(Item(kIdInclude), ListWordShown(editor_.values.includeExtText)); }

void EditorPage::KeepForRebuild() {
  ControlsToEditor();
  keptModified_ = editor_.isModified;
}

void EditorPage::RestoreAfterRebuild() {
  FillIncludeList();
  FillNameHistory();
  EditorToControls();
  editor_.isModified = keptModified_;
}

}  // namespace ablagix::app
