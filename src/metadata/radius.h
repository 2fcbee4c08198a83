// Distances between GPS positions, for selecting pictures by the place where they were taken,
// and the reference point those distances are measured from.
//
// Positions come as the texts of the Exif reader: a hemisphere letter and decimal degrees
// with a decimal comma ("N51,50333", "W0,1275").
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace ablagix {

class UiPort;

double DegreesToRadians(double degrees);

// The great-circle distance in kilometres on a sphere of radius 6367 km, by the spherical law
// of cosines with the arc cosine taken through the arc tangent. NaN when the formula fails
// (two points a quarter of the globe apart divide by zero).
double GetDistanceKm(double lat1, double lon1, double lat2, double lon2);

// "N51,5" -> "51,5", "S33,86" -> "-33,86" (likewise E and W); other texts unchanged.
std::wstring SignedDegreesText(std::wstring_view text);
// A decimal-comma number ("-33,86", "7"); nullopt when the text is not one.
std::optional<double> ParseDecimalComma(std::wstring_view text);
// Three decimals, decimal comma, halves away from zero: 12.3456 -> "12,346".
std::wstring ThreeDecimals(double value);

// The distance text of a picture from the reference point, all four as position texts; "" when
// any of them is missing or too short, or the distance cannot be computed.
std::wstring DistanceText(std::wstring_view referenceLat, std::wstring_view referenceLon,
                          std::wstring_view pictureLat, std::wstring_view pictureLon);

//--- The reference point on the settings page

inline constexpr std::wstring_view kReferencePictureTitle = L"Neue IniDatei laden";
inline constexpr std::wstring_view kReferencePictureFilter =
    L"Bild-Dateien|*.jpg*;*.JPEG;*.JPE;*.JFIF;*.GIF;*.TIF;*. TIFF;*.PNG";
inline constexpr std::wstring_view kNoCoordinatesInPicture =
    L"Das Bild enth\u00e4lt keine Exif-Koordinaten!\r\nBitte w\u00e4hlen Sie ein anderes Referenzbild aus.";
inline constexpr std::wstring_view kNoCoordinatesTyped =
    L"Es sind keine Exif-Koordinaten vorhanden!\r\nBitte Geben Sie die Koordinaten ein!.";

struct ReferencePoint {
  std::wstring lat;
  std::wstring lon;
  std::wstring picture;  // "" when typed in
};

// The GPS position of a chosen reference picture; tells the user and gives nullopt when the
// picture has none.
std::optional<ReferencePoint> ReferencePointFromPicture(const std::wstring& picture, UiPort& ui);

// Stores the point in the settings file; tells the user and stores nothing when a coordinate
// is missing.
bool StoreReferencePoint(const ReferencePoint& point, const std::wstring& settingsFile, UiPort& ui);

}  // namespace ablagix
