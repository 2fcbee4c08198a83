// SaveTheProfil: checks the editor's values and writes them as one profile section.
//
// The editor hands over plain values (texts, check states, list positions), so the rules can
// be tested without a window. Failed checks show their message through the UI port, name the
// field that should get the focus and write nothing.
#pragma once

#include <array>
#include <string>
#include <vector>

#include "base/ui_port.h"
#include "profiles/profile.h"

namespace ablagix {

struct ProfileEditorValues {
  std::wstring description;
  std::wstring source;
  bool includeSubfolders = false;
  bool keepFolderStructure = false;
  std::vector<std::wstring> blockedFolders;

  bool nameOn = false;
  std::wstring namePattern;
  bool excludeNameOn = false;
  std::wstring excludeName;
  bool textOn = false;
  std::wstring text;

  bool includeExtOn = false;
  std::wstring includeExtText;
  // True when the text is a list entry (a stored filter) rather than typed.
  bool includeExtFromList = false;
  bool excludeExtOn = false;
  std::wstring excludeExt;

  bool dateOn = false;
  int dateKindPos = 1;        // 0 "Datei erstellt", 1 "Datei geändert"
  int dateComparatorPos = 0;  // 0 "älter als", 1 "neuer als"
  std::wstring dateAmount;
  int dateUnitPos = 2;  // "Minuten", "Stunden", "Tage", "Wochen", "Monate", "Jahre"

  bool sizeOn = false;
  int sizeComparatorPos = 0;  // 0 "Größer als", 1 "Kleiner als"
  std::wstring sizeAmount;
  int sizeUnitPos = 0;  // "Bytes", "KB", "MB", "GB"

  bool matchCase = false;
  // The action choices in editor order: Verschieben, Kopieren, Löschen (Papierkorb),
  // Löschen (endgültig), Benachrichtigen (Timer), Löschen (schreddern), Umbenennen, Entpacken.
  std::array<bool, kActionCodes.size()> actions{};
  std::wstring target;
  bool collisionOverwrite = false;  // "immer überschreiben"
  bool collisionSkip = false;       // "überspringen"; neither means "neue Datei umbenennen (1)"

  bool metadataOn = false;
  int metadataNamePos = 0;   // 0 is "Bitte auswählen"
  std::wstring metadataEntry;  // the list entry, e.g. "Fotos --->%Model%"
  std::wstring metadataComparator;  // ">", "<", "=" or "" when none is chosen
  std::wstring metadataValue;

  bool zipSeparate = false;
  bool zipOne = false;
  std::wstring zipName;

  bool skipIdentical = false;  // "Identische Dateien überspringen"
  bool takeSidecars = false;   // "Begleitdateien mitnehmen"
  bool watch = false;          // "Diesen Ordner überwachen"
  bool removeEmptied = false;  // "Geleerte Ordner entfernen"
  std::wstring newName;        // "Neuer Name:" ("Zielname")
  bool duplicatesOn = false;   // "Nur Duplikate (gleicher Inhalt)"
  std::wstring duplicateFolder;  // the further folder the duplicates are looked for in ("" none)
};

enum class EditorField { None, Description, Source, Target, DateAmount, SizeAmount, NewName, DuplicateFolder };

struct SaveOutcome {
  bool saved = false;
  EditorField focus = EditorField::None;
  // What the include-extension field shows after saving ("Alles" or the normalised list).
  std::wstring filterShown;
  // False when the file could not be written (locked, read-only, disk full). The user was told
  // so, `saved` is false too, and the editor keeps what was typed for a second try.
  bool fileWritten = false;
};

SaveOutcome SaveTheProfil(const ProfileEditorValues& values, const std::wstring& profileFile,
                          UiPort& ui);

// Shown after saving when the target folder lies inside the source tree: the run leaves it
// out, so it never reads its own copies again.
inline constexpr std::wstring_view kTargetInsideSourceNote =
    L"Der Zielordner liegt innerhalb des Quellordners. Damit ein Lauf seine eigenen Dateien nicht "
    L"erneut verarbeitet, wird der Zielordner beim Durchsuchen \u00fcbersprungen.";

// The typed include-extension text as stored: "*" removed, every piece starting with ".".
// "*jpg,png" gives ".jpg,.png"; pieces are not trimmed, so "jpg, png" gives ".jpg,. png".
std::wstring NormaliseExtensionList(std::wstring_view typed);

}  // namespace ablagix
