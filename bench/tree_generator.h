// Builds a reproducible folder tree for benchmarks: nested folders, varied names (umlauts
// included), last-write dates spread over ten years, and contents as on an office computer:
// camera pictures with Exif blocks, text files in Windows-1252, UTF-8 and UTF-16, Word and
// OpenDocument packages, PDF documents, web pages, mails, old binary documents, programs and
// other binary data. About one in six texts and documents holds the word "Rechnung" (in
// varied case, now and then across a 4096-byte boundary). Copies of some files lie elsewhere in
// the tree, for the duplicates condition.
#pragma once

#include <cstdint>
#include <string>

namespace ablagix::bench {

struct TreeShape {
  std::uint64_t files = 100000;
  int filesPerFolder = 50;
  int foldersPerLevel = 8;
  std::uint32_t seed = 42;
  // Contents as real files have them: noise for formats that are compressed already (jpg,
  // png, mp3, zip, docx), German text for txt, half text half noise for pdf. Otherwise every
  // file is filled with "x".
  bool realisticContent = false;
  // Plants duplicates besides the `files` (about 5 % more files): copies in other folders,
  // files of the same size with another byte, large files with the same ends (tree_generator.cpp).
  bool duplicates = true;
};

// Returns the number of bytes written; prints progress to stderr.
std::uint64_t GenerateTree(const std::wstring& root, const TreeShape& plan);

}  // namespace ablagix::bench
