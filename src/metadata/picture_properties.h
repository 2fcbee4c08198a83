// The summary properties of a JPEG or TIFF picture (title, subject, author, keywords,
// comments) where the Windows photo handler reads them: the fields Windows itself writes into
// the Exif block (XPTitle, XPSubject, XPAuthor, XPKeywords, XPComment), the classic Exif
// texts (ImageDescription, Artist, UserComment) and the picture's XMP packet (dc:title,
// dc:creator, dc:subject, dc:description, exif:UserComment, tiff:Artist).
//
//   FileByteSource file;
//   if (file.Open(L"D:\\Fotos\\IMG_0001.JPG")) std::wstring who = ReadPictureSummary(file).author;
#pragma once

#include <string>
#include <string_view>

#include "fileops/byte_source.h"

namespace ablagix {

// Each field is the first source that has it, in the photo handler's order; several authors
// or keywords are joined with "; ", keywords from Exif and XMP merged. Empty where the
// picture has nothing, and for anything that is no JPEG or TIFF.
struct PictureSummary {
  std::wstring title;
  std::wstring subject;
  std::wstring author;
  std::wstring keywords;
  std::wstring comments;
};
PictureSummary ReadPictureSummary(ByteSource& source);

// The XMP packet of a JPEG (its APP1 segment named "http://ns.adobe.com/xap/1.0/") or of a
// TIFF (tag 700); "" when there is none.
std::string PictureXmpPacket(ByteSource& source);

}  // namespace ablagix
