// Random access to the bytes of a file or of a piece of memory, for the metadata readers.
// They read the few pieces they need (a header, a directory, a tag) rather than whole files,
// and tests and fuzz targets hand them bytes made in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fileops/file_io.h"

namespace ablagix {

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  virtual std::uint64_t size() const = 0;
  // Up to `count` bytes from `offset`; fewer at the end. False when the bytes cannot be read.
  virtual bool Read(std::uint64_t offset, std::size_t count, std::string* out) = 0;
};

class MemoryByteSource : public ByteSource {
 public:
  explicit MemoryByteSource(std::string_view bytes) : bytes_(bytes) {}
  std::uint64_t size() const override { return bytes_.size(); }
  bool Read(std::uint64_t offset, std::size_t count, std::string* out) override;

 private:
  std::string_view bytes_;
};

class FileByteSource : public ByteSource {
 public:
  [[nodiscard]] bool Open(const std::wstring& path) { return file_.Open(path); }
  std::uint64_t size() const override { return file_.size(); }
  bool Read(std::uint64_t offset, std::size_t count, std::string* out) override {
    return file_.ReadAt(offset, count, out);
  }

 private:
  ReadOnlyFile file_;
};

// Serves many small reads that walk forward through a file (frame headers, directory
// entries) from one block read ahead, so each of them does not cost a system call.
class ReadAheadByteSource : public ByteSource {
 public:
  explicit ReadAheadByteSource(ByteSource& inner, std::size_t block = 16384) : inner_(inner), blockSize_(block) {}
  std::uint64_t size() const override { return inner_.size(); }
  bool Read(std::uint64_t offset, std::size_t count, std::string* out) override;

 private:
  ByteSource& inner_;
  std::size_t blockSize_;
  std::uint64_t blockAt_ = 0;
  std::string block_;
  bool filled_ = false;
};

}  // namespace ablagix
