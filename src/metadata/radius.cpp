#include "metadata/radius.h"

#include <cmath>
#include <cstdio>

#include "base/text.h"
#include "base/ui_port.h"
#include "metadata/exif_reader.h"
#include "profiles/settings.h"

namespace ablagix {
namespace {

// The program's own value of pi and of the Earth's radius; distances shown by earlier
// versions stay the same.
constexpr double kPi = 3.14159265358979;
constexpr double kEarthRadiusKm = 6367.0;

}  // namespace

double DegreesToRadians(double degrees) { return degrees * kPi / 180.0; }

double GetDistanceKm(double lat1, double lon1, double lat2, double lon2) {
  const double a = DegreesToRadians(lat1);
  const double b = DegreesToRadians(lon1);
  const double c = DegreesToRadians(lat2);
  const double d = DegreesToRadians(lon2);
  const double x = std::cos(b - d) * std::cos(a) * std::cos(c) + std::sin(c) * std::sin(a);
  if (x == 0) return std::nan("");
  double square = 1 - x * x;
  // The same point twice can come out a hair above 1; that is distance 0, not a fault.
  if (square < 0 && square > -1e-12) square = 0;
  if (square < 0) return std::nan("");
  double angle = std::atan(std::fabs(std::sqrt(square) / x));
  if (x < 0) angle = kPi - angle;
  return angle * kEarthRadiusKm;
}

std::wstring SignedDegreesText(std::wstring_view text) {
  if (!text.empty() && (text.front() == L'N' || text.front() == L'E')) return std::wstring(text.substr(1));
  if (!text.empty() && (text.front() == L'S' || text.front() == L'W')) return L"-" + std::wstring(text.substr(1));
  return std::wstring(text);
}

std::optional<double> ParseDecimalComma(std::wstring_view text) {
  text = Trim(text);
  std::string ascii;
  for (wchar_t c : text) {
    if (c == L',') {
      ascii.push_back('.');
    } else if ((c >= L'0' && c <= L'9') || c == L'-' || c == L'+') {
      ascii.push_back(static_cast<char>(c));
    } else {
      return std::nullopt;
    }
  }
  if (ascii.empty()) return std::nullopt;
  char* end = nullptr;
  const double value = std::strtod(ascii.c_str(), &end);
  if (end != ascii.c_str() + ascii.size() || !std::isfinite(value)) return std::nullopt;
  return value;
}

std::wstring ThreeDecimals(double value) {
  const double rounded = std::round(value * 1000.0) / 1000.0;
  char text[64];
  std::snprintf(text, sizeof text, "%.3f", rounded);
  std::wstring out;
  for (const char* c = text; *c; ++c) out.push_back(*c == '.' ? L',' : static_cast<wchar_t>(*c));
  return out == L"-0,000" ? L"0,000" : out;
}

std::wstring DistanceText(std::wstring_view referenceLat, std::wstring_view referenceLon,
                          std::wstring_view pictureLat, std::wstring_view pictureLon) {
  if (pictureLat.size() < 3 || pictureLon.size() < 3) return L"";
  // Reference texts of two characters or fewer are taken as they are (and are no number).
  auto reference = [](std::wstring_view text) {
    return text.size() > 2 ? SignedDegreesText(text) : std::wstring(text);
  };
  const auto lat1 = ParseDecimalComma(reference(referenceLat));
  const auto lon1 = ParseDecimalComma(reference(referenceLon));
  const auto lat2 = ParseDecimalComma(SignedDegreesText(pictureLat));
  const auto lon2 = ParseDecimalComma(SignedDegreesText(pictureLon));
  if (!lat1 || !lon1 || !lat2 || !lon2) return L"";
  const double km = GetDistanceKm(*lat1, *lon1, *lat2, *lon2);
  return std::isnan(km) ? L"" : ThreeDecimals(km);
}

std::optional<ReferencePoint> ReferencePointFromPicture(const std::wstring& picture, UiPort& ui) {
  const std::vector<PropertyItem> items = ReadPictureProperties(picture);
  ReferencePoint point{ExifFieldText(items, kExifGpsLatitude), ExifFieldText(items, kExifGpsLongitude), picture};
  if (point.lat.empty() || point.lon.empty()) {
    ui.ShowMessage(std::wstring(kNoCoordinatesInPicture), MessageIcon::Information, MessageButtons::Ok);
    return std::nullopt;
  }
  return point;
}

bool StoreReferencePoint(const ReferencePoint& point, const std::wstring& settingsFile, UiPort& ui) {
  if (point.lat.empty() || point.lon.empty()) {
    ui.ShowMessage(std::wstring(kNoCoordinatesTyped), MessageIcon::Information, MessageButtons::Ok);
    return false;
  }
  return WriteAppSetting(settingsFile, L"Lat", point.lat) && WriteAppSetting(settingsFile, L"Lon", point.lon) &&
         WriteAppSetting(settingsFile, L"RefPicture", point.picture);
}

}  // namespace ablagix
