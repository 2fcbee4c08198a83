// Control numbers of the main window and the test messages. The GUI test drives the window
// through these, so they are part of the program's testable surface.
#pragma once

namespace ablagix::app {

enum ControlId : int {
  kIdTabs = 100,

  // "Profile ausführen"
  kIdProfileList = 200,
  kIdProfileFileCaption,
  kIdProfileFileLabel,
  kIdRun,
  kIdSimulate,
  kIdTimer,

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
  kIdActionFirst,  // six consecutive numbers, in the order of the action choices
  kIdTargetGroup = kIdActionFirst + 6,
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
  kIdTimerInterval,
  kIdTimerInfo,
  kIdTimerSystray,
  kIdTimerClearLog,
  kIdReportGroup,
  kIdReportFirst,  // four consecutive numbers: Text, CSV, HTML, PDF
  kIdReportHeader = kIdReportFirst + 4,
  kIdReportColoured,
  kIdReportPad,
  kIdCsvLabel,
  kIdCsvSeparator,
  kIdAutoSave,
  kIdLogPath,
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
  kIdAutostart,
  kIdDecimalsLabel,
  kIdDecimals,
  kIdDecimalsSpin,
  kIdLatLabel,
  kIdLat,
  kIdLonLabel,
  kIdLon,
  kIdReferencePicture,
  kIdSaveCoordinates,

  // "Log-Dateien"
  kIdLogList = 700,
  kIdLogChooser,     // ComboBox1: the check-box commands
  kIdLogChooserCaption,
  kIdLogClear,       // "Log löschen"
  kIdLogRunChecked,  // CommandButton7: "Ausführen nur bei angehakten Dateien"
  kIdLogSave,        // "Log speichern..."
  kIdLogStatus,      // what the run or export is doing, and how the last one ended
  kIdLogProgress,

  // The tray icon's menu.
  kIdTrayOpen = 900,
  kIdTrayCancel,
  kIdTrayExit,

  // Menu commands of the target token menus: group * 100 + entry.
  kIdTokenMenuBase = 1000,
};

// WM_COPYDATA requests that only a window started with --test-ui accepts.
// UTF-16 path of a PNG to write, with "|" and a decimal window handle for a dialog.
inline constexpr unsigned long kCopyDataScreenshot = 0xAB01;
inline constexpr unsigned long kCopyDataSelectTab = 0xAB02;   // tab number as decimal text
// Row number as decimal text: the log list scrolls it into view and paints before answering,
// so that a caller can time scrolling.
inline constexpr unsigned long kCopyDataShowLogRow = 0xAB03;

inline constexpr wchar_t kMainWindowClass[] = L"AblagixMainWindow";

// The icon identifier in the notification area and the message its events arrive with
// (WM_APP + 2; lParam is the mouse message).
inline constexpr unsigned kTrayIconId = 990;
inline constexpr unsigned kTrayMessage = 0x8000 + 2;

}  // namespace ablagix::app
