#include "engine/conditions.h"

#include <gtest/gtest.h>

#include <vector>

#include "base/text.h"
#include "fileops/path_text.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::LocalToFileTime;

class ConditionsTest : public ::testing::Test {
 protected:
  ConditionsTest() {
    context_.now = {2025, 6, 15, 12, 0, 30};
    context_.storedFilterMask = [](const std::wstring& name) -> std::wstring {
      if (name == L"Bilder") return L"*.jpg;*.png,.gif";
      if (name == L"Alle") return L"alles";
      return L"";
    };
  }
  ConditionSet Build() {
    std::wstring problem;
    ConditionSet set = ConditionSet::Build(profile_, context_, &problem);
    EXPECT_EQ(problem, L"");
    return set;
  }
  // The message that refuses the profile, "" when it runs.
  std::wstring Refusal() {
    std::wstring problem;
    ConditionSet::Build(profile_, context_, &problem);
    return problem;
  }
  // Whether a file of this name, size and last write time passes.
  bool Passes(const ConditionSet& set, std::wstring name, std::uint64_t size = 100,
              LocalDateTime written = {2020, 1, 1, 0, 0, 0}) {
    DirEntry e;
    e.name = std::move(name);
    e.size = size;
    e.lastWrite = LocalToFileTime(written);
    e.creation = e.lastWrite;
    return set.Accepts(ScanEntry{L"C:\\Quelle", e, ExtensionOf(e.name)});
  }

  Profile profile_;
  ConditionContext context_;
};

// One row per profile: its name and extension fields, and the names that pass or do not.
struct NameCase {
  const wchar_t* filter;
  const wchar_t* extension;
  const wchar_t* filename;
  const wchar_t* excludeFilename;
  const wchar_t* caseSensitive;
  std::vector<const wchar_t*> pass;
  std::vector<const wchar_t*> fail;
};

TEST_F(ConditionsTest, NamesAndExtensionsPassAsTheirFieldsSay) {
  const NameCase cases[] = {
      // A typed list, stored without trimming (". png" still means png); case off by default.
      {L".jpg,. png", L"", L"", L"", L"0", {L"a.jpg", L"a.PNG"}, {L"a.gif", L"jpg"}},
      // A stored list by its name; one whose mask is "alles"; one that no longer exists.
      {L"Bilder", L"", L"", L"", L"0", {L"x.gif", L"x.png"}, {L"x.pdf"}},
      {L"Alle", L"", L"", L"", L"0", {L"x.pdf"}, {}},
      {L"Gel\u00f6scht", L"", L"", L"", L"0", {}, {L"x.pdf"}},
      // Excluded extensions, with or without their dot.
      {L"Alles", L"tmp, .bak", L"", L"", L"0", {L"x.txt", L"ohne Endung"}, {L"x.TMP", L"x.bak"}},
      {L".jpg", L"", L"", L"", L"1", {L"a.jpg"}, {L"a.JPG"}},
      // The name pattern and excluded names follow the case rule.
      {L"", L"", L"FOTO*.JPG", L"kopie, *_alt.*", L"0", {L"foto_1.jpg"},
       {L"foto_1 Kopie.jpg", L"foto_alt.jpg", L"bild.jpg"}},
      {L"", L"", L"FOTO*.JPG", L"kopie, *_alt.*", L"1", {L"FOTO_1.JPG", L"FOTO_1 Kopie.JPG"}, {L"foto_1.jpg"}},
      {L"", L"", L"Alles", L"", L"0", {L"irgendwas"}, {}},
      {L"", L"", L"*.*", L"", L"0", {L"irgendwas"}, {}},
      {L"", L"", L"*", L"", L"0", {L"irgendwas"}, {}},
      // An excluded pattern with wildcards must not occur anywhere in the name either.
      {L"", L"", L"", L"IMG_????", L"0", {L"IMG_12", L"DSC_1234.jpg"}, {L"IMG_1234.jpg", L"Urlaub img_0001 Kopie.jpg"}},
      {L"", L"", L"", L"#.tmp", L"0", {}, {L"backup7.tmp"}},
  };
  for (const NameCase& c : cases) {
    profile_.Filter = c.filter;
    profile_.Extension = c.extension;
    profile_.Filename = c.filename;
    profile_.ExcludeFilename = c.excludeFilename;
    profile_.Case = c.caseSensitive;
    const ConditionSet set = Build();
    const std::string row = test::U8(c.filter) + "|" + test::U8(c.extension) + "|" + test::U8(c.filename) + "|" +
                            test::U8(c.excludeFilename) + "|" + test::U8(c.caseSensitive);
    for (const wchar_t* name : c.pass) EXPECT_TRUE(Passes(set, name)) << row << ": " << test::U8(name);
    for (const wchar_t* name : c.fail) EXPECT_FALSE(Passes(set, name)) << row << ": " << test::U8(name);
  }
}

TEST_F(ConditionsTest, SizeIsComparedStrictlyInBytes) {
  profile_.FileSize = L"<1KB";
  ConditionSet small = Build();
  EXPECT_TRUE(Passes(small, L"a", 1023));
  EXPECT_FALSE(Passes(small, L"a", 1024));
  profile_.FileSize = L">2MB";
  ConditionSet big = Build();
  EXPECT_FALSE(Passes(big, L"a", 2097152));
  EXPECT_TRUE(Passes(big, L"a", 2097153));
  profile_.FileSize = L">5BY";
  EXPECT_TRUE(Passes(Build(), L"a", 6));
  profile_.FileSize = L">5XX";  // unknown unit: bytes
  EXPECT_FALSE(Passes(Build(), L"a", 5));
  EXPECT_EQ(DecodeFileSize(L">3GB")->bytes, 3221225472u);
  EXPECT_EQ(DecodeFileSize(L">99999999999999999GB")->bytes, UINT64_MAX);

  // Decimal amounts, with a comma or a point: 1,5 KB is 1536 bytes.
  for (const wchar_t* decimal : {L"<1,5KB", L"<1.5KB", L"<1,50kb"}) {
    profile_.FileSize = decimal;
    ConditionSet set = Build();
    EXPECT_TRUE(Passes(set, L"a", 1535)) << test::U8(decimal);
    EXPECT_FALSE(Passes(set, L"a", 1536)) << test::U8(decimal);
  }
  profile_.FileSize = L">0,5MB";
  EXPECT_FALSE(Passes(Build(), L"a", 524288));
  EXPECT_TRUE(Passes(Build(), L"a", 524289));
  // A fraction of a byte: below 2,5 bytes is at most 2, above it at least 3.
  profile_.FileSize = L"<2,5BY";
  EXPECT_TRUE(Passes(Build(), L"a", 2));
  EXPECT_FALSE(Passes(Build(), L"a", 3));
  profile_.FileSize = L">2,5BY";
  EXPECT_FALSE(Passes(Build(), L"a", 2));
  EXPECT_TRUE(Passes(Build(), L"a", 3));
  EXPECT_EQ(DecodeFileSize(L"<0,001KB")->bytes, 1u);
  EXPECT_TRUE(DecodeFileSize(L"<0,001KB")->fraction);

  // What cannot be read refuses the profile, naming the key and value; it never selects
  // every file.
  for (const wchar_t* bad : {L">viel KB", L"=5KB", L"<1,KB", L"<1,5,5KB", L"<KB", L"5KB", L"<-1KB"}) {
    profile_.FileSize = bad;
    const std::wstring refusal = Refusal();
    EXPECT_NE(refusal.find(L"FileSize=" + std::wstring(bad)), std::wstring::npos) << test::U8(bad);
  }
}

TEST_F(ConditionsTest, DateBoundsAreCutToTheMinuteWithADeadZone) {
  // At 12:00:30, GA<1D: changed before 12:00:00 of the day before.
  profile_.Filedate = L"GA<1D";
  ConditionSet older = Build();
  profile_.Filedate = L"GA>1D";
  ConditionSet newer = Build();
  const LocalDateTime at1159{2025, 6, 14, 11, 59, 0}, at120015{2025, 6, 14, 12, 0, 15},
      at1201{2025, 6, 14, 12, 1, 0};
  EXPECT_TRUE(Passes(older, L"a", 1, at1159));
  EXPECT_FALSE(Passes(newer, L"a", 1, at1159));
  EXPECT_FALSE(Passes(older, L"a", 1, at120015));  // inside the reference minute:
  EXPECT_FALSE(Passes(newer, L"a", 1, at120015));  // neither older nor newer
  EXPECT_FALSE(Passes(older, L"a", 1, at1201));
  EXPECT_TRUE(Passes(newer, L"a", 1, at1201));

  // Calendar months: one month before 31 March is the last day of February.
  auto d = DecodeFiledate(L"EA>1m", {2025, 3, 31, 8, 15, 10});
  ASSERT_TRUE(d);
  EXPECT_TRUE(d->creation);
  EXPECT_EQ(d->lower, (LocalDateTime{2025, 2, 28, 8, 15, 0}));
  EXPECT_EQ(d->upper, (LocalDateTime{2025, 2, 28, 8, 15, 59}));
  EXPECT_EQ(DecodeFiledate(L"EA>1M", {2024, 3, 31, 0, 0, 0})->lower.day, 29);  // leap year
  EXPECT_EQ(DecodeFiledate(L"GA<2Y", {2024, 2, 29, 0, 0, 0})->lower, (LocalDateTime{2022, 2, 28, 0, 0, 0}));
  EXPECT_EQ(DecodeFiledate(L"GA<90N", {2025, 1, 1, 0, 30, 0})->lower, (LocalDateTime{2024, 12, 31, 23, 0, 0}));
  EXPECT_EQ(DecodeFiledate(L"GA<1W", {2025, 3, 3, 1, 0, 0})->lower, (LocalDateTime{2025, 2, 24, 1, 0, 0}));
  EXPECT_EQ(DecodeFiledate(L"GA<0D", {2025, 3, 3, 1, 2, 3})->upper, (LocalDateTime{2025, 3, 3, 1, 2, 59}));

  // Malformed values refuse the profile; an unknown comparator never matches.
  for (const wchar_t* bad : {L"XX<1D", L"GA<xD", L"GA<1Q", L"GA<D", L""}) {
    EXPECT_FALSE(DecodeFiledate(bad, context_.now)) << test::U8(bad);
  }
  profile_.Filedate = L"GA<zehnD";
  EXPECT_NE(Refusal().find(L"Filedate=GA<zehnD"), std::wstring::npos);
  profile_.Filedate = L"GA=1D";
  EXPECT_FALSE(Passes(Build(), L"a"));
}

class CountingTest : public FileContentTest {
 public:
  explicit CountingTest(int* calls, bool answer) : calls_(calls), answer_(answer) {}
  bool Accepts(const std::wstring& path, const DirEntry&) override {
    ++*calls_;
    lastPath = path;
    return answer_;
  }
  std::wstring lastPath;

 private:
  int* calls_;
  bool answer_;
};

TEST_F(ConditionsTest, ContentTestsRunOnlyWhenNeededAndInTheirPlace) {
  int metadataCalls = 0, textCalls = 0;
  context_.makeMetadataTest = [&](const std::wstring&) {
    return std::make_unique<CountingTest>(&metadataCalls, true);
  };
  context_.makeTextTest = [&](const std::wstring&) {
    return std::make_unique<CountingTest>(&textCalls, true);
  };
  profile_.Filter = L".pdf";
  profile_.Metadaten = L"%Seitenzahl%;>2";
  profile_.FileSize = L">10BY";
  profile_.TextSuche = L"Rechnung";
  ConditionSet set = Build();
  EXPECT_FALSE(Passes(set, L"a.txt", 100));  // extension fails first: nothing opened
  EXPECT_EQ(metadataCalls + textCalls, 0);
  EXPECT_FALSE(Passes(set, L"a.pdf", 5));  // the size fails before anything is opened
  EXPECT_EQ(metadataCalls + textCalls, 0);
  EXPECT_TRUE(Passes(set, L"a.pdf", 50));
  EXPECT_EQ(metadataCalls, 1);
  EXPECT_EQ(textCalls, 1);

  // A cloud file whose data is not on the disk is never opened: reading it would download it.
  DirEntry cloud;
  cloud.name = L"b.pdf";
  cloud.size = 50;
  cloud.dataOffline = true;
  EXPECT_FALSE(set.Accepts(ScanEntry{L"C:\\Quelle", cloud, L"pdf"}));
  EXPECT_EQ(metadataCalls + textCalls, 2);

  // Without a way to evaluate them, such profiles are refused instead of passing every file.
  context_.makeMetadataTest = nullptr;
  context_.makeTextTest = nullptr;
  for (int which = 0; which < 2; ++which) {
    Profile p;
    (which == 0 ? p.Metadaten : p.TextSuche) = L"x";
    std::wstring problem;
    ConditionSet::Build(p, context_, &problem);
    EXPECT_NE(problem.find(which == 0 ? L"Metadaten" : L"Text"), std::wstring::npos);
  }
}

}  // namespace
}  // namespace ablagix
