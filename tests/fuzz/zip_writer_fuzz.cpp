// Fuzz target: a set of files with names and contents taken from the input is written into an
// archive (one file alone, and all of them in one batch) and read back; every entry must come
// back with its name and bytes, in the order added.
//
// Input: records of [name length byte][name][2-byte content length][content]; a content whose
// first byte is odd is repeated to make it compressible.
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "fileops/byte_source.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "zip/zip_reader.h"
#include "zip/zip_writer.h"

namespace {

using namespace ablagix;

std::wstring Folder() {
  static const std::wstring folder = [] {
    std::wstring f = L"/tmp/ablagix-zip-writer-fuzz-" + NumberText(static_cast<std::uint64_t>(::getpid()));
    CreateFolders(f);
    return f;
  }();
  return folder;
}

void Verify(const std::wstring& archive, const std::vector<std::string>& names, const std::vector<std::string>& data) {
  FileByteSource file;
  if (!file.Open(archive)) __builtin_trap();
  ZipReader zip(file);
  if (zip.Open() != ZipError::kNone || zip.entries().size() != names.size()) __builtin_trap();
  for (std::size_t i = 0; i < names.size(); ++i) {
    std::string back;
    if (zip.entries()[i].name != names[i]) __builtin_trap();
    if (zip.ReadEntry(zip.entries()[i], 1 << 24, &back) != ZipError::kNone || back != data[i]) __builtin_trap();
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::string_view in(reinterpret_cast<const char*>(bytes), size);
  std::vector<std::string> names;
  std::vector<std::string> data;
  while (in.size() >= 3 && names.size() < 16) {
    const std::size_t nameLength = static_cast<unsigned char>(in[0]) % 64;
    in.remove_prefix(1);
    if (in.size() < nameLength + 2) break;
    std::string name(in.substr(0, nameLength));
    in.remove_prefix(nameLength);
    const std::size_t length = (static_cast<unsigned char>(in[0]) | (static_cast<unsigned char>(in[1]) << 8)) % 4096;
    in.remove_prefix(2);
    std::string content(in.substr(0, std::min(length, in.size())));
    in.remove_prefix(content.size());
    if (!content.empty() && (content[0] & 1)) {
      const std::string unit = content;
      while (content.size() < 20000) content += unit;
    }
    // Any bytes may name an entry; the writer stores what it is given as UTF-8.
    names.push_back(ToUtf8(FromUtf8(name)));
    data.push_back(std::move(content));
  }
  const std::wstring folder = Folder();
  std::vector<std::wstring> files;
  for (std::size_t i = 0; i < data.size(); ++i) {
    files.push_back(JoinPath(folder, L"f" + NumberText(i) + (i % 3 == 0 ? L".jpg" : L".txt")));
    if (!WriteFileAtomic(files.back(), data[i])) return 0;
  }
  const std::wstring archive = JoinPath(folder, L"a.zip");
  ZipOptions options;
  options.commit = ZipCommit::kReplace;
  if (!files.empty()) {
    if (!ZipOneFile({files[0], names[0]}, archive, options).ok()) __builtin_trap();
    Verify(archive, {names[0]}, {data[0]});
  }
  ZipBatch batch;
  if (!batch.Begin(archive, options).ok()) __builtin_trap();
  for (std::size_t i = 0; i < files.size(); ++i) batch.Add({files[i], names[i]});
  if (!batch.Finish().ok()) __builtin_trap();
  std::vector<std::string> finalNames;
  for (std::size_t i = 0; i < files.size(); ++i) finalNames.push_back(batch.EntryName(i));
  Verify(archive, finalNames, data);
  for (const std::wstring& f : files) RemoveFile(f);
  return 0;
}
