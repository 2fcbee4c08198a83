#include "profiles/profile_editor.h"

#include <algorithm>

#include "base/text.h"
#include "profiles/ini_file.h"
#include "profiles/language.h"

namespace ablagix {

const std::array<std::wstring_view, 20> kMetadataEntries = {
    L"Fotos --->%Datum%",
    L"Fotos --->%Datum Original%",
    L"Fotos --->%Datum Digitalisierung%",
    L"Fotos --->%Breite%",
    L"Fotos --->%H\u00f6he%",
    L"Fotos --->%Iso%",
    L"Fotos --->%X-Aufl\u00f6sung%",
    L"Fotos --->%Y-Aufl\u00f6sung%",
    L"Fotos --->%Blende%",
    L"Fotos --->%Brennweite%",
    L"Fotos --->%Breitengrad%",
    L"Fotos --->%L\u00e4ngengrad%",
    L"Fotos Km--->%Umkreissuche%",
    L"Audio --->%Jahr%",
    L"Audio --->%L\u00e4nge%",
    L"Audio --->%Track%",
    L"Dokumente --->%Seitenzahl%",
    L"Dokumente --->%Wortanzahl%",
    L"Dokumente --->%Zeichenanzahl%",
    L"Dokumente --->%Revision Nummer%",
};

const std::array<std::wstring_view, 10> kDateTokens = {
    L"%DateGAYYYY%",   L"%DateGAYYYYMM%",   L"%DateGAYYYYMMDD%", L"%DateEAYYYY%",
    L"%DateEAYYYYMM%", L"%DateEAYYYYMMDD%", L"%Curdate%",        L"%Datum%",
    L"%Ge\u00e4ndert*yyyy-mm-dd%", L"%Erstellt*yyyy-mm-dd%"};
const std::array<std::wstring_view, 7> kFileTokens = {L"%Ext%", L"%FileSizeMB%", L"%FileSizeKB%", L"%Name%",
                                                      L"%Ordner%", L"%Nr%", L"%Nr*000%"};
const std::array<std::wstring_view, 10> kDateTokenWords = {
    L"\u00c4nderungsdatum: Jahr",     L"\u00c4nderungsdatum: Jahr_Monat", L"\u00c4nderungsdatum: Jahr_Monat_Tag",
    L"Erstelldatum: Jahr",            L"Erstelldatum: Jahr_Monat",        L"Erstelldatum: Jahr_Monat_Tag",
    L"Heutiges Datum",                L"Datum (Exif)",                     L"\u00c4nderungsdatum nach Muster",
    L"Erstelldatum nach Muster"};
const std::array<std::wstring_view, 7> kFileTokenWords = {
    L"Dateiendung",           L"Dateigr\u00f6\u00dfe in MB",      L"Dateigr\u00f6\u00dfe in KB", L"Dateiname ohne Endung",
    L"Ordner der Datei",      L"Laufende Nummer (neuer Name)", L"Laufende Nummer, dreistellig"};
const std::array<std::wstring_view, 22> kExifNames = {
    L"Datum",          L"Datum Original",
    L"Datum Digitalisierung", L"Ausrichtung",
    L"Hersteller",     L"Model",
    L"Breite",         L"H\u00f6he",
    L"Blitz",          L"Iso",
    L"Belichtung",     L"X-Aufl\u00f6sung",
    L"Y-Aufl\u00f6sung", L"Blende",
    L"Brennweite",     L"Wei\u00dfabgleich",
    L"Komprimierung",  L"Kommentar",
    L"Breitengrad",    L"L\u00e4ngengrad",
    L"L\u00e4ngengrad+Breitengrad", L"Umkreissuche"};
const std::array<std::wstring_view, 11> kAudioNames = {
    L"Titel ID", L"Interpret", L"Album", L"Jahr",  L"Kommentar ID", L"Genre",
    L"L\u00e4nge", L"Kbit",    L"Hertz", L"Frames", L"Track"};
const std::array<std::wstring_view, 11> kDocumentNames = {
    L"Titel",      L"Betreff", L"Autor",
    L"Markierung", L"Kommentare", L"Vorlage",
    L"Zuletzt gespeichert von", L"Revision Nummer", L"Seitenzahl",
    L"Wortanzahl", L"Zeichenanzahl"};
const std::array<std::wstring_view, 9> kVersionNames = {
    L"Firmenname", L"Dateibeschreibung",  L"Dateiversion", L"Interner Name", L"Copyright",
    L"Warenzeichen", L"Original Dateiname", L"Produktname", L"Produktversion"};

std::vector<std::wstring> MetadataListEntries() {
  std::vector<std::wstring> entries{WordOf(kChooseMetadataEntry)};
  for (std::wstring_view entry : kMetadataEntries) {
    const size_t arrow = entry.find(L'>') + 1;
    entries.push_back(WordOf(entry.substr(0, arrow)) + std::wstring(entry.substr(arrow)));
  }
  return entries;
}

std::wstring ListWordShown(std::wstring_view stored) {
  if (stored == kAllFilesEntry || stored == kNoExcludeEntry) return WordOf(stored);
  return std::wstring(stored);
}

std::wstring ListWordStored(std::wstring_view shown, std::wstring_view word) {
  return shown == word || shown == WordOf(word) ? std::wstring(word) : std::wstring(shown);
}

bool MetadataEntryNeedsReference(std::wstring_view entry) {
  return entry.find(L"%Umkreissuche%") != std::wstring_view::npos;
}

std::wstring AppendTargetToken(std::wstring_view target, std::wstring_view token) {
  std::wstring text(target);
  // An empty field gets the token alone: a leading "\" would make the target a root folder.
  if (!text.empty() && !text.ends_with(L'\\')) text += L'\\';
  text += token;
  return text;
}

std::wstring NamePartToken(std::wstring_view answer) {
  return L"%DateiNameTeil" + std::wstring(answer) + L"%";
}

bool IsRefusedZipNameChar(wchar_t c) {
  // ";" appears in the message but has always been accepted; profiles rely on that.
  return std::wstring_view(L"?\\/:<>*\"").find(c) != std::wstring_view::npos;
}

std::wstring RefusedCharsMessage() {
  return LookupMessage(L"547", L"Unerlaubte Zeichen:  ? \\ / : ; < > * \"");
}

std::vector<std::wstring> ParseNameHistory(std::wstring_view stored) {
  std::vector<std::wstring> history{std::wstring(kAllFilesEntry)};
  if (stored.empty()) return history;
  // "|" cannot occur in a file name pattern, so it separates the entries safely.
  for (const std::wstring& piece : Split(stored, L'|')) {
    if (!piece.empty() && piece != kAllFilesEntry && history.size() <= kNameHistoryLimit &&
        std::find(history.begin(), history.end(), piece) == history.end()) {
      history.push_back(piece);
    }
  }
  return history;
}

std::wstring NameHistoryText(const std::vector<std::wstring>& history) {
  std::vector<std::wstring> pieces;
  for (const auto& entry : history) {
    if (entry != kAllFilesEntry) pieces.push_back(entry);
  }
  return Join(pieces, L"|");
}

void RememberNamePattern(std::vector<std::wstring>& history, std::wstring_view pattern) {
  if (history.empty() || history.front() != kAllFilesEntry) {
    history.insert(history.begin(), std::wstring(kAllFilesEntry));
  }
  if (pattern.empty() || pattern == kAllFilesEntry || pattern.find(L'|') != std::wstring_view::npos) {
    return;
  }
  std::erase(history, std::wstring(pattern));
  history.insert(history.begin() + 1, std::wstring(pattern));
  if (history.size() > kNameHistoryLimit + 1) history.resize(kNameHistoryLimit + 1);
}

ProfileEditor::ProfileEditor() : metadataEntries_(MetadataListEntries()) {
  includeEntries_ = {WordOf(kAllFilesEntry), WordOf(kEditFiltersEntry)};
  NewProfile();
}

void ProfileEditor::TranslateMetadataEntries() {
  std::vector<std::wstring> entries = MetadataListEntries();
  // Tokens that only a loaded profile brought keep their own entries.
  for (size_t i = entries.size(); i < metadataEntries_.size(); ++i) entries.push_back(metadataEntries_[i]);
  metadataEntries_ = std::move(entries);
  if (values.metadataNamePos > 0 && static_cast<size_t>(values.metadataNamePos) < metadataEntries_.size()) {
    values.metadataEntry = metadataEntries_[static_cast<size_t>(values.metadataNamePos)];
  }
}

int ProfileEditor::CollisionPos() const {
  if (values.collisionOverwrite) return 1;
  if (values.collisionSkip) return 2;
  return 0;
}

void ProfileEditor::SetCollisionPos(int position) {
  values.collisionOverwrite = position == 1;
  values.collisionSkip = position == 2;
}

namespace {

template <size_t N>
int PositionOf(const std::array<std::wstring_view, N>& entries, std::wstring_view text, int fallback) {
  for (size_t i = 0; i < N; ++i) {
    if (entries[i] == text) return static_cast<int>(i);
  }
  return fallback;
}

template <size_t N>
int PositionOfNoCase(const std::array<std::wstring_view, N>& entries, std::wstring_view text, int fallback) {
  for (size_t i = 0; i < N; ++i) {
    if (EqualsNoCase(entries[i], text)) return static_cast<int>(i);
  }
  return fallback;
}

}  // namespace

void ProfileEditor::LoadFromRow(const Profile& p) {
  isFilling = true;
  ProfileEditorValues v;
  // Values read from the profile file never carry blanks around them, so the switches read
  // here as the run reads them.
  const ProfileSwitches switches = SwitchesOf(p);
  v.description = p.Beschreibung;
  v.source = p.Quelle;
  v.includeSubfolders = switches.includeSubfolders;
  v.keepFolderStructure = switches.keepFolderStructure;
  for (const std::wstring& folder : Split(p.BlockFolder, L';')) {
    if (!folder.empty()) v.blockedFolders.push_back(folder);
  }

  v.nameOn = !p.Filename.empty();
  v.namePattern = p.Filename;
  v.excludeNameOn = !p.ExcludeFilename.empty();
  v.excludeName = p.ExcludeFilename;
  v.textOn = !p.TextSuche.empty();
  v.text = p.TextSuche;

  v.includeExtOn = !p.Filter.empty() && p.Filter != kAllFilesEntry;
  v.includeExtText = p.Filter.empty() ? std::wstring(kAllFilesEntry) : p.Filter;
  v.excludeExtOn = !p.Extension.empty() && p.Extension != kNoExcludeEntry;
  v.excludeExt = p.Extension.empty() ? std::wstring(kNoExcludeEntry) : p.Extension;

  // Date: kind (2 letters), comparator (1), amount, unit (last letter), e.g. "GA<30D". Letters
  // count in either case, as the run reads them: "GA<6m" is six months, and loading it as
  // days would write the wider condition back on the next save.
  const std::wstring& d = p.Filedate;
  v.dateOn = !d.empty();
  if (!d.empty()) {
    v.dateKindPos = EqualsNoCase(std::wstring_view(d).substr(0, 2), L"EA") ? 0 : 1;
    v.dateComparatorPos = d.size() > 2 && d[2] == L'<' ? 0 : 1;
    v.dateAmount = d.size() > 4 ? d.substr(3, d.size() - 4) : L"";
    v.dateUnitPos = PositionOfNoCase(std::array<std::wstring_view, 6>{L"N", L"H", L"D", L"W", L"M", L"Y"},
                                     std::wstring_view(d).substr(d.size() - 1), 2);
  }
  // Size: comparator (1), amount, unit (last two letters), e.g. ">10MB" or ">10mb".
  const std::wstring& s = p.FileSize;
  v.sizeOn = !s.empty();
  if (!s.empty()) {
    v.sizeComparatorPos = s[0] == L'>' ? 0 : 1;
    v.sizeAmount = s.size() > 3 ? s.substr(1, s.size() - 3) : L"";
    v.sizeUnitPos = s.size() >= 2 ? PositionOfNoCase(std::array<std::wstring_view, 4>{L"BY", L"KB", L"MB", L"GB"},
                                                     std::wstring_view(s).substr(s.size() - 2), 0)
                                  : 0;
  }

  const std::wstring aktion = ToLowerText(p.Aktion);
  for (size_t i = 0; i < kActionCodes.size(); ++i) {
    v.actions[i] = aktion == ToLowerText(kActionCodes[i]);
  }
  v.target = p.Ziel;
  v.matchCase = switches.caseSensitive;
  v.collisionOverwrite = p.Kollision == L"0";
  v.collisionSkip = p.Kollision == L"2";
  v.zipSeparate = p.Zippen == L"1";
  v.zipOne = p.Zippen == L"2";
  if (v.zipOne) v.zipName = p.ZipName;
  v.skipIdentical = switches.skipIdentical;
  v.takeSidecars = switches.sidecars;
  v.watch = switches.watch;
  v.removeEmptied = switches.removeEmptied;
  v.newName = p.Zielname;
  v.duplicatesOn = switches.duplicates;
  v.duplicateFolder = p.DuplikatOrdner;

  // Metadata: "<token>;<comparator><value>", e.g. "%Model%;=Canon".
  size_t semicolon = p.Metadaten.find(L';');
  if (semicolon != std::wstring::npos) {
    std::wstring token = p.Metadaten.substr(0, semicolon);
    std::wstring rest = p.Metadaten.substr(semicolon + 1);
    v.metadataOn = true;
    v.metadataNamePos = 0;
    for (size_t i = 1; i < metadataEntries_.size() && !token.empty(); ++i) {
      if (metadataEntries_[i].find(token) != std::wstring::npos) {
        v.metadataNamePos = static_cast<int>(i);
        break;
      }
    }
    // A token the list does not offer (typed into the file, or from an older version) gets an
    // entry of its own, so saving the profile keeps the condition instead of dropping it.
    if (v.metadataNamePos == 0 && !token.empty()) {
      metadataEntries_.push_back(token);
      v.metadataNamePos = static_cast<int>(metadataEntries_.size() - 1);
    }
    v.metadataEntry = metadataEntries_[static_cast<size_t>(v.metadataNamePos)];
    if (!rest.empty() && (rest[0] == L'=' || rest[0] == L'>' || rest[0] == L'<')) {
      v.metadataComparator = rest.substr(0, 1);
      v.metadataValue = rest.substr(1);
    } else {
      v.metadataValue = rest;
    }
  }
  values = std::move(v);
  isFilling = false;
  isModified = false;
}

void ProfileEditor::NewProfile() {
  isFilling = true;
  values = ProfileEditorValues{};
  values.includeExtText = std::wstring(kAllFilesEntry);
  values.excludeExt = std::wstring(kNoExcludeEntry);
  values.actions[1] = true;  // "Kopieren" harms nothing in the source when a rule is wrong
  SetCollisionPos(0);        // "neue Datei umbenennen (1)"
  isFilling = false;
  isModified = false;
}

ProfileEditorValues ProfileEditor::ToEditorValues() const {
  ProfileEditorValues v = values;
  v.includeExtFromList = false;
  // Positions 1..n-2 are the stored filters ("Alles" first, "Bearbeiten..." last).
  for (size_t i = 1; i + 1 < includeEntries_.size(); ++i) {
    if (includeEntries_[i] == v.includeExtText) v.includeExtFromList = true;
  }
  // "Alles" is the list's own entry too, even with the condition ticked: stored as it stands,
  // it means every file, where a typed list would become ".Alles" and match none.
  if (EqualsNoCase(v.includeExtText, kAllFilesEntry) || v.includeExtText == WordOf(kAllFilesEntry)) {
    v.includeExtText = std::wstring(kAllFilesEntry);
    v.includeExtFromList = true;
  }
  if (v.metadataNamePos > 0 && static_cast<size_t>(v.metadataNamePos) < metadataEntries_.size()) {
    v.metadataEntry = metadataEntries_[static_cast<size_t>(v.metadataNamePos)];
  } else {
    v.metadataEntry.clear();
  }
  return v;
}

void ProfileEditor::FieldChanged() {
  if (!isFilling) isModified = true;
}

void ProfileEditor::ListChanged(EditorList list) {
  if (isFilling) return;
  isModified = true;
  switch (list) {
    case EditorList::DateKind:
    case EditorList::DateComparator:
    case EditorList::DateUnit:
      values.dateOn = true;
      break;
    case EditorList::SizeComparator:
    case EditorList::SizeUnit:
      values.sizeOn = true;
      break;
    case EditorList::ExcludeExt:
      values.excludeExtOn = true;
      break;
  }
}

void ProfileEditor::NamePicked(std::wstring_view entry) {
  values.namePattern = ListWordStored(entry, kAllFilesEntry);
  values.nameOn = values.namePattern != kAllFilesEntry;
  FieldChanged();
}

IncludePick ProfileEditor::IncludePicked(size_t position) {
  if (position + 1 == includeEntries_.size() && position > 0) return IncludePick::EditFilters;
  FieldChanged();
  if (position == 0 || position >= includeEntries_.size()) {
    values.includeExtOn = false;
    values.includeExtText = std::wstring(kAllFilesEntry);
    return IncludePick::AllFiles;
  }
  values.includeExtOn = true;
  values.includeExtText = includeEntries_[position];
  return IncludePick::StoredFilter;
}

void ProfileEditor::ExcludePicked(std::wstring_view entry) {
  values.excludeExt = ListWordStored(entry, kNoExcludeEntry);
  values.excludeExtOn = values.excludeExt != kNoExcludeEntry;
  FieldChanged();
}

bool ProfileEditor::askIfSaveProfil(UiPort& ui, const std::function<bool()>& save) {
  if (!isModified) return true;
  MessageAnswer answer =
      ui.ShowMessage(std::wstring(kAskSaveMessage), MessageIcon::Question, MessageButtons::YesNo);
  isModified = false;
  if (answer == MessageAnswer::Yes) return save();
  return true;
}

bool DeleteCheckedProfiles(const std::wstring& profileFile,
                           const std::vector<std::wstring>& checkedNames, UiPort& ui) {
  if (checkedNames.empty()) {
    ui.ShowMessage(std::wstring(kNothingCheckedMessage), MessageIcon::Exclamation,
                   MessageButtons::Ok);
    return false;
  }
  MessageAnswer answer =
      ui.ShowMessage(LookupMessage(L"531", L"Sollen alle angehakten Profile gel\u00f6scht werden?"),
                     MessageIcon::Exclamation, MessageButtons::YesNo);
  if (answer != MessageAnswer::Yes) return false;
  IniFile ini = IniFile::Load(profileFile);
  for (const auto& name : checkedNames) ini.DeleteSection(name);
  FsStatus status;
  return TellIfNotSaved(ini.Save(&status), status, ui, L"Die Profildatei", profileFile);
}

}  // namespace ablagix
