// The pieces of the zip writer (zip/zip_writer.h) that the single-archive writer
// (zip_writer.cpp) and the parallel batch (zip_batch.cpp) share: the deflate stream, the
// archive file with its headers and directory, and the preparing and writing of one entry.
#pragma once

#include <zlib.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "fileops/byte_source.h"
#include "fileops/in_place_io.h"
#include "fileops/output_file.h"
#include "zip/sfx_archive.h"
#include "zip/zip_format.h"
#include "zip/zip_reader.h"
#include "zip/zip_writer.h"

namespace ablagix::zip_writing {

using namespace zip_format;

inline constexpr std::uint32_t kDescriptorSignature = 0x08074b50;
inline constexpr std::uint16_t kTimestampExtraId = 0x5455;
inline constexpr std::uint16_t kDescriptorFlag = 1u << 3;
inline constexpr std::uint16_t kMadeBy = 63;  // format version 6.3, FAT attributes (what Windows expects)
// The same version with Unix attributes: the permission bits in the upper half, so that a
// private file stays private when it is unpacked.
inline constexpr std::uint16_t kMadeByUnix = (3 << 8) | 63;
inline constexpr std::uint32_t kArchiveAttribute = 0x20;
inline constexpr std::uint32_t kReadOnlyAttribute = 0x01;
inline constexpr std::uint32_t kRegularFileMode = 0100000;
inline constexpr std::uint64_t kMax32 = 0xFFFFFFFF;
inline constexpr std::uint64_t kMaxEntries16 = 0xFFFF;
inline constexpr std::size_t kBlock = 1 << 20;
inline constexpr std::size_t kOutputBuffer = 1 << 20;
// Files up to this size are read and compressed whole in memory by a worker; larger ones are
// streamed block by block while they are written.
inline constexpr std::uint64_t kInMemoryLimit = 8u << 20;
// How far the workers may run ahead of the writer.
inline constexpr std::uint64_t kMaxPreparedBytes = 96u << 20;
inline constexpr std::chrono::milliseconds kCancelInterval{20};

ZipWriteResult Fail(ZipWriteCode code, std::uint32_t systemError = 0);

// The raw-deflate stream of one entry, reset (not rebuilt) between entries of one worker.
class Deflater {
 public:
  explicit Deflater(int level);
  ~Deflater();
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  bool ready() const { return ready_; }
  void Reset() { deflateReset(&z_); }
  // Compresses `in` and appends the output to `out`; `flush` as zlib's.
  bool Run(std::string_view in, int flush, std::string* out);

 private:
  z_stream z_{};
  bool ready_ = false;
};

// What the central directory needs of an entry.
struct CentralRecord {
  std::string name;  // as stored
  std::uint16_t madeBy = kMadeBy;
  std::uint16_t flags = kUtf8Flag;
  std::uint16_t method = 0;
  std::uint16_t dosTime = 0;
  std::uint16_t dosDate = 0;
  std::uint32_t crc = 0;
  std::uint64_t compressedSize = 0;
  std::uint64_t size = 0;
  std::uint64_t offset = 0;
  std::uint32_t attributes = kArchiveAttribute;
  std::string extra;  // without ZIP64
  std::string comment;
};

// The archive file under its temporary name: a buffered writer that knows its position and
// can patch bytes it wrote before (local headers whose sizes are known only afterwards).
class ArchiveOut {
 public:
  ~ArchiveOut() { Discard(); }

  ZipWriteResult Create(const std::wstring& target);

  // A file with these permission bits goes into the archive: the archive may be read by no
  // one who could not read that file.
  void NoteMember(std::uint32_t mode);

  std::uint64_t position() const { return position_; }
  const ZipWriteResult& error() const { return error_; }
  bool failed() const { return !error_.ok(); }

  bool Write(std::string_view bytes);

  // Overwrites bytes written before; `offset + bytes.size()` must not pass position().
  bool Patch(std::uint64_t offset, std::string_view bytes);

  // Goes back to `offset` to write over what follows it.
  bool Rewind(std::uint64_t offset);

  // Makes the file end at the current position, flushes it to the disk and closes it.
  bool Close();

  // Puts the closed file under the target's name (or, numbered, the first free one).
  ZipWriteResult Commit(ZipCommit commit);

  // Puts the closed file in the place of the archive it was made from, but only while that
  // one is still there unchanged: another run may have added its own entries meanwhile.
  ZipWriteResult CommitOver(const FileId& id, const FileVersion& version);

  // Removes the temporary file; the target is never touched.
  void Discard();

  bool SetError(ZipWriteCode code, std::uint32_t systemError);

 private:
  bool FlushBuffer();

  bool WriteFileAt(std::uint64_t offset, std::string_view bytes);

  OutputFile file_;
  std::wstring target_;
  std::wstring temp_;
  std::uint32_t created_ = 0600;
  std::uint32_t memberMask_ = 07777;
  std::string buffer_;
  std::uint64_t position_ = 0;
  std::uint64_t end_ = 0;
  ZipWriteResult error_;
};

// The zip structure on top of ArchiveOut: local headers, the central directory and the end
// records, with ZIP64 fields exactly where a value does not fit.
class ZipStructure {
 public:
  explicit ZipStructure(ArchiveOut& out) : out_(out) {}

  std::vector<CentralRecord>& records() { return records_; }

  // Writes the local header of `record` at the current position and sets its offset. With
  // `zip64` the sizes go into a ZIP64 field (needed when the entry may reach 4 GiB).
  bool WriteLocalHeader(CentralRecord& record, bool zip64);

  // Puts the final CRC and sizes into a local header written before.
  bool PatchLocalHeader(const CentralRecord& record, bool zip64);

  bool WriteDirectory(std::string_view comment);

 private:
  static std::string LocalHeader(const CentralRecord& r, bool zip64);

  ArchiveOut& out_;
  std::vector<CentralRecord> records_;
};

// The start of an archive: the temporary file, and for a self-extractor the stub and texts.
struct ArchiveStart {
  ArchiveOut out;
  ZipStructure zip{out};
  std::string comment;

  ZipWriteResult Begin(const std::wstring& target, const std::vector<SfxText>* selfExtractor);

  ZipWriteResult Finish(ZipCommit commit);

  // Finishes an archive made from the one at the target: in its place if it is unchanged.
  ZipWriteResult FinishOver(const FileId& id, const FileVersion& version);

 private:
  // The directory and the end records; on failure the temporary file goes (out.error() says why).
  bool WriteEnd();
};

// What a file becomes in the archive once it is read, before its header is written.
struct PreparedEntry {
  ZipWriteResult result;
  bool stream = false;  // too large to prepare in memory: the writer streams it
  std::uint64_t size = 0;
  std::uint16_t method = 0;
  std::uint32_t crc = 0;
  FileTime lastWrite = 0;
  std::uint32_t mode = 0;  // POSIX permission bits, 0 where there are none
  std::string data;  // as stored in the archive
};

// Asks the caller's cancel function at most every few milliseconds.
class CancelPoll {
 public:
  explicit CancelPoll(const std::function<bool()>& cancel) : cancel_(cancel) {}
  bool Cancelled(bool now = false);

 private:
  const std::function<bool()>& cancel_;
  std::chrono::steady_clock::time_point last_{};
  bool cancelled_ = false;
};

// Reads and compresses one file in memory (or marks it for streaming when it is large).
void PrepareInMemory(const ZipSource& source, Deflater* deflater, const std::atomic<bool>& stop,
                     PreparedEntry* entry);
// Writes an entry that PrepareInMemory made.
ZipWriteResult WritePrepared(ZipStructure& zip, ArchiveOut& out, const ZipSource& source,
                             const PreparedEntry& entry);
// Streams a large file into the archive block by block.
ZipWriteResult StreamEntry(ZipStructure& zip, ArchiveOut& out, const ZipSource& source, int level,
                           CancelPoll& cancel);
// Copies an entry of another archive into `archive` as it is.
ZipWriteResult CopyEntry(FileByteSource& file, ReadAheadByteSource& source, const ZipEntry& e, ArchiveStart& archive);
// Limits for reading an archive of our own making back: far above what a run writes.
ZipLimits GenerousLimits();

}  // namespace ablagix::zip_writing
