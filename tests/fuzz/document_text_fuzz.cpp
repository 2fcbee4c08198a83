// Fuzz target: any bytes as a web page, a mail, an RTF document, an old binary document and an
// office package, the package also searched while it is inflated.
// The text readers must neither crash nor hang nor read outside the bytes, and the search
// while inflating must find whatever the whole text of the package holds.
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "metadata/document_text.h"
#include "metadata/text_matcher.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace ablagix;
  static const TextQuery kQueries[] = {TextQuery(ParseSearchTerms(L"rechnung"), false),
                                       TextQuery(ParseSearchTerms(L"M\u00fcller+a b"), false),
                                       TextQuery(ParseSearchTerms(L"x|Y"), true)};
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  (void)HtmlText(bytes);
  (void)MimeText(bytes);
  (void)RtfText(bytes);
  (void)StringRuns(bytes);
  MemoryByteSource package(bytes);
  const std::wstring text = PackagedText(package);
  for (const TextQuery& query : kQueries) {
    std::vector<bool> found(query.terms().terms.size(), false);
    // Only a part damaged after the words may add a find; none may be lost.
    if (!text.empty() && query.MetBy(text, &found) && !PackageMeets(package, query)) __builtin_trap();
  }
  return 0;
}
