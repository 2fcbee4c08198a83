// The Exif fields of a picture as display texts: dates, camera, size, exposure, flash and the
// GPS position. The reader finds the picture's property items itself (JPEG with an Exif
// segment, TIFF and the raw formats built on it, PNG with an eXIf or tIME chunk) and reports
// them as the Windows imaging library does: tag, type and the value bytes in little-endian
// order. Pixels are never decoded.
//
//   GetExifValue(L"C:\\Fotos\\IMG_0001.JPG", kExifFocalLength) -> L"50,0mm"
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fileops/byte_source.h"

namespace ablagix {

// Types of a property item.
enum PropertyType : std::uint16_t {
  kPropertyByte = 1,
  kPropertyAscii = 2,
  kPropertyShort = 3,
  kPropertyLong = 4,
  kPropertyRational = 5,
  kPropertyUndefined = 7,
  kPropertySignedLong = 9,
  kPropertySignedRational = 10,
};

struct PropertyItem {
  std::uint32_t id = 0;
  std::uint16_t type = 0;
  std::string value;  // little-endian elements; its size is the item's length
};

// The property items of the first image directory, its Exif directory and its GPS directory
// (GPS tags keep their own small numbers), each tag once. Empty for anything that is not a
// picture with such items; never more than a few thousand items.
std::vector<PropertyItem> ReadPropertyItems(ByteSource& source);
// The same for a file; empty when it cannot be read.
std::vector<PropertyItem> ReadPictureProperties(const std::wstring& path);

// The raw display text of an item: ASCII trimmed (up to its first zero), the first byte,
// short or long as signed decimals, rationals as "n/d" pairs separated by blanks, undefined
// bytes as upper-case hexadecimal pairs separated by blanks; "" for other types.
std::wstring PropertyRawText(const PropertyItem& item);

// The numbered Exif fields.
enum ExifField : int {
  kExifDateTime = 0,
  kExifDateTimeOriginal = 1,
  kExifDateTimeDigitized = 2,
  kExifOrientation = 3,
  kExifMake = 4,
  kExifModel = 5,
  kExifPixelXDimension = 6,
  kExifPixelYDimension = 7,
  kExifFlash = 8,
  kExifIsoSpeed = 9,
  kExifExposureTime = 10,
  kExifXResolution = 11,
  kExifYResolution = 12,
  kExifFNumber = 13,
  kExifFocalLength = 14,
  kExifWhiteBalance = 15,
  kExifCompressedBitsPerPixel = 16,
  kExifUserComment = 17,
  kExifGpsLatitude = 18,
  kExifGpsLongitude = 19,
  kExifFieldCount = 20,
};

// The names under which path variables and the command line show the fields, by number.
inline constexpr std::wstring_view kExifFieldNames[kExifFieldCount] = {
    L"Datum",       L"Datum Original", L"Datum Digitalisierung", L"Ausrichtung",    L"Hersteller",
    L"Model",       L"Breite",         L"H\u00f6he",            L"Blitz",          L"Iso",
    L"Belichtung",  L"X-Aufl\u00f6sung", L"Y-Aufl\u00f6sung",  L"Blende",         L"Brennweite",
    L"Wei\u00dfabgleich", L"Komprimierung", L"Kommentar",       L"Breitengrad",    L"L\u00e4ngengrad",
};

// The text of one field from a picture's items; "" when the picture lacks it, the number is
// outside 0..19, or a value cannot be converted (a zero denominator).
std::wstring ExifFieldText(const std::vector<PropertyItem>& items, int field);
// Reads the picture for every call; "" when it is not readable.
std::wstring GetExifValue(const std::wstring& path, int field);

// The texts of the conversions, usable on their own.
std::wstring OrientationText(std::wstring_view raw);
std::wstring FlashText(std::wstring_view raw);
// Rational as number: `decimals` < 0 gives the shortest text of the single-precision value,
// otherwise exactly that many decimals. Decimal comma. A text without "/" is returned as it is.
std::wstring RationalNumberText(std::wstring_view raw, int decimals);
// "N51,50333" from the Ref text and three rationals.
std::wstring GpsPositionText(std::wstring_view ref, std::wstring_view raw);

}  // namespace ablagix
