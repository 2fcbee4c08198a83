#include "fileops/text_file.h"

#include <gtest/gtest.h>

#include "base/text.h"
#include "fileops/file_ops.h"
#include "test_support.h"

namespace ablagix {
namespace {

TEST(ReadTextFile, EveryWayTheProgramAndOthersWriteText) {
  test::TempDir dir;
  const std::wstring text = L"Gr\u00fc\u00dfe aus K\u00f6ln \u20ac";
  // The program's own reports: UTF-16LE without and with mark.
  ASSERT_TRUE(WriteTextFile(dir / L"bericht.txt", text));
  ASSERT_TRUE(WriteTextFileWithBom(dir / L"mit-bom.txt", text));
  ASSERT_TRUE(test::WriteBytes(dir / L"utf8.txt", "\xEF\xBB\xBF" + ToUtf8(text)));
  ASSERT_TRUE(test::WriteBytes(dir / L"utf8-ohne.txt", ToUtf8(text)));
  std::string be = "\xFE\xFF";
  const std::string le = ToUtf16LeBytes(text, false);
  for (std::size_t i = 0; i + 1 < le.size(); i += 2) be += std::string{le[i + 1], le[i]};
  ASSERT_TRUE(test::WriteBytes(dir / L"be.txt", be));
  ASSERT_TRUE(test::WriteBytes(dir / L"ansi.txt", "Gr\xFC\xDF" "e aus K\xF6ln \x80"));
  for (const wchar_t* name : {L"bericht.txt", L"mit-bom.txt", L"utf8.txt", L"utf8-ohne.txt", L"be.txt", L"ansi.txt"}) {
    std::wstring read;
    ASSERT_TRUE(ReadTextFile(dir / name, &read)) << test::U8(name);
    EXPECT_EQ(read, text) << test::U8(name);
  }
  std::wstring read = L"alt";
  ASSERT_TRUE(WriteTextFile(dir / L"leer.txt", L""));
  EXPECT_TRUE(ReadTextFile(dir / L"leer.txt", &read));
  EXPECT_EQ(read, L"");
  EXPECT_FALSE(ReadTextFile(dir / L"fehlt.txt", &read));
}

}  // namespace
}  // namespace ablagix
