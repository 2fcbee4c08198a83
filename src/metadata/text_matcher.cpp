#include "metadata/text_matcher.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "base/text.h"

namespace ablagix {
namespace {

using ByteSet = std::array<std::uint64_t, 4>;

void Add(ByteSet& set, unsigned b) { set[b >> 6] |= std::uint64_t{1} << (b & 63); }
bool In(const ByteSet& set, unsigned char b) { return (set[b >> 6] >> (b & 63)) & 1; }

std::vector<unsigned char> Members(const ByteSet& set) {
  std::vector<unsigned char> bytes;
  for (unsigned b = 0; b < 256; ++b) {
    if (In(set, static_cast<unsigned char>(b))) bytes.push_back(static_cast<unsigned char>(b));
  }
  return bytes;
}

// What each byte means in Windows-1252, taken from the converter the decoded search uses.
const std::array<wchar_t, 256>& Cp1252Table() {
  static const std::array<wchar_t, 256> table = [] {
    std::array<wchar_t, 256> t{};
    std::string all(256, '\0');
    for (unsigned b = 0; b < 256; ++b) all[b] = static_cast<char>(b);
    const std::wstring wide = FromWindows1252(all);
    for (unsigned b = 0; b < 256; ++b) t[b] = wide[b];
    return t;
  }();
  return table;
}

// Every character of the Basic Multilingual Plane that FoldCase changes, with its folded
// form, ordered by the folded form. Characters beyond it fold to themselves.
const std::vector<std::pair<wchar_t, wchar_t>>& FoldedPairs() {
  static const std::vector<std::pair<wchar_t, wchar_t>> pairs = [] {
    std::vector<std::pair<wchar_t, wchar_t>> p;
    for (std::uint32_t u = 0; u < 0x10000; ++u) {
      if (u >= 0xD800 && u <= 0xDFFF) continue;
      const auto c = static_cast<wchar_t>(u);
      const wchar_t folded = FoldCase(c);
      if (folded != c) p.emplace_back(folded, c);
    }
    std::sort(p.begin(), p.end());
    return p;
  }();
  return pairs;
}

// The characters that a text character must be to count as `c`.
std::vector<wchar_t> EqualCharacters(wchar_t c, bool caseSensitive) {
  if (caseSensitive) return {c};
  const wchar_t folded = FoldCase(c);
  std::vector<wchar_t> all;
  if (FoldCase(folded) == folded) all.push_back(folded);
  const auto& pairs = FoldedPairs();
  auto it = std::lower_bound(pairs.begin(), pairs.end(), std::pair<wchar_t, wchar_t>(folded, 0));
  for (; it != pairs.end() && it->first == folded; ++it) all.push_back(it->second);
  if (std::find(all.begin(), all.end(), c) == all.end()) all.push_back(c);
  return all;
}

std::string Utf8Of(wchar_t c) {
  const auto u = static_cast<std::uint32_t>(c);
  if (u < 0x80) return std::string(1, static_cast<char>(u));
  if (u < 0x800) return {static_cast<char>(0xC0 | (u >> 6)), static_cast<char>(0x80 | (u & 0x3F))};
  return {static_cast<char>(0xE0 | (u >> 12)), static_cast<char>(0x80 | ((u >> 6) & 0x3F)),
          static_cast<char>(0x80 | (u & 0x3F))};
}

// A rough rank of how often a byte occurs in text files; the filter tests the rarest
// positions first.
int Commonness(unsigned char b) {
  if (b == 0 || b == ' ') return 255;
  if (b == 'e' || b == 'n') return 200;
  if (b == 'i' || b == 's' || b == 'r' || b == 't' || b == 'a') return 160;
  if (b == 'd' || b == 'h' || b == 'u' || b == 'l' || b == 'c' || b == 'g' || b == 'm' || b == 'o') return 120;
  if (b >= 'a' && b <= 'z') return 70;
  if (b == '\n' || b == '\r' || b == '\t' || b == ',' || b == '.') return 90;
  if (b == 0xC3) return 60;
  if (b >= 'A' && b <= 'Z') return 40;
  if (b >= '0' && b <= '9') return 40;
  if (b >= 0x80 && b <= 0xBF) return 30;
  return 20;
}

constexpr std::size_t kMaxAnchorBytes = 4;

void ChooseAnchors(const std::vector<ByteSet>& filter, std::size_t* a, std::size_t* b) {
  std::vector<int> score;
  for (const ByteSet& set : filter) {
    const std::vector<unsigned char> bytes = Members(set);
    int sum = bytes.size() > kMaxAnchorBytes ? 1 << 20 : 0;
    for (unsigned char c : bytes) sum += Commonness(c);
    score.push_back(sum);
  }
  std::size_t best = 0;
  for (std::size_t j = 1; j < filter.size(); ++j) {
    if (score[j] < score[best]) best = j;
  }
  auto distance = [&](std::size_t k) { return k > best ? k - best : best - k; };
  std::size_t second = best;
  for (std::size_t j = 0; j < filter.size(); ++j) {
    if (j == best) continue;
    if (second == best || score[j] < score[second] || (score[j] == score[second] && distance(j) > distance(second))) {
      second = j;
    }
  }
  *a = std::min(best, second);
  *b = std::max(best, second);
}

bool IsDamageCharacter(wchar_t c) {
  const auto u = static_cast<std::uint32_t>(c);
  return u == 0xFFFD || (u >= 0xD800 && u <= 0xDFFF) || u > 0xFFFF;
}

}  // namespace

TextQuery::TextQuery(SearchTerms terms, bool caseSensitive) : terms_(std::move(terms)), caseSensitive_(caseSensitive) {
  Prepare();
}

bool TextQuery::MetBy(std::wstring_view text, std::vector<bool>* found) const {
  if (!bytewise_) return TermsFound(text, terms_, caseSensitive_, found);
  // The same as TermsFound, with the words looked for in the bytes of the text.
  return MetIn(std::string_view(reinterpret_cast<const char*>(text.data()), text.size() * sizeof(wchar_t)),
               TextEncoding::kWide, found);
}

bool TextQuery::MetIn(std::string_view bytes, TextEncoding encoding, std::vector<bool>* found) const {
  bool any = false;
  bool every = true;
  for (std::size_t k = 0; k < words_.size(); ++k) {
    if (!(*found)[k]) (*found)[k] = Matches(words_[k], encoding, bytes, 0);
    any = any || (*found)[k];
    every = every && (*found)[k];
  }
  return terms_.all ? every && !words_.empty() : any;
}

void TextQuery::Prepare() {
  const auto& cp1252 = Cp1252Table();
  for (const std::wstring& term : terms_.terms) {
    Word word;
    // An empty word is found in any text: left to the decoded search, which says so.
    if (term.empty()) bytewise_ = false;
    for (wchar_t c : term) {
      if (IsDamageCharacter(c)) bytewise_ = false;
      word.folded.push_back(caseSensitive_ ? c : FoldCase(c));
    }
    if (!bytewise_) {
      words_.push_back(std::move(word));
      continue;
    }
    Pattern& ansi = word.patterns[static_cast<int>(TextEncoding::kWindows1252)];
    Pattern& utf8 = word.patterns[static_cast<int>(TextEncoding::kUtf8)];
    Pattern& le = word.patterns[static_cast<int>(TextEncoding::kUtf16Le)];
    Pattern& be = word.patterns[static_cast<int>(TextEncoding::kUtf16Be)];
    Pattern& wide = word.patterns[static_cast<int>(TextEncoding::kWide)];
    ansi.possible = utf8.possible = le.possible = be.possible = wide.possible = !term.empty();
    bool utf8FilterOpen = true;
    for (wchar_t c : term) {
      const std::vector<wchar_t> equal = EqualCharacters(c, caseSensitive_);
      ByteSet single{};
      for (unsigned b = 0; b < 256; ++b) {
        if (std::find(equal.begin(), equal.end(), cp1252[b]) != equal.end()) Add(single, b);
      }
      if (single == ByteSet{}) ansi.possible = false;
      ansi.filter.push_back(single);

      ByteSet low{};
      ByteSet high{};
      for (wchar_t e : equal) {
        Add(low, static_cast<unsigned>(e) & 0xFF);
        Add(high, (static_cast<unsigned>(e) >> 8) & 0xFF);
      }
      le.filter.push_back(low);
      le.filter.push_back(high);
      be.filter.push_back(high);
      be.filter.push_back(low);
      // Wide characters as they lie in memory, in the machine's byte order.
      std::vector<ByteSet> unit{low, high};
      for (std::size_t k = 2; k < sizeof(wchar_t); ++k) {
        ByteSet zero{};
        Add(zero, 0);
        unit.push_back(zero);
      }
      if constexpr (std::endian::native == std::endian::big) std::reverse(unit.begin(), unit.end());
      wide.filter.insert(wide.filter.end(), unit.begin(), unit.end());

      // Case variants may differ in length in UTF-8 (ß and ẞ): the filter covers the part of
      // the word before the first such character, the comparison the rest.
      std::size_t longest = 0;
      std::size_t shortest = 4;
      for (wchar_t e : equal) {
        longest = std::max(longest, Utf8Of(e).size());
        shortest = std::min(shortest, Utf8Of(e).size());
      }
      utf8.maxBytes += longest;
      if (utf8FilterOpen && longest == shortest) {
        for (std::size_t k = 0; k < longest; ++k) {
          ByteSet at{};
          for (wchar_t e : equal) Add(at, static_cast<unsigned char>(Utf8Of(e)[k]));
          utf8.filter.push_back(at);
        }
      } else if (utf8FilterOpen) {
        if (utf8.filter.empty()) {
          ByteSet first{};
          for (wchar_t e : equal) Add(first, static_cast<unsigned char>(Utf8Of(e)[0]));
          utf8.filter.push_back(first);
        }
        utf8FilterOpen = false;
      }
    }
    ansi.maxBytes = term.size();
    le.maxBytes = be.maxBytes = 2 * term.size();
    wide.maxBytes = sizeof(wchar_t) * term.size();
    for (Pattern& p : word.patterns) {
      if (!p.possible) continue;
      ChooseAnchors(p.filter, &p.anchorA, &p.anchorB);
      p.bytesA = Members(p.filter[p.anchorA]);
      p.bytesB = Members(p.filter[p.anchorB]);
    }
    words_.push_back(std::move(word));
  }
}

TextScan::TextScan(const TextQuery& query, TextEncoding encoding)
    : query_(query), encoding_(encoding), found_(query.terms().terms.size(), false) {
  for (const TextQuery::Word& word : query.words_) {
    const TextQuery::Pattern& p = word.patterns[static_cast<int>(encoding)];
    if (p.possible) overlap_ = std::max(overlap_, p.maxBytes - 1);
  }
}

std::size_t TextScan::Search(std::string_view window) {
  const bool all = query_.terms().all;
  bool every = !found_.empty();
  for (std::size_t k = 0; k < found_.size() && !met_; ++k) {
    if (!found_[k]) {
      found_[k] = query_.bytewise_ && query_.Matches(query_.words_[k], encoding_, window, windowStart_);
    }
    if (found_[k] && !all) met_ = true;
    every = every && found_[k];
  }
  if (all && every) met_ = true;
  const std::size_t keep = std::min(window.size(), overlap_);
  windowStart_ += window.size() - keep;
  return keep;
}

bool TextQuery::Matches(const Word& word, TextEncoding encoding, std::string_view window,
                        std::uint64_t windowStart) const {
  const Pattern& pattern = word.patterns[static_cast<int>(encoding)];
  if (!pattern.possible) return false;
  const std::size_t width = pattern.filter.size();
  if (window.size() < width) return false;
  const std::size_t count = window.size() - width + 1;  // candidate starts
  const auto* d = reinterpret_cast<const unsigned char*>(window.data());
  // Characters of more than one byte begin at multiples of their size.
  const std::size_t unit = encoding == TextEncoding::kUtf16Le || encoding == TextEncoding::kUtf16Be ? 2
                           : encoding == TextEncoding::kWide                                       ? sizeof(wchar_t)
                                                                                                   : 1;
  auto candidate = [&](std::size_t i) {
    if ((windowStart + i) % unit != 0) return false;
    for (std::size_t j = 0; j < width; ++j) {
      if (!In(pattern.filter[j], d[i + j])) return false;
    }
    return Verify(word, encoding, window, i);
  };
  std::size_t i = 0;
#if defined(__SSE2__)
  if (pattern.bytesA.size() <= kMaxAnchorBytes && pattern.bytesB.size() <= kMaxAnchorBytes) {
    // Sixteen candidates at once: the bytes at both anchor positions are compared with every
    // byte allowed there; only where both fit is the whole filter tested.
    __m128i wantA[kMaxAnchorBytes];
    __m128i wantB[kMaxAnchorBytes];
    for (std::size_t k = 0; k < kMaxAnchorBytes; ++k) {
      const unsigned char a = pattern.bytesA[std::min(k, pattern.bytesA.size() - 1)];
      const unsigned char b = pattern.bytesB[std::min(k, pattern.bytesB.size() - 1)];
      wantA[k] = _mm_set1_epi8(static_cast<char>(a));
      wantB[k] = _mm_set1_epi8(static_cast<char>(b));
    }
    const std::size_t na = pattern.bytesA.size();
    const std::size_t nb = pattern.bytesB.size();
    for (; i + 16 <= count; i += 16) {
      const __m128i atA = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + i + pattern.anchorA));
      const __m128i atB = _mm_loadu_si128(reinterpret_cast<const __m128i*>(d + i + pattern.anchorB));
      __m128i hitA = _mm_cmpeq_epi8(atA, wantA[0]);
      for (std::size_t k = 1; k < na; ++k) hitA = _mm_or_si128(hitA, _mm_cmpeq_epi8(atA, wantA[k]));
      __m128i hitB = _mm_cmpeq_epi8(atB, wantB[0]);
      for (std::size_t k = 1; k < nb; ++k) hitB = _mm_or_si128(hitB, _mm_cmpeq_epi8(atB, wantB[k]));
      auto mask = static_cast<unsigned>(_mm_movemask_epi8(_mm_and_si128(hitA, hitB)));
      while (mask != 0) {
        if (candidate(i + static_cast<std::size_t>(std::countr_zero(mask)))) return true;
        mask &= mask - 1;
      }
    }
  }
#endif
  const TextQuery::ByteSet& first = pattern.filter[pattern.anchorA];
  for (; i < count; ++i) {
    if (In(first, d[i + pattern.anchorA]) && candidate(i)) return true;
  }
  return false;
}

bool TextQuery::Verify(const Word& w, TextEncoding encoding, std::string_view window, std::size_t at) const {
  const std::vector<wchar_t>& word = w.folded;
  const bool caseSensitive = caseSensitive_;
  auto same = [&](std::uint32_t c, wchar_t want) {
    return caseSensitive ? static_cast<wchar_t>(c) == want : FoldCase(static_cast<wchar_t>(c)) == want;
  };
  const auto* d = reinterpret_cast<const unsigned char*>(window.data());
  const std::size_t size = window.size();
  switch (encoding) {
    case TextEncoding::kWide: {
      if ((size - at) / sizeof(wchar_t) < word.size()) return false;
      for (std::size_t i = 0; i < word.size(); ++i) {
        wchar_t c = 0;
        std::memcpy(&c, d + at + i * sizeof(wchar_t), sizeof c);
        if (!same(static_cast<std::uint32_t>(c), word[i])) return false;
      }
      return true;
    }
    case TextEncoding::kWindows1252: {
      if (size - at < word.size()) return false;
      const auto& table = Cp1252Table();
      for (std::size_t i = 0; i < word.size(); ++i) {
        if (!same(static_cast<std::uint32_t>(table[d[at + i]]), word[i])) return false;
      }
      return true;
    }
    case TextEncoding::kUtf16Le:
    case TextEncoding::kUtf16Be: {
      if ((size - at) / 2 < word.size()) return false;
      const bool little = encoding == TextEncoding::kUtf16Le;
      for (std::size_t i = 0; i < word.size(); ++i) {
        const std::uint32_t a = d[at + 2 * i];
        const std::uint32_t b = d[at + 2 * i + 1];
        if (!same(little ? a | (b << 8) : (a << 8) | b, word[i])) return false;
      }
      return true;
    }
    case TextEncoding::kUtf8: {
      std::size_t pos = at;
      for (wchar_t want : word) {
        if (pos >= size) return false;
        const std::uint32_t b0 = d[pos];
        std::size_t length = 1;
        std::uint32_t c = b0;
        std::uint32_t minimum = 0;
        if (b0 >= 0x80) {
          if ((b0 & 0xE0) == 0xC0) {
            length = 2, c = b0 & 0x1F, minimum = 0x80;
          } else if ((b0 & 0xF0) == 0xE0) {
            length = 3, c = b0 & 0x0F, minimum = 0x800;
          } else {
            return false;  // four-byte forms lie beyond the words' characters; the rest is damage
          }
          if (size - pos < length) return false;
          for (std::size_t k = 1; k < length; ++k) {
            const std::uint32_t b = d[pos + k];
            if ((b & 0xC0) != 0x80) return false;
            c = (c << 6) | (b & 0x3F);
          }
          if (c < minimum || (c >= 0xD800 && c <= 0xDFFF)) return false;
        }
        if (!same(c, want)) return false;
        pos += length;
      }
      return true;
    }
  }
  return false;
}

}  // namespace ablagix
