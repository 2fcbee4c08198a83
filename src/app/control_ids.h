// Control numbers of the main window and the test messages. The GUI test drives the window
// through these, so they are part of the program's testable surface. Controls that the
// program's documentation names (CommandButton13, Combo11, txtName ...) carry that name, so a
// reader finds the same control under the same name here and there.
#pragma once

namespace ablagix::app {

enum ControlId : int {
  kIdTabs = 100,

  // "Profile ausführen"
  kIdProfileList = 200,
  kIdProfileFileCaption,
  kIdProfileFileLabel,
  kIdCommandButton13,  // "Ausführen"
  kIdCommandButton4,   // "Simulieren"
  kIdCommandButton6,   // "Timer starten" / "Timer stoppen"
  kIdWatchButton,      // "Überwachung starten" / "Überwachung stoppen"

  // "Profile bearbeiten"
  kIdDescriptionLabel = 300,
  kIdDescription,
  kIdSourceGroup,
  kIdSourceLabel,
  kIdSource,
  kIdSourceBrowse,
  kIdSubfolders,
  kIdBlockLabel,
  kIdBlockList,
  kIdBlockAdd,
  kIdBlockRemove,
  kIdConditionGroup,
  kIdNameOn,
  kIdName,
  kIdNameClear,
  kIdExcludeNameOn,
  kIdExcludeName,
  kIdTextOn,
  kIdText,
  kIdTextWarning,
  kIdIncludeOn,
  kIdInclude,
  kIdIncludeMask,
  kIdExcludeOn,
  kIdExclude,
  kIdDateOn,
  kIdDateKind,
  kIdDateComparator,
  kIdDateAmount,
  kIdDateUnit,
  kIdSizeOn,
  kIdSizeComparator,
  kIdSizeAmount,
  kIdSizeUnit,
  kIdMetadataOn,
  kIdCombo10,  // the metadata field list
  kIdMetadataComparator,
  kIdMetadataValue,
  kIdMatchCase,
  kIdActionGroup,
  kIdActionFirst,  // eight consecutive numbers, in the order of the action choices
  kIdTargetGroup = kIdActionFirst + 8,
  kIdTargetLabel,
  kIdTxtName,  // the target folder
  kIdTargetBrowse,
  kIdTokenDates,
  kIdTokenFile,
  kIdTokenExif,
  kIdTokenAudio,
  kIdTokenDocuments,
  kIdTokenVersion,
  kIdFolderStructure,
  kIdSidecars,       // "Begleitdateien mitnehmen"
  kIdSkipIdentical,  // "Identische Dateien überspringen"
  kIdWatchFolder,    // "Diesen Ordner überwachen"
  kIdRemoveEmptied,  // "Geleerte Ordner entfernen"
  kIdNewNameLabel,
  kIdNewName,         // "Neuer Name:" (Zielname)
  kIdNewNameExample,  // the new name of a file of the source, as the template gives it now
  kIdDuplicatesOn,    // "Nur Duplikate (gleicher Inhalt)"
  kIdDuplicateFolder,
  kIdDuplicateBrowse,
  kIdCollisionGroup,
  kIdCollisionFirst,  // three consecutive numbers, in screen order
  kIdZipGroup = kIdCollisionFirst + 3,
  kIdZipSeparate,
  kIdZipOne,
  kIdTextBox6,  // the name of the single zip archive
  kIdNewProfile,
  kIdSaveProfile,
  kIdDeleteProfiles,
  kIdLoadProfileFile,
  kIdCreateProfileFile,

  // "Einstellungen"
  kIdFilterGroup = 500,
  kIdFilterTable,
  kIdFilterNameLabel,
  kIdFilterName,
  kIdFilterMaskLabel,
  kIdFilterMask,
  kIdFilterInsert,
  kIdFilterDelete,
  kIdFilterUp,
  kIdFilterDown,
  kIdFilterSave,
  kIdTimerGroup,
  kIdCombo11,         // the timer interval
  kIdTimerInfoTitle,  // "Info:"
  kIdTimerInfo,
  kIdWatchInfo,  // what "Überwachung starten" does
  kIdCheckBox7,   // "Bei Timerstart ins Systemtray ablegen"
  kIdCheckBox15,  // "Bei Timerstart Log nach 5. Durchlauf löschen"
  kIdReportGroup,
  kIdOption5,  // the report format: four consecutive numbers, Text, CSV, HTML, PDF
  kIdCheck17 = kIdOption5 + 4,  // "Kopfzeile drucken"
  kIdCheck1,                    // "farbig"
  kIdCheckBox16,                // "Mit Leerzeichen auffüllen "
  kIdCsvLabel,
  kIdCsvSeparator,
  kIdCheckBox17,  // "Log automatisch speichern im Ordner:"
  kIdTextBox7,    // that folder
  kIdLogPathBrowse,
  kIdListsGroup,
  kIdFont0,
  kIdFont1,
  kIdBackColor1,
  kIdForeColor1,
  kIdBackColor2,
  kIdForeColor2,
  kIdColorSample1,
  kIdColorSample2,
  kIdZipOptionsGroup,
  kIdZipHolePath,
  kIdZipCreateExe,
  kIdGeneralGroup,
  kIdLanguageLabel,
  kIdLanguage,  // the language of the window's texts
  kIdCheckBox9,  // "Ablagix mit Windows starten"
  kIdTextOnlyPlainFiles,
  kIdDecimalsLabel,
  kIdCombo13,  // decimal places kept of GPS coordinates
  kIdCombo13Spin,
  kIdLatLabel,
  kIdLat,
  kIdLonLabel,
  kIdLon,
  kIdCmdReferenzbild,  // "Referenzbild..."
  kIdCommand4,         // "Koordinaten speichern"

  // "Log-Dateien"
  kIdExListviewLOG = 700,  // the log list
  kIdComboBox1,            // the check-box commands
  kIdLogChooserCaption,
  kIdLogClear,        // "Log löschen"
  kIdCommandButton7,  // "Ausführen nur bei angehakten Dateien"
  kIdLogSave,         // "Log speichern..."
  kIdLogStatus,       // what the run or export is doing, and how the last one ended
  kIdLogProgress,
  kIdLogUndo,         // "Letzten Lauf rückgängig machen"

  // The hidden window that receives the tray icon's events.
  kIdPicture1 = 800,

  // The tray icon's menu mnupop: the entries of mnuPopUp by their place (2 is a separator).
  kIdMnuPopUp0 = 900,  // "Öffnen"
  kIdMnuPopUp1,        // "Abbrechen"
  kIdMnuPopUp3 = kIdMnuPopUp0 + 3,  // "Beenden"

  // Menu commands of the target token menus: menu + entry.
  kIdTokenMenuBase = 1000,
  kIdMnuDateSub = kIdTokenMenuBase,  // dates
  kIdMnuFileSub = 1100,              // file size, extension, part of the name
  kIdMnuExif = 1200,
  kIdMnuAudio = 1300,
  kIdMnuDokus = 1400,
  kIdMnuVersionSub = 1500,
};

// WM_COPYDATA requests that only a window started with --test-ui accepts.
// UTF-16 path of a PNG to write, with "|" and a decimal window handle for a dialog.
inline constexpr unsigned long kCopyDataScreenshot = 0xAB01;
inline constexpr unsigned long kCopyDataSelectTab = 0xAB02;   // tab number as decimal text
// Row number as decimal text: the log list scrolls it into view and paints before answering,
// so that a caller can time scrolling.
inline constexpr unsigned long kCopyDataShowLogRow = 0xAB03;
// No text: every control of the four pages whose caption does not fit it, and every two controls
// that overlap, are recorded as "LAYOUT|<page>|<control number>|<what>". The answer is the
// number of such findings plus one (0 means the request was refused).
inline constexpr unsigned long kCopyDataCheckLayout = 0xAB04;

inline constexpr wchar_t kMainWindowClass[] = L"AblagixMainWindow";

// Posted by the language list: the pages are rebuilt in the language it shows (WM_APP + 3).
inline constexpr unsigned kChangeLanguageMessage = 0x8000 + 3;

// Posted by the folder watchers' threads when changes arrived (WM_APP + 4): the window takes
// them on its own thread.
inline constexpr unsigned kWatchChangesMessage = 0x8000 + 4;

// The icon identifier in the notification area and the message its events arrive with
// (WM_APP + 2; lParam is the mouse message).
inline constexpr unsigned kTrayIconId = 990;
inline constexpr unsigned kTrayMessage = 0x8000 + 2;

}  // namespace ablagix::app
