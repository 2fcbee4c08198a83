// Scan benchmark: times the folder scan alone and the scan with name, extension, size and date
// conditions over one tree, several rounds each, warm cache.
//
//   scan_bench make-tree DIR [FILES]
//   scan_bench scan DIR [ROUNDS]
#include <chrono>
#include <cstdio>
#include <string>

#include "base/text.h"
#include "engine/conditions.h"
#include "engine/scan.h"
#include "fileops/file_ops.h"
#include "tree_generator.h"

using namespace ablagix;

namespace {

double Seconds(std::chrono::steady_clock::duration d) {
  return std::chrono::duration<double>(d).count();
}

template <typename F>
double Best(int rounds, F f) {
  double best = 1e9;
  for (int i = 0; i < rounds; ++i) {
    auto start = std::chrono::steady_clock::now();
    f();
    best = std::min(best, Seconds(std::chrono::steady_clock::now() - start));
  }
  return best;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: scan_bench make-tree DIR [FILES] | scan DIR [ROUNDS]\n");
    return 2;
  }
  const std::string command = argv[1];
  const std::wstring dir = FromUtf8(argv[2]);
  if (command == "make-tree") {
    bench::TreeShape plan;
    if (argc > 3) plan.files = std::stoull(argv[3]);
    bench::GenerateTree(dir, plan);
    return 0;
  }
  const int rounds = argc > 3 ? std::stoi(argv[3]) : 5;
  ScanRequest request;
  request.folder = dir;
  request.includeSubfolders = true;
  size_t found = 0;
  const double plain = Best(rounds, [&] {
    RunFileList files;
    ScanState state;
    ScanFolder(request, &files, &state);
    found = files.size();
  });

  Profile profile;
  profile.Filename = L"*[0-9]*";
  profile.Filter = L".jpg,.png,.pdf";
  profile.FileSize = L">1KB";
  profile.Filedate = L"GA<1Y";
  ConditionContext context;
  const LocalDateTime now = FileTimeToLocal(CurrentFileTime());
  context.now = now;
  std::wstring problem;
  ConditionSet conditions = ConditionSet::Build(profile, context, &problem);
  request.accept = [&](const ScanEntry& e) { return conditions.Accepts(e); };
  size_t matched = 0;
  const double filtered = Best(rounds, [&] {
    RunFileList files;
    ScanState state;
    ScanFolder(request, &files, &state);
    matched = files.size();
  });
  std::printf("scan alone:            %.3f s  (%zu files)\n", plain, found);
  std::printf("scan with conditions:  %.3f s  (%zu files match name, extension, size and date)\n",
              filtered, matched);
  std::printf("conditions add:        %.1f %%\n", 100.0 * (filtered - plain) / plain);
  return 0;
}
