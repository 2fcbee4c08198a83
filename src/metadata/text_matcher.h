// Finding the words of the text condition in raw bytes, without widening them into text
// first. A TextQuery is prepared once per run: every word is encoded for each encoding a text
// file can have (Windows-1252, UTF-8, UTF-16 little- and big-endian), together with the
// characters that count as equal when case is ignored. A TextScan then looks for those byte
// patterns in the bytes of one file as they arrive, in pieces of any size, and says when the
// condition is met.
//
// The answer is the one a search in the decoded text gives: a word is found when the text
// that the bytes decode to contains it (ignoring case by FoldCase when asked).
//
//   TextQuery query(ParseSearchTerms(L"Rechnung+2024"), /*caseSensitive=*/false);
//   TextScan scan(query, TextEncoding::kUtf8);
//   std::size_t keep = scan.Search(window);   // the next window starts with the last `keep` bytes
//   if (scan.met()) ...
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "metadata/text_search.h"

namespace ablagix {

// kWide is the program's own wide text in memory (UTF-16 on Windows, UTF-32 elsewhere).
enum class TextEncoding : std::uint8_t { kWindows1252, kUtf8, kUtf16Le, kUtf16Be, kWide };

class TextQuery {
 public:
  TextQuery(SearchTerms terms, bool caseSensitive);

  const SearchTerms& terms() const { return terms_; }
  bool caseSensitive() const { return caseSensitive_; }
  // False when a word holds a character that decoded text only shows for damaged or cut byte
  // sequences (U+FFFD, surrogate halves, characters beyond U+FFFF): where those appear
  // depends on how the bytes were cut into pieces, so such words are searched in decoded text
  // (as is an empty word, which a hand-made SearchTerms may hold).
  bool bytewise() const { return bytewise_; }
  // Whether decoded text meets the condition; `found` holds one flag per word and keeps the
  // words found before, as TermsFound does.
  bool MetBy(std::wstring_view text, std::vector<bool>* found) const;
  // The same for the text that `bytes` decode to in `encoding`; only for a bytewise query.
  bool MetIn(std::string_view bytes, TextEncoding encoding, std::vector<bool>* found) const;

 private:
  friend class TextScan;
  using ByteSet = std::array<std::uint64_t, 4>;
  // One word in one encoding.
  struct Pattern {
    bool possible = false;  // false when no bytes of this encoding decode to the word
    // The bytes allowed at each of the first positions of a match: every match passes this
    // filter, and only candidates that pass are decoded and compared.
    std::vector<ByteSet> filter;
    // Two filter positions tested sixteen candidates at a time, with their (few) bytes.
    std::size_t anchorA = 0;
    std::size_t anchorB = 0;
    std::vector<unsigned char> bytesA;
    std::vector<unsigned char> bytesB;
    std::size_t maxBytes = 0;  // the longest byte sequence a match can take
  };
  struct Word {
    std::vector<wchar_t> folded;  // the characters, folded unless case matters
    std::array<Pattern, 5> patterns;  // by TextEncoding
  };
  void Prepare();
  // Whether the word occurs in `window`, whose first byte lies at `windowStart` of the text.
  bool Matches(const Word& word, TextEncoding encoding, std::string_view window, std::uint64_t windowStart) const;
  bool Verify(const Word& word, TextEncoding encoding, std::string_view window, std::size_t at) const;

  SearchTerms terms_;
  bool caseSensitive_;
  bool bytewise_ = true;
  std::vector<Word> words_;
};

// One file's search: which words were found so far.
class TextScan {
 public:
  TextScan(const TextQuery& query, TextEncoding encoding);

  // Searches `window`: the text's next bytes, preceded by the bytes kept from the previous
  // window. Returns how many bytes at the end of `window` the next window must begin with,
  // so that a word cut between two pieces is still found.
  std::size_t Search(std::string_view window);
  bool met() const { return met_; }

 private:
  const TextQuery& query_;
  TextEncoding encoding_;
  std::vector<bool> found_;
  std::uint64_t windowStart_ = 0;  // offset of the window's first byte in the text's bytes
  std::size_t overlap_ = 0;
  bool met_ = false;
};

}  // namespace ablagix
