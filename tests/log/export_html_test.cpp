#include "log/export_html.h"

#include <gtest/gtest.h>

#include <string>

#include "base/text.h"
#include "test_support.h"

namespace ablagix {
namespace {

using test::AbortAfter;
using test::U8;

std::wstring Decode(const std::string& bytes) { return FromUtf16LeBytes(bytes); }

constexpr LocalDateTime kNow = {2025, 2, 3, 9, 5, 7};

TEST(HtmlExport, TwoRowLogMatchesTheMarkupByteForByte) {
  LogList log;
  LogFileFields f;
  f.datei = L"Rechnung M\u00e4rz.pdf";
  f.pfad = L"D:\\Eingang";
  f.size = 1536;
  f.lastWrite = test::LocalToFileTime({2025, 1, 31, 17, 45, 2});
  f.creation = test::LocalToFileTime({2024, 12, 24, 8, 0, 0});
  f.zielpfad = L"E:\\Ablage\\pdf";
  f.ergebnis = L"Verschoben";
  log.AppendFile(f);
  f.datei = L"Tom & Jerry.txt";
  f.size = 12;
  f.lastWrite = 0;  // unknown: shows "-"
  f.zielpfad = L"";
  f.ergebnis = L"\u00dcbersprungen";
  log.AppendFile(f);

  HtmlExportOptions o;
  o.coloured = false;
  o.counts.rows = 2;
  o.now = kNow;
  const std::string bytes = HtmlExportBytes(log, o);
  ASSERT_GE(bytes.size(), 2u);
  EXPECT_EQ(bytes.substr(0, 2), std::string("<\0", 2));  // no byte-order mark

  const std::wstring th =
      L"<th align=\"left\" style=\"background-color:#FBAA9B\"><font color=\"#333399\">";
  // One fragment after the other, without line breaks.
  const std::wstring expected =
      L"<HTML> <BODY><h5><font color=\"#0066CC\">2 Verzeichniss(e) / Datei(en) </font></h5>"
      L"<h3><font color=\"#0066CC\">Ablagix: DateiListe  vom 03.02.2025</font></h3>"
      L"<h5><font color=\"#0066CC\">Erstellt am 03.02.2025 09:05:07</font></h5>"
      L"<TABLE cellspacing=\"0\" border=\"1\" "
      L"style=\"background-color:FFFFFF;color=#333399\"><tr>" +
      th + L"Datei</font></th>" + th + L"Pfad</font></th>" + th + L"Gr\u00f6\u00dfe</font></th>" +
      th + L"Ge\u00e4ndert am</font></th>" + th + L"Erstellt am</font></th>" + th +
      L"Zielpfad</font></th>" + th +
      L"Ergebnis</font></th></tr>"
      L"<tr><td><a href=\"file:///D:/Eingang/Rechnung%20M%C3%A4rz.pdf\">Rechnung "
      L"M\u00e4rz.pdf</a></td>"
      L"<td>D:\\Eingang</td><td>1,50 KB</td><td align=\"center\">31.01.2025 17:45:02</td>"
      L"<td>24.12.2024 08:00:00</td><td><a href=\"file:///E:/Ablage/pdf\">E:\\Ablage\\pdf</a></td>"
      L"<td>Verschoben</td></tr>"
      L"<tr><td><a href=\"file:///D:/Eingang/Tom%20%26%20Jerry.txt\">Tom &amp; Jerry.txt</a></td>"
      L"<td>D:\\Eingang</td><td>12 Bytes</td><td align=\"center\">-</td>"
      L"<td>24.12.2024 08:00:00</td><td><a href=\"file:///\"></a></td><td>\u00dcbersprungen</td></tr>"
      L"</TABLE></BODY></HTML>";
  EXPECT_EQ(U8(Decode(bytes)), U8(expected));
}

TEST(HtmlExport, SummaryColourAndBannerRows) {
  LogList log;
  AppendStartBanner(log, L"Fotos");
  HtmlExportOptions o;
  o.title = L"Test";
  o.counts.folders = 3;
  o.counts.files = 5;
  o.now = kNow;
  const std::string html = U8(Decode(HtmlExportBytes(log, o)));
  EXPECT_NE(html.find(">3 Verzeichniss(e) und 5 Datei(en) </font>"), std::string::npos);
  EXPECT_NE(html.find("Ablagix: Test vom 03.02.2025"), std::string::npos);
  EXPECT_NE(html.find("style=\"background-color:99CCFF;color=#333399\""), std::string::npos);
  // A banner row is written like every other row: its name and its target are links.
  const std::string stars = "%2A%2A%2A%2A%2A%2A%2A%2A%2A%2A";
  EXPECT_NE(html.find("<tr><td><a href=\"file:///" + stars + "/Start%20Fotos\">Start Fotos</a></td>"
                      "<td>**********</td>"),
            std::string::npos);
  EXPECT_NE(html.find("<td><a href=\"file:///" + stars + "\">**********</a></td>"), std::string::npos);
  EXPECT_EQ(html.find("\r\n"), std::string::npos);
}

// Esc after the second row: what was written stays, a row "Abbruch" follows, and the
// document still ends whole.
TEST(HtmlExport, EscEndsTheTableWithAbbruch) {
  LogList log;
  for (int i = 0; i < 5; ++i) AppendStartBanner(log, L"P" + std::to_wstring(i));
  AbortAfter ui(1);
  const std::string html = U8(Decode(HtmlExportBytes(log, HtmlExportOptions{}, nullptr, &ui)));
  EXPECT_NE(html.find(">Start P1</a>"), std::string::npos);
  EXPECT_EQ(html.find(">Start P2</a>"), std::string::npos);
  EXPECT_TRUE(html.ends_with("</tr><tr><td>Abbruch</td></tr></TABLE></BODY></HTML>")) << html.substr(html.size() - 80);
}

TEST(FileUrl, BrowsersOpenTheLinks) {
  EXPECT_EQ(U8(FileUrl(L"C:\\Fotos\\Urlaub #1 (100%).jpg")),
            "file:///C:/Fotos/Urlaub%20%231%20%28100%25%29.jpg");
  EXPECT_EQ(U8(FileUrl(L"\\\\server\\Freigabe\\\u00c4.txt")),
            "file://///server/Freigabe/%C3%84.txt");
  EXPECT_EQ(U8(FileUrl(L"\\\\?\\C:\\lang\\x.txt")), "file:///C:/lang/x.txt");
  EXPECT_EQ(U8(FileUrl(L"\\\\?\\UNC\\server\\s\\x.txt")), "file://///server/s/x.txt");
  EXPECT_EQ(U8(FileUrl(L"/home/anna/a\"b.txt")), "file:///home/anna/a%22b.txt");
}

}  // namespace
}  // namespace ablagix
