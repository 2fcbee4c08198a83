#include "base/text.h"

#include <gtest/gtest.h>

namespace ablagix {
namespace {

TEST(Utf8, RoundTripsUmlautsAndCharactersBeyondTheBasicPlane) {
  const std::wstring text = L"Gr\u00fc\u00dfe \u20ac \U0001F4F7 \u65E5\u672C";
  const std::string bytes = ToUtf8(text);
  EXPECT_EQ(bytes, "Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC \xF0\x9F\x93\xB7 \xE6\x97\xA5\xE6\x9C\xAC");
  EXPECT_EQ(FromUtf8(bytes), text);
  EXPECT_TRUE(IsValidUtf8(bytes));
}

TEST(Utf8, MalformedInputBecomesReplacementCharacters) {
  // Lone continuation byte, truncated sequence, overlong "/" and an encoded surrogate.
  for (std::string bad : {"\x80", "\xE2\x82", "\xC0\xAF", "\xED\xA0\x80"}) {
    EXPECT_FALSE(IsValidUtf8(bad)) << bad;
    std::wstring decoded = FromUtf8("a" + bad + "b");
    EXPECT_EQ(decoded.front(), L'a');
    EXPECT_EQ(decoded.back(), L'b');
    EXPECT_NE(decoded.find(L'\uFFFD'), std::wstring::npos);
  }
}

TEST(Utf16, SurrogatePairsSurviveOnEveryWcharWidth) {
  const std::wstring text = L"x\U0001F600y";
  const std::u16string units = ToUtf16(text);
  ASSERT_EQ(units.size(), 4u);
  EXPECT_EQ(units[1], 0xD83D);
  EXPECT_EQ(units[2], 0xDE00);
  EXPECT_EQ(FromUtf16(units), text);
}

TEST(Windows1252, MapsTheHighControlsAndReportsLoss) {
  EXPECT_EQ(FromWindows1252("\x80\xE4\x9F"), L"\u20ac\u00e4\u0178");
  bool lossy = true;
  EXPECT_EQ(ToWindows1252(L"\u20ac\u00e4\u00df", &lossy), "\x80\xE4\xDF");
  EXPECT_FALSE(lossy);
  EXPECT_EQ(ToWindows1252(L"a\u65E5", &lossy), "a?");
  EXPECT_TRUE(lossy);
}

TEST(CaseFolding, IgnoresCaseOfGermanAndOtherLetters) {
  EXPECT_TRUE(EqualsNoCase(L"FOTO.JPG", L"foto.jpg"));
  EXPECT_TRUE(EqualsNoCase(L"\u00c4RGER \u00d6L \u00dcBER", L"\u00e4rger \u00f6l \u00fcber"));
  EXPECT_TRUE(EqualsNoCase(L"\u0141\u00d3D\u0179", L"\u0142\u00f3d\u017a"));  // Polish
  EXPECT_TRUE(EqualsNoCase(L"\u041c\u041e\u0421\u041a\u0412\u0410", L"\u043c\u043e\u0441\u043a\u0432\u0430"));
  EXPECT_EQ(FoldCase(L'\u1E9E'), L'\u00df');
  EXPECT_EQ(FoldCase(L'\u00d7'), L'\u00d7');  // the multiplication sign has no case
  EXPECT_FALSE(EqualsNoCase(L"a", L"ab"));
  EXPECT_EQ(FindNoCase(L"Urlaub_M\u00dcNCHEN.jpg", L"m\u00fcnchen"), 7u);
  EXPECT_EQ(FindNoCase(L"abc", L"abcd"), std::wstring::npos);
}

TEST(Pieces, SplitKeepsEmptyPiecesAndTrimOnlyBlanksAndTabs) {
  EXPECT_EQ(Split(L"a,,b", L',').size(), 3u);
  EXPECT_EQ(Split(L"", L',').size(), 1u);
  EXPECT_EQ(Join(Split(L".jpg,. png", L','), L","), L".jpg,. png");
  EXPECT_EQ(Trim(L" \t x y \t"), L"x y");
}

TEST(WholeNumber, AcceptsDigitsOnly) {
  std::uint64_t n = 99;
  EXPECT_TRUE(ParseWholeNumber(L" 30 ", &n));
  EXPECT_EQ(n, 30u);
  EXPECT_TRUE(ParseWholeNumber(L"007", &n));
  EXPECT_EQ(n, 7u);
  for (const wchar_t* bad : {L"", L"  ", L"-1", L"1,5", L"1e3", L"12a", L"99999999999999999999"}) {
    EXPECT_FALSE(ParseWholeNumber(bad, &n)) << ToUtf8(bad);
  }
}

}  // namespace
}  // namespace ablagix
