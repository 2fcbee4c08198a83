// Builds a reproducible folder tree for benchmarks: nested folders, varied names (umlauts
// included), sizes and last-write dates spread over ten years.
#pragma once

#include <cstdint>
#include <string>

namespace ablagix::bench {

struct TreeSpec {
  std::uint64_t files = 100000;
  int filesPerFolder = 50;
  int foldersPerLevel = 8;
  std::uint32_t seed = 42;
  // Contents as real files have them: noise for formats that are compressed already (jpg,
  // png, mp3, zip, docx), German text for txt, half text half noise for pdf. Otherwise every
  // file is filled with "x".
  bool realisticContent = false;
};

// Returns the number of bytes written; prints progress to stderr.
std::uint64_t GenerateTree(const std::wstring& root, const TreeSpec& spec);

}  // namespace ablagix::bench
