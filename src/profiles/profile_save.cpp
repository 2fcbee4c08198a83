#include "profiles/profile_save.h"

#include "base/text.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "profiles/ini_file.h"
#include "profiles/language.h"
#include "profiles/profile.h"

namespace ablagix {
namespace {

constexpr std::array<const wchar_t*, 6> kDateUnits = {L"N", L"H", L"D", L"W", L"M", L"Y"};
constexpr std::array<const wchar_t*, 4> kSizeUnits = {L"BY", L"KB", L"MB", L"GB"};

template <size_t N>
const wchar_t* ByPosition(const std::array<const wchar_t*, N>& codes, int pos, int fallback) {
  return codes[static_cast<size_t>(pos >= 0 && pos < static_cast<int>(N) ? pos : fallback)];
}

SaveOutcome Refuse(UiPort& ui, const std::wstring& message, EditorField focus) {
  ui.ShowMessage(message, MessageIcon::Critical, MessageButtons::Ok);
  SaveOutcome outcome;
  outcome.focus = focus;
  return outcome;
}

void WriteOrDelete(IniFile& ini, const std::wstring& section, const wchar_t* key, bool on,
                   const std::wstring& value) {
  if (on) {
    ini.SetString(section, key, value);
  } else {
    ini.DeleteKey(section, key);
  }
}

// The metadata token of a list entry such as "Fotos --->%Model%": everything after the first ">".
std::wstring MetadataToken(const std::wstring& entry) {
  size_t pos = entry.find(L'>');
  return pos == std::wstring::npos ? entry : entry.substr(pos + 1);
}

}  // namespace

std::wstring NormaliseExtensionList(std::wstring_view typed) {
  std::wstring text;
  for (wchar_t c : typed) {
    if (c != L'*') text.push_back(c);
  }
  if (!text.starts_with(L'.')) text.insert(text.begin(), L'.');
  if (text.find(L',') == std::wstring::npos) return text;
  std::vector<std::wstring> pieces = Split(text, L',');
  for (auto& piece : pieces) {
    if (!piece.starts_with(L'.')) piece.insert(piece.begin(), L'.');
  }
  return Join(pieces, L",");
}

SaveOutcome SaveTheProfil(const ProfileEditorValues& v, const std::wstring& profileFile, UiPort& ui) {
  if (v.description.empty()) {
    return Refuse(ui, LookupMessage(L"530", L"Bitte Beschreibung eintragen!"), EditorField::Description);
  }
  // "]" would end the section name early and split the profile in two.
  if (v.description.find(L']') != std::wstring::npos) {
    return Refuse(ui, L"Die Beschreibung darf kein \u201E]\u201C enthalten.", EditorField::Description);
  }
  // A relative source ("." or "temp") would be read against whatever folder the program
  // happens to be in when the profile runs.
  if (!v.source.empty() && !IsFullPath(v.source)) {
    return Refuse(ui, L"Bitte den Quellpfad vollst\u00e4ndig angeben, mit Laufwerk oder Server (z. B. C:\\Fotos)!",
                  EditorField::Source);
  }
  if (v.source.empty() || !FolderExists(v.source)) {
    return Refuse(ui, LookupMessage(L"161", L"Der Quellpfad existiert nicht!"), EditorField::Source);
  }
  std::wstring aktion;
  for (size_t i = 0; i < v.actions.size(); ++i) {
    if (v.actions[i]) {
      aktion = std::wstring(kActionCodes[i]);
      break;
    }
  }
  const bool needsTarget = ActionNeedsTarget(aktion);
  if (needsTarget && v.target.empty()) {
    return Refuse(ui, L"Bitte Zielpfad eingeben!", EditorField::Target);
  }
  const bool renames = EqualsNoCase(aktion, kAktionUmbenennen);
  const bool transfers = ActionTransfersFile(aktion);
  const std::wstring newName(Trim(v.newName));
  if (renames && newName.empty()) return Refuse(ui, std::wstring(kNoNewNameMessage), EditorField::NewName);
  const std::wstring duplicateFolder(Trim(v.duplicateFolder));
  if (v.duplicatesOn && !duplicateFolder.empty() && !IsFullPath(duplicateFolder)) {
    return Refuse(ui, L"Bitte den Ordner f\u00fcr Duplikate vollst\u00e4ndig angeben, mit Laufwerk oder Server!",
                  EditorField::DuplicateFolder);
  }
  if (v.duplicatesOn && !duplicateFolder.empty() && !FolderExists(duplicateFolder)) {
    return Refuse(ui, L"Der Ordner f\u00fcr Duplikate existiert nicht!", EditorField::DuplicateFolder);
  }
  // The amount of a date condition must be a whole number; anything else would be stored as
  // a condition that silently never matches.
  std::uint64_t dateAmount = 0;
  const bool dateAmountNumeric = ParseWholeNumber(v.dateAmount, &dateAmount);
  if (v.dateOn && !dateAmountNumeric) {
    return Refuse(ui, L"Bitte beim Datum eine ganze Zahl eingeben!", EditorField::DateAmount);
  }
  // The size amount may have decimals ("1,5" MB) and is stored as typed; anything that is no
  // number is refused, because a "0" in its place would select nearly every file.
  if (v.sizeOn && !IsDecimalNumber(v.sizeAmount)) {
    return Refuse(ui, L"Bitte bei der Gr\u00f6\u00dfe eine Zahl eingeben (z. B. 500 oder 1,5)!",
                  EditorField::SizeAmount);
  }

  const std::wstring& section = v.description;
  IniFile ini = IniFile::Load(profileFile);
  ini.SetString(section, L"Quelle", v.source);
  ini.SetString(section, L"Unterverzeich", v.includeSubfolders ? L"1" : L"0");
  ini.SetString(section, L"OrdnerStruktur", v.keepFolderStructure ? L"1" : L"0");

  std::wstring blocked;
  for (const auto& folder : v.blockedFolders) blocked += folder + L";";
  WriteOrDelete(ini, section, L"BlockFolder", !blocked.empty(), blocked);

  WriteOrDelete(ini, section, L"Filename", v.nameOn, v.namePattern);
  WriteOrDelete(ini, section, L"ExcludeFilename", v.excludeNameOn, v.excludeName);
  WriteOrDelete(ini, section, L"TextSuche", v.textOn, v.text);

  SaveOutcome outcome;
  if (!v.includeExtOn || v.includeExtText.empty()) {
    outcome.filterShown = L"Alles";
  } else if (v.includeExtFromList) {
    outcome.filterShown = v.includeExtText;
  } else {
    outcome.filterShown = NormaliseExtensionList(v.includeExtText);
  }
  ini.SetString(section, L"Filter", outcome.filterShown);

  WriteOrDelete(ini, section, L"Extension", v.excludeExtOn, v.excludeExt);

  if (v.dateOn) {
    std::wstring filedate = v.dateKindPos == 0 ? L"EA" : L"GA";
    filedate += v.dateComparatorPos == 0 ? L"<" : L">";
    filedate += NumberText(dateAmount);
    filedate += ByPosition(kDateUnits, v.dateUnitPos, 2);
    ini.SetString(section, L"Filedate", filedate);
  } else {
    ini.DeleteKey(section, L"Filedate");
  }

  if (v.sizeOn) {
    // A date amount field holding 0 forces the size amount to 0 as well. That cross-check is
    // old behaviour that stored profiles rely on, so it stays.
    std::uint64_t sizeAmount = 0;
    std::wstring amount = L"0";
    if (!(dateAmountNumeric && dateAmount == 0)) {
      amount = ParseWholeNumber(v.sizeAmount, &sizeAmount) ? NumberText(sizeAmount) : std::wstring(Trim(v.sizeAmount));
    }
    std::wstring filesize = v.sizeComparatorPos == 0 ? L">" : L"<";
    filesize += amount;
    filesize += ByPosition(kSizeUnits, v.sizeUnitPos, 0);
    ini.SetString(section, L"FileSize", filesize);
  } else {
    ini.DeleteKey(section, L"FileSize");
  }

  ini.SetString(section, L"Aktion", aktion);
  ini.SetString(section, L"Case", v.matchCase ? L"1" : L"0");
  if (needsTarget) ini.SetString(section, L"Ziel", v.target);
  if (needsTarget || renames) {
    ini.SetString(section, L"Kollision", v.collisionOverwrite ? L"0" : v.collisionSkip ? L"2" : L"1");
  }

  const bool metadataOn = v.metadataOn && !v.metadataValue.empty() && v.metadataNamePos > 0;
  WriteOrDelete(ini, section, L"Metadaten", metadataOn,
                MetadataToken(v.metadataEntry) + L";" + v.metadataComparator + v.metadataValue);

  const wchar_t* zippen = v.zipOne ? L"2" : v.zipSeparate ? L"1" : L"0";
  ini.SetString(section, L"Zippen", zippen);
  if (v.zipOne) ini.SetString(section, L"ZipName", v.zipName);
  // The later options are written only when on: a profile that does not use them stays
  // exactly as an older version wrote it.
  WriteOrDelete(ini, section, L"Identisch", v.skipIdentical && transfers, L"1");
  WriteOrDelete(ini, section, L"Begleitdateien", v.takeSidecars && (transfers || renames), L"1");
  WriteOrDelete(ini, section, L"Ueberwachen", v.watch, L"1");
  // Only moves and deletes take files away, so only they can empty a folder.
  const bool empties = v.actions[0] || v.actions[2] || v.actions[3] || v.actions[5];
  WriteOrDelete(ini, section, L"LeereOrdner", v.removeEmptied && empties, L"1");
  WriteOrDelete(ini, section, L"Zielname", (renames || transfers) && !newName.empty(), newName);
  WriteOrDelete(ini, section, L"Duplikate", v.duplicatesOn, L"1");
  WriteOrDelete(ini, section, L"DuplikatOrdner", v.duplicatesOn && !duplicateFolder.empty(), duplicateFolder);

  FsStatus written;
  outcome.fileWritten = TellIfNotSaved(ini.Save(&written), written, ui, L"Das Profil", profileFile);
  if (!outcome.fileWritten) return outcome;
  outcome.saved = true;
  if (v.includeSubfolders && needsTarget && TargetInsideSource(v.target, v.source)) {
    ui.ShowMessage(std::wstring(kTargetInsideSourceNote), MessageIcon::Information, MessageButtons::Ok);
  }
  return outcome;
}

}  // namespace ablagix
