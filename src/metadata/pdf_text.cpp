#include "metadata/pdf_text.h"

#include <string>
#include <string_view>

#include "base/text.h"
#include "metadata/pdf/pdf_internal.h"

namespace ablagix {
namespace {

// A text string of the document information: UTF-16 big-endian after FE FF, UTF-8 after
// EF BB BF, otherwise PDFDocEncoding (Latin-1 with typographic characters in 18..1F and
// 80..A0).
std::wstring TextString(std::string_view bytes) {
  if (bytes.starts_with("\xFE\xFF")) return FromUtf16(pdf::Utf16Be(bytes.substr(2)));
  if (bytes.starts_with("\xEF\xBB\xBF")) return FromUtf8(bytes.substr(3));
  static constexpr char16_t kLow[8] = {0x02D8, 0x02C7, 0x02C6, 0x02D9, 0x02DD, 0x02DB, 0x02DA, 0x02DC};
  static constexpr char16_t kHigh[33] = {
      0x2022, 0x2020, 0x2021, 0x2026, 0x2014, 0x2013, 0x0192, 0x2044, 0x2039, 0x203A, 0x2212,
      0x2030, 0x201E, 0x201C, 0x201D, 0x2018, 0x2019, 0x201A, 0x2122, 0xFB01, 0xFB02, 0x0141,
      0x0152, 0x0160, 0x0178, 0x017D, 0x0131, 0x0142, 0x0153, 0x0161, 0x017E, 0xFFFD, 0x20AC};
  std::u16string text;
  for (char byte : bytes) {
    const auto b = static_cast<unsigned char>(byte);
    if (b >= 0x18 && b <= 0x1F) {
      text.push_back(kLow[b - 0x18]);
    } else if (b >= 0x80 && b <= 0xA0) {
      text.push_back(kHigh[b - 0x80]);
    } else {
      text.push_back(static_cast<char16_t>(b));
    }
  }
  return FromUtf16(text);
}

}  // namespace

std::optional<PdfInfo> ReadPdfInfo(ByteSource& source, std::uint64_t sizeLimit) {
  if (source.size() > sizeLimit) return std::nullopt;
  std::string bytes;
  if (!source.Read(0, static_cast<std::size_t>(source.size()), &bytes)) return std::nullopt;
  pdf::Document document(bytes, static_cast<std::size_t>(sizeLimit));
  if (!document.Open()) return std::nullopt;
  auto text = [&](std::string_view key) {
    std::wstring value = TextString(document.InfoString(key));
    return value.substr(0, value.find(L'\0'));
  };
  return PdfInfo{text("Title"), text("Author"), text("Subject"), text("Keywords")};
}

std::optional<std::wstring> PdfText(ByteSource& source, std::uint64_t sizeLimit) {
  if (source.size() > sizeLimit) return std::nullopt;
  std::string bytes;
  if (!source.Read(0, static_cast<std::size_t>(source.size()), &bytes)) return std::nullopt;
  pdf::Document document(bytes, static_cast<std::size_t>(sizeLimit));
  if (!document.Open()) return std::nullopt;
  return FromUtf16(document.Text());
}

bool ReadPdfText(ByteSource& source, const std::function<bool(std::u16string_view)>& onPage,
                 std::uint64_t sizeLimit) {
  if (source.size() > sizeLimit) return false;
  std::string bytes;
  if (!source.Read(0, static_cast<std::size_t>(source.size()), &bytes)) return false;
  pdf::Document document(bytes, static_cast<std::size_t>(sizeLimit));
  if (!document.Open()) return false;
  document.Text(&onPage);
  return true;
}

}  // namespace ablagix
