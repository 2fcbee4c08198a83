#include "profiles/settings.h"

#include <algorithm>

#include "base/text.h"
#include "profiles/ini_file.h"
#include "profiles/profile.h"

namespace ablagix {

const std::array<SettingKey, 38> kSettingKeys = {{
    {L"IniPfad", L""},
    {L"WindowState", L"0"},
    {L"Position", L""},
    {L"TimerIntervall", L"0"},
    {L"TimerSystray", L"0"},
    {L"CheckBox15", L"0"},
    {L"CheckBox16", L"1"},
    {L"CheckBox17", L"0"},
    {L"Check17", L"1"},
    {L"Check1", L"1"},
    {L"Option5", L"0"},
    {L"Delimeter", L";"},
    {L"LogPath", L""},
    {L"HeaderPosition", L""},
    {L"LogHeaderPosition", L""},
    {L"DokumenttextAus", L"0"},
    {L"JournalTage", L"90"},
    {L"FontName0", L"Tahoma"},
    {L"FontName1", L"Tahoma"},
    {L"FontSize0", L"9"},
    {L"FontSize1", L"9"},
    {L"FontBold0", L"False"},
    {L"FontBold1", L"False"},
    {L"FontItalic0", L"False"},
    {L"FontItalic1", L"False"},
    {L"BackColor1", L"12645114"},
    {L"BackColor2", L"12713429"},
    {L"ForeColor1", L"0"},
    {L"ForeColor2", L"0"},
    {L"Kommastelle", L"7"},
    {L"Lat", L""},
    {L"Lon", L""},
    {L"RefPicture", L""},
    {L"AXZipHolePath", L""},
    {L"AXCreateEXE", L""},
    {L"AXRun", L""},
    {L"DefaultPath", L""},
    {L"AXSprache", L""},
}};

namespace {

constexpr std::uint32_t kLargestColour = 0xFFFFFF;
constexpr int kTimerChoices = 10;  // the prompt and nine intervals
constexpr int kMostDecimals = 15;  // more than a double carries
constexpr int kLargestFont = 200;

// Check states were stored as "1"; older tools wrote "-1" or "True". Anything else that is not
// clearly off keeps the default rather than silently flipping an option.
bool ParseFlag(std::wstring_view text, bool fallback) {
  text = Trim(text);
  if (text == L"1" || text == L"-1" || EqualsNoCase(text, L"True")) return true;
  if (text == L"0" || EqualsNoCase(text, L"False")) return false;
  return fallback;
}

int ParseInRange(std::wstring_view text, int fallback, int low, int high) {
  std::uint64_t value = 0;
  if (!ParseWholeNumber(text, &value) || value < static_cast<std::uint64_t>(low) ||
      value > static_cast<std::uint64_t>(high)) {
    return fallback;
  }
  return static_cast<int>(value);
}

// A system colour (negative in the old format) or other nonsense keeps the default shade.
std::uint32_t ParseColour(std::wstring_view text, std::uint32_t fallback) {
  std::uint64_t value = 0;
  if (!ParseWholeNumber(text, &value) || value > kLargestColour) return fallback;
  return static_cast<std::uint32_t>(value);
}

// Font sizes may carry a fraction ("8,25" or "8.25"); the lists use whole points.
int ParseFontSize(std::wstring_view text, int fallback) {
  text = Trim(text);
  size_t mark = text.find_first_of(L",.");
  std::wstring_view whole = text.substr(0, mark);
  std::wstring_view fraction = mark == std::wstring_view::npos ? L"" : text.substr(mark + 1);
  std::uint64_t unused = 0;
  if (!fraction.empty() && !ParseWholeNumber(fraction, &unused)) return fallback;
  int size = ParseInRange(whole, 0, 1, kLargestFont);
  if (size == 0) return fallback;
  if (!fraction.empty() && fraction.front() >= L'5' && size < kLargestFont) ++size;
  return size;
}

// Only an order that names every profile column exactly once can be applied to the list.
std::vector<int> ParseColumnOrder(std::wstring_view text) {
  if (Trim(text).empty()) return {};
  std::vector<int> order;
  std::vector<bool> seen(kProfileColumnCount, false);
  for (const std::wstring& piece : Split(text, L',')) {
    int column = ParseInRange(piece, -1, 0, kProfileColumnCount - 1);
    if (column < 0 || seen[static_cast<size_t>(column)]) return {};
    seen[static_cast<size_t>(column)] = true;
    order.push_back(column);
  }
  if (order.size() != static_cast<size_t>(kProfileColumnCount)) return {};
  return order;
}

// Any order of the numbers 0..n-1, each once; empty for anything else.
std::vector<int> ParsePermutation(std::wstring_view text) {
  if (Trim(text).empty()) return {};
  const std::vector<std::wstring> pieces = Split(text, L',');
  std::vector<int> order;
  std::vector<bool> seen(pieces.size(), false);
  for (const std::wstring& piece : pieces) {
    const int column = ParseInRange(piece, -1, 0, static_cast<int>(pieces.size()) - 1);
    if (column < 0 || seen[static_cast<size_t>(column)]) return {};
    seen[static_cast<size_t>(column)] = true;
    order.push_back(column);
  }
  return order;
}

std::wstring FontKey(const wchar_t* name, int which) { return name + std::to_wstring(which); }

class SettingsReader {
 public:
  explicit SettingsReader(const std::wstring& file) : ini_(IniFile::Load(file)) {}
  std::wstring Text(std::wstring_view key) const {
    return ini_.GetString(kSettingsSection, key, SettingDefault(key));
  }
  bool Flag(std::wstring_view key) const {
    return ParseFlag(Text(key), ParseFlag(SettingDefault(key), false));
  }
  std::uint32_t Colour(std::wstring_view key) const {
    std::uint64_t fallback = 0;
    (void)ParseWholeNumber(SettingDefault(key), &fallback);
    return ParseColour(Text(key), static_cast<std::uint32_t>(fallback));
  }

 private:
  IniFile ini_;
};

}  // namespace

std::wstring_view SettingDefault(std::wstring_view key) {
  for (const SettingKey& entry : kSettingKeys) {
    if (EqualsNoCase(entry.key, key)) return entry.defaultValue;
  }
  return {};
}

ReportFormat ReportFormatFromButtons(bool text, bool /*csv*/, bool html, bool pdf) {
  if (text) return ReportFormat::Text;
  if (pdf) return ReportFormat::Pdf;
  if (html) return ReportFormat::Html;
  return ReportFormat::Csv;
}

AppSettings ReadAppSettings(const std::wstring& settingsFile) {
  const SettingsReader in(settingsFile);
  AppSettings s;
  s.IniPfad = in.Text(L"IniPfad");

  s.TimerSystray = in.Flag(L"TimerSystray");
  s.clearLogEveryFifthTimedRun = in.Flag(L"CheckBox15");
  s.padTextReports = in.Flag(L"CheckBox16");
  s.saveLogAutomatically = in.Flag(L"CheckBox17");
  s.reportHeaderLine = in.Flag(L"Check17");
  s.colouredReports = in.Flag(L"Check1");
  s.DokumenttextAus = in.Flag(L"DokumenttextAus");
  s.JournalTage = ParseInRange(in.Text(L"JournalTage"), kDefaultJournalDays, 1, kMostJournalDays);
  s.reportFormat = static_cast<ReportFormat>(ParseInRange(in.Text(L"Option5"), 0, 0, 3));
  s.TimerIntervall = ParseInRange(in.Text(L"TimerIntervall"), 0, 0, kTimerChoices - 1);
  s.BackColor1 = in.Colour(L"BackColor1");
  s.BackColor2 = in.Colour(L"BackColor2");
  s.ForeColor1 = in.Colour(L"ForeColor1");
  s.ForeColor2 = in.Colour(L"ForeColor2");
  const ListFont standard;
  for (int which = 0; which < 2; ++which) {
    ListFont& font = s.fonts[static_cast<size_t>(which)];
    std::wstring name(Trim(in.Text(FontKey(L"FontName", which))));
    font.name = name.empty() ? standard.name : name;
    font.size = ParseFontSize(in.Text(FontKey(L"FontSize", which)), standard.size);
    font.bold = ParseFlag(in.Text(FontKey(L"FontBold", which)), standard.bold);
    font.italic = ParseFlag(in.Text(FontKey(L"FontItalic", which)), standard.italic);
  }

  s.Position = ParsePosition(in.Text(L"Position"));
  s.WindowState = Trim(in.Text(L"WindowState")) == L"2" ? WindowShowState::Maximised
                                                         : WindowShowState::Normal;
  s.startWithWindows = in.Flag(L"AXRun");
  s.zipAsSelfExtractor = in.Flag(L"AXCreateEXE");
  s.zipWholePaths = in.Flag(L"AXZipHolePath");
  s.AXSprache = std::wstring(Trim(in.Text(L"AXSprache")));
  s.Kommastelle = ParseInRange(in.Text(L"Kommastelle"), 7, 0, kMostDecimals);
  s.Lat = in.Text(L"Lat");
  s.Lon = in.Text(L"Lon");
  s.RefPicture = in.Text(L"RefPicture");
  // Only a missing key means ";": a key written empty joins the cells with nothing, as the
  // user asked for.
  s.Delimeter = in.Text(L"Delimeter");
  s.LogPath = in.Text(L"LogPath");

  s.HeaderPosition = ParseColumnOrder(in.Text(L"HeaderPosition"));
  s.LogHeaderPosition = ParsePermutation(in.Text(L"LogHeaderPosition"));
  return s;
}

bool WriteShutdownSettings(const std::wstring& settingsFile, const AppSettings& s,
                           bool minimised, FsStatus* status) {
  IniFile ini = IniFile::Load(settingsFile);
  auto put = [&](std::wstring_view key, std::wstring_view value) {
    ini.SetString(kSettingsSection, key, value);
  };
  if (!minimised) {
    put(L"WindowState", std::to_wstring(static_cast<int>(s.WindowState)));
    if (s.Position) put(L"Position", FormatPosition(*s.Position));
  }
  put(L"TimerIntervall", std::to_wstring(s.TimerIntervall));
  put(L"TimerSystray", FlagText(s.TimerSystray));
  put(L"CheckBox15", FlagText(s.clearLogEveryFifthTimedRun));
  put(L"CheckBox16", FlagText(s.padTextReports));
  put(L"CheckBox17", FlagText(s.saveLogAutomatically));
  put(L"Check17", FlagText(s.reportHeaderLine));
  put(L"Check1", FlagText(s.colouredReports));
  put(L"Delimeter", s.Delimeter);
  put(L"Option5", std::to_wstring(static_cast<int>(s.reportFormat)));
  put(L"LogPath", s.LogPath);
  put(L"HeaderPosition", ColumnOrderText(s.HeaderPosition));
  put(L"DokumenttextAus", FlagText(s.DokumenttextAus));
  return ini.Save(status);
}

std::wstring ReadAppSetting(const std::wstring& settingsFile, std::wstring_view key) {
  return ReadIniString(settingsFile, kSettingsSection, key, SettingDefault(key));
}

bool WriteAppSetting(const std::wstring& settingsFile, std::wstring_view key,
                     std::wstring_view value, FsStatus* status) {
  return WriteIniString(settingsFile, kSettingsSection, key, value, status);
}

bool WriteListFont(const std::wstring& settingsFile, int which, const ListFont& font, FsStatus* status) {
  IniFile ini = IniFile::Load(settingsFile);
  ini.SetString(kSettingsSection, FontKey(L"FontName", which), font.name);
  ini.SetString(kSettingsSection, FontKey(L"FontSize", which), std::to_wstring(font.size));
  ini.SetString(kSettingsSection, FontKey(L"FontBold", which), TrueFalseText(font.bold));
  ini.SetString(kSettingsSection, FontKey(L"FontItalic", which), TrueFalseText(font.italic));
  return ini.Save(status);
}

std::wstring ColumnOrderText(const std::vector<int>& order) {
  std::vector<std::wstring> pieces;
  for (int column : order) pieces.push_back(std::to_wstring(column));
  return Join(pieces, L",");
}

std::wstring FlagText(bool on) { return on ? L"1" : L"0"; }
std::wstring TrueFalseText(bool on) { return on ? L"True" : L"False"; }

}  // namespace ablagix
