// One row of the log list: the fourteen columns, the result words of the "Ergebnis" column,
// and the German display formats of the size and time columns.
//
// A log can hold a million rows, so a stored LogRow is a small fixed record: size and times
// are kept as numbers and formatted when shown, the file name lives in the list's name
// buffer, and every other text is an id into the list's TextPool. Read a row's texts through
// LogList, which owns both.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "fileops/file_ops.h"
#include "log/text_pool.h"

namespace ablagix {

//--- Columns

// In display order; the value is the column's zero-based index.
enum class LogColumn : int {
  Datei,
  Pfad,
  Groesse,
  GeaendertAm,
  ErstelltAm,
  Zielpfad,
  Ergebnis,
  Aktion,
  Zipp,
  Kollision,
  ZipName,
  Metadaten,
  Quell2,
  Ziel2,
};
inline constexpr int kLogColumnCount = 14;

struct LogColumnHeader {
  std::wstring_view text;
  int width;  // initial width in pixels; 0 keeps the column with the row but hides it
};

inline constexpr std::array<LogColumnHeader, kLogColumnCount> kLogColumns = {{
    {L"Datei", 200},
    {L"Pfad", 120},
    {L"Gr\u00f6\u00dfe", 80},
    {L"Ge\u00e4ndert am", 120},
    {L"Erstellt am", 120},
    {L"Zielpfad", 200},
    {L"Ergebnis", 120},
    {L"Aktion", 80},
    {L"Zipp", 0},
    {L"Kollision", 0},
    {L"ZipName", 0},
    {L"Metadaten", 80},
    {L"Quell2", 80},
    {L"Ziel2", 80},
}};

//--- Result words

// The texts of the "Ergebnis" column. The list itself reads only two of them: a text that
// begins with "Fehler!" marks an error row, a text equal to "Übersprungen" a skipped row.
struct ResultWord {
  static constexpr std::wstring_view kKopiert = L"Kopiert";
  static constexpr std::wstring_view kVerschoben = L"Verschoben";
  static constexpr std::wstring_view kGezippt = L"Gezippt";
  static constexpr std::wstring_view kGeloeschtP = L"Gel\u00f6scht P";
  static constexpr std::wstring_view kGeloeschtX = L"Gel\u00f6scht X";
  static constexpr std::wstring_view kGeloeschtS = L"Gel\u00f6scht S";
  static constexpr std::wstring_view kBenachrichtigt = L"benachrichtigt";
  static constexpr std::wstring_view kUebersprungen = L"\u00dcbersprungen";
  // A target that holds the same content already ("Identisch").
  static constexpr std::wstring_view kUebersprungenIdentisch = L"\u00dcbersprungen (identisch)";
  static constexpr std::wstring_view kFehler = L"Fehler!";
  static constexpr std::wstring_view kKopierenSimuliert = L"Kopieren, simuliert";
  static constexpr std::wstring_view kVerschobenSimuliert = L"Verschoben, simuliert";
  static constexpr std::wstring_view kLoeschenPSimuliert = L"L\u00f6schen P, simuliert";
  static constexpr std::wstring_view kLoeschenXSimuliert = L"L\u00f6schen X, simuliert";
  static constexpr std::wstring_view kLoeschenSSimuliert = L"L\u00f6schen S, simuliert";
  static constexpr std::wstring_view kSimuliert = L"simuliert";
  // "Umbenennen": the file got the name "Zielname" builds, in its own folder.
  static constexpr std::wstring_view kUmbenannt = L"Umbenannt";
  static constexpr std::wstring_view kUmbenennenSimuliert = L"Umbenennen, simuliert";
  // "Entpacken": an archive's entries were written into the target folder; the row's size
  // column holds the number of files.
  static constexpr std::wstring_view kEntpackt = L"Entpackt";
  static constexpr std::wstring_view kEntpackenSimuliert = L"Entpacken, simuliert";
  // A subfolder of the source that the run emptied and removed ("Geleerte Ordner entfernen").
  static constexpr std::wstring_view kOrdnerEntfernt = L"Ordner entfernt";
  static constexpr std::wstring_view kOrdnerEntfernenSimuliert = L"Ordner entfernen, simuliert";
  // Appended directly to "Übersprungen" when the target folder could not be made; it starts
  // with its own blank.
  static constexpr std::wstring_view kZielpfadNichtErstellt = L" Konnte Zielpfad nicht erstellen";
  // Appended to "Übersprungen" when a link, a pipe or a device holds the target's name: such a
  // thing is never opened nor replaced.
  static constexpr std::wstring_view kZielKeineDatei = L": Am Ziel liegt keine normale Datei";
  // Appended to "Übersprungen" when the target is the file itself under another spelling.
  static constexpr std::wstring_view kZielIstQuelle = L": Das Ziel ist die Datei selbst";
};

// "Fehler! " and the reason, as a failed file's result reads.
std::wstring ErrorWord(std::wstring_view reason);

enum class LogRowKind { Normal, Error, Skipped };

// Error: the text begins with the seven characters "Fehler!" (more may follow). Skipped: the
// text is exactly "Übersprungen"; with the folder suffix or a trailing blank it is not.
LogRowKind RowKindOf(std::wstring_view ergebnis);
LogRowKind RowKindOf(std::u16string_view ergebnis);

//--- Display formats (German, whatever the system locale)

// Below 1 KB in bytes ("0 Bytes", "1 Byte", "1023 Bytes"); above in KB, MB, GB or TB of 1024
// with two decimals and a decimal comma ("1,50 KB", "2,00 MB").
std::wstring FormatLogSize(std::uint64_t bytes);
// "dd.mm.yyyy hh:nn:ss".
std::wstring FormatGermanDateTime(const LocalDateTime& time);
// The local time of `time` as above; 0 (no time known) gives "".
std::wstring FormatLogTime(FileTime time);
// The same two, appended as UTF-8 (for writers of long logs, which must not build a string
// per cell).
void AppendLogSizeUtf8(std::string& out, std::uint64_t bytes);
void AppendLogTimeUtf8(std::string& out, FileTime time);

//--- Appending

// What the engine knows about one handled file. The views need to live only for the call
// that appends the row.
struct LogFileFields {
  std::wstring_view datei;  // file name with extension
  std::wstring_view pfad;   // folder the file was found in
  std::uint64_t size = 0;
  // Shown in the size column instead of `size` when set (an unpacked archive's "12 Dateien").
  std::wstring_view sizeText;
  FileTime lastWrite = 0;
  FileTime creation = 0;
  std::wstring_view zielpfad;
  std::wstring_view ergebnis;
  std::wstring_view aktion;
  std::wstring_view zipp;
  std::wstring_view kollision;
  std::wstring_view zipName;
  std::wstring_view metadaten;
  std::wstring_view quell2;
  std::wstring_view ziel2;
};

// A row given as fourteen texts, in column order (banner rows, messages).
using LogRowTexts = std::array<std::wstring_view, kLogColumnCount>;

//--- Storage

// One stored row. 72 bytes plus the file name's characters; the texts are in the owning
// LogList, which is the only writer.
class LogRow {
 public:
  bool checked() const { return (flags() & kChecked) != 0; }
  // Made from a handled file (as opposed to banner and message rows, which are only texts).
  bool isFileRow() const { return (flags() & kFileRow) != 0; }

 private:
  friend class LogList;

  // The three columns that may hold a number: "Größe", "Geändert am", "Erstellt am".
  static constexpr int kNumberCells = 3;
  // Every other column except "Datei" is a pool id.
  static constexpr int kPooledCells = kLogColumnCount - 1 - kNumberCells;

  // The low bits of nameLengthAndFlags_ are flags, the rest the name's length.
  static constexpr int kFlagBits = 8;
  static constexpr std::uint32_t kFlagMask = (1u << kFlagBits) - 1;
  static constexpr std::uint32_t kMaxNameLength = (1u << (32 - kFlagBits)) - 1;
  static constexpr std::uint32_t kChecked = 1u << 0;
  static constexpr std::uint32_t kFileRow = 1u << 1;
  // Bit kNumberBit + i: number cell i holds a number; otherwise it holds a pool id.
  static constexpr int kNumberBit = 2;

  std::uint32_t flags() const { return nameLengthAndFlags_ & kFlagMask; }
  void setFlag(std::uint32_t flag, bool on) {
    nameLengthAndFlags_ = on ? (nameLengthAndFlags_ | flag) : (nameLengthAndFlags_ & ~flag);
  }
  std::uint32_t nameLength() const { return nameLengthAndFlags_ >> kFlagBits; }
  bool holdsNumber(int cell) const { return (flags() & (1u << (kNumberBit + cell))) != 0; }

  std::uint64_t numberCells_[kNumberCells] = {0, 0, 0};
  TextPool::Id pooled_[kPooledCells] = {};
  std::uint32_t namePosition_ = 0;  // in the list's name chunks
  std::uint32_t nameLengthAndFlags_ = 0;
};

}  // namespace ablagix
