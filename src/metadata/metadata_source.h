// The metadata values behind the path variable names: Exif fields of pictures (dates,
// coordinates, the distance from the reference point), audio tags, document properties and
// version information. Target folders and metadata conditions ask for them by name.
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "base/calendar.h"
#include "metadata/path_variables.h"

namespace ablagix {

// What the settings contribute to the values.
struct MetadataSettings {
  int decimals = 7;           // Kommastelle: decimal places kept of a coordinate (7 keeps all)
  std::wstring referenceLat;  // Lat, the reference point of the distance
  std::wstring referenceLon;  // Lon
};

// The values of the settings file (Kommastelle, Lat, Lon).
MetadataSettings ReadMetadataSettings(const std::wstring& settingsFile);

// A source of numbered fields of one file; "" when the file has none.
using FieldSource = std::function<std::wstring(const std::wstring& path, int field)>;

class FileMetadataSource : public MetadataSource {
 public:
  explicit FileMetadataSource(MetadataSettings settings);

  // `fullName` may carry a date pattern after "*" (only the Exif dates use it). `pathMode`
  // chooses the date form of those: "yyyy_mm_dd" in a path, "dd.mm.yyyy" in a condition.
  std::wstring Value(const std::wstring& path, std::wstring_view fullName, bool pathMode) override;

  // The readers behind the names; tests put tables in their place. An empty one gives "".
  FieldSource exif;      // the Exif reader
  FieldSource audio;     // the MP3 reader: fields 0..10, in the order of the audio names
  FieldSource document;  // document properties: summary property ids 2..9 and 14..16
  FieldSource version;   // the version resource: fields 0..8, in the order of the version names

 private:
  std::wstring ExifDate(const std::wstring& path, int field, std::wstring_view pattern, bool pathMode);
  std::wstring Coordinate(const std::wstring& path, int field);
  std::wstring Field(const FieldSource& source, const std::wstring& path, int field);

  MetadataSettings settings_;
};

// Whether Exif values are read from the file at all: its last four characters, upper-cased,
// occur in ".JPG JPEG .JPE JFIF .GIF .TIF TIFF .PNG".
bool IsPictureFile(std::wstring_view path);

// A date in a pattern of the old runtime's Format: yyyy yy mmmm mmm mm m dddd ddd dd d hh h
// nn n ss s ("m" right after an hour means minutes); other characters stand for themselves.
std::wstring FormatDatePattern(const LocalDateTime& t, std::wstring_view pattern);

}  // namespace ablagix
