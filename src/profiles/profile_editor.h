// The profile editor without a window: what its fields hold, how a profile row is loaded into
// them, how a new profile starts, how edits switch conditions on, and the question about
// unsaved changes. The Win32 page only copies these values to and from its controls.
//
//   ProfileEditor editor;
//   editor.SetIncludeEntries(IncludeExtensionEntries(filterList));
//   editor.LoadFromRow(profiles[row]);
//   ...
//   if (editor.askIfSaveProfil(ui, [&] { return Save(); })) StartRun();
#pragma once

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "base/ui_port.h"
#include "profiles/profile.h"
#include "profiles/profile_save.h"

namespace ablagix {

// --- The choice lists of the editor, in screen order.
inline constexpr std::array<std::wstring_view, 2> kDateKindEntries = {L"Datei erstellt",
                                                                      L"Datei ge\u00e4ndert"};
inline constexpr std::array<std::wstring_view, 2> kDateComparatorEntries = {L"\u00e4lter als",
                                                                            L"neuer als"};
inline constexpr std::array<std::wstring_view, 6> kDateUnitEntries = {
    L"Minuten", L"Stunden", L"Tage", L"Wochen", L"Monate", L"Jahre"};
inline constexpr std::array<std::wstring_view, 2> kSizeComparatorEntries = {
    L"Gr\u00f6\u00dfer als", L"Kleiner als"};
inline constexpr std::array<std::wstring_view, 4> kSizeUnitEntries = {L"Bytes", L"KB", L"MB",
                                                                      L"GB"};
inline constexpr std::array<std::wstring_view, 3> kMetadataComparatorEntries = {L">", L"<", L"="};
inline constexpr std::array<std::wstring_view, 8> kActionEntries = {
    L"Verschieben",          L"Kopieren",
    L"L\u00f6schen (Papierkorb)", L"L\u00f6schen (endg\u00fcltig)",
    L"Benachrichtigen (Timer)",   L"L\u00f6schen (schreddern)",
    L"Umbenennen",                L"Entpacken"};
// Screen order of the collision choices; their codes are "1", "0", "2".
inline constexpr std::array<std::wstring_view, 3> kCollisionEntries = {
    L"neue Datei umbenennen (1)", L"immer \u00fcberschreiben", L"\u00fcberspringen"};
inline constexpr std::wstring_view kNoExcludeEntry = L"Nichts";
inline constexpr std::array<std::wstring_view, 2> kExcludeExtensionEntries = {
    kNoExcludeEntry, L"Gespeicherte Datefilter ( Extras -> Optionen )  Komma getrennt"};
inline constexpr std::wstring_view kAllFilesEntry = L"Alles";
inline constexpr std::wstring_view kEditFiltersEntry = L"Bearbeiten...";
inline constexpr std::wstring_view kChooseMetadataEntry = L"Bitte ausw\u00e4hlen";

// "Alles" (name and include lists) and "Nichts" (exclude list) are entries of the lists, stored
// in the profile file as they stand whatever language the window speaks. The editor's values
// hold the stored words; the window shows their translations and hands back what it shows.
std::wstring ListWordShown(std::wstring_view stored);
// `word` for its translation (or itself); any other text as it is.
std::wstring ListWordStored(std::wstring_view shown, std::wstring_view word);

// The metadata field list: a group label, "--->" and the token.
extern const std::array<std::wstring_view, 20> kMetadataEntries;
// The group labels, with their arrow, as a language file can replace them.
inline constexpr std::array<std::wstring_view, 4> kMetadataGroups = {L"Fotos --->", L"Fotos Km--->", L"Audio --->",
                                                                     L"Dokumente --->"};
// "Bitte auswählen" followed by kMetadataEntries, in the current language (the tokens stay).
std::vector<std::wstring> MetadataListEntries();
// True for the radius-search entry, which needs stored reference coordinates.
bool MetadataEntryNeedsReference(std::wstring_view entry);
inline constexpr std::wstring_view kNoReferenceMessage =
    L"Bitte speichern Sie zuerst im Register 'Einstellungen' ein Referenzsbild mit den "
    L"Koordinaten ab!";

// --- Tokens the target-folder menus insert.
extern const std::array<std::wstring_view, 10> kDateTokens;
extern const std::array<std::wstring_view, 7> kFileTokens;  // the name-part entry comes extra
// What each of them stands for, shown beside it in the menu (interface words).
extern const std::array<std::wstring_view, 10> kDateTokenWords;
extern const std::array<std::wstring_view, 7> kFileTokenWords;
inline constexpr std::wstring_view kNamePartWord = L"Teil des Dateinamens";
extern const std::array<std::wstring_view, 22> kExifNames;
extern const std::array<std::wstring_view, 11> kAudioNames;
extern const std::array<std::wstring_view, 11> kDocumentNames;
extern const std::array<std::wstring_view, 9> kVersionNames;
// Appends `token` to the target folder as a folder level of its own: a "\" goes in front unless
// the text already ends with one (or is empty).
std::wstring AppendTargetToken(std::wstring_view target, std::wstring_view token);
// The name-part token for an answer such as "[3-8]": "%DateiNameTeil[3-8]%".
std::wstring NamePartToken(std::wstring_view answer);
inline constexpr std::wstring_view kNamePartPrompt =
    L"Bitte geben sie den Anfang und das Ende des Teils nach dem Muster [3-8] ein:";

// --- The zip-name field refuses characters a file name cannot hold.
bool IsRefusedZipNameChar(wchar_t c);
// The message shown for a refused key (numbered, so a language file can replace it).
std::wstring RefusedCharsMessage();

// --- The name list's history: earlier patterns, newest first, "Alles" always on top.
inline constexpr size_t kNameHistoryLimit = 20;
std::vector<std::wstring> ParseNameHistory(std::wstring_view stored);
std::wstring NameHistoryText(const std::vector<std::wstring>& history);
// Puts `pattern` at the front (after "Alles"), drops an older copy and the oldest beyond the limit.
void RememberNamePattern(std::vector<std::wstring>& history, std::wstring_view pattern);

// Which condition a list belongs to, for the "a change switches it on" rule.
enum class EditorList { DateKind, DateComparator, DateUnit, SizeComparator, SizeUnit, ExcludeExt };

// What picking an entry of the include-extension list asks of the window.
enum class IncludePick { AllFiles, StoredFilter, EditFilters };

class ProfileEditor {
 public:
  ProfileEditor();

  // The include-extension list ("Alles", stored names, "Bearbeiten..."), as shown.
  void SetIncludeEntries(std::vector<std::wstring> entries) { includeEntries_ = std::move(entries); }
  const std::vector<std::wstring>& includeEntries() const { return includeEntries_; }
  const std::vector<std::wstring>& metadataEntries() const { return metadataEntries_; }
  // After a change of language: the metadata list in the new words, the chosen entry kept.
  void TranslateMetadataEntries();

  // Fills every field from a row of the profile list; clears isModified.
  void LoadFromRow(const Profile& profile);
  // Empties every field; action "Kopieren", collision "neue Datei umbenennen (1)".
  void NewProfile();

  // The values SaveTheProfil needs. The include text counts as a stored filter when it names one.
  ProfileEditorValues ToEditorValues() const;

  // A field was edited by the user (ignored while the program fills the editor).
  void FieldChanged();
  // A condition's choice list changed: that condition goes on.
  void ListChanged(EditorList list);
  // Picking entries by click.
  void NamePicked(std::wstring_view entry);
  IncludePick IncludePicked(size_t position);
  void ExcludePicked(std::wstring_view entry);

  // Asks whether pending changes should be saved. Yes saves through `save` and returns its
  // result, No discards; either way the changes no longer count as pending. Without pending
  // changes it returns true at once.
  bool askIfSaveProfil(UiPort& ui, const std::function<bool()>& save);

  // Screen position of the collision choice in kCollisionEntries.
  int CollisionPos() const;
  void SetCollisionPos(int position);

  ProfileEditorValues values;
  bool isFilling = false;
  bool isModified = false;

 private:
  std::vector<std::wstring> includeEntries_;
  std::vector<std::wstring> metadataEntries_;
};

// Deletes the sections of the checked profiles after asking. Nothing checked shows a message
// and deletes nothing. True when the file was changed.
bool DeleteCheckedProfiles(const std::wstring& profileFile,
                           const std::vector<std::wstring>& checkedNames, UiPort& ui);
inline constexpr std::wstring_view kNothingCheckedMessage =
    L"Keine Profile angehakt, bitte ausw\u00e4hlen durch anhaken!";
inline constexpr std::wstring_view kAskSaveMessage =
    L"Wollen sie die \u00c4nderung an dem ge\u00e4nderten Profil speichern?";

}  // namespace ablagix
