// The interface words: every text of the window that a language file can replace, each under
// the key the language file gives its translation (section "Common" of "<language>.lng").
// The key is the German text itself; a text that an INI key cannot hold ("=" would end the key)
// has a key of its own. Word() accepts only texts listed here, so a new caption cannot be
// forgotten; the tests compare this table with the English language file.
//
// The numbered messages are listed as well, with the German text the program shows without
// a language file (section "Messages" of "<language>.txt").
#pragma once

#include <cstddef>
#include <iterator>
#include <string_view>

namespace ablagix {

struct InterfaceWord {
  std::wstring_view german;
  std::wstring_view key{};  // empty: the German text is the key

  constexpr std::wstring_view Key() const { return key.empty() ? german : key; }
};

inline constexpr InterfaceWord kInterfaceWords[] = {
    // Tabs and the tray menu
    {L"Profile ausführen"},
    {L"Profile bearbeiten"},
    {L"Einstellungen"},
    {L"Log-Dateien"},
    {L"Öffnen"},
    {L"Abbrechen"},
    {L"Beenden"},
    // "Profile ausführen", the run status and the shredder window
    {L"Profil-Datei:"},
    {L"&Ausführen"},
    {L"&Simulieren"},
    {L"&Timer starten"},
    {L"&Timer stoppen"},
    {L"Startet alle oben angehakten Profile"},
    {L"Simuliert alle oben angehakten Profile, ohne eine Aktion durchzuführen!"},
    {L"Startet oder stoppt den Timer, der die angehakten Profile im gewählten Intervall ausführt"},
    {L"Ü&berwachung starten"},
    {L"Ü&berwachung stoppen"},
    {L"Überwacht die Quellordner der angehakten Profile, die zum Überwachen markiert sind, und führt ein Profil "
     L"aus, sobald neue Dateien darin fertig sind"},
    {L"Überwachung gestartet: %1 Ordner"},
    {L"Überwachung gestoppt"},
    {L"Abgebrochen: %1 Datei(en), %2 Fehler"},
    {L"Fertig: %1 Datei(en), %2 Fehler"},
    {L"Log gespeichert: %1"},
    {L"Log nicht gespeichert: %1"},
    {L"Log speichern"},  // the title of the file chooser and the two texts after saving by hand
    {L"Log nicht gespeichert"},
    {L"Keine Zeile angehakt: nichts ausgeführt."},
    {L"Schreddern"},
    {L"Schließen"},
    {L"%1 Einträge gelesen ..."},
    {L"%1 von %2 Dateien"},
    {L"Kein Symbol im Infobereich möglich: das Fenster bleibt geöffnet."},
    // The timer
    {L"Der Timer führt alle %1-Minuten oben angehakte Profile vollautomatisch aus."},
    {L"Die Timerroutine ist gestartet und läuft automatisch im Intervall von %1 Minuten"},
    // "Profile bearbeiten"
    {L"&Datum »"},
    {L"Da&tei »"},
    {L"&Exif »"},
    {L"&Audio »"},
    {L"Doku&mente »"},
    {L"&Version »"},
    {L"Besc&hreibung:"},
    {L"Quelle"},
    {L"&Quellverzeichnis"},
    {L"inklusive &Unterordner"},
    {L"Ordner ausschließen"},
    {L"Ordner hinzufügen"},
    {L"Ordner entfernen"},
    {L"Bedingungen"},
    {L"Dateiname (enthält=*):", L"Dateiname (enthält *):"},
    {L"Dateiname enthält nicht *:"},
    {L"Datei enthält Text:"},
    {L"Dateiendung:"},
    {L"Endungen ausschließen:"},
    {L"Datum:"},
    {L"Dateigröße:"},
    {L"Enthält Metadaten:"},
    {L"Verlauf &leeren"},
    {L"Gesuchten Text eingeben: Trennzeichen + alle Suchwörter / Trennzeichen | eines oder mehrere"},
    {L"Achtung: Zeitintensive Suchfunktion!"},
    {L"Groß- und &Kleinschreibung beachten"},
    {L"dann diese Aktion durchführen"},
    {L"Zielverzeichnis"},
    {L"&Ordnerstruktur aus dem Quellverzeichnis übernehmen"},
    {L"&Begleitdateien (.xmp, .aae, .json ...) mitnehmen"},
    {L"&Identische Dateien überspringen"},
    {L"Diesen Ordner ü&berwachen"},
    {L"&Geleerte Ordner entfernen"},
    {L"Nur Duplikate (gleicher Inhalt)"},
    {L"auch gegen diesen Ordner (leer: nur in der Quelle)"},
    {L"Neuer Name:"},
    {L"leer: der Name bleibt; z. B. %Ge\u00e4ndert*yyyy-mm-dd% %Nr*000%"},
    {L"Beispiel:"},
    {L"Beispiel: keine Datei in der Quelle"},
    // What the tokens of the target's menus stand for
    {L"Änderungsdatum: Jahr"},
    {L"Änderungsdatum: Jahr_Monat"},
    {L"Änderungsdatum: Jahr_Monat_Tag"},
    {L"Erstelldatum: Jahr"},
    {L"Erstelldatum: Jahr_Monat"},
    {L"Erstelldatum: Jahr_Monat_Tag"},
    {L"Heutiges Datum"},
    {L"Datum (Exif)"},
    {L"Änderungsdatum nach Muster"},
    {L"Erstelldatum nach Muster"},
    {L"Dateiendung"},
    {L"Dateigröße in MB"},
    {L"Dateigröße in KB"},
    {L"Dateiname ohne Endung"},
    {L"Ordner der Datei"},
    {L"Laufende Nummer (neuer Name)"},
    {L"Laufende Nummer, dreistellig"},
    {L"Teil des Dateinamens"},
    {L"Wenn Datei bereits existiert:"},
    {L"Zip-Archive"},
    {L"Zip-Archiv erstellen (separate Dateien)"},
    {L"Zip-Archiv erstellen (eine Datei)   Name:"},
    {L"&Neues Profil"},
    {L"Profil &speichern"},
    {L"Löschen"},
    {L"&Profil-Datei laden..."},
    {L"Neue Profildatei e&rstellen..."},
    {L"Quellverzeichnis"},
    {L"Neue IniDatei laden"},
    {L"Ini Dateien|*.ini*"},
    {L"Neue Profildatei erstellen"},
    {L".ini Dateien (*.ini)|*.ini"},
    // The include-extension list
    {L"Alles"},
    {L"Bearbeiten..."},
    // The editor's choice lists
    {L"Nichts"},
    {L"Gespeicherte Datefilter ( Extras -> Optionen )  Komma getrennt"},
    {L"Datei erstellt"},
    {L"Datei geändert"},
    {L"älter als"},
    {L"neuer als"},
    {L"Minuten"},
    {L"Stunden"},
    {L"Tage"},
    {L"Wochen"},
    {L"Monate"},
    {L"Jahre"},
    {L"Größer als"},
    {L"Kleiner als"},
    {L"Bytes"},
    {L"KB"},
    {L"MB"},
    {L"GB"},
    {L"Bitte auswählen"},
    {L"Fotos --->"},
    {L"Fotos Km--->"},
    {L"Audio --->"},
    {L"Dokumente --->"},
    {L"Verschieben"},
    {L"Kopieren"},
    {L"Löschen (Papierkorb)"},
    {L"Löschen (endgültig)"},
    {L"Benachrichtigen (Timer)"},
    {L"Umbenennen"},
    {L"Entpacken"},
    {L"Löschen (schreddern)"},
    {L"neue Datei umbenennen (1)"},
    {L"immer überschreiben"},
    {L"überspringen"},
    {L"Bitte geben sie den Anfang und das Ende des Teils nach dem Muster [3-8] ein:"},
    // The profile list's columns
    {L"Beschreibung"},
    {L"Quellordner"},
    {L"Unterordner"},
    {L"Blockordner"},
    {L"Dateiname"},
    {L"Filter"},
    {L"BlockExtension"},
    {L"Dateigröße"},
    {L"Datum"},
    {L"Aktion"},
    {L"Case"},
    {L"Kollision"},
    {L"Metadaten"},
    {L"Zippen"},
    {L"Exclude"},
    {L"TextSuche"},
    {L"ZipName"},
    {L"OrdnerStruktur"},
    // "Einstellungen"
    {L"Gespeicherte Dateifilter"},
    {L"neuen Eintrag einfügen"},
    {L"Eintrag löschen"},
    {L"Ein nach oben verschieben"},
    {L"Ein nach unten verschieben"},
    {L"Speichern"},
    {L"Name"},
    {L"Maske"},
    {L"Speichert alle Dateifilter"},
    {L"&Name:"},
    {L"Mas&ke:"},
    {L"Timer"},
    {L"Timerintervall, bitte auswählen"},
    {L"Alle 5 Minuten"},
    {L"Alle 10 Minuten"},
    {L"Alle 15 Minuten"},
    {L"Alle 30 Minuten"},
    {L"Alle 60 Minuten"},
    {L"Alle 2 Stunden"},
    {L"Alle 3 Stunden"},
    {L"Alle 4 Stunden"},
    {L"Alle 5 Stunden"},
    {L"Info:"},
    {L"Bei Timerstart ins Systemtray ablegen"},
    {L"Bei Timerstart Log nach 5. Durchlauf löschen"},
    {L"Überwachung („Überwachung starten“): angehakte Profile mit „Diesen Ordner überwachen“ laufen, sobald neue Dateien im Quellordner 2 Sekunden unverändert sind. Eigene Ablagen lösen keinen Lauf aus; Systemtray wie beim Timer."},
    {L"Bericht"},
    {L"Textdatei"},
    {L"CSV-Datei"},
    {L"HTML-Datei"},
    {L"PDF-Datei"},
    {L"Kopfzeile drucken"},
    {L"farbig"},
    {L"Mit Leerzeichen auffüllen "},
    {L"CSV-&Trennzeichen:"},
    {L"Log automatisch speichern im Ordner:"},
    {L"Listen"},
    {L"Schrift:"},
    {L"&Profilliste..."},
    {L"Lo&g-Liste..."},
    {L"Zeile 1"},
    {L"Hintergrund 1..."},
    {L"Textfarbe 1..."},
    {L"Zeile 2"},
    {L"Hintergrund 2..."},
    {L"Textfarbe 2..."},
    {L"Gesamten Pfad im Archiv speichern"},
    {L"Beim Zippen statt .zip-Archive selbstentpackendes Archiv (EXE-Datei) erstellen"},
    {L"Allgemein"},
    {L"&Sprache:"},
    {L"Ablagix mit &Windows starten"},
    {L"Text nur in reinen Textdateien suchen (Dokumente nicht auslesen)"},
    {L"Genauigkeit der Kommastelle bei Längen- und Breitengraden (Exif-Fotos):"},
    {L"&Breitengrad:"},
    {L"&Längengrad:"},
    {L"&Referenzbild..."},
    {L"Koordinaten speichern"},
    {L"Bild-Dateien|*.jpg*;*.JPEG;*.JPE;*.JFIF;*.GIF;*.TIF;*. TIFF;*.PNG"},
    {L"Neuer Filter"},
    // "Log-Dateien"
    {L"&Haken:"},
    {L"Haken setzen oder entfernen ..."},
    {L"Log &löschen"},
    {L"Ausführen nur bei an&gehakten Dateien"},
    {L"Log s&peichern..."},
    {L"Führt die Aktion jeder angehakten Zeile für ihre Datei noch einmal aus"},
    {L"Speichert das Log im gewählten Format (Einstellungen)"},
    {L"Letzten Lauf &rückgängig machen"},
    {L"Holt die Dateien des letzten ausgeführten Laufs zurück und entfernt seine Kopien"},
    {L"Es gibt keinen ausgeführten Lauf, der sich rückgängig machen ließe."},
    {L"Der letzte Lauf vom %1 ist schon rückgängig gemacht."},
    {L"Den letzten Lauf vom %1 mit %2 Änderung(en) rückgängig machen?"},
    {L"Die neueren Läufe sind schon rückgängig gemacht. Den Lauf vom %1 mit %2 Änderung(en) rückgängig machen?"},
    {L"Der Lauf wurde nicht zu Ende geführt; rückgängig gemacht wird, was sein Journal festhält."},
    {L"Lauf wird rückgängig gemacht … (Esc bricht ab)"},
    {L"Rückgängig abgebrochen: %1 Datei(en), %2 Fehler"},
    {L"Rückgängig gemacht: %1 Datei(en), %2 Fehler"},
    {L"Zeitintensive Datenverarbeitung, bitte warten ..."},
    {L"Keine Dateien gefunden!"},
    {L"Timer gestoppt, warte auf Befehle..."},
    {L"Timer gestartet, Intervall läuft..."},
    {L"Überwachung läuft, warte auf neue Dateien..."},
    {L"Überwachung gestoppt, warte auf Befehle..."},
    {L"Alles anhaken"},
    {L"Nichts anhaken"},
    {L"Auswahl umkehren"},
    {L"Oberhalb der Selektion"},
    {L"Unterhalb der Selektion"},
    {L"Alle markierten anhaken"},
    {L"Angehakte aus der Liste entfernen"},
    {L"Ohne Checkbox aus der Liste entfernen"},
    // Its columns ("Aktion", "Kollision", "Metadaten" and "ZipName" as in the profile list)
    {L"Datei"},
    {L"Pfad"},
    {L"Größe"},
    {L"Geändert am"},
    {L"Erstellt am"},
    {L"Zielpfad"},
    {L"Ergebnis"},
    {L"Zipp"},
    {L"Quell2"},
    {L"Ziel2"},
    // The recently used folders (the dialog and its folder chooser)
    {L"Zuletzt verwendete Ordner"},
    {L"Ordner &hinzufügen..."},
    {L"&Verwenden"},
    {L"Zuletzt verwendete Ordner:"},
    {L"Status"},
    {L"Pfad ok"},
    {L"Nicht erreichbar"},
    {L"Ordner, der gespeichert werden soll:"},
    // The text prompt
    {L"Eingabe"},
};

struct NumberedMessage {
  std::wstring_view number;
  std::wstring_view german;
};

inline constexpr NumberedMessage kNumberedMessages[] = {
    {L"161", L"Der Quellpfad existiert nicht!"},
    {L"530", L"Bitte Beschreibung eintragen!"},
    {L"531", L"Sollen alle angehakten Profile gelöscht werden?"},
    {L"547", L"Unerlaubte Zeichen:  ? \\ / : ; < > * \""},
    {L"658",
     L"ist schreibgeschütz, sollen ' alle ' schreibgeschützten Dateien geschreddert werden? Wenn nur diese eine "
     L"schreibgeschützte Datei geschreddert werden soll bestätigen Sie mit nein!"},
    {L"659", L"Überschreibe "},
};

// A listed interface word, found while the program is compiled: a text that is not in
// kInterfaceWords makes the call no constant expression, and the build stops there.
class WordRef {
 public:
  consteval WordRef(const wchar_t* german) : index_(IndexOf(german)) {}  // NOLINT: literals convert
  constexpr const InterfaceWord& entry() const { return kInterfaceWords[index_]; }

 private:
  static consteval std::size_t IndexOf(std::wstring_view german) {
    for (std::size_t i = 0; i < std::size(kInterfaceWords); ++i) {
      if (kInterfaceWords[i].german == german) return i;
    }
    throw "not an interface word: add it to kInterfaceWords and to languages/English.lng";
  }
  std::size_t index_;
};

}  // namespace ablagix
