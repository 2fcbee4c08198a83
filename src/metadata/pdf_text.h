// The text layer of PDF documents, for the text condition: what the pages show as text, in
// page order. Scanned pages (pictures only) have no text layer and give nothing.
//
//   FileByteSource file;
//   if (file.Open(path)) std::optional<std::wstring> text = PdfText(file);
//
// The reader understands cross-reference tables and streams, object streams, incremental
// updates and the Flate, ASCIIHex and ASCII85 filters; when the cross-reference data is
// broken, it finds the objects by scanning the file. Characters are decoded through a font's
// ToUnicode map when it has one, else through its simple encoding (WinAnsi, MacRoman,
// Standard, with Differences by glyph name). Composite fonts without a ToUnicode map give
// nothing, as their codes mean nothing without the embedded font program.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "fileops/byte_source.h"
#include "metadata/text_search.h"

namespace ablagix {

// The text of all pages, pages separated by "\n"; lines become "\n" and gaps between words a
// space. nullopt when the bytes are no PDF, when the document is encrypted (its strings and
// streams cannot be read without the key), or when it is larger than `sizeLimit`. Everything
// decompressed together stays below `sizeLimit` as well.
std::optional<std::wstring> PdfText(ByteSource& source, std::uint64_t sizeLimit = kDocumentSizeLimit);

// The same page by page, for a search that can stop early: `onPage` gets what each page adds
// to the text (from the second page on, the "\n" between pages first) and returns false to
// stop. False where PdfText gives nullopt.
bool ReadPdfText(ByteSource& source, const std::function<bool(std::u16string_view added)>& onPage,
                 std::uint64_t sizeLimit = kDocumentSizeLimit);

// The document information of a PDF as Windows shows its summary properties. A field the
// document lacks is empty.
struct PdfInfo {
  std::wstring title;
  std::wstring author;
  std::wstring subject;
  std::wstring keywords;
};
// nullopt where PdfText gives nullopt (no PDF, encrypted, too large).
std::optional<PdfInfo> ReadPdfInfo(ByteSource& source, std::uint64_t sizeLimit = kDocumentSizeLimit);

}  // namespace ablagix
