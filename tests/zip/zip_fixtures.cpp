// Writes archives with our writer for other programs to check (check_archives.py: unzip, 7z and
// Python's zipfile), together with a manifest of what each entry must hold.
//
//   zip_fixtures FOLDER          names with umlauts and emoji, an empty file, a self-extractor,
//                                entry names made from file names that Windows cannot store
//   zip_fixtures FOLDER large    also a 4.5 GB sparse file (ZIP64 by size) and 70,000 entries
//                                (ZIP64 by count)
//
// manifest.tsv: archive, entry name, source file (relative to FOLDER), one entry per line.
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "base/text.h"
#include "fileops/file_ops.h"
#include "fileops/output_file.h"
#include "fileops/path_text.h"
#include "zip/zip_names.h"
#include "zip/zip_reader.h"
#include "zip/zip_writer.h"

using namespace ablagix;

namespace {

struct Entry {
  std::wstring source;  // relative to the folder, "\" between folders
  std::string name;
};

std::wstring g_folder;
std::string g_manifest;

std::wstring At(const std::wstring& relative) { return JoinPath(g_folder, relative); }

std::string ManifestPath(const std::wstring& relative) {
  std::string path = ToUtf8(relative);
  for (char& c : path) {
    if (c == '\\') c = '/';
  }
  return path;
}

bool Check(bool ok, const char* what) {
  if (!ok) std::fprintf(stderr, "zip_fixtures: %s\n", what);
  return ok;
}

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

bool WriteBatch(const std::wstring& archive, const std::vector<Entry>& entries, const ZipOptions& options = {}) {
  const auto start = std::chrono::steady_clock::now();
  ZipBatch batch;
  if (!Check(batch.Begin(At(archive), options).ok(), "Begin")) return false;
  for (const Entry& e : entries) batch.Add({At(e.source), e.name});
  const ZipWriteResult r = batch.Finish();
  if (!Check(r.ok(), ToUtf8(ZipWriteText(r)).c_str())) return false;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    g_manifest += ManifestPath(archive) + "\t" + batch.EntryName(i) + "\t" + ManifestPath(entries[i].source) + "\n";
  }
  std::fprintf(stderr, "%s: %zu entries in %.1f s\n", ToUtf8(archive).c_str(), entries.size(), Seconds(start));
  return true;
}

bool WriteFile(const std::wstring& relative, const std::string& bytes) {
  CreateFolders(FolderPart(At(relative)));
  return WriteFileAtomic(At(relative), bytes);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: zip_fixtures FOLDER [large]\n");
    return 2;
  }
  g_folder = FromUtf8(argv[1]);
  const bool large = argc > 2 && std::string(argv[2]) == "large";
  CreateFolders(g_folder);

  std::string text;
  for (int i = 0; text.size() < 300000; ++i) text += "Rechnung " + std::to_string(i * 37 % 1009) + " f\xc3\xbcr M\xc3\xa4rz\n";
  std::string noise(200000, '\0');
  std::uint32_t state = 12345;
  for (char& c : noise) c = static_cast<char>((state = state * 1103515245u + 12345u) >> 24);
  const std::vector<Entry> small = {
      {L"quelle\\Gr\u00f6\u00dfe M\u00e4rz.txt", "Gr\xc3\xb6\xc3\x9f" "e M\xc3\xa4rz.txt"},
      {L"quelle\\\U0001F600 Emoji \u00fc.txt", "Ordner \xc3\xa4/\xf0\x9f\x98\x80 Emoji \xc3\xbc.txt"},
      {L"quelle\\leer.txt", "leer.txt"},
      {L"quelle\\zufall.bin", "zufall.bin"},
      {L"quelle\\foto.jpg", "foto.jpg"},
  };
  bool ok = WriteFile(small[0].source, text) && WriteFile(small[1].source, "Hallo \xf0\x9f\x98\x80\n") &&
            WriteFile(small[2].source, "") && WriteFile(small[3].source, noise) &&
            WriteFile(small[4].source, noise.substr(0, 5000));
  ok = ok && WriteBatch(L"klein.zip", small);
  const std::vector<SfxText> texts = StandardSfxTexts();
  ZipOptions sfx;
  sfx.selfExtractor = &texts;
  std::string_view stub;
  if (SfxStubBytes(&stub)) ok = ok && WriteBatch(L"selbst.exe", small, sfx);
  // File names as ablagix-cli meets them on Linux (a byte that is not UTF-8 as U+DC00 + byte, a
  // backslash inside the name as U+DC5C): every reader must list the entries as we named them.
  std::vector<Entry> odd;
  for (const wchar_t* path :
       {L"/daten/src/...", L"/daten/C:evil.txt", L"/daten/file.txt:stream", L"/daten/2025-01-01T12:30:00.log",
        L"/daten/ trail. ", L"/daten/\xDCE4.txt", L"/daten/a\xDC5C" L"b.txt", L"/daten/aux.txt",
        L"/da*ten/M\u00e4rz \U0001F600?.txt"}) {
    odd.push_back({small[1].source, ZipEntryNameForPath(path, true)});
  }
  ok = ok && WriteBatch(L"namen.zip", odd);

  if (large) {
    // 4.5 GiB of zeros that take no disk room: one entry beyond 4 GiB.
    const std::uint64_t hugeSize = 4608ull << 20;
    ok = ok && Check(CreateFolders(At(L"gross")) && CreateSparseFile(At(L"gross\\nullen.bin"), hugeSize),
                     "sparse file");
    if (ok) {
      const auto start = std::chrono::steady_clock::now();
      const ZipWriteResult r = ZipOneFile({At(L"gross\\nullen.bin"), "nullen.bin"}, At(L"gross.zip"), {});
      ok = Check(r.ok(), ToUtf8(ZipWriteText(r)).c_str());
      g_manifest += "gross.zip\tnullen.bin\tgross/nullen.bin\n";
      std::fprintf(stderr, "gross.zip: 4.5 GiB in %.1f s\n", Seconds(start));
    }
    // 70,000 entries from a hundred small files.
    std::vector<Entry> many;
    for (int f = 0; f < 100 && ok; ++f) {
      ok = WriteFile(L"viele\\d" + NumberText(f) + L".txt", "Datei " + std::to_string(f) + "\n");
    }
    for (int i = 0; i < 70000; ++i) {
      many.push_back({L"viele\\d" + NumberText(i % 100) + L".txt",
                      "teil" + std::to_string(i / 1000) + "/eintrag" + std::to_string(i) + ".txt"});
    }
    ok = ok && WriteBatch(L"viele.zip", many);
  }
  ok = ok && WriteFileAtomic(At(L"manifest.tsv"), g_manifest);
  return ok ? 0 : 1;
}
