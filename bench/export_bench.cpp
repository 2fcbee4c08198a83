// Times the four log exports on a log of 100,000 rows and measures the heap they need on top
// of the log itself (peak of live heap bytes while exporting, through a counting operator
// new), plus the size of the file written. "build" is the text made in memory alone; "total"
// adds the atomic write, which flushes the file to disk.
//
//   export_bench [ROWS] [FOLDER]
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "base/text.h"
#include "base/ui_port.h"
#include "counting_allocator.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "log/export_html.h"
#include "log/export_pdf.h"
#include "log/export_text.h"
#include "log/log_list.h"
#include "log/log_save.h"

namespace {

using namespace ablagix;

constexpr FileTime kYear2023 = 133170048000000000;  // 1 January 2023, UTC
constexpr FileTime kSecond = 10000000;

class SilentUi : public UiPort {
 public:
  MessageAnswer ShowMessage(const std::wstring& text, MessageIcon, MessageButtons) override {
    std::fprintf(stderr, "%s\n", ToUtf8(text).c_str());
    return MessageAnswer::Ok;
  }
};

// Shaped like a photo-sorting run: long folder names, German umlauts, a few errors and skips,
// a banner pair every 5,000 rows.
void Fill(LogList& log, std::size_t rows) {
  static const wchar_t* kResults[] = {L"Verschoben", L"Verschoben", L"Verschoben",
                                      L"\u00dcbersprungen", L"Fehler! Zugriff verweigert"};
  std::wstring name, folder, target;
  for (std::size_t i = 0; log.size() < rows; ++i) {
    if (i % 5000 == 0) AppendStartBanner(log, L"Fotos sortieren");
    const std::size_t folderNo = i / 500;
    name = L"IMG_20230714_" + std::to_wstring(100000 + i) + L" Gr\u00fc\u00dfe.jpg";
    folder = L"D:\\Bilder\\Kamera\\2023\\Urlaub Italien Teil " + std::to_wstring(folderNo);
    target = L"E:\\Fotos\\2023\\" + std::to_wstring(1 + folderNo % 12);
    LogFileFields f;
    f.datei = name;
    f.pfad = folder;
    f.size = 2500000 + i * 37 % 4000000;
    f.lastWrite = kYear2023 + static_cast<FileTime>(i) * 31 * kSecond;
    f.creation = f.lastWrite;
    f.zielpfad = target;
    f.ergebnis = kResults[i % 5];
    f.aktion = L"Verschieben";
    f.zipp = L"0";
    f.kollision = L"1";
    f.metadaten = L"Canon EOS 80D";
    f.quell2 = folder;
    f.ziel2 = target;
    log.AppendFile(f);
    if (i % 5000 == 4999) AppendEndBanner(log, L"Fotos sortieren");
  }
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t rows = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 100000;
  const std::wstring folder =
      argc > 2 ? FromUtf8(argv[2]) : std::filesystem::temp_directory_path().wstring();
  LogList log;
  Fill(log, rows);
  std::printf("%zu rows, log itself %.1f MB on the heap\n\n", log.size(),
              static_cast<double>(bench::LiveHeapBytes()) / 1e6);
  std::printf("format    build   total  extra heap peak  file size\n");

  SilentUi ui;
  const LocalDateTime now = {2025, 2, 3, 9, 5, 7};
  struct Case {
    const char* label;
    ReportFormat format;
    bool pad;
  };
  for (const Case& c :
       {Case{"txt-999", ReportFormat::Text, true}, Case{"txt-tab", ReportFormat::Text, false},
        Case{"csv", ReportFormat::Csv, false}, Case{"html", ReportFormat::Html, false},
        Case{"pdf", ReportFormat::Pdf, false}}) {
    ReportOptions options;
    options.padText = c.pad;
    const std::wstring path = JoinPath(folder, ReportFileName(c.format, now));
    auto since = [](std::chrono::steady_clock::time_point start) {
      return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    };
    auto start = std::chrono::steady_clock::now();
    std::size_t built = 0;
    if (c.format == ReportFormat::Text || c.format == ReportFormat::Csv) {
      TextExportOptions text;
      text.separator = c.format == ReportFormat::Csv ? L";" : (c.pad ? L"999" : L"vbtab");
      built = TextExportBytes(log, text, &ui, nullptr).size();
    } else if (c.format == ReportFormat::Html) {
      HtmlExportOptions html;
      html.now = now;
      html.counts.rows = log.size();
      built = HtmlExportBytes(log, html).size();
    } else {
      built = PdfReportBytes(log, {L"Dateiliste", now}, nullptr).size();
    }
    const double buildSeconds = since(start);

    const std::size_t base = bench::LiveHeapBytes();
    bench::ResetPeakHeapBytes();
    start = std::chrono::steady_clock::now();
    const bool ok = WriteLogReport(log, path, c.format, options, now, ui, nullptr);
    const double seconds = since(start);
    std::uint64_t size = 0;
    if (!ok || !GetFileSize(path, &size) || size != built) {
      std::printf("%-7s failed\n", c.label);
      return 1;
    }
    std::printf("%-7s %7.2f %7.2f  %12.1f MB  %6.1f MB   %s\n", c.label, buildSeconds, seconds,
                static_cast<double>(bench::PeakHeapBytes() - base) / 1e6, static_cast<double>(size) / 1e6,
                ToUtf8(path).c_str());
  }
  return 0;
}
