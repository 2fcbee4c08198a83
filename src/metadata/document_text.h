// The text of documents for the text condition: web pages (HTML, MHT), mails (EML), RTF,
// Office Open XML and OpenDocument packages, PDF documents by their text layer (see
// pdf_text.h), and the old binary office formats by their runs of readable characters.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "fileops/byte_source.h"
#include "metadata/text_search.h"

namespace ablagix {

class DocumentTexts : public DocumentTextSource {
 public:
  // Chooses the reader by the file's extension; nullopt for a format it cannot read.
  std::optional<std::wstring> Text(const std::wstring& path) override;
  bool Reads(const std::wstring& path) const override;
  // Office packages are searched while they are inflated, old binary documents stop after
  // their single-byte runs when those already meet the query.
  bool Meets(const std::wstring& path, const TextQuery& query) override;
};

// The readers on the file's bytes, usable on their own.
std::wstring HtmlText(std::string_view bytes);  // UTF-8 when the page says so, else Windows-1252
std::wstring HtmlTextAs(std::string_view bytes, bool utf8);
std::wstring MimeText(std::string_view bytes);  // EML and MHT: headers' subject and every text part
std::wstring RtfText(std::string_view bytes);
// Runs of at least four readable characters, as single bytes (Windows-1252) and as UTF-16LE.
std::wstring StringRuns(std::string_view bytes);
// The words of an Office Open XML or OpenDocument package.
std::wstring PackagedText(ByteSource& source);
// Whether the words of a package meet the query (which must be bytewise), searched as its
// parts are inflated; reading stops as soon as they do. A part whose check sum fails after
// the words were found still counts, as its end is never read.
bool PackageMeets(ByteSource& source, const TextQuery& query);

}  // namespace ablagix
