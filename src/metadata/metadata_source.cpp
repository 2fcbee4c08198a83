#include "metadata/metadata_source.h"

#include <array>
#include <cwchar>

#include "base/text.h"
#include "fileops/path_text.h"
#include "metadata/audio_properties.h"
#include "metadata/document_properties.h"
#include "metadata/exif_reader.h"
#include "metadata/radius.h"
#include "metadata/version_resource.h"
#include "profiles/settings.h"

namespace ablagix {
namespace {

template <std::size_t N>
int IndexOf(const std::array<std::wstring_view, N>& names, std::wstring_view name) {
  for (std::size_t i = 0; i < N; ++i) {
    if (names[i] == name) return static_cast<int>(i);
  }
  return -1;
}

constexpr std::array<std::wstring_view, 11> kAudioNames = {
    L"Titel ID", L"Interpret", L"Album", L"Jahr", L"Kommentar ID", L"Genre",
    L"L\u00e4nge", L"Kbit",    L"Hertz", L"Frames", L"Track"};
constexpr std::array<std::wstring_view, 11> kDocumentNames = {
    L"Titel",   L"Betreff",         L"Autor",      L"Markierung", L"Kommentare",   L"Vorlage",
    L"Zuletzt gespeichert von", L"Revision Nummer", L"Seitenzahl", L"Wortanzahl", L"Zeichenanzahl"};
constexpr std::array<int, 11> kDocumentIds = {2, 3, 4, 5, 6, 7, 8, 9, 14, 15, 16};
constexpr std::array<std::wstring_view, 9> kVersionNames = {
    L"Firmenname",  L"Dateibeschreibung",  L"Dateiversion", L"Interner Name", L"Copyright",
    L"Warenzeichen", L"Original Dateiname", L"Produktname", L"Produktversion"};

constexpr std::array<std::wstring_view, 12> kMonthNames = {
    L"Januar", L"Februar", L"M\u00e4rz",    L"April",   L"Mai",      L"Juni",
    L"Juli",   L"August",  L"September", L"Oktober", L"November", L"Dezember"};
constexpr std::array<std::wstring_view, 7> kDayNames = {L"Sonntag",    L"Montag",  L"Dienstag", L"Mittwoch",
                                                        L"Donnerstag", L"Freitag", L"Samstag"};

int DayOfWeek(const LocalDateTime& t) {  // 0 = Sunday
  static constexpr int kOffsets[] = {0, 3, 2, 5, 0, 3, 5, 1, 4, 6, 2, 4};
  const int y = t.month < 3 ? t.year - 1 : t.year;
  return (y + y / 4 - y / 100 + y / 400 + kOffsets[t.month - 1] + t.day) % 7;
}

std::wstring Padded(int value, int width) {
  wchar_t text[16];
  std::swprintf(text, 16, L"%0*d", width, value);
  return text;
}

// "2019.07.14" (year, month, day with dots) as a date.
std::optional<LocalDateTime> ParseDottedDate(std::wstring_view text) {
  const std::vector<std::wstring> parts = Split(text, L'.');
  std::uint64_t year = 0, month = 0, day = 0;
  if (parts.size() != 3 || !ParseWholeNumber(parts[0], &year) || !ParseWholeNumber(parts[1], &month) ||
      !ParseWholeNumber(parts[2], &day)) {
    return std::nullopt;
  }
  if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 ||
      day > static_cast<std::uint64_t>(DaysInMonth(static_cast<int>(year), static_cast<int>(month)))) {
    return std::nullopt;
  }
  LocalDateTime t;
  t.year = static_cast<int>(year);
  t.month = static_cast<int>(month);
  t.day = static_cast<int>(day);
  return t;
}

}  // namespace

MetadataSettings ReadMetadataSettings(const std::wstring& settingsFile) {
  const AppSettings settings = ReadAppSettings(settingsFile);
  return {settings.Kommastelle, settings.Lat, settings.Lon};
}

bool IsPictureFile(std::wstring_view path) {
  const std::wstring_view last = path.substr(path.size() >= 4 ? path.size() - 4 : 0);
  std::wstring upper;
  for (wchar_t c : last) upper.push_back(c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 32) : c);
  return std::wstring_view(L".JPG JPEG .JPE JFIF .GIF .TIF TIFF .PNG").find(upper) != std::wstring_view::npos;
}

std::wstring FormatDatePattern(const LocalDateTime& t, std::wstring_view pattern) {
  std::wstring out;
  bool afterHour = false;
  std::size_t i = 0;
  auto run = [&](wchar_t c) {
    std::size_t n = 0;
    while (i + n < pattern.size() && (pattern[i + n] == c || pattern[i + n] == c - 32)) ++n;
    return n;
  };
  while (i < pattern.size()) {
    const wchar_t c = pattern[i];
    const wchar_t lower = c >= L'A' && c <= L'Z' ? static_cast<wchar_t>(c + 32) : c;
    std::size_t n = (lower == L'y' || lower == L'm' || lower == L'd' || lower == L'h' || lower == L'n' || lower == L's')
                        ? run(lower)
                        : 0;
    if (n == 0) {
      out.push_back(c);
      ++i;
      continue;
    }
    switch (lower) {
      case L'y':
        out += n >= 4 ? Padded(t.year, 4) : Padded(t.year % 100, 2);
        n = n >= 4 ? 4 : 2;
        break;
      case L'm':
        if (afterHour && n <= 2) {
          out += n == 2 ? Padded(t.minute, 2) : NumberText(static_cast<std::uint64_t>(t.minute));
        } else if (n >= 4) {
          out += kMonthNames[static_cast<std::size_t>(t.month - 1)];
          n = 4;
        } else if (n == 3) {
          out += kMonthNames[static_cast<std::size_t>(t.month - 1)].substr(0, 3);
        } else {
          out += n == 2 ? Padded(t.month, 2) : NumberText(static_cast<std::uint64_t>(t.month));
        }
        break;
      case L'd':
        if (n >= 4) {
          out += kDayNames[static_cast<std::size_t>(DayOfWeek(t))];
          n = 4;
        } else if (n == 3) {
          out += kDayNames[static_cast<std::size_t>(DayOfWeek(t))].substr(0, 2);
        } else {
          out += n == 2 ? Padded(t.day, 2) : NumberText(static_cast<std::uint64_t>(t.day));
        }
        break;
      case L'h':
        n = std::min<std::size_t>(n, 2);
        out += n == 2 ? Padded(t.hour, 2) : NumberText(static_cast<std::uint64_t>(t.hour));
        break;
      case L'n':
        n = std::min<std::size_t>(n, 2);
        out += n == 2 ? Padded(t.minute, 2) : NumberText(static_cast<std::uint64_t>(t.minute));
        break;
      default:  // 's'
        n = std::min<std::size_t>(n, 2);
        out += n == 2 ? Padded(t.second, 2) : NumberText(static_cast<std::uint64_t>(t.second));
        break;
    }
    afterHour = lower == L'h';
    i += n;
  }
  return out;
}

FileMetadataSource::FileMetadataSource(MetadataSettings settings) : settings_(std::move(settings)) {
  exif = [](const std::wstring& path, int field) { return GetExifValue(path, field); };
  audio = [](const std::wstring& path, int field) { return AudioFieldValue(path, field); };
  document = [](const std::wstring& path, int id) { return DocumentFieldValue(path, id); };
  version = [](const std::wstring& path, int field) { return VersionFieldValue(path, field); };
}

std::wstring FileMetadataSource::Field(const FieldSource& source, const std::wstring& path, int field) {
  return source ? source(path, field) : L"";
}

std::wstring FileMetadataSource::ExifDate(const std::wstring& path, int field, std::wstring_view pattern,
                                          bool pathMode) {
  std::wstring text = Field(exif, path, field);
  if (text.size() <= 10) return text;
  std::wstring day = text.substr(0, 10);
  for (auto& c : day) {
    if (c == L':') c = L'.';
  }
  const std::optional<LocalDateTime> date = ParseDottedDate(day);
  if (!date) return L"";
  if (!pattern.empty()) return FormatDatePattern(*date, pattern);
  return FormatDatePattern(*date, pathMode ? L"yyyy_mm_dd" : L"dd.mm.yyyy");
}

std::wstring FileMetadataSource::Coordinate(const std::wstring& path, int field) {
  std::wstring text = Field(exif, path, field);
  const std::size_t comma = text.find(L',');
  if (text.size() >= 7 && settings_.decimals < 7 && comma != std::wstring::npos) {
    text = settings_.decimals > 0 ? text.substr(0, comma + 1 + static_cast<std::size_t>(settings_.decimals))
                                  : text.substr(0, comma);
  }
  if (text.size() < 3) return text;
  return SignedDegreesText(text);
}

std::wstring FileMetadataSource::Value(const std::wstring& path, std::wstring_view fullName, bool pathMode) {
  const std::size_t star = fullName.find(L'*');
  const std::wstring_view name = fullName.substr(0, star);
  const std::wstring_view pattern = star == std::wstring_view::npos ? L"" : fullName.substr(star + 1);

  if (name == L"Umkreissuche") {
    // Not limited to picture names: whatever file has coordinates has a distance.
    return DistanceText(settings_.referenceLat, settings_.referenceLon, Field(exif, path, kExifGpsLatitude),
                        Field(exif, path, kExifGpsLongitude));
  }
  int exifField = -1;
  for (int i = 0; i < kExifFieldCount; ++i) {
    if (kExifFieldNames[i] == name) exifField = i;
  }
  if (exifField >= 0 || name == L"L\u00e4ngengrad+Breitengrad") {
    if (!IsPictureFile(path)) return L"";
    switch (exifField) {
      case kExifDateTime:
      case kExifDateTimeOriginal:
      case kExifDateTimeDigitized:
        return ExifDate(path, exifField, pattern, pathMode);
      case kExifGpsLatitude:
      case kExifGpsLongitude:
        return Coordinate(path, exifField);
      case -1: {  // the whole-degree parts of both, longitude first: E7N51
        const std::wstring lon = Field(exif, path, kExifGpsLongitude);
        const std::size_t lonComma = lon.find(L',');
        if (lonComma == std::wstring::npos) return lon;
        const std::wstring lat = Field(exif, path, kExifGpsLatitude);
        const std::size_t latComma = lat.find(L',');
        if (latComma == std::wstring::npos) return lat;
        return lon.substr(0, lonComma) + lat.substr(0, latComma);
      }
      default:
        return Field(exif, path, exifField);
    }
  }
  if (const int i = IndexOf(kAudioNames, name); i >= 0) return Field(audio, path, i);
  if (const int i = IndexOf(kDocumentNames, name); i >= 0) {
    return Field(document, path, kDocumentIds[static_cast<std::size_t>(i)]);
  }
  if (const int i = IndexOf(kVersionNames, name); i >= 0) return Field(version, path, i);
  return L"";
}

}  // namespace ablagix
