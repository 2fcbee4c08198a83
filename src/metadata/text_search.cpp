#include "metadata/text_search.h"

#include <algorithm>
#include <cstring>
#include <optional>

#include "base/text.h"
#include "fileops/in_place_io.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "metadata/text_matcher.h"

namespace ablagix {
namespace {

// Decoded text is searched block by block with this block size; the byte search gives the
// same answers with larger reads.
constexpr std::size_t kBlockSize = 4096;
constexpr std::size_t kReadSize = 256 * 1024;

using Encoding = TextEncoding;

// The extension, lower-case, looked up as a piece of the list text: "do" counts as listed
// because "doc" is.
bool Listed(std::wstring_view list, const std::wstring& extension) {
  return !extension.empty() && list.find(extension) != std::wstring_view::npos;
}

// The encoding a text file's first bytes name, and the length of that byte-order mark.
Encoding EncodingOf(std::string_view head, std::size_t* markLength) {
  *markLength = 0;
  if (head.starts_with("\xEF\xBB\xBF")) {
    *markLength = 3;
    return Encoding::kUtf8;
  }
  if (head.starts_with("\xFE\xFF")) {
    *markLength = 2;
    return Encoding::kUtf16Be;
  }
  if (head.starts_with("\xFF\xFE")) {
    *markLength = 2;
    return Encoding::kUtf16Le;
  }
  return Encoding::kWindows1252;
}

// Decodes one block; bytes of a character cut by the block's end wait for the next block.
std::wstring Decode(Encoding encoding, std::string* pending) {
  std::string& bytes = *pending;
  std::wstring text;
  switch (encoding) {
    case Encoding::kWide:  // never a file's encoding
    case Encoding::kWindows1252:
      text = FromWindows1252(bytes);
      bytes.clear();
      break;
    case Encoding::kUtf8: {
      std::size_t complete = bytes.size();
      // Step back over an unfinished sequence at the end (at most three bytes).
      for (std::size_t back = 1; back <= 3 && back <= bytes.size(); ++back) {
        const auto c = static_cast<unsigned char>(bytes[bytes.size() - back]);
        if ((c & 0xC0) == 0x80) continue;
        const std::size_t needed = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
        if (needed > back) complete = bytes.size() - back;
        break;
      }
      text = FromUtf8(std::string_view(bytes).substr(0, complete));
      bytes.erase(0, complete);
      break;
    }
    case Encoding::kUtf16Le:
    case Encoding::kUtf16Be: {
      const std::size_t complete = bytes.size() & ~std::size_t{1};
      std::string units = bytes.substr(0, complete);
      if (encoding == Encoding::kUtf16Be) {
        for (std::size_t i = 0; i + 1 < units.size(); i += 2) std::swap(units[i], units[i + 1]);
      }
      text = FromUtf16LeBytes(units);
      bytes.erase(0, complete);
      break;
    }
  }
  return text;
}

// A file the scan found is read only while its name still stands for it, never through a link
// put in its place; a path alone is read as any reader would.
bool OpenForSearch(const FileRef& file, ReadOnlyFile* reader) {
  return file.id.known() ? reader->OpenFound(file) : reader->Open(file.path);
}

// Words with characters that decoded text shows only for damaged or cut byte sequences are
// searched the slow way: each block decoded into text, the end of the previous block's text
// in front, because where those characters appear depends on where the blocks are cut.
int SearchDecodedBlocks(const FileRef& path, const TextQuery& query, const TextSearchOptions& options) {
  const SearchTerms& terms = query.terms();
  ReadOnlyFile file;
  if (!OpenForSearch(path, &file)) return 0;
  std::vector<bool> found(terms.terms.size(), false);
  Encoding encoding = Encoding::kWindows1252;
  std::string pending;
  std::wstring carried;
  std::string block;
  for (std::uint64_t offset = 0; offset < file.size(); offset += kBlockSize) {
    if (offset > 0 && options.stopRequested && options.stopRequested()) return 0;
    if (!file.ReadAt(offset, kBlockSize, &block) || block.empty()) return 0;
    if (offset == 0) {
      std::size_t mark = 0;
      encoding = EncodingOf(block, &mark);
      block.erase(0, mark);
    }
    pending += block;
    // The end of the previous block goes in front, so a word across the boundary is found.
    std::wstring text = carried + Decode(encoding, &pending);
    if (query.MetBy(text, &found)) return 1;
    const std::size_t keep = std::min(text.size(), terms.whole.size());
    carried = text.substr(text.size() - keep);
  }
  return 0;
}

// Everything else is searched in the bytes, in large reads into one buffer per thread.
int SearchBytes(const FileRef& path, const TextQuery& query, const TextSearchOptions& options) {
  ReadOnlyFile file;
  if (!OpenForSearch(path, &file)) return 0;
  thread_local std::string buffer;
  const std::uint64_t size = file.size();
  std::optional<TextScan> scan;
  std::size_t kept = 0;
  for (std::uint64_t offset = 0; offset < size;) {
    if (offset > 0 && options.stopRequested && options.stopRequested()) return 0;
    const auto want = static_cast<std::size_t>(std::min<std::uint64_t>(kReadSize, size - offset));
    if (buffer.size() < kept + want) buffer.resize(kept + want);
    std::size_t got = 0;
    if (!file.ReadInto(offset, buffer.data() + kept, want, &got) || got == 0) return 0;
    std::string_view window(buffer.data(), kept + got);
    if (offset == 0) {
      std::size_t mark = 0;
      scan.emplace(query, EncodingOf(window, &mark));
      window.remove_prefix(mark);
    }
    offset += got;
    kept = scan->Search(window);
    if (scan->met()) return 1;
    std::memmove(buffer.data(), window.data() + window.size() - kept, kept);
  }
  return 0;
}

}  // namespace

SearchTerms ParseSearchTerms(std::wstring_view textSuche) {
  SearchTerms terms;
  terms.whole = std::wstring(textSuche);
  const bool all = textSuche.find(L'+') != std::wstring_view::npos;
  terms.all = all;
  for (const std::wstring& piece : Split(textSuche, all ? L'+' : L'|')) {
    // "a|b+c" mixes both: the "+" decides, and each "|" stays part of its word.
    if (!piece.empty()) terms.terms.push_back(piece);
  }
  return terms;
}

bool TermsFound(std::wstring_view text, const SearchTerms& terms, bool caseSensitive, std::vector<bool>* found) {
  bool any = false;
  bool every = true;
  for (std::size_t i = 0; i < terms.terms.size(); ++i) {
    if (!(*found)[i]) {
      const std::wstring& term = terms.terms[i];
      (*found)[i] = caseSensitive ? text.find(term) != std::wstring_view::npos
                                  : FindNoCase(text, term) != std::wstring_view::npos;
    }
    any = any || (*found)[i];
    every = every && (*found)[i];
  }
  return terms.all ? every && !terms.terms.empty() : any;
}

int SearchTextInFile(const std::wstring& path, const SearchTerms& terms, const TextSearchOptions& options) {
  return SearchTextInFile(path, TextQuery(terms, options.caseSensitive), options);
}

int SearchTextInFile(const std::wstring& path, const TextQuery& query, const TextSearchOptions& options) {
  return SearchTextInFile(FileRef(path), query, options);
}

int SearchTextInFile(const FileRef& file, const TextQuery& query, const TextSearchOptions& options) {
  const std::wstring& path = file.path;
  const std::wstring extension = ToLowerText(ExtensionOf(NamePart(path)));
  if (Listed(kNeverSearched, extension)) return 0;
  if (options.documents && Listed(kDocumentExtensions, extension) && options.documents->Reads(path)) {
    std::uint64_t size = 0;
    if (!GetFileSize(path, &size) || size > kDocumentSizeLimit) return 0;
    return options.documents->Meets(path, query) ? 1 : 0;
  }
  const SearchTerms& terms = query.terms();
  if (terms.whole.empty() || terms.terms.empty()) return 0;
  return query.bytewise() ? SearchBytes(file, query, options) : SearchDecodedBlocks(file, query, options);
}

bool DocumentTextSource::Meets(const std::wstring& path, const TextQuery& query) {
  const std::optional<std::wstring> text = Text(path);
  if (!text || text->empty()) return false;
  std::vector<bool> found(query.terms().terms.size(), false);
  return query.MetBy(*text, &found);
}

}  // namespace ablagix
