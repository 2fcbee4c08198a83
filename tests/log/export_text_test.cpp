#include "log/export_text.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/abort_flag.h"
#include "base/text.h"
#include "base/ui_port.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::AbortAfter;
using test::U8;

std::wstring Decode(const std::string& bytes) { return FromUtf16LeBytes(bytes); }

LogRowTexts Row(std::wstring_view datei, std::wstring_view pfad, std::wstring_view ziel) {
  LogRowTexts t{};
  t[0] = datei;
  t[1] = pfad;
  t[2] = L"1,50 KB";
  t[3] = L"03.02.2025 09:05:07";
  t[4] = L"";
  t[5] = ziel;
  t[6] = L"Verschoben";
  t[7] = L"Verschieben";
  t[12] = L"Q2";
  t[13] = L"Z2";
  return t;
}

std::string Export(const LogList& log, std::wstring separator, bool header = false,
                   UiPort* ui = nullptr, ExportProgress* progress = nullptr) {
  TextExportOptions o;
  o.separator = std::move(separator);
  o.header = header;
  return TextExportBytes(log, o, ui, progress);
}

TEST(TextExport, EmptyLogWithHeaderIsOnlyTheHeaderLine) {
  const LogList empty;
  EXPECT_EQ(U8(Decode(Export(empty, L"vbtab", true))),
            U8(L"Datei\tPfad\tGr\u00f6\u00dfe\tGe\u00e4ndert am\tErstellt am\tZielpfad\tErgebnis\t"
               L"Aktion\tZipp\tKollision\tZipName\tMetadaten\tQuell2\r\n"));
  EXPECT_EQ(Export(empty, L"vbtab", false), "");
}

TEST(TextExport, SeparatorWordsAndColumnBound) {
  LogList log;
  log.AppendTexts(Row(L"a;b.txt", L"D:\\x", L"E:\\y"));

  // "vbtab" is a tab; every column but the last ("Ziel2") is written.
  EXPECT_EQ(U8(Decode(Export(log, L"vbtab"))),
            "a;b.txt\tD:\\x\t1,50 KB\t03.02.2025 "
            "09:05:07\t\tE:\\y\tVerschoben\tVerschieben\t\t\t\t\tQ2\r\n");
  // Any other text is used as it stands, however long; values are never quoted, so the
  // ";" in the name simply passes through.
  EXPECT_EQ(U8(Decode(Export(log, L";"))).substr(0, 20), "a;b.txt;D:\\x;1,50 KB");
  EXPECT_EQ(U8(Decode(Export(log, L" | "))).substr(0, 24), "a;b.txt | D:\\x | 1,50 KB");
  // An empty separator joins the cells with nothing.
  EXPECT_EQ(U8(Decode(Export(log, L""))).substr(0, 18), "a;b.txtD:\\x1,50 KB");

  TextExportOptions o;
  o.separator = L",";
  o.header = false;
  o.trailingColumns = 1;  // the whole row
  EXPECT_EQ(
      U8(Decode(TextExportBytes(log, o, nullptr, nullptr))),
      "a;b.txt,D:\\x,1,50 KB,03.02.2025 09:05:07,,E:\\y,Verschoben,Verschieben,,,,,Q2,Z2\r\n");
  o.trailingColumns = 14;  // the bound formula keeps the first column only
  EXPECT_EQ(U8(Decode(TextExportBytes(log, o, nullptr, nullptr))), "a;b.txt\r\n");
}

TEST(TextExport, ColumnsInTheOrderTheListShowsThem) {
  LogList log;
  log.AppendTexts(Row(L"a.txt", L"D:\\x", L"E:\\y"));
  TextExportOptions o;
  o.separator = L";";
  // "Ergebnis" dragged to the front, "Pfad" to the end: the last one shown is left out.
  o.columnOrder = {6, 0, 2, 3, 4, 5, 7, 8, 9, 10, 11, 12, 13, 1};
  EXPECT_EQ(U8(Decode(TextExportBytes(log, o, nullptr, nullptr))),
            U8(L"Ergebnis;Datei;Gr\u00f6\u00dfe;Ge\u00e4ndert am;Erstellt am;Zielpfad;Aktion;Zipp;Kollision;"
               L"ZipName;Metadaten;Quell2;Ziel2\r\n") +
                "Verschoben;a.txt;1,50 KB;03.02.2025 09:05:07;;E:\\y;Verschieben;;;;;Q2;Z2\r\n");
  // The padded layout pads the names and folders wherever they stand.
  o.separator = L"999";
  o.header = false;
  o.columnOrder = {5, 0, 1, 2, 3, 4, 6, 7, 8, 9, 10, 11, 12, 13};
  log.AppendTexts(Row(L"l\u00e4nger.txt", L"D:\\x", L"E:\\zz"));
  EXPECT_TRUE(U8(Decode(TextExportBytes(log, o, nullptr, nullptr))).starts_with("E:\\y  a.txt      D:\\x 1,50 KB"));
  // An order that is not one of all fourteen columns is the list's own.
  for (const std::vector<int>& odd : {std::vector<int>{1, 0}, std::vector<int>{0, 0, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13},
                                      std::vector<int>{14, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12}}) {
    EXPECT_EQ(LogColumnOrderOrDefault(odd), LogColumnOrderOrDefault({}));
  }
}

TEST(TextExport, FixedWidthPadsNamesAndFoldersToTheLongestText) {
  LogList log;
  log.AppendTexts(Row(L"kurz.txt", L"D:\\a", L"E:\\ziel"));
  log.AppendTexts(Row(L"ein viel l\u00e4ngerer Name.txt", L"D:\\Ordner\\tief", L"E:\\z"));
  const std::wstring text = Decode(Export(log, L"999", true));
  const std::vector<std::wstring> lines = Split(text, L'\n');
  ASSERT_EQ(lines.size(), 4u);  // three lines and the empty piece after the last CR LF

  // Names are 26 wide (the longer name), folders 14, targets 8 ("Zielpfad" in the header);
  // the short columns are not padded, and one blank separates every cell.
  auto blanks = [](std::size_t n) { return std::string(n, ' '); };
  EXPECT_TRUE(U8(lines[0]).starts_with("Datei" + blanks(21) + " Pfad" + blanks(10) +
                                       U8(L" Gr\u00f6\u00dfe Ge")));
  EXPECT_EQ(U8(lines[1]), "kurz.txt" + blanks(18) + " D:\\a" + blanks(10) +
                              " 1,50 KB 03.02.2025 09:05:07  E:\\ziel" + blanks(1) +
                              " Verschoben Verschieben" + blanks(5) + "Q2\r");
  EXPECT_EQ(U8(lines[2]), U8(L"ein viel l\u00e4ngerer Name.txt") +
                              " D:\\Ordner\\tief 1,50 KB 03.02.2025 09:05:07  E:\\z" + blanks(4) +
                              " Verschoben Verschieben" + blanks(5) + "Q2\r");
  EXPECT_EQ(text.find(L"999"), std::wstring::npos);
}

TEST(TextExport, EscStopsAfterTheCurrentRowWithAbbruch) {
  LogList log;
  for (const wchar_t* name : {L"1", L"2", L"3", L"4"}) log.AppendTexts(Row(name, L"p", L"z"));
  TextExportOptions o;
  o.separator = L";";
  o.header = false;
  o.trailingColumns = 13;  // "Datei" and "Pfad"

  AbortAfter ui(2);  // two rows pass, Esc is down after the third
  EXPECT_EQ(U8(Decode(TextExportBytes(log, o, &ui, nullptr))), "1;p\r\n2;p\r\n3;p\r\n\r\nAbbruch");

  // Ctrl+C on the command line arrives as the abort flag.
  RequestAbort();
  EXPECT_EQ(U8(Decode(TextExportBytes(log, o, nullptr, nullptr))), "1;p\r\n\r\nAbbruch");
  // Without the permission to cancel, neither stops the export.
  o.allowCancel = false;
  AbortAfter eager(0);
  EXPECT_EQ(U8(Decode(TextExportBytes(log, o, &eager, nullptr))), "1;p\r\n2;p\r\n3;p\r\n4;p\r\n");
  ClearAbort();
}

TEST(TextExport, FileIsUtf16LittleEndianWithoutByteOrderMark) {
  test::TempDir dir;
  LogList log;
  // U+1F4F7 (camera) needs a surrogate pair in UTF-16 whatever the width of wchar_t.
  log.AppendTexts(Row(L"\u00c4rger \U0001F4F7.jpg", L"p", L"z"));
  TextExportOptions o;
  o.header = false;
  const std::wstring path = dir / L"log.txt";
  ASSERT_TRUE(WriteTextExport(log, path, o, nullptr, nullptr));
  const std::string bytes = test::ReadBytes(path);
  ASSERT_GE(bytes.size(), 16u);
  EXPECT_EQ(bytes.substr(0, 4), std::string("\xC4\x00r\x00", 4));  // "Ä" directly, no FF FE
  EXPECT_EQ(bytes.substr(12, 4), std::string("\x3D\xD8\xF7\xDC", 4));
  EXPECT_EQ(bytes.substr(bytes.size() - 4), std::string("\r\x00\n\x00", 4));

  // A folder that does not exist is a failure without a message.
  EXPECT_FALSE(WriteTextExport(log, dir / L"fehlt/log.txt", o, nullptr, nullptr));
}

}  // namespace
}  // namespace ablagix
