// The summary properties of office documents (title, author, page count, ...) as texts,
// numbered by their property ids in the summary-information property set, the numbers that
// path variables and metadata conditions ask for.
//
// These files carry them, recognised by their content, not by their name:
// - OLE2 compound files (.doc, .xls, .ppt, .msg, .msi): the "\005SummaryInformation" stream;
// - OOXML packages (.docx, .xlsx, .pptx): docProps/core.xml and docProps/app.xml;
// - ODF packages (.odt, .ods, .odp): meta.xml;
// - JPEG and TIFF pictures: title, subject, author, keywords and comments as the Windows
//   photo handler reads them (see picture_properties.h);
// - PDF documents: title, author, subject and keywords of the document information.
// MP3 files, known by their name, give their title, artist (as author) and comment tags.
//
//   DocumentFieldValue(L"C:\\Briefe\\Angebot.docx", kDocumentAuthor) -> L"Erika Mustermann"
#pragma once

#include <array>
#include <string>

#include "fileops/byte_source.h"

namespace ablagix {

enum DocumentProperty : int {
  kDocumentTitle = 2,
  kDocumentSubject = 3,
  kDocumentAuthor = 4,
  kDocumentKeywords = 5,
  kDocumentComments = 6,
  kDocumentTemplate = 7,
  kDocumentLastSavedBy = 8,
  kDocumentRevision = 9,
  kDocumentPageCount = 14,
  kDocumentWordCount = 15,
  kDocumentCharacterCount = 16,
};

// All properties of one document; an id that the document lacks has "".
struct DocumentProperties {
  std::array<std::wstring, 17> byId;

  // "" for ids without a property.
  const std::wstring& Get(int propertyId) const;
  bool empty() const;
};

// Reads the document's properties. Several values of one property (keywords given one by one,
// a list of strings) are joined with "; ", numbers are decimal text. Empty for anything that
// is not a file of the kinds above (MP3 files go by their name, see DocumentFieldValue), or
// is damaged.
DocumentProperties ReadDocumentProperties(ByteSource& source);

// One property of a file; "" when the file cannot be read, is no such document, lacks the
// property, or the id is not one of the enumerated ones.
std::wstring DocumentFieldValue(const std::wstring& path, int propertyId);

}  // namespace ablagix
