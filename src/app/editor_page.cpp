// "Profile bearbeiten": the controls of the profile editor and the commands on profiles and
// profile files. The rules behind them are ProfileEditor's; this file maps controls to it.
#include <windows.h>
#include <commctrl.h>

#include <algorithm>

#include "app/control_ids.h"
#include "app/main_window.h"
#include "app/page_size.h"
#include "app/recent_folders_dialog.h"
#include "app/win_controls.h"
#include "desktop/recent_folders.h"
#include "engine/watch_copies_warning.h"
#include "fileops/path_text.h"
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

std::array<std::wstring, 6> TokenButtons() {
  return {Word(L"&Datum \u00BB"), Word(L"Da&tei \u00BB"), Word(L"&Exif \u00BB"),
          Word(L"&Audio \u00BB"), Word(L"Doku&mente \u00BB"), Word(L"&Version \u00BB")};
}

// The menus the token buttons open, in the order of the buttons.
constexpr std::array<int, 6> kTokenMenus = {kIdMnuDateSub, kIdMnuFileSub, kIdMnuExif,
                                            kIdMnuAudio,   kIdMnuDokus,   kIdMnuVersionSub};

}  // namespace

void MainWindow::BuildEditorPage() {
  Layout& l = layouts_[kEditorPage];
  l.Begin(pages_[kEditorPage], &metrics_, kPageWidth, kPageHeight);
  const DWORD tab = WS_TABSTOP;
  const DWORD edit = tab | ES_AUTOHSCROLL;
  const DWORD check = tab | BS_AUTOCHECKBOX;
  const DWORD list = tab | CBS_DROPDOWNLIST | WS_VSCROLL;
  const DWORD combo = tab | CBS_DROPDOWN | CBS_AUTOHSCROLL | WS_VSCROLL;
  auto label = [&](const std::wstring& text, int x, int y, int w, int id = -1, Anchor a = kFixed) {
    return l.Add(WC_STATICW, text, SS_LEFT, x, y + 2, w, 8, id, a);
  };
  auto group = [&](const std::wstring& text, int x, int y, int w, int h, int id, Anchor a) {
    return l.Add(WC_BUTTONW, text, BS_GROUPBOX, x, y, w, h, id, a);
  };

  // --- Description
  const std::wstring description = Word(L"Besc&hreibung:");
  const int descWidth = metrics_.TextWidth(description) + 4;
  label(description, kLeftX, kMargin, descWidth, kIdDescriptionLabel);
  l.Add(WC_EDITW, L"", edit, kLeftX + descWidth, kMargin, kLeftWidth - descWidth, kEditHeight, kIdDescription,
        kLeftHalf, WS_EX_CLIENTEDGE);

  // --- Source
  const int gx = kLeftX + kInner;
  const int gr = kLeftX + kLeftWidth - kInner;  // inner right edge of the left column
  group(Word(L"Quelle"), kLeftX, 24, kLeftWidth, 92, kIdSourceGroup, kLeftHalf);
  const std::wstring sourceCaption = Word(L"&Quellverzeichnis");
  const int srcWidth = metrics_.TextWidth(sourceCaption) + 4;
  label(sourceCaption, gx, 36, srcWidth, kIdSourceLabel);
  l.Add(WC_EDITW, L"", edit, gx + srcWidth, 36, gr - gx - srcWidth - 20, kEditHeight, kIdSource, kLeftHalf,
        WS_EX_CLIENTEDGE);
  l.Add(WC_BUTTONW, L"...", tab | BS_PUSHBUTTON, gr - 16, 35, 16, kButtonHeight, kIdSourceBrowse, kWithColumnEdge);
  l.Add(WC_BUTTONW, Word(L"inklusive &Unterordner"), check, gx, 52, 160, 10, kIdSubfolders);
  l.Add(WC_BUTTONW, Word(L"Diesen Ordner \u00fc&berwachen"), check, gx + 164, 52, gr - gx - 164, 10, kIdWatchFolder,
        kLeftHalf);
  label(Word(L"Ordner ausschlie\u00dfen"), gx, 63, 160, kIdBlockLabel);
  const std::wstring blockAdd = Word(L"Ordner hinzuf\u00fcgen");
  const std::wstring blockRemove = Word(L"Ordner entfernen");
  const int blockButton =
      std::max({kButtonWidth, metrics_.TextWidth(blockAdd) + 12, metrics_.TextWidth(blockRemove) + 12});
  l.Add(WC_LISTBOXW, L"", tab | WS_BORDER | WS_VSCROLL | LBS_NOINTEGRALHEIGHT | LBS_NOTIFY, gx, 75,
        gr - gx - blockButton - 4, 34, kIdBlockList, kLeftHalf);
  l.Add(WC_BUTTONW, blockAdd, tab | BS_PUSHBUTTON, gr - blockButton, 75, blockButton, kButtonHeight, kIdBlockAdd,
        kWithColumnEdge);
  l.Add(WC_BUTTONW, blockRemove, tab | BS_PUSHBUTTON, gr - blockButton, 93, blockButton, kButtonHeight,
        kIdBlockRemove, kWithColumnEdge);

  // --- Conditions: check box captions in one column, fields aligned after it
  group(Word(L"Bedingungen"), kLeftX, 120, kLeftWidth, 178, kIdConditionGroup, kLeftHalf);
  const std::wstring captions[] = {Word(L"Dateiname (enth\u00e4lt=*):"), Word(L"Dateiname enth\u00e4lt nicht *:"),
                                   Word(L"Datei enth\u00e4lt Text:"),     Word(L"Dateiendung:"),
                                   Word(L"Endungen ausschlie\u00dfen:"),  Word(L"Datum:"),
                                   Word(L"Dateigr\u00f6\u00dfe:"),       Word(L"Enth\u00e4lt Metadaten:")};
  int captionWidth = 0;
  for (const std::wstring& c : captions) captionWidth = std::max(captionWidth, metrics_.TextWidth(c));
  captionWidth += 16;  // the check box itself
  const int fx = gx + captionWidth;
  const int fw = gr - fx;
  auto row = [&](int index, int y, int id) {
    l.Add(WC_BUTTONW, captions[index], check, gx, y + 1, captionWidth - 2, 10, id);
  };
  int y = 133;
  row(0, y, kIdNameOn);
  const std::wstring clear = Word(L"Verlauf &leeren");
  const int clearWidth = metrics_.TextWidth(clear) + 12;
  l.Add(WC_COMBOBOXW, L"", combo, fx, y, fw - clearWidth - 3, kEditHeight, kIdName, kLeftHalf);
  l.Add(WC_BUTTONW, clear, tab | BS_PUSHBUTTON, gr - clearWidth, y - 1, clearWidth, kButtonHeight, kIdNameClear,
        kWithColumnEdge);
  y += 17;
  row(1, y, kIdExcludeNameOn);
  l.Add(WC_EDITW, L"", edit, fx, y, fw, kEditHeight, kIdExcludeName, kLeftHalf, WS_EX_CLIENTEDGE);
  y += 17;
  row(2, y, kIdTextOn);
  HWND text = l.Add(WC_EDITW, L"", edit, fx, y, fw, kEditHeight, kIdText, kLeftHalf, WS_EX_CLIENTEDGE);
  // How several words are joined, shown in the empty field and, once it holds text, on hovering.
  const std::wstring textHint =
      Word(L"Gesuchten Text eingeben: Trennzeichen + alle Suchw\u00f6rter / Trennzeichen | eines oder mehrere");
  SendMessageW(text, EM_SETCUEBANNER, FALSE, reinterpret_cast<LPARAM>(textHint.c_str()));
  AddTooltip(pages_[kEditorPage], text, textHint);
  label(Word(L"Achtung: Zeitintensive Suchfunktion!"), fx, y + 12, fw, kIdTextWarning, kLeftHalf);
  y += 27;
  row(3, y, kIdIncludeOn);
  const int includeWidth = std::min(110, fw / 2);
  l.Add(WC_COMBOBOXW, L"", combo, fx, y, includeWidth, kEditHeight, kIdInclude);
  l.Add(WC_STATICW, L"", SS_LEFT | SS_NOPREFIX | SS_ENDELLIPSIS, fx + includeWidth + 4, y + 2,
        fw - includeWidth - 4, 8, kIdIncludeMask, kLeftHalf);
  y += 17;
  row(4, y, kIdExcludeOn);
  l.Add(WC_COMBOBOXW, L"", combo, fx, y, fw, kEditHeight, kIdExclude, kLeftHalf);
  y += 17;
  row(5, y, kIdDateOn);
  {
    // The lists as wide as their longest entry; the amount takes what is left.
    auto widest = [&](std::initializer_list<std::wstring_view> entries) {
      int width = 0;
      for (std::wstring_view entry : entries) width = std::max(width, metrics_.TextWidth(WordOf(entry)));
      return width + kListArrow;
    };
    const int kind = widest({kDateKindEntries[0], kDateKindEntries[1]});
    const int cmp = widest({kDateComparatorEntries[0], kDateComparatorEntries[1], kSizeComparatorEntries[0],
                            kSizeComparatorEntries[1]});
    int unit = 0;
    for (std::wstring_view entry : kDateUnitEntries) unit = std::max(unit, widest({entry}));
    for (std::wstring_view entry : kSizeUnitEntries) unit = std::max(unit, widest({entry}));
    const int amount = fw - kind - cmp - unit - 9;
    l.Add(WC_COMBOBOXW, L"", list, fx, y, kind, kEditHeight, kIdDateKind);
    l.Add(WC_COMBOBOXW, L"", list, fx + kind + 3, y, cmp, kEditHeight, kIdDateComparator);
    l.Add(WC_EDITW, L"", edit | ES_NUMBER, fx + kind + cmp + 6, y, amount, kEditHeight, kIdDateAmount, kFixed,
          WS_EX_CLIENTEDGE);
    l.Add(WC_COMBOBOXW, L"", list, fx + kind + cmp + amount + 9, y, fw - kind - cmp - amount - 9, kEditHeight,
          kIdDateUnit);
    y += 17;
    row(6, y, kIdSizeOn);
    l.Add(WC_COMBOBOXW, L"", list, fx + kind + 3, y, cmp, kEditHeight, kIdSizeComparator);
    l.Add(WC_EDITW, L"", edit | ES_NUMBER, fx + kind + cmp + 6, y, amount, kEditHeight, kIdSizeAmount, kFixed,
          WS_EX_CLIENTEDGE);
    l.Add(WC_COMBOBOXW, L"", list, fx + kind + cmp + amount + 9, y, fw - kind - cmp - amount - 9, kEditHeight,
          kIdSizeUnit);
    y += 17;
    row(7, y, kIdMetadataOn);
    // The field list shows whole entries such as "Dokumente --->%Revision Nummer%".
    int name = kind + cmp + 3;
    for (const std::wstring& entry : MetadataListEntries()) {
      name = std::max(name, metrics_.TextWidth(entry) + kListArrow);
    }
    const int comparator = widest({L">", L"<", L"="});
    l.Add(WC_COMBOBOXW, L"", list, fx, y, name, kEditHeight, kIdCombo10);
    l.Add(WC_COMBOBOXW, L"", list, fx + name + 3, y, comparator, kEditHeight, kIdMetadataComparator);
    l.Add(WC_EDITW, L"", edit, fx + name + comparator + 6, y, fw - name - comparator - 6, kEditHeight,
          kIdMetadataValue, kLeftHalf, WS_EX_CLIENTEDGE);
  }
  y += 18;
  l.Add(WC_BUTTONW, Word(L"Gro\u00df- und &Kleinschreibung beachten"), check, gx, y, gr - gx, 10, kIdMatchCase,
        kLeftHalf);

  // --- Action
  const int rx = kRightX + kInner;
  const int rr = kRightX + kRightWidth - kInner;
  const int half = (rr - rx) / 2;
  group(Word(L"dann diese Aktion durchf\u00fchren"), kRightX, kMargin, kRightWidth, 56, kIdActionGroup, kRightHalf);
  for (int i = 0; i < 6; ++i) {
    DWORD style = tab | BS_AUTORADIOBUTTON | (i == 0 ? WS_GROUP : 0);
    l.Add(WC_BUTTONW, WordOf(kActionEntries[static_cast<size_t>(i)]), style, rx + (i / 3) * half,
          20 + (i % 3) * 12, half - 2, 10, kIdActionFirst + i, kWithColumnEdge);
  }

  // --- Target
  group(Word(L"Zielverzeichnis"), kRightX, 67, kRightWidth, 96, kIdTargetGroup, kRightHalf);
  l.Add(WC_EDITW, L"", edit | WS_GROUP, rx, 80, rr - rx - 20, kEditHeight, kIdTxtName, kRightHalf, WS_EX_CLIENTEDGE);
  l.Add(WC_BUTTONW, L"...", tab | BS_PUSHBUTTON, rr - 16, 79, 16, kButtonHeight, kIdTargetBrowse, kMoveX);
  const int third = (rr - rx - 6) / 3;
  const std::array<std::wstring, 6> tokenButtons = TokenButtons();
  for (int i = 0; i < 6; ++i) {
    l.Add(WC_BUTTONW, tokenButtons[static_cast<size_t>(i)], tab | BS_PUSHBUTTON, rx + (i % 3) * (third + 3),
          97 + (i / 3) * 17, third, kButtonHeight, kIdTokenDates + i, kWithColumnEdge);
  }
  l.Add(WC_BUTTONW, Word(L"&Ordnerstruktur aus dem Quellverzeichnis \u00fcbernehmen"), check, rx, 135, rr - rx, 10,
        kIdFolderStructure, kRightHalf);
  l.Add(WC_BUTTONW, Word(L"&Begleitdateien (.xmp, .aae, .json ...) mitnehmen"), check, rx, 147, rr - rx, 10,
        kIdSidecars, kRightHalf);

  // --- Collision
  group(Word(L"Wenn Datei bereits existiert:"), kRightX, 167, kRightWidth, 62, kIdCollisionGroup, kRightHalf);
  for (int i = 0; i < 3; ++i) {
    DWORD style = tab | BS_AUTORADIOBUTTON | (i == 0 ? WS_GROUP : 0);
    l.Add(WC_BUTTONW, WordOf(kCollisionEntries[static_cast<size_t>(i)]), style, rx, 180 + i * 12, rr - rx, 10,
          kIdCollisionFirst + i, kRightHalf);
  }
  l.Add(WC_BUTTONW, Word(L"&Identische Dateien \u00fcberspringen"), check | WS_GROUP, rx, 216, rr - rx, 10,
        kIdSkipIdentical, kRightHalf);

  // --- Zip
  group(Word(L"Zip-Archive"), kRightX, 233, kRightWidth, 45, kIdZipGroup, kRightHalf);
  l.Add(WC_BUTTONW, Word(L"Zip-Archiv erstellen (separate Dateien)"), check | WS_GROUP, rx, 246, rr - rx, 10,
        kIdZipSeparate, kRightHalf);
  const std::wstring zipOne = Word(L"Zip-Archiv erstellen (eine Datei)   Name:");
  const int zipOneWidth = metrics_.TextWidth(zipOne) + 16;
  l.Add(WC_BUTTONW, zipOne, check, rx, 261, zipOneWidth, 10, kIdZipOne, kWithColumnEdge);
  HWND zipName = l.Add(WC_EDITW, L"", edit, rx + zipOneWidth + 2, 260, rr - rx - zipOneWidth - 2, kEditHeight,
                       kIdTextBox6, kRightHalf, WS_EX_CLIENTEDGE);
  SetWindowSubclass(zipName, TextBox6Proc, 1, reinterpret_cast<DWORD_PTR>(this));

  // --- Commands
  const int by = kPageHeight - kMargin - kButtonHeight;
  const std::wstring left[] = {Word(L"&Neues Profil"), Word(L"Profil &speichern"), Word(L"L\u00f6schen")};
  int leftWidth = kButtonWidth;
  for (const std::wstring& caption : left) leftWidth = std::max(leftWidth, metrics_.TextWidth(caption) + 12);
  for (int i = 0; i < 3; ++i) {
    l.Add(WC_BUTTONW, left[i], tab | BS_PUSHBUTTON, kLeftX + i * (leftWidth + 4), by, leftWidth, kButtonHeight,
          kIdNewProfile + i, kMoveY);
  }
  const std::wstring load = Word(L"&Profil-Datei laden...");
  const std::wstring create = Word(L"Neue Profildatei e&rstellen...");
  const int wide = std::max({kButtonWidth, metrics_.TextWidth(load) + 12, metrics_.TextWidth(create) + 12});
  l.Add(WC_BUTTONW, load, tab | BS_PUSHBUTTON, kPageWidth - kMargin - 2 * wide - 4, by, wide, kButtonHeight,
        kIdLoadProfileFile, kMoveXY);
  l.Add(WC_BUTTONW, create, tab | BS_PUSHBUTTON, kPageWidth - kMargin - wide, by, wide, kButtonHeight,
        kIdCreateProfileFile, kMoveXY);

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

LRESULT CALLBACK MainWindow::TextBox6Proc(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR,
                                         DWORD_PTR self) {
  if (message == WM_CHAR && IsRefusedZipNameChar(static_cast<wchar_t>(wParam))) {
    auto* main = reinterpret_cast<MainWindow*>(self);
    main->ui_.ShowMessage(RefusedCharsMessage(), MessageIcon::Critical, MessageButtons::Ok);
    return 0;
  }
  return DefSubclassProc(window, message, wParam, lParam);
}

void MainWindow::FillNameHistory() {
  HWND name = Item(kIdName);
  std::wstring text = GetText(name);
  std::vector<std::wstring> shown;
  for (const std::wstring& entry : nameHistory_) shown.push_back(ListWordShown(entry));
  FillCombo(name, shown);
  SetText(name, text);
}

void MainWindow::FillIncludeList() {
  editor_.SetIncludeEntries(IncludeExtensionEntries(filterList_));
  HWND include = Item(kIdInclude);
  std::wstring text = GetText(include);
  FillCombo(include, editor_.includeEntries());
  SetText(include, text.empty() ? editor_.includeEntries().front() : text);
}

void MainWindow::ShowIncludeMask() {
  const auto& entries = editor_.includeEntries();
  std::wstring mask;
  for (size_t i = 1; i + 1 < entries.size(); ++i) {
    if (entries[i] == editor_.values.includeExtText) {
      mask = StoredFilterMask(folders_, i - 1);
      break;
    }
  }
  SetText(Item(kIdIncludeMask), mask);
}

void MainWindow::EditorToControls() {
  editor_.isFilling = true;
  const ProfileEditorValues& v = editor_.values;
  SetText(Item(kIdDescription), v.description);
  SetText(Item(kIdSource), v.source);
  SetOn(Item(kIdSubfolders), v.includeSubfolders);
  HWND block = Item(kIdBlockList);
  SendMessageW(block, LB_RESETCONTENT, 0, 0);
  for (const auto& folder : v.blockedFolders) {
    SendMessageW(block, LB_ADDSTRING, 0, reinterpret_cast<LPARAM>(folder.c_str()));
  }
  SetText(Item(kIdName), ListWordShown(v.namePattern));
  SetText(Item(kIdExcludeName), v.excludeName);
  SetText(Item(kIdText), v.text);
  SetText(Item(kIdInclude), ListWordShown(v.includeExtText));
  SetText(Item(kIdExclude), ListWordShown(v.excludeExt));
  SetComboPos(Item(kIdDateKind), v.dateKindPos);
  SetComboPos(Item(kIdDateComparator), v.dateComparatorPos);
  SetText(Item(kIdDateAmount), v.dateAmount);
  SetComboPos(Item(kIdDateUnit), v.dateUnitPos);
  SetComboPos(Item(kIdSizeComparator), v.sizeComparatorPos);
  SetText(Item(kIdSizeAmount), v.sizeAmount);
  SetComboPos(Item(kIdSizeUnit), v.sizeUnitPos);
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
  SetText(Item(kIdMetadataValue), v.metadataValue);
  SetOn(Item(kIdMatchCase), v.matchCase);
  for (int i = 0; i < 6; ++i) SetOn(Item(kIdActionFirst + i), v.actions[static_cast<size_t>(i)]);
  SetText(Item(kIdTxtName), v.target);
  SetOn(Item(kIdFolderStructure), v.keepFolderStructure);
  SetOn(Item(kIdSidecars), v.takeSidecars);
  SetOn(Item(kIdSkipIdentical), v.skipIdentical);
  SetOn(Item(kIdWatchFolder), v.watch);
  for (int i = 0; i < 3; ++i) SetOn(Item(kIdCollisionFirst + i), editor_.CollisionPos() == i);
  SetOn(Item(kIdZipSeparate), v.zipSeparate);
  SetOn(Item(kIdZipOne), v.zipOne);
  SetText(Item(kIdTextBox6), v.zipName);
  ShowConditionSwitches();
  ShowIncludeMask();
  editor_.isFilling = false;
}

void MainWindow::ShowConditionSwitches() {
  const ProfileEditorValues& v = editor_.values;
  SetOn(Item(kIdNameOn), v.nameOn);
  SetOn(Item(kIdExcludeNameOn), v.excludeNameOn);
  SetOn(Item(kIdTextOn), v.textOn);
  SetOn(Item(kIdIncludeOn), v.includeExtOn);
  SetOn(Item(kIdExcludeOn), v.excludeExtOn);
  SetOn(Item(kIdDateOn), v.dateOn);
  SetOn(Item(kIdSizeOn), v.sizeOn);
  SetOn(Item(kIdMetadataOn), v.metadataOn);
}

void MainWindow::ControlsToEditor() {
  ProfileEditorValues& v = editor_.values;
  v.description = GetText(Item(kIdDescription));
  v.source = GetText(Item(kIdSource));
  v.includeSubfolders = IsOn(Item(kIdSubfolders));
  v.blockedFolders = ListBoxEntries(Item(kIdBlockList));
  v.nameOn = IsOn(Item(kIdNameOn));
  v.namePattern = ListWordStored(GetText(Item(kIdName)), kAllFilesEntry);
  v.excludeNameOn = IsOn(Item(kIdExcludeNameOn));
  v.excludeName = GetText(Item(kIdExcludeName));
  v.textOn = IsOn(Item(kIdTextOn));
  v.text = GetText(Item(kIdText));
  v.includeExtOn = IsOn(Item(kIdIncludeOn));
  v.includeExtText = ListWordStored(GetText(Item(kIdInclude)), kAllFilesEntry);
  v.excludeExtOn = IsOn(Item(kIdExcludeOn));
  v.excludeExt = ListWordStored(GetText(Item(kIdExclude)), kNoExcludeEntry);
  v.dateOn = IsOn(Item(kIdDateOn));
  v.dateKindPos = ComboPos(Item(kIdDateKind));
  v.dateComparatorPos = ComboPos(Item(kIdDateComparator));
  v.dateAmount = GetText(Item(kIdDateAmount));
  v.dateUnitPos = ComboPos(Item(kIdDateUnit));
  v.sizeOn = IsOn(Item(kIdSizeOn));
  v.sizeComparatorPos = ComboPos(Item(kIdSizeComparator));
  v.sizeAmount = GetText(Item(kIdSizeAmount));
  v.sizeUnitPos = ComboPos(Item(kIdSizeUnit));
  v.metadataOn = IsOn(Item(kIdMetadataOn));
  v.metadataNamePos = std::max(0, ComboPos(Item(kIdCombo10)));
  int comparator = ComboPos(Item(kIdMetadataComparator));
  v.metadataComparator = comparator >= 0 ? std::wstring(kMetadataComparatorEntries[static_cast<size_t>(comparator)])
                                         : std::wstring();
  v.metadataValue = GetText(Item(kIdMetadataValue));
  v.matchCase = IsOn(Item(kIdMatchCase));
  for (int i = 0; i < 6; ++i) v.actions[static_cast<size_t>(i)] = IsOn(Item(kIdActionFirst + i));
  v.target = GetText(Item(kIdTxtName));
  v.keepFolderStructure = IsOn(Item(kIdFolderStructure));
  v.takeSidecars = IsOn(Item(kIdSidecars));
  v.skipIdentical = IsOn(Item(kIdSkipIdentical));
  v.watch = IsOn(Item(kIdWatchFolder));
  for (int i = 0; i < 3; ++i) {
    if (IsOn(Item(kIdCollisionFirst + i))) editor_.SetCollisionPos(i);
  }
  v.zipSeparate = IsOn(Item(kIdZipSeparate));
  v.zipOne = IsOn(Item(kIdZipOne));
  v.zipName = GetText(Item(kIdTextBox6));
}

void MainWindow::OnEditorCommand(int id, int code) {
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
          PostMessageW(window_, WM_APP, 0, 0);
          SelectTab(kSettingsPage);
          return;
        }
        ShowIncludeMask();
        break;
      case kIdCombo10: {
        std::wstring entry = ComboEntry(combo, pos);
        if (MetadataEntryNeedsReference(entry) &&
            (GetText(Item(kIdLat)).empty() || GetText(Item(kIdLon)).empty())) {
          ui_.ShowMessage(std::wstring(kNoReferenceMessage), MessageIcon::Exclamation, MessageButtons::Ok);
        }
        editor_.values.metadataOn = pos > 0;
        editor_.FieldChanged();
        break;
      }
      default: editor_.FieldChanged(); break;
    }
    ShowConditionSwitches();
    return;
  }
  if (code != BN_CLICKED) return;
  switch (id) {
    case kIdSourceBrowse:
      if (auto folder = ui_.ChooseFolder(Word(L"Quellverzeichnis"))) SetText(Item(kIdSource), *folder);
      return;
    case kIdTargetBrowse: {
      // Targets come back again and again: they are picked from the recently used ones.
      const std::wstring folder = ShowRecentFoldersDialog(instance_, ui_, folders_.SettingsFilePath);
      if (folder != kNoFolderChosen) SetText(Item(kIdTxtName), folder);
      return;
    }
    case kIdBlockAdd:
      if (auto folder = ui_.ChooseFolder(Word(L"Ordner ausschlie\u00dfen"))) {
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
      SaveSetting(L"FilenameVerlauf", L"");
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

bool MainWindow::SaveProfile() {
  ControlsToEditor();
  const ProfileEditorValues values = editor_.ToEditorValues();
  SaveOutcome outcome = SaveTheProfil(values, profileFile_, ui_);
  if (!outcome.saved) {
    // A failed write names no field: the editor keeps every value for a second try.
    const int focus = outcome.focus == EditorField::Description  ? kIdDescription
                      : outcome.focus == EditorField::Source     ? kIdSource
                      : outcome.focus == EditorField::Target     ? kIdTxtName
                      : outcome.focus == EditorField::DateAmount ? kIdDateAmount
                      : outcome.focus == EditorField::SizeAmount ? kIdSizeAmount
                                                                 : 0;
    SelectTab(kEditorPage);
    if (focus != 0) SetFocus(Item(focus));
    return false;
  }
  // Saved all the same: the user may want exactly these copies, but should know what they cost.
  if (WatchedCopiesMultiply(values)) {
    ui_.ShowMessage(WatchedCopiesMultiplyWarning(values.description), MessageIcon::Exclamation, MessageButtons::Ok);
  }
  editor_.isFilling = true;
  editor_.values.includeExtText = outcome.filterShown;
  SetText(Item(kIdInclude), ListWordShown(outcome.filterShown));
  editor_.isFilling = false;
  if (editor_.values.nameOn) {
    RememberNamePattern(nameHistory_, editor_.values.namePattern);
    SaveSetting(L"FilenameVerlauf", NameHistoryText(nameHistory_));
    FillNameHistory();
  }
  ReloadProfiles(true, editor_.values.description);
  editor_.isModified = false;
  return true;
}

bool MainWindow::askIfSaveProfil() {
  return editor_.askIfSaveProfil(ui_, [this] { return SaveProfile(); });
}

void MainWindow::NewProfile() {
  SelectTab(kEditorPage);
  if (!askIfSaveProfil()) return;
  editor_.NewProfile();
  EditorToControls();
  SetFocus(Item(kIdDescription));
}

void MainWindow::DeleteProfiles() {
  if (DeleteCheckedProfiles(profileFile_, CheckedProfileNames(), ui_)) ReloadProfiles(false);
}

void MainWindow::LoadProfileFile() {
  if (!askIfSaveProfil()) return;
  FileDialogArgs args;
  args.title = Word(L"Neue IniDatei laden");
  args.filter = Word(L"Ini Dateien|*.ini*");
  args.folder = FolderPart(profileFile_);
  std::optional<std::wstring> path = ui_.OpenFile(args);
  if (!path || path->empty()) return;
  SetProfileFile(*path, ProfileFileLabel(*path));
  settings_.IniPfad = *path;
  SaveSetting(L"IniPfad", *path);
  ReloadProfiles(false);
}

void MainWindow::CreateProfileFile() {
  if (!askIfSaveProfil()) return;
  FileDialogArgs args;
  args.title = Word(L"Neue Profildatei erstellen");
  args.filter = Word(L".ini Dateien (*.ini)|*.ini");
  args.folder = folders_.SettingsFolder;
  args.suggestedName = L"AXProfilDatei.ini";
  args.defaultExtension = L"ini";
  std::optional<std::wstring> path = ui_.SaveFile(args);
  if (!path || path->empty()) return;
  // IniPfad stays as it is: the next start returns to the remembered file until the new one
  // is loaded once with "Profil-Datei laden...".
  SetProfileFile(*path, ProfileFileLabel(*path));
  ReloadProfiles(false);
  NewProfile();
}

void MainWindow::ShowTokenMenu(int buttonId) {
  const int group = buttonId - kIdTokenDates;
  HMENU menu = CreatePopupMenu();
  auto add = [&](int index, std::wstring caption) {
    AppendMenuW(menu, MF_STRING, static_cast<UINT_PTR>(kTokenMenus[static_cast<size_t>(group)] + index),
                caption.c_str());
  };
  auto addNames = [&](const auto& names) {
    int i = 0;
    for (auto name : names) add(i++, std::wstring(name));
  };
  switch (group) {
    case 0: addNames(kDateTokens); break;
    case 1:
      addNames(kFileTokens);
      add(static_cast<int>(kFileTokens.size()), L"%DateiNameTeil[3-8]% ...");
      break;
    case 2: addNames(kExifNames); break;
    case 3: addNames(kAudioNames); break;
    case 4: addNames(kDocumentNames); break;
    default: addNames(kVersionNames); break;
  }
  RECT rect{};
  GetWindowRect(Item(buttonId), &rect);
  TrackPopupMenu(menu, TPM_LEFTALIGN | TPM_TOPALIGN, rect.left, rect.bottom, 0, window_, nullptr);
  DestroyMenu(menu);
}

void MainWindow::InsertToken(int commandId) {
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
      } else if (auto answer = ui_.AskText(Word(L"Eingabe"), WordOf(kNamePartPrompt), L"[3-8]")) {
        if (!answer->empty()) token = NamePartToken(*answer);
      }
      break;
    case 2: framed(kExifNames); break;
    case 3: framed(kAudioNames); break;
    case 4: framed(kDocumentNames); break;
    case 5: framed(kVersionNames); break;
  }
  if (token.empty()) return;
  HWND target = Item(kIdTxtName);
  SetText(target, AppendTargetToken(GetText(target), token));
  SendMessageW(target, EM_SETSEL, static_cast<WPARAM>(-1), -1);
}

}  // namespace ablagix::app
