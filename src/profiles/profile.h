// The Profile record and the profile file: one INI section per profile, named by the
// profile's description, in the order the user created them.
#pragma once

#include <array>
#include <string>
#include <string_view>
#include <vector>

namespace ablagix {

// The fields carry the names of their INI keys; every value is the text stored in the file
// ("" when the key is missing).
struct Profile {
  std::wstring Beschreibung;  // the section name
  std::wstring Quelle;
  std::wstring Unterverzeich;
  std::wstring BlockFolder;
  std::wstring Filename;
  std::wstring Filter;
  std::wstring Extension;
  std::wstring Filedate;
  std::wstring FileSize;
  std::wstring Aktion;
  std::wstring Ziel;
  std::wstring Case;
  std::wstring Kollision;
  std::wstring Metadaten;
  std::wstring Zippen;
  std::wstring ExcludeFilename;
  std::wstring TextSuche;
  std::wstring ZipName;
  std::wstring OrdnerStruktur;
  // Keys added later; a file without them behaves as it always did, and older readers pass
  // them over. "1" switches each on.
  std::wstring Identisch;       // skip files whose target holds the same content
  std::wstring Begleitdateien;  // sidecar files (.xmp, .aae, ...) travel with their main file
  std::wstring Ueberwachen;     // "Überwachung starten" watches this profile's source
  std::wstring LeereOrdner;     // subfolders of the source that a run emptied are removed
  std::wstring Zielname;        // the new name (without extension) a renamed, moved or copied file gets
  std::wstring Duplikate;       // only files whose content another file holds too
  std::wstring DuplikatOrdner;  // a further folder whose files count as the other copies
};

// The on/off keys of a profile, read once: "1" switches each on (blanks around it do not
// count), every other value leaves it off.
struct ProfileSwitches {
  bool includeSubfolders = false;    // Unterverzeich
  bool keepFolderStructure = false;  // OrdnerStruktur
  bool caseSensitive = false;        // Case
  bool skipIdentical = false;        // Identisch
  bool sidecars = false;             // Begleitdateien
  bool watch = false;                // Ueberwachen
  bool removeEmptied = false;        // LeereOrdner
  bool duplicates = false;           // Duplikate
};
bool IsSwitchedOn(std::wstring_view value);
ProfileSwitches SwitchesOf(const Profile& profile);

// The later keys, read beside the list's columns.
struct ProfileExtraKey {
  const wchar_t* key;
  std::wstring Profile::*field;
};
inline constexpr std::array<ProfileExtraKey, 7> kProfileExtraKeys = {{
    {L"Identisch", &Profile::Identisch},
    {L"Begleitdateien", &Profile::Begleitdateien},
    {L"Ueberwachen", &Profile::Ueberwachen},
    {L"LeereOrdner", &Profile::LeereOrdner},
    {L"Zielname", &Profile::Zielname},
    {L"Duplikate", &Profile::Duplikate},
    {L"DuplikatOrdner", &Profile::DuplikatOrdner},
}};

// The profile list has one column per field, in this order. The captions of columns 7 and 8
// are crossed ("Dateigröße" shows Filedate, "Datum" shows FileSize); that is how the list has
// always looked, and consumers read by position, never by caption.
struct ProfileColumn {
  const wchar_t* caption;
  const wchar_t* key;  // the key the column is read with; nullptr for the description
  std::wstring Profile::*field;
};
inline constexpr int kProfileColumnCount = 19;
extern const std::array<ProfileColumn, kProfileColumnCount> kProfileColumns;

// The value shown in column `column` (0 = description) of the profile list.
const std::wstring& ProfileSubitem(const Profile& profile, int column);

// Reads every section of the profile file, in file order, into profile records. A missing
// or unreadable file gives an empty list; damaged lines are skipped.
std::vector<Profile> Einlesen(const std::wstring& profileFile);

// --- Action codes as stored under "Aktion". Readers compare them case-insensitively.
inline constexpr std::wstring_view kAktionVerschieben = L"Verschieben";
inline constexpr std::wstring_view kAktionKopieren = L"Kopieren";
inline constexpr std::wstring_view kAktionLoeschenP = L"L\u00f6schenP";
inline constexpr std::wstring_view kAktionLoeschenX = L"L\u00f6schenX";
inline constexpr std::wstring_view kAktionBenachrichtigen = L"Benachrichtigen";
inline constexpr std::wstring_view kAktionLoeschenS = L"L\u00f6schenS";
// Renames the file in its own folder to the name "Zielname" builds.
inline constexpr std::wstring_view kAktionUmbenennen = L"Umbenennen";
// Unpacks a .zip into the target folder; the archive stays where it is.
inline constexpr std::wstring_view kAktionEntpacken = L"Entpacken";
// In the order of the editor's action choices.
inline constexpr std::array<std::wstring_view, 8> kActionCodes = {
    kAktionVerschieben, kAktionKopieren,        kAktionLoeschenP,  kAktionLoeschenX,
    kAktionBenachrichtigen, kAktionLoeschenS, kAktionUmbenennen, kAktionEntpacken};

// What a rename profile without "Zielname" is told.
inline constexpr std::wstring_view kNoNewNameMessage = L"Bitte neuen Namen eingeben!";

// Whether a profile with this action needs a target folder (move, copy and unpack).
bool ActionNeedsTarget(std::wstring_view aktion);
// Whether the action moves or copies the file itself into the target folder, so that archives,
// sidecars and "Identisch" apply.
bool ActionTransfersFile(std::wstring_view aktion);
// Whether the action takes the file away from its name: move and rename.
bool ActionMovesFile(std::wstring_view aktion);
// One of kActionCodes, case ignored.
bool IsKnownAction(std::wstring_view aktion);

}  // namespace ablagix
