// Zip benchmark helper for bench/zip_bench.sh.
//   zip_bench make-tree DIR [FILES]     a generated tree with realistic contents
//   zip_bench zip FOLDER ARCHIVE        FOLDER with its subfolders into one archive, entry names
//                                       relative to FOLDER, as one run's archive is written
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include "base/text.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "tree_generator.h"
#include "zip/zip_writer.h"

using namespace ablagix;

namespace {

void Collect(const std::wstring& folder, const std::string& prefix, std::vector<ZipSource>* files) {
  FolderReader reader;
  if (!reader.Open(folder)) return;
  DirEntry entry;
  std::vector<DirEntry> subfolders;
  while (reader.Next(&entry)) {
    if (entry.name == L"." || entry.name == L"..") continue;
    if (entry.IsDirectory()) {
      subfolders.push_back(entry);
    } else {
      files->push_back({JoinPath(folder, entry.name), prefix + ToUtf8(entry.name), entry.lastWrite});
    }
  }
  for (const DirEntry& sub : subfolders) Collect(JoinPath(folder, sub.name), prefix + ToUtf8(sub.name) + "/", files);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: zip_bench make-tree DIR [FILES] | zip FOLDER ARCHIVE\n");
    return 2;
  }
  const std::string command = argv[1];
  if (command == "make-tree") {
    bench::TreeShape plan;
    if (argc > 3) plan.files = std::stoull(argv[3]);
    plan.duplicates = false;  // the zip job measures packing, as before the planted copies
    bench::GenerateTree(FromUtf8(argv[2]), plan);
    return 0;
  }
  if (command == "zip" && argc > 3) {
    std::vector<ZipSource> files;
    Collect(FromUtf8(argv[2]), "", &files);
    ZipOptions options;
    options.commit = ZipCommit::kReplace;
    ZipBatch batch;
    ZipWriteResult r = batch.Begin(FromUtf8(argv[3]), options);
    for (ZipSource& f : files) batch.Add(std::move(f));
    if (r.ok()) r = batch.Finish();
    if (!r.ok()) {
      std::fprintf(stderr, "zip_bench: %s\n", ToUtf8(ZipWriteText(r)).c_str());
      return 1;
    }
    return 0;
  }
  std::fprintf(stderr, "zip_bench: unknown command\n");
  return 2;
}
