#include "fileops/text_file.h"

#include "base/text.h"
#include "fileops/file_ops.h"

namespace ablagix {
namespace {

// UTF-16LE without a mark: of the first pairs of bytes, most have a zero second byte (Latin
// letters) and none is a zero pair (which text never holds).
bool LooksLikeUtf16Le(std::string_view bytes) {
  if (bytes.size() < 2 || bytes.size() % 2 != 0) return false;
  std::size_t pairs = 0;
  std::size_t zeroHigh = 0;
  for (std::size_t i = 0; i + 1 < bytes.size() && pairs < 512; i += 2, ++pairs) {
    if (bytes[i] == '\0' && bytes[i + 1] == '\0') return false;
    if (bytes[i + 1] == '\0') ++zeroHigh;
  }
  return zeroHigh * 2 > pairs;
}

bool IsValidUtf8WithNonAscii(std::string_view bytes) {
  bool beyondAscii = false;
  for (std::size_t i = 0; i < bytes.size();) {
    const auto c = static_cast<unsigned char>(bytes[i]);
    std::size_t length = c < 0x80 ? 1 : (c & 0xE0) == 0xC0 ? 2 : (c & 0xF0) == 0xE0 ? 3 : (c & 0xF8) == 0xF0 ? 4 : 0;
    if (length == 0 || (length == 2 && c < 0xC2) || i + length > bytes.size()) return false;
    for (std::size_t k = 1; k < length; ++k) {
      if ((static_cast<unsigned char>(bytes[i + k]) & 0xC0) != 0x80) return false;
    }
    beyondAscii = beyondAscii || length > 1;
    i += length;
  }
  return beyondAscii;
}

}  // namespace

std::wstring DecodeTextFile(std::string_view bytes) {
  if (bytes.starts_with("\xFF\xFE")) return FromUtf16LeBytes(bytes.substr(2));
  if (bytes.starts_with("\xEF\xBB\xBF")) return FromUtf8(bytes.substr(3));
  if (bytes.starts_with("\xFE\xFF")) {
    std::string swapped(bytes.substr(2, (bytes.size() - 2) & ~std::size_t{1}));
    for (std::size_t i = 0; i + 1 < swapped.size(); i += 2) std::swap(swapped[i], swapped[i + 1]);
    return FromUtf16LeBytes(swapped);
  }
  if (LooksLikeUtf16Le(bytes)) return FromUtf16LeBytes(bytes);
  if (IsValidUtf8WithNonAscii(bytes)) return FromUtf8(bytes);
  return FromWindows1252(bytes);
}

bool ReadTextFile(const std::wstring& path, std::wstring* text) {
  std::string bytes;
  if (!ReadFileBytes(path, &bytes)) return false;
  *text = DecodeTextFile(bytes);
  return true;
}

}  // namespace ablagix
