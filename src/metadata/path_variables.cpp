#include "metadata/path_variables.h"

#include <cstdio>

#include "base/text.h"
#include "fileops/path_text.h"
#include "metadata/metadata_source.h"

namespace ablagix {
namespace {


std::wstring TwoDigits(int n) {
  wchar_t buffer[8];
  std::swprintf(buffer, 8, L"%02d", n);
  return buffer;
}

// "YYYY", "YYYY_MM" or "YYYY_MM_DD" by the name's ending.
std::wstring FormatDate(const LocalDateTime& t, std::wstring_view suffix) {
  std::wstring out = NumberText(static_cast<std::uint64_t>(t.year));
  if (suffix == L"YYYYMM" || suffix == L"YYYYMMDD") out += L"_" + TwoDigits(t.month);
  if (suffix == L"YYYYMMDD") out += L"_" + TwoDigits(t.day);
  return out;
}

bool IsDateName(std::wstring_view name, std::wstring_view prefix) {
  if (!name.starts_with(prefix)) return false;
  std::wstring_view suffix = name.substr(prefix.size());
  return suffix == L"YYYY" || suffix == L"YYYYMM" || suffix == L"YYYYMMDD";
}

bool IsNamePiece(std::wstring_view name) { return name.starts_with(L"DateiNameTeil["); }

// Characters a to b (counted from 1) of the file name without folder and extension.
std::wstring NamePiece(std::wstring_view name, const std::wstring& path) {
  std::wstring_view range = name.substr(14);
  size_t dash = range.find(L'-');
  size_t close = range.find(L']');
  if (dash == std::wstring_view::npos || close == std::wstring_view::npos || close < dash) return {};
  std::uint64_t a = 0, b = 0;
  if (!ParseWholeNumber(range.substr(0, dash), &a) || !ParseWholeNumber(range.substr(dash + 1, close - dash - 1), &b)) {
    return {};
  }
  std::wstring base = NamePart(path);
  size_t dot = base.rfind(L'.');
  if (dot != std::wstring::npos) base.resize(dot);
  if (a == 0 || b < a || a > base.size()) return {};
  return base.substr(static_cast<size_t>(a - 1), static_cast<size_t>(b - a + 1));
}

// Names whose values come from reading the file's metadata.
constexpr std::wstring_view kMetadataNames[] = {
    L"Datum", L"Datum Original", L"Datum Digitalisierung", L"Ausrichtung", L"Hersteller", L"Model",
    L"Breite", L"H\u00f6he", L"Blitz", L"Iso", L"Belichtung", L"X-Aufl\u00f6sung", L"Y-Aufl\u00f6sung",
    L"Blende", L"Brennweite", L"Wei\u00dfabgleich", L"Komprimierung", L"Kommentar", L"Breitengrad",
    L"L\u00e4ngengrad", L"L\u00e4ngengrad+Breitengrad", L"Umkreissuche", L"Titel ID", L"Interpret",
    L"Album", L"Jahr", L"Kommentar ID", L"Genre", L"L\u00e4nge", L"Kbit", L"Hertz", L"Frames", L"Track",
    L"Titel", L"Betreff", L"Autor", L"Markierung", L"Kommentare", L"Vorlage",
    L"Zuletzt gespeichert von", L"Revision Nummer", L"Seitenzahl", L"Wortanzahl", L"Zeichenanzahl",
    L"Firmenname", L"Dateibeschreibung", L"Dateiversion", L"Interner Name", L"Copyright",
    L"Warenzeichen", L"Original Dateiname", L"Produktname", L"Produktversion"};

bool IsMetadataName(std::wstring_view name) {
  for (std::wstring_view known : kMetadataNames) {
    if (name == known) return true;
  }
  return false;
}

// Makes a resolved value usable as one folder or file name.
std::wstring Safe(std::wstring value) {
  for (auto& c : value) {
    // A "\\" from a Linux name counts as what it is, a character Windows names cannot hold.
    if (c < 0x20 || c == L':' || c == L'\\' || c == L'/' || c == L'*' || c == L'?' || c == L'"' ||
        c == L'<' || c == L'>' || c == L'|' || (IsNameByte(c) && NameByteOf(c) == '\\')) {
      c = L'_';
    }
  }
  if (value == L"." || value == L"..") value = L"_";
  return value;
}

}  // namespace

std::wstring ResolvePathVariable(std::wstring_view fullName, const FileFacts& file,
                                 const PathVariableContext& context, bool pathMode) {
  std::wstring_view name = fullName;
  if (!IsNamePiece(name)) name = name.substr(0, name.find(L'*'));
  std::wstring value;
  if (IsDateName(name, L"DateGA")) {
    value = FormatDate(FileTimeToLocal(file.lastWrite), name.substr(6));
  } else if (IsDateName(name, L"DateEA")) {
    value = FormatDate(FileTimeToLocal(file.creation), name.substr(6));
  } else if (name == L"Curdate") {
    value = FormatDate(context.today, L"YYYYMMDD");
  } else if (name == kChangedDateName || name == kCreatedDateName) {
    // "%Geändert*yyyy-mm-dd%": the pattern follows the "*"; without one the folder form.
    const std::size_t star = fullName.find(L'*');
    const std::wstring_view pattern = star == std::wstring_view::npos ? L"yyyy_mm_dd" : fullName.substr(star + 1);
    const FileTime time = name == kChangedDateName ? file.lastWrite : file.creation;
    if (time != 0) value = FormatDatePattern(FileTimeToLocal(time), pattern);
  } else if (name == L"Name") {
    value = NamePart(file.path);
    const std::size_t dot = value.rfind(L'.');
    if (dot != std::wstring::npos) value.resize(dot);
  } else if (name == L"Ordner") {
    value = NamePart(WithoutTrailingSeparator(FolderPart(file.path)));
  } else if (name == L"Ext") {
    const std::wstring fileName = NamePart(file.path);
    size_t dot = fileName.rfind(L'.');
    if (dot != std::wstring::npos) value = fileName.substr(dot + 1);
  } else if (name == L"FileSizeMB") {
    value = NumberText(file.size / 1048576) + L"Mb";
  } else if (name == L"FileSizeKB") {
    value = NumberText(file.size / 1024) + L"Kb";
  } else if (IsNamePiece(name)) {
    value = NamePiece(name, file.path);
  } else if (context.metadata && IsMetadataName(name)) {
    value = context.metadata->Value(file.path, fullName, pathMode);
    if (name == L"Umkreissuche") return value;  // a distance: neither "Unbekannt" nor ":" steps
  }
  if (value.empty()) value = kUnknownValue;
  for (auto& c : value) {
    if (c == L':') c = L'_';
  }
  return value;
}

std::wstring ExpandPathVariables(std::wstring_view text, const FileFacts& file,
                                 const PathVariableContext& context) {
  std::wstring out;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t open = text.find(L'%', pos);
    size_t close = open == std::wstring_view::npos ? open : text.find(L'%', open + 1);
    if (close == std::wstring_view::npos) {
      out += text.substr(pos);
      break;
    }
    out += text.substr(pos, open - pos);
    out += Safe(ResolvePathVariable(text.substr(open + 1, close - open - 1), file, context, true));
    pos = close + 1;
  }
  return out;
}

ValueShape ShapeOfPathVariable(std::wstring_view name) {
  if (IsNamePiece(name)) return ValueShape::kAny;
  name = name.substr(0, name.find(L'*'));
  for (std::wstring_view prefix : {std::wstring_view(L"DateGA"), std::wstring_view(L"DateEA")}) {
    if (!IsDateName(name, prefix)) continue;
    const std::wstring_view suffix = name.substr(prefix.size());
    if (suffix == L"YYYY") return ValueShape::kYear;
    return suffix == L"YYYYMM" ? ValueShape::kYearMonth : ValueShape::kYearMonthDay;
  }
  if (name == L"Curdate") return ValueShape::kYearMonthDay;
  if (name == L"FileSizeMB") return ValueShape::kMegabytes;
  if (name == L"FileSizeKB") return ValueShape::kKilobytes;
  return ValueShape::kAny;
}

bool NeedsMetadata(std::wstring_view text) {
  size_t pos = 0;
  for (;;) {
    size_t open = text.find(L'%', pos);
    if (open == std::wstring_view::npos) return false;
    size_t close = text.find(L'%', open + 1);
    if (close == std::wstring_view::npos) return false;
    std::wstring_view name = text.substr(open + 1, close - open - 1);
    if (IsMetadataName(name.substr(0, name.find(L'*')))) return true;
    pos = close + 1;
  }
}

}  // namespace ablagix
