// Random access to the bytes of a file or of a buffer, for readers that take a file apart
// piece by piece (picture metadata, zip archives, document properties) and must be testable
// on bytes made in memory.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fileops/in_place_io.h"

namespace ablagix {

class ByteSource {
 public:
  virtual ~ByteSource() = default;
  virtual std::uint64_t size() const = 0;
  // Up to `count` bytes from `offset`; fewer at the end. False when the bytes cannot be read.
  virtual bool Read(std::uint64_t offset, std::size_t count, std::string* out) = 0;
};

// A view of bytes that the caller keeps alive.
class MemoryByteSource : public ByteSource {
 public:
  explicit MemoryByteSource(std::string_view bytes) : bytes_(bytes) {}
  std::uint64_t size() const override { return bytes_.size(); }
  bool Read(std::uint64_t offset, std::size_t count, std::string* out) override;

 private:
  std::string_view bytes_;
};

// A file opened for reading; its size is taken once at Open.
class FileByteSource : public ByteSource {
 public:
  [[nodiscard]] bool Open(const std::wstring& path) { return file_.Open(path); }
  // The file a scan found, never through a link (ReadOnlyFile::OpenFound).
  [[nodiscard]] bool OpenFound(const FileRef& file, FsStatus* status) { return file_.OpenFound(file, status); }
  void Close() { file_.Close(); }
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
