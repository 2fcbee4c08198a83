#include "engine/wildcard.h"

#include <gtest/gtest.h>

#include "base/text.h"

namespace ablagix {
namespace {

struct Row {
  const wchar_t* pattern;
  const wchar_t* name;
  bool ignoreCase;
  bool expected;
};

TEST(Wildcard, MatchesTheWholeNameWithEveryKindOfWildcard) {
  const Row rows[] = {
      {L"IMG_*.jpg", L"IMG_0001.jpg", false, true},
      {L"IMG_*.jpg", L"IMG_0001.jpg.bak", false, false},
      {L"*", L"", false, true},
      {L"a*b*c", L"aXXbYYbZc", false, true},
      {L"a*b*c", L"aXXbYYbZ", false, false},
      {L"Bericht ??.pdf", L"Bericht 07.pdf", false, true},
      {L"Bericht ??.pdf", L"Bericht 7.pdf", false, false},
      {L"Scan###", L"Scan042", false, true},
      {L"Scan###", L"Scan04a", false, false},
      {L"[a-c]*", L"bild.png", false, true},
      {L"[a-c]*", L"dokument.png", false, false},
      {L"[!a-c]*", L"dokument.png", false, true},
      {L"[!a-c]*", L"bild.png", false, false},
      {L"x[0-9a-f]y", L"xey", false, true},
      {L"[abc", L"[abc", false, true},  // unclosed bracket is literal
      {L"***.txt", L"a.txt", false, true},
      // Case rule: off folds both sides, umlauts included; on compares exactly.
      {L"foto.jpg", L"FOTO.JPG", true, true},
      {L"foto.jpg", L"FOTO.JPG", false, false},
      {L"\u00fcbersicht*", L"\u00dcBERSICHT M\u00c4RZ.txt", true, true},
      {L"\u00fcbersicht*", L"\u00dcBERSICHT M\u00c4RZ.txt", false, false},
      {L"[A-C]*", L"bild", true, true},
      {L"*\U0001F4F7*", L"Urlaub \U0001F4F7 2024.jpg", false, true},
  };
  for (const Row& r : rows) {
    EXPECT_EQ(Wildcard(r.pattern, r.ignoreCase).Matches(r.name), r.expected)
        << ToUtf8(r.pattern) << " vs " << ToUtf8(r.name);
  }
}

TEST(Wildcard, ManyStarsAgainstALongNameStayFast) {
  // Exponential backtracking would take ages here; the greedy matcher is linear per star.
  const std::wstring name(5000, L'a');
  EXPECT_FALSE(Wildcard(L"*a*a*a*a*a*a*a*a*a*a*b", false).Matches(name));
  EXPECT_TRUE(Wildcard(L"*a*a*a*a*a*a*a*a*a*a*", false).Matches(name));
  EXPECT_FALSE(Wildcard(L"plain", false).HasWildcards());
  EXPECT_TRUE(Wildcard(L"pl[a]in", false).HasWildcards());
}

}  // namespace
}  // namespace ablagix
