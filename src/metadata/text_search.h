// The condition "Datei enthält Text": does a file contain the search words? Plain files are
// searched in their bytes, in the encoding their byte-order mark names (Windows-1252 without
// one), with the result of reading them in blocks of 4096 bytes and searching the decoded
// text of each block together with the end of the one before; documents (office, PDF, web
// pages, mails) are first turned into text; programs, pictures, audio and video are never
// searched.
//
// The search text holds the words: "Rechnung+2024" needs both, "Rechnung|Quittung" one of
// them.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fileops/file_system_seam.h"

namespace ablagix {

struct SearchTerms {
  std::vector<std::wstring> terms;
  bool all = false;    // "+": every term must occur
  std::wstring whole;  // the search text as typed
};
SearchTerms ParseSearchTerms(std::wstring_view textSuche);

class TextQuery;  // text_matcher.h: the search terms prepared for searching bytes

// Turns a document into its text; nullopt when it cannot.
class DocumentTextSource {
 public:
  virtual ~DocumentTextSource() = default;
  virtual std::optional<std::wstring> Text(const std::wstring& path) = 0;
  // Whether a reader for this kind of file exists. The document list is searched as text
  // ("h" counts as listed because "html" is), so a source header, a TypeScript file or a
  // playlist lands on it; no reader knows them, and they are plain text.
  virtual bool Reads(const std::wstring& /*path*/) const { return true; }
  // Whether the document's text meets the query. Sources that can stop reading once the
  // query is met override it; by default the whole text is taken and searched.
  virtual bool Meets(const std::wstring& path, const TextQuery& query);
};

inline constexpr std::wstring_view kNeverSearched =
    L"exe;dll;sys;com;ocx;pif;oca;jpg;bmp;gif;ico;png;cdr;mp4;mpg;mp3;wav;wmf;emf;cur;dib;mpeg;vob;ogg;avi;"
    L"wma;mid;cda;drv;divx;wmv";
inline constexpr std::wstring_view kDocumentExtensions =
    L"docx;dotx;odt;ods;sxw;stw;ott;ots;otp;odp;odg;pdf;rtf;xls;xlsx;doc;ptx;ppt;sxc;sxi;sxd;wj2;wj3;wk3;wk4;123;"
    L"wri;mht;html;eml";
inline constexpr std::uint64_t kDocumentSizeLimit = 100000000;

struct TextSearchOptions {
  bool caseSensitive = false;  // the overload that takes a TextQuery uses the query's
  // Documents go through this; null reads every document as a plain file (the setting
  // that switches document text extraction off).
  DocumentTextSource* documents = nullptr;
  // Asked between blocks; true ends the search without a find.
  std::function<bool()> stopRequested;
};

// Greater than 0 when the file meets the condition; 0 when it does not, cannot be read, or
// is of a kind that is never searched.
int SearchTextInFile(const std::wstring& path, const SearchTerms& terms, const TextSearchOptions& options);
// The same with terms prepared once for many files (see text_matcher.h). Safe to call from
// several threads at once, for different files, with one query and one document source.
int SearchTextInFile(const std::wstring& path, const TextQuery& query, const TextSearchOptions& options);
// The same for a file a scan found: read only while its name still stands for it.
int SearchTextInFile(const FileRef& file, const TextQuery& query, const TextSearchOptions& options);

// Whether `text` meets the condition, marking found terms in `found` (one flag per term).
bool TermsFound(std::wstring_view text, const SearchTerms& terms, bool caseSensitive, std::vector<bool>* found);

}  // namespace ablagix
