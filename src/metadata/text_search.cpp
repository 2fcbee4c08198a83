#include "metadata/text_search.h"

#include "base/text.h"
#include "fileops/file_io.h"
#include "fileops/files.h"
#include "fileops/path_text.h"

namespace ablagix {
namespace {

constexpr std::size_t kBlockSize = 4096;

enum class Encoding { Ansi, Utf8, Utf16Le, Utf16Be };

// The extension, lower-case, looked up as a piece of the list text: "do" counts as listed
// because "doc" is.
bool Listed(std::wstring_view list, const std::wstring& extension) {
  return !extension.empty() && list.find(extension) != std::wstring_view::npos;
}

// Decodes one block; bytes of a character cut by the block's end wait for the next block.
std::wstring Decode(Encoding encoding, std::string* pending) {
  std::string& bytes = *pending;
  std::wstring text;
  switch (encoding) {
    case Encoding::Ansi:
      text = FromWindows1252(bytes);
      bytes.clear();
      break;
    case Encoding::Utf8: {
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
    case Encoding::Utf16Le:
    case Encoding::Utf16Be: {
      const std::size_t complete = bytes.size() & ~std::size_t{1};
      std::string units = bytes.substr(0, complete);
      if (encoding == Encoding::Utf16Be) {
        for (std::size_t i = 0; i + 1 < units.size(); i += 2) std::swap(units[i], units[i + 1]);
      }
      text = FromUtf16LeBytes(units);
      bytes.erase(0, complete);
      break;
    }
  }
  return text;
}

int SearchPlainFile(const std::wstring& path, const SearchTerms& terms, const TextSearchOptions& options) {
  if (terms.whole.empty() || terms.terms.empty()) return 0;
  ReadOnlyFile file;
  if (!file.Open(path)) return 0;
  std::vector<bool> found(terms.terms.size(), false);
  Encoding encoding = Encoding::Ansi;
  std::string pending;
  std::wstring carried;
  std::string block;
  for (std::uint64_t offset = 0; offset < file.size(); offset += kBlockSize) {
    if (offset > 0 && options.stopRequested && options.stopRequested()) return 0;
    if (!file.ReadAt(offset, kBlockSize, &block) || block.empty()) return 0;
    if (offset == 0) {
      if (block.starts_with("\xEF\xBB\xBF")) {
        encoding = Encoding::Utf8;
        block.erase(0, 3);
      } else if (block.starts_with("\xFE\xFF")) {
        encoding = Encoding::Utf16Be;
        block.erase(0, 2);
      } else if (block.starts_with("\xFF\xFE")) {
        encoding = Encoding::Utf16Le;
        block.erase(0, 2);
      }
    }
    pending += block;
    // The end of the previous block goes in front, so a word across the boundary is found.
    std::wstring text = carried + Decode(encoding, &pending);
    if (TermsFound(text, terms, options.caseSensitive, &found)) return 1;
    const std::size_t keep = std::min(text.size(), terms.whole.size());
    carried = text.substr(text.size() - keep);
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
  const std::wstring extension = ToLowerText(ExtensionOf(NamePart(path)));
  if (Listed(kNeverSearched, extension)) return 0;
  if (options.documents && Listed(kDocumentExtensions, extension)) {
    std::uint64_t size = 0;
    if (!GetFileSize(path, &size) || size > kDocumentSizeLimit) return 0;
    const std::optional<std::wstring> text = options.documents->Text(path);
    if (!text || text->empty()) return 0;
    std::vector<bool> found(terms.terms.size(), false);
    return TermsFound(*text, terms, options.caseSensitive, &found) ? 1 : 0;
  }
  return SearchPlainFile(path, terms, options);
}

}  // namespace ablagix
