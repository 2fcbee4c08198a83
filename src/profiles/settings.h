// The program's own settings: section "AblagixForm" of "AblagixSetting.ini".
//
// Every key has a default that stands in for a missing key, a missing file or a value that
// cannot be read. AppSettings holds the typed values read at start-up; the shut-down writes
// back the ones it owns. Settings that change on the settings page (fonts, colours, the zip and
// autostart options) are written there at once with WriteAppSetting.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fileops/system_error.h"
#include "profiles/window_rect.h"

namespace ablagix {

inline constexpr std::wstring_view kSettingsSection = L"AblagixForm";

struct SettingKey {
  const wchar_t* key;
  const wchar_t* defaultValue;
};
// Every key of the section with its default. "Position" has none of its own: the window's
// current rectangle stands in for it.
extern const std::array<SettingKey, 38> kSettingKeys;
// The default of `key` (case-insensitive); "" for a key not in the table.
std::wstring_view SettingDefault(std::wstring_view key);

// "Option5" stores the position of the chosen report format.
enum class ReportFormat { Text = 0, Csv = 1, Html = 2, Pdf = 3 };
// The format of the four option buttons (Text, CSV, HTML, PDF): the first of Text, PDF, HTML
// that is selected, otherwise CSV.
ReportFormat ReportFormatFromButtons(bool text, bool csv, bool html, bool pdf);

enum class WindowShowState { Normal = 0, Maximised = 2 };

struct ListFont {
  std::wstring name = L"Tahoma";
  int size = 9;  // points
  bool bold = false;
  bool italic = false;
};

// How long the journals of runs are kept for undoing them: long enough to notice a mistake,
// not so long that the names of shredded files stay on the disk for good.
inline constexpr int kDefaultJournalDays = 90;
inline constexpr int kMostJournalDays = 3650;

// Colours are Windows colour numbers: red in the lowest byte. A field is named like its key
// where the key says what it holds; keys named after controls of the first window (CheckBox17,
// Option5, ...) or abbreviated (AX...) stand in the comment beside a field named for its meaning.
struct AppSettings {
  std::wstring IniPfad;  // the profile file last loaded; "" for the default one
  bool TimerSystray = false;
  bool clearLogEveryFifthTimedRun = false;  // CheckBox15
  bool padTextReports = true;               // CheckBox16: blanks pad the text report's columns
  bool saveLogAutomatically = false;        // CheckBox17: into LogPath after every run
  bool reportHeaderLine = true;             // Check17
  bool colouredReports = true;              // Check1
  // The text condition reads documents as plain files: no office, PDF, web page or mail
  // text is extracted (for slow machines, or documents that should not be opened).
  bool DokumenttextAus = false;
  int JournalTage = kDefaultJournalDays;  // days a run's journal is kept
  ReportFormat reportFormat = ReportFormat::Text;  // Option5
  int TimerIntervall = 0;  // position in the interval list, 0 is the prompt
  std::uint32_t BackColor1 = 12645114;
  std::uint32_t BackColor2 = 12713429;
  std::uint32_t ForeColor1 = 0;
  std::uint32_t ForeColor2 = 0;
  std::array<ListFont, 2> fonts;  // FontName0..FontItalic0, FontName1..FontItalic1
  std::optional<WindowRect> Position;  // twips; nullopt when missing or unreadable
  WindowShowState WindowState = WindowShowState::Normal;
  bool startWithWindows = false;    // AXRun
  bool zipAsSelfExtractor = false;  // AXCreateEXE
  bool zipWholePaths = false;       // AXZipHolePath: an entry's name holds the file's folder path
  // The language of the window's texts: the name of a language file, "" for the built-in German.
  std::wstring AXSprache;
  // The text condition searches plain files only: no text is extracted from documents.
  int Kommastelle = 7;  // decimal places kept of GPS coordinates
  std::wstring Lat;
  std::wstring Lon;
  std::wstring RefPicture;
  std::wstring Delimeter = L";";
  std::wstring LogPath;
  // Column order of the profile list; empty unless the stored order names every column once.
  std::vector<int> HeaderPosition;
  // Column order of the log list as the user dragged its headers, which the text and CSV
  // reports follow; empty when none is stored or it is not an order of columns 0..n-1.
  // Written by the window the moment it changes.
  std::vector<int> LogHeaderPosition;
};

// Reads the keys in the order the start-up applies them.
AppSettings ReadAppSettings(const std::wstring& settingsFile);

// What closing the main window writes, in this order: WindowState and Position (only when the
// window is not minimised, so a minimised close keeps the last real placement), TimerIntervall,
// TimerSystray, CheckBox15, CheckBox16, CheckBox17, Check17, Check1, Delimeter, Option5, LogPath,
// HeaderPosition, DokumenttextAus. All in one atomic write.
bool WriteShutdownSettings(const std::wstring& settingsFile, const AppSettings& settings,
                           bool minimised, FsStatus* status = nullptr);

// One key of the section, for the settings written the moment they change.
std::wstring ReadAppSetting(const std::wstring& settingsFile, std::wstring_view key);
bool WriteAppSetting(const std::wstring& settingsFile, std::wstring_view key,
                     std::wstring_view value, FsStatus* status = nullptr);
// FontName<n>, FontSize<n>, FontBold<n>, FontItalic<n> of list view `which` (0 or 1).
bool WriteListFont(const std::wstring& settingsFile, int which, const ListFont& font,
                   FsStatus* status = nullptr);

// A column order as stored (HeaderPosition, LogHeaderPosition): "1,0,2,...".
std::wstring ColumnOrderText(const std::vector<int>& order);

// The value texts: flags are "1"/"0", font styles "True"/"False".
std::wstring FlagText(bool on);
std::wstring TrueFalseText(bool on);

}  // namespace ablagix
