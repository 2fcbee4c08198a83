// The byte search against the search it replaced: every block of 4096 bytes decoded into text,
// the end of the previous block's text in front, the words looked for in that text. Both run
// on the same generated files (all encodings, with and without byte-order marks, damaged
// bytes, words across block and read boundaries, umlauts in both cases, "+" and "|").
#include "metadata/text_matcher.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "base/text.h"
#include "metadata/document_text.h"
#include "metadata/text_search.h"
#include "test_support.h"
#include "zip/zip_maker.h"

namespace ablagix {
namespace {

using test::TempDir;
using test::WriteBytes;

// --- The block search as it was, on bytes in memory.

enum class Kind { kAnsi, kUtf8, kLe, kBe };

std::wstring DecodeBlock(Kind kind, std::string* pending) {
  std::string& bytes = *pending;
  std::wstring text;
  if (kind == Kind::kAnsi) {
    text = FromWindows1252(bytes);
    bytes.clear();
  } else if (kind == Kind::kUtf8) {
    std::size_t complete = bytes.size();
    for (std::size_t back = 1; back <= 3 && back <= bytes.size(); ++back) {
      const auto c = static_cast<unsigned char>(bytes[bytes.size() - back]);
      if ((c & 0xC0) == 0x80) continue;
      const std::size_t needed = c >= 0xF0 ? 4 : c >= 0xE0 ? 3 : c >= 0xC0 ? 2 : 1;
      if (needed > back) complete = bytes.size() - back;
      break;
    }
    text = FromUtf8(std::string_view(bytes).substr(0, complete));
    bytes.erase(0, complete);
  } else {
    const std::size_t complete = bytes.size() & ~std::size_t{1};
    std::string units = bytes.substr(0, complete);
    if (kind == Kind::kBe) {
      for (std::size_t i = 0; i + 1 < units.size(); i += 2) std::swap(units[i], units[i + 1]);
    }
    text = FromUtf16LeBytes(units);
    bytes.erase(0, complete);
  }
  return text;
}

int BlockSearch(std::string_view file, const SearchTerms& terms, bool caseSensitive) {
  if (terms.whole.empty() || terms.terms.empty()) return 0;
  std::vector<bool> found(terms.terms.size(), false);
  Kind kind = Kind::kAnsi;
  std::string pending;
  std::wstring carried;
  for (std::size_t offset = 0; offset < file.size(); offset += 4096) {
    std::string block(file.substr(offset, 4096));
    if (offset == 0) {
      if (block.starts_with("\xEF\xBB\xBF")) {
        kind = Kind::kUtf8;
        block.erase(0, 3);
      } else if (block.starts_with("\xFE\xFF")) {
        kind = Kind::kBe;
        block.erase(0, 2);
      } else if (block.starts_with("\xFF\xFE")) {
        kind = Kind::kLe;
        block.erase(0, 2);
      }
    }
    pending += block;
    std::wstring text = carried + DecodeBlock(kind, &pending);
    if (TermsFound(text, terms, caseSensitive, &found)) return 1;
    const std::size_t keep = std::min(text.size(), terms.whole.size());
    carried = text.substr(text.size() - keep);
  }
  return 0;
}

// --- Generated files.

struct Random {
  std::uint64_t state;
  std::uint32_t Next() {
    state = state * 6364136223846793005ULL + 1442695040888963407ULL;
    return static_cast<std::uint32_t>(state >> 33);
  }
  std::size_t Below(std::size_t n) { return n == 0 ? 0 : Next() % n; }
  bool OneIn(std::size_t n) { return Below(n) == 0; }
};

// Letters whose case the search must fold in every encoding, a few that only some encodings
// hold, and characters that only damaged text shows.
const std::wstring kAlphabet =
    L"RrEeCcHhNnUuGgAaIiSsTt  \n\t0123456789+|.,"
    L"\u00c4\u00e4\u00d6\u00f6\u00dc\u00fc\u00df\u1e9e\u0178\u00ff\u0160\u0161\u20ac\u00c9\u00e9"
    L"\u0130\u0131\u0391\u03b1\u0410\u0430\u0152\u0153";

std::wstring RandomText(Random& r, std::size_t length) {
  std::wstring text;
  for (std::size_t i = 0; i < length; ++i) {
    if (r.OneIn(400)) {
      text += sizeof(wchar_t) == 2 ? std::wstring(L"\xD83D\xDE00") : std::wstring(1, static_cast<wchar_t>(0x1F600));
    } else {
      text += kAlphabet[r.Below(kAlphabet.size())];
    }
  }
  return text;
}

std::wstring ChangeCase(Random& r, std::wstring word) {
  for (wchar_t& c : word) {
    if (r.OneIn(2)) {
      const wchar_t lower = FoldCase(c);
      c = lower != c ? lower : static_cast<wchar_t>(c == L'\u00df' ? 0x1E9E : c >= L'a' && c <= L'z' ? c - 32 : c);
    }
  }
  return word;
}

std::string Encode(Kind kind, std::wstring_view text, bool mark) {
  switch (kind) {
    case Kind::kAnsi:
      return ToWindows1252(text);
    case Kind::kUtf8:
      return (mark ? "\xEF\xBB\xBF" : "") + ToUtf8(text);
    case Kind::kLe:
      return ToUtf16LeBytes(text, mark);
    case Kind::kBe: {
      std::string bytes = ToUtf16LeBytes(text, mark);
      for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) std::swap(bytes[i], bytes[i + 1]);
      return bytes;
    }
  }
  return {};
}

// Bytes that no converter writes: cut sequences, stray continuation bytes, lone surrogates.
void Damage(Random& r, std::string* bytes) {
  const std::size_t count = 1 + r.Below(6);
  for (std::size_t i = 0; i < count && !bytes->empty(); ++i) {
    const std::size_t at = r.Below(bytes->size());
    switch (r.Below(4)) {
      case 0: (*bytes)[at] = static_cast<char>(r.Below(256)); break;
      case 1: bytes->insert(at, 1, static_cast<char>(0x80 + r.Below(64))); break;
      case 2: bytes->insert(at, std::string("\x00\xD8", 2)); break;
      default: bytes->erase(at, 1); break;
    }
  }
}

struct Case {
  std::string bytes;
  std::wstring search;
  bool caseSensitive = false;
};

Case MakeCase(Random& r) {
  Case c;
  // Mostly a few blocks; now and then more than one read of the byte search.
  const std::size_t length = r.OneIn(60) ? 140000 + r.Below(3000) : r.Below(9000);
  std::wstring text = RandomText(r, length);
  const std::size_t termCount = 1 + r.Below(3);
  std::vector<std::wstring> words;
  for (std::size_t t = 0; t < termCount; ++t) {
    std::wstring word = RandomText(r, 1 + r.Below(10));
    // Words are mostly put into the text, often across a block boundary (as bytes that is
    // somewhere near one, whatever the encoding).
    if (!text.empty() && !r.OneIn(4)) {
      std::size_t at = r.Below(text.size());
      if (r.OneIn(2)) {
        const std::size_t boundaries[] = {2047, 2048, 4093, 4094, 4096, 1365, 131071, 131072};
        at = std::min(text.size(), boundaries[r.Below(8)] - std::min<std::size_t>(word.size() / 2, 3));
      }
      text.insert(std::min(at, text.size()), r.OneIn(2) ? ChangeCase(r, word) : word);
    }
    words.push_back(r.OneIn(8) ? word.substr(0, 1) : word);
  }
  const wchar_t joiner = r.OneIn(2) ? L'+' : L'|';
  for (std::size_t t = 0; t < words.size(); ++t) c.search += (t ? std::wstring(1, joiner) : L"") + words[t];
  const Kind kind = static_cast<Kind>(r.Below(4));
  c.bytes = Encode(kind, text, kind == Kind::kAnsi ? false : !r.OneIn(5));
  if (r.OneIn(3)) Damage(r, &c.bytes);
  c.caseSensitive = r.OneIn(3);
  return c;
}

TEST(TextMatcherTest, ByteSearchAnswersAsTheBlockSearchDid) {
  TempDir dir;
  const std::wstring path = dir / L"probe.txt";
  Random r{20260301};
  int found = 0;
  int cases = 0;
  for (; cases < 2000; ++cases) {
    const Case c = MakeCase(r);
    ASSERT_TRUE(WriteBytes(path, c.bytes));
    const SearchTerms terms = ParseSearchTerms(c.search);
    TextSearchOptions options;
    options.caseSensitive = c.caseSensitive;
    const int expected = BlockSearch(c.bytes, terms, c.caseSensitive);
    ASSERT_EQ(SearchTextInFile(path, terms, options), expected)
        << "case " << cases << ": \"" << ToUtf8(c.search) << "\" in " << c.bytes.size() << " bytes"
        << (c.caseSensitive ? ", case-sensitive" : "");
    found += expected;
  }
  // Both answers occur often enough for the comparison to mean something.
  EXPECT_GT(found, cases / 5);
  EXPECT_LT(found, cases * 4 / 5);
}

TEST(TextMatcherTest, WordsAcrossEveryBoundaryInEveryEncoding) {
  TempDir dir;
  const std::wstring path = dir / L"grenze.txt";
  const std::wstring word = L"Gr\u00f6\u00dfe M\u00fcller";
  for (Kind kind : {Kind::kAnsi, Kind::kUtf8, Kind::kLe, Kind::kBe}) {
    const std::string mark = Encode(kind, L"", kind != Kind::kAnsi);
    const std::string encoded = Encode(kind, word, false);
    // The word starts at every byte near the end of the first block and of the first read.
    for (std::size_t boundary : {std::size_t{4096}, std::size_t{256 * 1024}}) {
      for (std::size_t back = 1; back <= encoded.size() + 1; ++back) {
        const std::size_t start = boundary - back;  // where the word begins
        const bool pairs = kind == Kind::kLe || kind == Kind::kBe;
        if (pairs && (start - mark.size()) % 2 != 0) continue;
        std::string filler = Encode(kind, std::wstring(start, L'x'), false);
        filler.resize(start - mark.size());
        const std::string bytes = mark + filler + encoded + "..";
        ASSERT_TRUE(WriteBytes(path, bytes));
        for (const wchar_t* search : {L"gr\u00d6\u00dfe m\u00dcller", L"xyz|M\u00dcLLER", L"GR\u00d6\u00dfE+M\u00fcller"}) {
          for (bool caseSensitive : {false, true}) {
            const SearchTerms terms = ParseSearchTerms(search);
            TextSearchOptions options;
            options.caseSensitive = caseSensitive;
            EXPECT_EQ(SearchTextInFile(path, terms, options), BlockSearch(bytes, terms, caseSensitive))
                << static_cast<int>(kind) << " " << boundary << " " << back << " " << ToUtf8(search);
          }
        }
      }
    }
  }
}

TEST(TextMatcherTest, OneQueryServesSeveralThreadsAtOnce) {
  // One prepared query and one document source shared by threads that search different files
  // (plain, large, UTF-16, office package) give the answers of a search on one thread.
  TempDir dir;
  test::ZipMaker docx;
  docx.Add("word/document.xml", "<w:document><w:p><w:t>Rech</w:t><w:t>nung M\xC3\xBCller</w:t></w:p></w:document>",
           true);
  const std::vector<std::pair<std::wstring, std::string>> files = {
      {L"a.txt", std::string(300000, 'x') + "Rechnung f\xFCr M\xFCller"},
      {L"b.txt", ToUtf16LeBytes(L"Rechnung ohne Namen", true)},
      {L"c.docx", docx.Make()},
      {L"d.txt", std::string(600000, 'y')},
  };
  for (const auto& [name, bytes] : files) ASSERT_TRUE(WriteBytes(dir / name, bytes));
  const TextQuery query(ParseSearchTerms(L"rechnung+m\u00fcller"), false);
  DocumentTexts documents;
  TextSearchOptions options;
  options.documents = &documents;
  std::vector<int> expected;
  for (const auto& file : files) expected.push_back(SearchTextInFile(dir / file.first, query, options));
  EXPECT_EQ(expected, (std::vector<int>{1, 0, 1, 0}));
  std::vector<std::thread> threads;
  std::vector<int> wrong(4, 0);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < 20; ++round) {
        const std::size_t k = static_cast<std::size_t>(t + round) % files.size();
        if (SearchTextInFile(dir / files[k].first, query, options) != expected[k]) ++wrong[static_cast<std::size_t>(t)];
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, std::vector<int>(4, 0));
}

TEST(TextMatcherTest, CaseIsFoldedAsTheTextHelpersFoldIt) {
  // Characters beyond the Basic Multilingual Plane keep their case, which the query relies on.
  if constexpr (sizeof(wchar_t) == 4) {
    for (std::uint32_t u = 0x10000; u <= 0x10FFFF; ++u) {
      ASSERT_EQ(FoldCase(static_cast<wchar_t>(u)), static_cast<wchar_t>(u));
    }
  }
  TextQuery query(ParseSearchTerms(L"\u00e4rger|STRASSE|\u00dfe"), false);
  ASSERT_TRUE(query.bytewise());
  const struct {
    TextEncoding encoding;
    std::string bytes;
    bool met;
  } samples[] = {
      {TextEncoding::kWindows1252, "\xC4RGER", true},
      {TextEncoding::kWindows1252, "strasse", true},
      {TextEncoding::kUtf8, "\xC3\x84rger", true},
      {TextEncoding::kUtf8, "gro\xE1\xBA\x9E" "e", true},  // capital sharp s
      {TextEncoding::kUtf8, "\xC3\x84rgxr", false},
      {TextEncoding::kUtf16Le, std::string("\xC4\0R\0G\0E\0R\0", 10), true},
      {TextEncoding::kUtf16Le, std::string("\0\xC4\0R\0G\0E\0R\0", 11), false},  // out of step
      {TextEncoding::kUtf16Be, std::string("\0\xC4\0r\0g\0e\0r", 10), true},
  };
  for (const auto& s : samples) {
    TextScan scan(query, s.encoding);
    // Fed one byte at a time, keeping what the scan asks for.
    std::string window;
    for (char b : s.bytes) {
      window += b;
      window.erase(0, window.size() - scan.Search(window));
    }
    EXPECT_EQ(scan.met(), s.met) << s.bytes;
  }
  EXPECT_FALSE(TextQuery(ParseSearchTerms(L"a\uFFFDb"), false).bytewise());
}

}  // namespace
}  // namespace ablagix
