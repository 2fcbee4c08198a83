#include "zip/zip_writer.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <unordered_set>

#include "base/byte_order.h"
#include "base/text.h"
#include "fileops/byte_source.h"
#include "fileops/file_io.h"
#include "fileops/output_file.h"
#include "fileops/file_system.h"
#include "fileops/path_text.h"
#include "fileops/temp_files.h"
#include "zip/zip_format.h"
#include "zip/zip_reader.h"

namespace ablagix {
namespace {

using namespace zip_format;

constexpr std::uint32_t kDescriptorSignature = 0x08074b50;
constexpr std::uint16_t kTimestampExtraId = 0x5455;
constexpr std::uint16_t kDescriptorFlag = 1u << 3;
constexpr std::uint16_t kMadeBy = 63;  // format version 6.3, FAT attributes (what Windows expects)
// The same version with Unix attributes: the permission bits in the upper half, so that a
// private file stays private when it is unpacked.
constexpr std::uint16_t kMadeByUnix = (3 << 8) | 63;
constexpr std::uint32_t kArchiveAttribute = 0x20;
constexpr std::uint32_t kReadOnlyAttribute = 0x01;
constexpr std::uint32_t kRegularFileMode = 0100000;
constexpr std::uint64_t kMax32 = 0xFFFFFFFF;
constexpr std::uint64_t kMaxEntries16 = 0xFFFF;
constexpr std::size_t kBlock = 1 << 20;
constexpr std::size_t kOutputBuffer = 1 << 20;
// Files up to this size are read and compressed whole in memory by a worker; larger ones are
// streamed block by block while they are written.
constexpr std::uint64_t kInMemoryLimit = 8u << 20;
// How far the workers may run ahead of the writer.
constexpr std::uint64_t kMaxPreparedBytes = 96u << 20;
constexpr std::chrono::milliseconds kCancelInterval{20};

std::function<std::uint32_t(std::uint64_t)>& WriteFailureHook() {
  static std::function<std::uint32_t(std::uint64_t)> hook;
  return hook;
}

void PutLe(std::string* out, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out->push_back(static_cast<char>(value >> (8 * i)));
}

std::uint32_t Crc(std::uint32_t crc, std::string_view bytes) {
  return static_cast<std::uint32_t>(
      crc32(crc, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

ZipWriteResult Fail(ZipWriteCode code, std::uint32_t systemError = 0) {
  ZipWriteResult r;
  r.code = code;
  r.systemError = systemError;
  return r;
}

// The file time as DOS date and time fields (local time, two-second steps, 1980..2107).
void DosTime(FileTime time, std::uint16_t* dosTime, std::uint16_t* dosDate) {
  LocalDateTime t = FileTimeToLocal(time);
  if (t.year < 1980) t = {1980, 1, 1, 0, 0, 0};
  if (t.year > 2107) t = {2107, 12, 31, 23, 59, 58};
  *dosTime = static_cast<std::uint16_t>((t.hour << 11) | (t.minute << 5) | (t.second / 2));
  *dosDate = static_cast<std::uint16_t>(((t.year - 1980) << 9) | (t.month << 5) | t.day);
}

// The extended-timestamp field with the last-write time in Unix seconds; empty where those
// do not fit its signed 32 bits.
std::string TimestampExtra(FileTime time) {
  const std::int64_t unixSeconds = time / 10000000 - 11644473600LL;
  if (time <= 0 || unixSeconds < INT32_MIN || unixSeconds > INT32_MAX) return {};
  std::string extra;
  PutLe(&extra, kTimestampExtraId, 2);
  PutLe(&extra, 5, 2);
  extra.push_back(1);  // last-write time present
  PutLe(&extra, static_cast<std::uint32_t>(static_cast<std::int32_t>(unixSeconds)), 4);
  return extra;
}

// An extra field without its ZIP64 part, which is rebuilt whenever an entry is written.
std::string WithoutZip64(std::string_view extra) {
  std::string kept;
  while (extra.size() >= 4) {
    const std::size_t length = LoadLe16(extra, 2);
    if (length > extra.size() - 4) break;
    if (LoadLe16(extra, 0) != kZip64ExtraId) kept.append(extra.substr(0, 4 + length));
    extra.remove_prefix(4 + length);
  }
  return kept;
}

// The raw-deflate stream of one entry, reset (not rebuilt) between entries of one worker.
class Deflater {
 public:
  explicit Deflater(int level) {
    ready_ = deflateInit2(&z_, std::clamp(level, 1, 9), Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK;
  }
  ~Deflater() {
    if (ready_) deflateEnd(&z_);
  }
  Deflater(const Deflater&) = delete;
  Deflater& operator=(const Deflater&) = delete;

  bool ready() const { return ready_; }
  void Reset() { deflateReset(&z_); }
  // Compresses `in` and appends the output to `out`; `flush` as zlib's.
  bool Run(std::string_view in, int flush, std::string* out) {
    z_.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
    z_.avail_in = static_cast<uInt>(in.size());
    for (;;) {
      const std::size_t before = out->size();
      const std::size_t room = std::max<std::size_t>(deflateBound(&z_, z_.avail_in), 4096);
      out->resize(before + room);
      z_.next_out = reinterpret_cast<Bytef*>(out->data() + before);
      z_.avail_out = static_cast<uInt>(room);
      const int rc = deflate(&z_, flush);
      out->resize(before + room - z_.avail_out);
      if (rc == Z_STREAM_END) return true;
      if (rc != Z_OK && rc != Z_BUF_ERROR) return false;
      if (z_.avail_in == 0 && z_.avail_out != 0) return flush != Z_FINISH || rc == Z_STREAM_END;
    }
  }

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

std::uint16_t VersionNeeded(bool zip64, std::uint16_t method) {
  return zip64 ? 45 : method == 8 ? 20 : 10;
}

// The archive file under its temporary name: a buffered writer that knows its position and
// can patch bytes it wrote before (local headers whose sizes are known only afterwards).
class ArchiveOut {
 public:
  ~ArchiveOut() { Discard(); }

  ZipWriteResult Create(const std::wstring& target) {
    target_ = target;
    // Beside the target, so the final rename stays on one volume; hidden and never ending in
    // .zip or .exe, so that nobody takes one for an archive, and a later run removes one that
    // a killed run left.
    for (int attempt = 0; attempt < 100; ++attempt) {
      temp_ = TempFilePath(FolderPart(target));
      if (file_.Create(temp_)) {
        // Private while it is written; Close gives it the permissions its files allow.
        created_ = file_.CreatedPermissions();
        (void)file_.SetPermissions(created_ & 0600);
        return {};
      }
      if (!IsAlreadyExistsError(file_.LastError())) break;
    }
    temp_.clear();
    return Fail(ZipWriteCode::kCreateFailed, file_.LastError());
  }

  // A file with these permission bits goes into the archive: the archive may be read by no
  // one who could not read that file.
  void NoteMember(std::uint32_t mode) {
    if (mode != 0) memberMask_ &= mode;
  }

  std::uint64_t position() const { return position_; }
  const ZipWriteResult& error() const { return error_; }
  bool failed() const { return !error_.ok(); }

  bool Write(std::string_view bytes) {
    if (failed()) return false;
    if (buffer_.size() + bytes.size() > kOutputBuffer && !FlushBuffer()) return false;
    if (bytes.size() >= kOutputBuffer) {
      if (!WriteFileAt(position_, bytes)) return false;
    } else {
      buffer_.append(bytes);
    }
    position_ += bytes.size();
    return true;
  }

  // Overwrites bytes written before; `offset + bytes.size()` must not pass position().
  bool Patch(std::uint64_t offset, std::string_view bytes) {
    if (failed()) return false;
    const std::uint64_t bufferAt = position_ - buffer_.size();
    if (offset >= bufferAt) {
      buffer_.replace(static_cast<std::size_t>(offset - bufferAt), bytes.size(), bytes);
      return true;
    }
    if (offset + bytes.size() > bufferAt && !FlushBuffer()) return false;
    return WriteFileAt(offset, bytes);
  }

  // Goes back to `offset` to write over what follows it.
  bool Rewind(std::uint64_t offset) {
    if (!FlushBuffer()) return false;
    position_ = offset;
    return true;
  }

  // Makes the file end at the current position, flushes it to the disk and closes it.
  bool Close() {
    if (!FlushBuffer()) return false;
    if (end_ > position_ && !file_.SetSize(position_)) return SetError(ZipWriteCode::kWriteFailed, file_.LastError());
    (void)file_.SetPermissions(created_ & memberMask_ & 0666);
    file_.Unhide();  // renamed next: the finished archive is seen under its name
    if (!file_.Flush()) return SetError(ZipWriteCode::kWriteFailed, file_.LastError());
    file_.Close();
    return true;
  }

  // Puts the closed file under the target's name (or, numbered, the first free one).
  ZipWriteResult Commit(ZipCommit commit) {
    std::uint32_t code = 0;
    std::wstring target = target_;
    bool renamed = commit == ZipCommit::kReplace ? RenameReplacing(temp_, target, &code)
                                                 : RenameNoReplace(temp_, target, &code);
    if (!renamed && commit == ZipCommit::kNumbered && IsAlreadyExistsError(code)) {
      // "a.zip" gives "a(1).zip", as the collision rules number files.
      const std::wstring name = NamePart(target_);
      const std::size_t dot = name.rfind(L'.');
      const std::size_t cut = dot == std::wstring::npos || dot == 0 ? target_.size() : target_.size() - name.size() + dot;
      const std::wstring stem = target_.substr(0, cut);
      const std::wstring extension = target_.substr(cut);
      for (unsigned n = 1; n <= 1000 && !renamed && IsAlreadyExistsError(code); ++n) {
        target = stem + L"(" + NumberText(n) + L")" + extension;
        renamed = RenameNoReplace(temp_, target, &code);
      }
    }
    if (!renamed) {
      Discard();
      return commit != ZipCommit::kReplace && IsAlreadyExistsError(code) ? Fail(ZipWriteCode::kExists, code)
                                                                        : Fail(ZipWriteCode::kRenameFailed, code);
    }
    temp_.clear();
    ZipWriteResult done;
    done.path = target;
    return done;
  }

  // Puts the closed file in the place of the archive it was made from, but only while that
  // one is still there unchanged: another run may have added its own entries meanwhile.
  ZipWriteResult CommitOver(const FileId& id, const FileVersion& version) {
    FileInfo now;
    if (!ActiveFileSystem().Inspect(target_, &now).ok() || now.kind != FileKind::kFile || now.id != id ||
        now.version != version) {
      Discard();
      return Fail(ZipWriteCode::kArchiveChanged);
    }
    std::uint32_t code = 0;
    if (!RenameReplacing(temp_, target_, &code)) {
      Discard();
      return Fail(ZipWriteCode::kRenameFailed, code);
    }
    temp_.clear();
    ZipWriteResult done;
    done.path = target_;
    return done;
  }

  // Removes the temporary file; the target is never touched.
  void Discard() {
    file_.Close();
    if (!temp_.empty()) RemoveFile(temp_);
    temp_.clear();
  }

  bool SetError(ZipWriteCode code, std::uint32_t systemError) {
    if (error_.ok()) error_ = Fail(code, systemError);
    return false;
  }

 private:
  bool FlushBuffer() {
    if (failed()) return false;
    if (buffer_.empty()) return true;
    if (!WriteFileAt(position_ - buffer_.size(), buffer_)) return false;
    buffer_.clear();
    return true;
  }

  bool WriteFileAt(std::uint64_t offset, std::string_view bytes) {
    if (const auto& hook = WriteFailureHook()) {
      if (std::uint32_t code = hook(offset)) return SetError(ZipWriteCode::kWriteFailed, code);
    }
    if (!file_.WriteAt(offset, bytes.data(), bytes.size())) {
      return SetError(ZipWriteCode::kWriteFailed, file_.LastError());
    }
    end_ = std::max(end_, offset + bytes.size());
    return true;
  }

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
  bool WriteLocalHeader(CentralRecord& record, bool zip64) {
    record.offset = out_.position();
    out_.Write(LocalHeader(record, zip64));
    return !out_.failed();
  }

  // Puts the final CRC and sizes into a local header written before.
  bool PatchLocalHeader(const CentralRecord& record, bool zip64) {
    std::string fields;
    PutLe(&fields, record.crc, 4);
    PutLe(&fields, zip64 ? kMax32 : record.compressedSize, 4);
    PutLe(&fields, zip64 ? kMax32 : record.size, 4);
    if (!out_.Patch(record.offset + 8, std::string(1, static_cast<char>(record.method)) + '\0')) return false;
    if (!out_.Patch(record.offset + 14, fields)) return false;
    if (zip64) {
      std::string sizes;
      PutLe(&sizes, record.size, 8);
      PutLe(&sizes, record.compressedSize, 8);
      // The ZIP64 field is the first one after the name.
      return out_.Patch(record.offset + 30 + record.name.size() + 4, sizes);
    }
    return true;
  }

  bool WriteDirectory(std::string_view comment) {
    const std::uint64_t directoryAt = out_.position();
    std::string header;
    for (const CentralRecord& r : records_) {
      header.clear();
      std::string zip64;
      if (r.size >= kMax32) PutLe(&zip64, r.size, 8);
      if (r.compressedSize >= kMax32) PutLe(&zip64, r.compressedSize, 8);
      if (r.offset >= kMax32) PutLe(&zip64, r.offset, 8);
      std::string extra;
      if (!zip64.empty()) {
        PutLe(&extra, kZip64ExtraId, 2);
        PutLe(&extra, zip64.size(), 2);
        extra += zip64;
      }
      extra += r.extra;
      PutLe(&header, kCentralSignature, 4);
      PutLe(&header, r.madeBy, 2);
      PutLe(&header, VersionNeeded(!zip64.empty(), r.method), 2);
      PutLe(&header, r.flags, 2);
      PutLe(&header, r.method, 2);
      PutLe(&header, r.dosTime, 2);
      PutLe(&header, r.dosDate, 2);
      PutLe(&header, r.crc, 4);
      PutLe(&header, std::min(r.compressedSize, kMax32), 4);
      PutLe(&header, std::min(r.size, kMax32), 4);
      PutLe(&header, r.name.size(), 2);
      PutLe(&header, extra.size(), 2);
      PutLe(&header, r.comment.size(), 2);
      PutLe(&header, 0, 2);  // disk
      PutLe(&header, 0, 2);  // internal attributes
      PutLe(&header, r.attributes, 4);
      PutLe(&header, std::min(r.offset, kMax32), 4);
      header += r.name;
      header += extra;
      header += r.comment;
      if (!out_.Write(header)) return false;
    }
    const std::uint64_t directorySize = out_.position() - directoryAt;
    const std::uint64_t count = records_.size();
    std::string end;
    if (count >= kMaxEntries16 || directorySize >= kMax32 || directoryAt >= kMax32) {
      const std::uint64_t recordAt = out_.position();
      PutLe(&end, kZip64EndSignature, 4);
      PutLe(&end, 44, 8);  // size of the rest of this record
      PutLe(&end, kMadeBy, 2);
      PutLe(&end, 45, 2);
      PutLe(&end, 0, 4);  // this disk
      PutLe(&end, 0, 4);  // disk of the directory
      PutLe(&end, count, 8);
      PutLe(&end, count, 8);
      PutLe(&end, directorySize, 8);
      PutLe(&end, directoryAt, 8);
      PutLe(&end, kZip64LocatorSignature, 4);
      PutLe(&end, 0, 4);
      PutLe(&end, recordAt, 8);
      PutLe(&end, 1, 4);  // disks in all
    }
    PutLe(&end, kEndSignature, 4);
    PutLe(&end, 0, 2);
    PutLe(&end, 0, 2);
    PutLe(&end, std::min(count, kMaxEntries16), 2);
    PutLe(&end, std::min(count, kMaxEntries16), 2);
    PutLe(&end, std::min(directorySize, kMax32), 4);
    PutLe(&end, std::min(directoryAt, kMax32), 4);
    PutLe(&end, comment.size(), 2);
    end += comment;
    return out_.Write(end);
  }

 private:
  static std::string LocalHeader(const CentralRecord& r, bool zip64) {
    std::string extra;
    if (zip64) {
      PutLe(&extra, kZip64ExtraId, 2);
      PutLe(&extra, 16, 2);
      PutLe(&extra, r.size, 8);
      PutLe(&extra, r.compressedSize, 8);
    }
    extra += r.extra;
    std::string h;
    PutLe(&h, kLocalSignature, 4);
    PutLe(&h, VersionNeeded(zip64, r.method), 2);
    PutLe(&h, r.flags, 2);
    PutLe(&h, r.method, 2);
    PutLe(&h, r.dosTime, 2);
    PutLe(&h, r.dosDate, 2);
    PutLe(&h, r.crc, 4);
    PutLe(&h, zip64 ? kMax32 : r.compressedSize, 4);
    PutLe(&h, zip64 ? kMax32 : r.size, 4);
    PutLe(&h, r.name.size(), 2);
    PutLe(&h, extra.size(), 2);
    h += r.name;
    h += extra;
    return h;
  }

  ArchiveOut& out_;
  std::vector<CentralRecord> records_;
};

// The start of an archive: the temporary file, and for a self-extractor the stub and texts.
struct ArchiveStart {
  ArchiveOut out;
  ZipStructure zip{out};
  std::string comment;

  ZipWriteResult Begin(const std::wstring& target, const std::vector<SfxText>* selfExtractor) {
    std::string_view stub;
    if (selfExtractor && !SfxStubBytes(&stub)) return Fail(ZipWriteCode::kNoStub);
    if (ZipWriteResult r = out.Create(target); !r.ok()) return r;
    if (selfExtractor) {
      const std::string texts = EncodeSfxTexts(*selfExtractor);
      out.Write(stub);
      comment = EncodeSfxTrailer(out.position(), texts);
      out.Write(texts);
    }
    return out.error();
  }

  ZipWriteResult Finish(ZipCommit commit) {
    if (!WriteEnd()) return out.error();
    return out.Commit(commit);
  }

  // Finishes an archive made from the one at the target: in its place if it is unchanged.
  ZipWriteResult FinishOver(const FileId& id, const FileVersion& version) {
    if (!WriteEnd()) return out.error();
    return out.CommitOver(id, version);
  }

 private:
  // The directory and the end records; on failure the temporary file goes (out.error() says why).
  bool WriteEnd() {
    if (zip.WriteDirectory(comment) && out.Close()) return true;
    out.Discard();
    return false;
  }
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

void FillRecord(const ZipSource& source, const PreparedEntry& entry, CentralRecord* record) {
  record->name = source.entryName;
  record->method = entry.method;
  record->crc = entry.crc;
  record->size = entry.size;
  record->compressedSize = entry.data.size();
  DosTime(entry.lastWrite, &record->dosTime, &record->dosDate);
  record->extra = TimestampExtra(entry.lastWrite);
  if (entry.mode != 0) {
    record->madeBy = kMadeByUnix;
    record->attributes = ((kRegularFileMode | entry.mode) << 16) | kArchiveAttribute |
                         ((entry.mode & 0222) == 0 ? kReadOnlyAttribute : 0);
  }
}

// The found file opened for reading, never through a link nor another file under its name,
// with the version it has before a byte is read.
ZipWriteResult OpenSource(const ZipSource& source, ReadOnlyFile* file, PreparedEntry* entry) {
  FsStatus status;
  if (!file->OpenFound(FileRef(source.path, source.id, source.folder), &status)) {
    return status.error == FsError::kNotTheFoundFile ? Fail(ZipWriteCode::kNotTheFoundFile)
                                                     : Fail(ZipWriteCode::kReadFailed, status.code);
  }
  ZipWriteResult opened;
  if (!file->Version(&opened.sourceVersion, &opened.sourceId, &entry->mode)) {
    return Fail(ZipWriteCode::kReadFailed, LastSystemError());
  }
  entry->lastWrite = source.lastWrite ? source.lastWrite : opened.sourceVersion.lastWrite;
  entry->size = file->size();
  return opened;
}

// After the whole file was read: what went into the archive is all there is only when the
// file is still the version it was before the first byte.
bool UnchangedSinceOpened(ReadOnlyFile& file, const ZipWriteResult& opened) {
  FileVersion now;
  return file.Version(&now) && now == opened.sourceVersion && now.size == file.size();
}

// Reads a small file whole and compresses it in memory; `stop` is looked at between blocks.
void PrepareInMemory(const ZipSource& source, Deflater* deflater, const std::atomic<bool>& stop,
                     PreparedEntry* entry) {
  ReadOnlyFile file;
  entry->result = OpenSource(source, &file, entry);
  if (!entry->result.ok()) return;
  if (entry->size > kInMemoryLimit) {
    entry->stream = true;
    return;
  }
  std::string raw;
  if (!file.ReadAt(0, static_cast<std::size_t>(entry->size), &raw)) {
    entry->result = Fail(ZipWriteCode::kReadFailed, LastSystemError());
    return;
  }
  if (raw.size() != entry->size || !UnchangedSinceOpened(file, entry->result)) {
    entry->result = Fail(ZipWriteCode::kFileChanged);
    return;
  }
  entry->crc = Crc(0, raw);
  if (raw.empty() || IsCompressedFormat(source.path) || (deflater && !deflater->ready())) {
    entry->method = 0;
    entry->data = std::move(raw);
    return;
  }
  std::string packed;
  packed.reserve(raw.size() / 2 + 64);
  deflater->Reset();
  std::string_view rest = raw;
  bool good = true;
  while (good && !rest.empty()) {
    if (stop.load(std::memory_order_relaxed)) return;
    const std::string_view piece = rest.substr(0, kBlock);
    rest.remove_prefix(piece.size());
    good = deflater->Run(piece, rest.empty() ? Z_FINISH : Z_NO_FLUSH, &packed);
    // Output that has already caught up with the input will not shrink any more.
    if (packed.size() >= raw.size()) good = false;
  }
  if (good && packed.size() < raw.size()) {
    entry->method = 8;
    entry->data = std::move(packed);
  } else {
    entry->method = 0;
    entry->data = std::move(raw);
  }
}

ZipWriteResult WritePrepared(ZipStructure& zip, ArchiveOut& out, const ZipSource& source,
                             const PreparedEntry& entry) {
  CentralRecord record;
  FillRecord(source, entry, &record);
  zip.WriteLocalHeader(record, false);
  out.Write(entry.data);
  if (out.failed()) return out.error();
  out.NoteMember(entry.mode);
  zip.records().push_back(std::move(record));
  return entry.result;
}

// Asks the caller's cancel function at most every few milliseconds.
class CancelPoll {
 public:
  explicit CancelPoll(const std::function<bool()>& cancel) : cancel_(cancel) {}
  bool Cancelled(bool now = false) {
    if (cancelled_ || !cancel_) return cancelled_;
    const auto t = std::chrono::steady_clock::now();
    if (!now && t - last_ < kCancelInterval) return false;
    last_ = t;
    cancelled_ = cancel_();
    return cancelled_;
  }

 private:
  const std::function<bool()>& cancel_;
  std::chrono::steady_clock::time_point last_{};
  bool cancelled_ = false;
};

// Streams a large file into the archive block by block. Whether it is worth deflating is
// judged from its first block: data that does not shrink there is stored from the start, so
// incompressible files cost no deflating at all. Should the whole entry still come out no
// smaller than the file (a compressible start, an incompressible rest), it is written again,
// stored, over its deflated form; only this rare case reads the file a second time.
ZipWriteResult StreamEntry(ZipStructure& zip, ArchiveOut& out, const ZipSource& source, int level,
                           CancelPoll& cancel) {
  ReadOnlyFile file;
  PreparedEntry entry;
  const ZipWriteResult opened = OpenSource(source, &file, &entry);
  if (!opened.ok()) return opened;
  const bool zip64 = entry.size >= kMax32;

  std::string block;
  auto readBlock = [&](std::uint64_t at) -> ZipWriteResult {
    const std::size_t want = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, entry.size - at));
    if (!file.ReadAt(at, want, &block)) return Fail(ZipWriteCode::kReadFailed, LastSystemError());
    if (block.size() != want) return Fail(ZipWriteCode::kFileChanged);
    return {};
  };
  if (ZipWriteResult r = readBlock(0); !r.ok()) return r;

  Deflater deflater(level);
  std::string packed;
  bool compress = entry.size > 0 && !IsCompressedFormat(source.path) && deflater.ready();
  if (compress) {
    const bool last = block.size() == entry.size;
    if (!deflater.Run(block, last ? Z_FINISH : Z_SYNC_FLUSH, &packed)) return Fail(ZipWriteCode::kReadFailed);
    // Less than 1 % saved is not worth deflating the rest.
    compress = packed.size() < block.size() - block.size() / 100;
  }
  entry.method = compress ? 8 : 0;
  CentralRecord record;
  FillRecord(source, entry, &record);
  if (!zip.WriteLocalHeader(record, zip64)) return out.error();
  const std::uint64_t dataAt = out.position();

  std::uint32_t crc = Crc(0, block);
  out.Write(compress ? std::string_view(packed) : std::string_view(block));
  for (std::uint64_t at = block.size(); at < entry.size && !out.failed();) {
    if (cancel.Cancelled()) return Fail(ZipWriteCode::kCancelled);
    if (ZipWriteResult r = readBlock(at); !r.ok()) return r;
    at += block.size();
    crc = Crc(crc, block);
    if (compress) {
      packed.clear();
      if (!deflater.Run(block, at == entry.size ? Z_FINISH : Z_NO_FLUSH, &packed)) return Fail(ZipWriteCode::kReadFailed);
      out.Write(packed);
    } else {
      out.Write(block);
    }
  }
  if (out.failed()) return out.error();
  record.crc = crc;
  record.compressedSize = out.position() - dataAt;

  if (compress && record.compressedSize >= entry.size) {
    out.Rewind(dataAt);
    record.method = 0;
    std::uint32_t again = Crc(0, {});
    for (std::uint64_t at = 0; at < entry.size && !out.failed();) {
      if (cancel.Cancelled()) return Fail(ZipWriteCode::kCancelled);
      if (ZipWriteResult r = readBlock(at); !r.ok()) return r;
      at += block.size();
      again = Crc(again, block);
      out.Write(block);
    }
    if (again != crc) return Fail(ZipWriteCode::kFileChanged);
    record.compressedSize = entry.size;
  }
  if (!UnchangedSinceOpened(file, opened)) return Fail(ZipWriteCode::kFileChanged);
  if (!zip.PatchLocalHeader(record, zip64)) return out.error();
  out.NoteMember(entry.mode);
  zip.records().push_back(std::move(record));
  return opened;
}

}  // namespace

//--- Texts and format choice

std::wstring ZipWriteText(const ZipWriteResult& result) {
  const std::wstring system = result.systemError ? L": " + SystemErrorText(result.systemError) : L"";
  switch (result.code) {
    case ZipWriteCode::kOk: return L"OK";
    case ZipWriteCode::kCancelled: return L"Abgebrochen";
    case ZipWriteCode::kExists: return L"Archiv existiert bereits";
    case ZipWriteCode::kCreateFailed: return L"Archiv konnte nicht angelegt werden" + system;
    case ZipWriteCode::kWriteFailed:
      return result.systemError ? SystemErrorText(result.systemError) : L"Archiv konnte nicht geschrieben werden";
    case ZipWriteCode::kReadFailed: return L"Datei konnte nicht gelesen werden" + system;
    case ZipWriteCode::kFileChanged: return L"Datei wurde w\u00e4hrend des Packens ge\u00e4ndert";
    case ZipWriteCode::kNotTheFoundFile: return FsErrorText(FsError::kNotTheFoundFile);
    case ZipWriteCode::kArchiveChanged:
      return L"Das Archiv wurde w\u00e4hrend des Laufs von einem anderen Programm ge\u00e4ndert";
    case ZipWriteCode::kRenameFailed: return L"Archiv konnte nicht umbenannt werden" + system;
    case ZipWriteCode::kNoStub: return L"Konnte Zipkomponente nicht laden";
    case ZipWriteCode::kNotZip: return L"Kein lesbares Zip-Archiv";
    case ZipWriteCode::kNotStarted: return L"Archiv nicht begonnen";
  }
  return L"";
}

bool IsCompressedFormat(std::wstring_view fileName) {
  static constexpr std::array<std::wstring_view, 44> kPacked = {
      L"jpg",  L"jpeg", L"png",  L"gif",  L"webp", L"heic", L"heif", L"avif", L"jxl", L"mp3", L"mp4",
      L"m4a",  L"m4v",  L"aac",  L"ogg",  L"oga",  L"opus", L"flac", L"wma",  L"mkv", L"avi", L"mov",
      L"wmv",  L"webm", L"zip",  L"7z",   L"rar",  L"gz",   L"tgz",  L"bz2",  L"xz",  L"zst", L"lz4",
      L"cab",  L"jar",  L"apk",  L"docx", L"xlsx", L"pptx", L"odt",  L"ods",  L"odp", L"epub", L"msi"};
  const std::wstring name = NamePart(fileName);
  const std::wstring_view extension = ExtensionOf(name);
  if (extension.empty() || extension.size() > 4) return false;
  const std::wstring lower = ToLowerText(extension);
  return std::find(kPacked.begin(), kPacked.end(), lower) != kPacked.end();
}

//--- Entries of another archive

namespace {

// Copies entry `e` of the archive in `file` (read ahead through `source`) into `archive` as it
// is: the local header, the data and a data descriptor behind it; only its position changes,
// which the new directory records.
ZipWriteResult CopyEntry(FileByteSource& file, ReadAheadByteSource& source, const ZipEntry& e, ArchiveStart& archive) {
  std::string bytes;
  if (!source.Read(e.localHeaderOffset, 30, &bytes) || bytes.size() != 30 || LoadLe32(bytes, 0) != kLocalSignature) {
    return Fail(ZipWriteCode::kNotZip);
  }
  std::uint64_t length = 30 + LoadLe16(bytes, 26) + LoadLe16(bytes, 28) + e.compressedSize;
  if (e.flags & kDescriptorFlag) {
    std::string signature;
    const bool marked = source.Read(e.localHeaderOffset + length, 4, &signature) && signature.size() == 4 &&
                        LoadLe32(signature, 0) == kDescriptorSignature;
    length += (marked ? 4 : 0) + 4 + (e.zip64 ? 16 : 8);
  }
  if (e.localHeaderOffset + length > file.size()) return Fail(ZipWriteCode::kNotZip);
  CentralRecord record;
  record.name = e.rawName;
  record.madeBy = e.versionMadeBy;
  record.flags = e.flags;
  record.method = e.method;
  record.dosTime = e.dosTime;
  record.dosDate = e.dosDate;
  record.crc = e.crc32;
  record.compressedSize = e.compressedSize;
  record.size = e.uncompressedSize;
  record.attributes = e.externalAttributes;
  record.extra = WithoutZip64(e.extra);
  record.comment = e.comment;
  record.offset = archive.out.position();
  for (std::uint64_t done = 0; done < length && !archive.out.failed();) {
    const std::size_t piece = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, length - done));
    if (!file.Read(e.localHeaderOffset + done, piece, &bytes) || bytes.size() != piece) {
      return Fail(ZipWriteCode::kReadFailed, LastSystemError());
    }
    archive.out.Write(bytes);
    done += piece;
  }
  if (archive.out.failed()) return archive.out.error();
  // The entry keeps what it was allowed: a private file makes the whole archive private.
  archive.out.NoteMember(UnixModeOf(e));
  archive.zip.records().push_back(std::move(record));
  return {};
}

ZipLimits GenerousLimits() {
  ZipLimits limits;
  limits.maxEntries = 10'000'000;
  limits.maxCentralDirectoryBytes = 4ull << 30;
  return limits;
}

}  // namespace

//--- One file

ZipWriteResult ZipOneFile(const ZipSource& file, const std::wstring& archivePath, const ZipOptions& options) {
  ArchiveStart archive;
  if (ZipWriteResult r = archive.Begin(archivePath, options.selfExtractor); !r.ok()) {
    archive.out.Discard();
    return r;
  }
  CancelPoll cancel(options.cancel);
  ZipWriteResult r;
  {
    Deflater deflater(options.level);
    std::atomic<bool> never{false};
    PreparedEntry entry;
    PrepareInMemory(file, &deflater, never, &entry);
    r = entry.result;
    if (r.ok()) {
      r = entry.stream ? StreamEntry(archive.zip, archive.out, file, options.level, cancel)
                       : WritePrepared(archive.zip, archive.out, file, entry);
    }
  }
  if (r.ok() && cancel.Cancelled(true)) r = Fail(ZipWriteCode::kCancelled);
  if (!r.ok()) {
    archive.out.Discard();
    return r;
  }
  ZipWriteResult finished = archive.Finish(options.commit);
  finished.sourceId = r.sourceId;
  finished.sourceVersion = r.sourceVersion;
  return finished;
}

//--- Many files

namespace {

struct Job {
  ZipSource source;
  PreparedEntry entry;
  bool ready = false;
  bool written = false;
  bool replaces = false;  // takes the place of an entry of the archive that was there
};

// The archive found under the run archive's name: its entries go into the new one.
struct FoundArchive {
  FileByteSource file;
  std::unique_ptr<ReadAheadByteSource> source;
  std::unique_ptr<ZipReader> reader;
  FileId id;
  FileVersion version;
  std::vector<bool> keep;                                // per entry
  std::unordered_map<std::wstring, std::size_t> byName;  // case-folded name -> entry
};

// Reads the directory of the archive at `path` (found as `info`); kNotZip when it is no
// archive this program can add to (a link, another kind of file, a damaged archive).
ZipWriteResult OpenFoundArchive(const std::wstring& path, const FileInfo& info, std::unique_ptr<FoundArchive>* out) {
  auto found = std::make_unique<FoundArchive>();
  if (info.kind != FileKind::kFile) return Fail(ZipWriteCode::kNotZip);
  if (!found->file.Open(path)) return Fail(ZipWriteCode::kReadFailed, LastSystemError());
  found->source = std::make_unique<ReadAheadByteSource>(found->file, 1 << 16);
  found->reader = std::make_unique<ZipReader>(found->file);
  if (found->reader->Open(GenerousLimits()) != ZipError::kNone) return Fail(ZipWriteCode::kNotZip);
  found->id = info.id;
  found->version = info.version;
  const std::vector<ZipEntry>& entries = found->reader->entries();
  found->keep.assign(entries.size(), true);
  for (std::size_t i = 0; i < entries.size(); ++i) found->byName.emplace(ToLowerText(FromUtf8(entries[i].name)), i);
  *out = std::move(found);
  return {};
}

// "a.txt" gives "a(1).txt": the numbering of the collision rules, on the last component.
std::string NumberedName(std::string_view name, unsigned n) {
  const std::size_t slash = name.rfind('/');
  const std::size_t dot = name.rfind('.');
  const std::size_t cut = dot != std::string_view::npos && (slash == std::string_view::npos || dot > slash + 1)
                              ? dot
                              : name.size();
  return std::string(name.substr(0, cut)) + "(" + std::to_string(n) + ")" + std::string(name.substr(cut));
}

}  // namespace

struct ZipBatch::State {
  ZipOptions options;
  ArchiveStart archive;
  std::unique_ptr<CancelPoll> cancel;

  std::mutex mutex;
  std::condition_variable workReady;  // workers wait here
  std::condition_variable jobDone;    // the writer waits here
  std::vector<std::unique_ptr<Job>> jobs;
  std::size_t nextToPrepare = 0;
  std::size_t nextToWrite = 0;
  std::uint64_t preparedBytes = 0;
  std::size_t maxAhead = 0;
  bool closing = false;
  std::atomic<bool> stop{false};
  std::vector<std::thread> workers;

  std::unordered_set<std::wstring> names;  // case-folded, for numbering duplicates
  std::unique_ptr<FoundArchive> existing;
  FileId existingId;
  ZipWriteResult archiveError;
  std::vector<ZipWriteResult> results;
  bool begun = false;
  bool finished = false;

  bool MayPrepare() const {
    if (nextToPrepare >= jobs.size()) return false;
    return nextToPrepare == nextToWrite ||
           (nextToPrepare - nextToWrite < maxAhead && preparedBytes < kMaxPreparedBytes);
  }

  void Work() {
    Deflater deflater(options.level);
    std::unique_lock lock(mutex);
    for (;;) {
      workReady.wait(lock, [&] { return stop || MayPrepare() || (closing && nextToPrepare == jobs.size()); });
      if (stop || !MayPrepare()) return;
      Job* job = jobs[nextToPrepare++].get();
      // Decided when it was added (a name taken, the archive failed): a file that is left out
      // must never be read into the archive after all.
      if (job->ready) continue;
      lock.unlock();
      PrepareInMemory(job->source, &deflater, stop, &job->entry);
      lock.lock();
      job->ready = true;
      preparedBytes += job->entry.data.size();
      jobDone.notify_all();
    }
  }

  // Ends the archive: the workers stop reading at once.
  void FailArchive(const ZipWriteResult& error) {
    {
      std::lock_guard lock(mutex);
      archiveError = error;
      stop = true;
    }
    workReady.notify_all();
  }

  void StopWorkers() {
    {
      std::lock_guard lock(mutex);
      stop = true;
    }
    workReady.notify_all();
    for (std::thread& t : workers) t.join();
    workers.clear();
  }

  // Writes the entries that are ready, in order; with `wait`, all of them. False once the
  // archive has failed or was cancelled.
  bool WriteReady(bool wait) {
    while (archiveError.ok()) {
      Job* job = nullptr;
      {
        std::unique_lock lock(mutex);
        while (nextToWrite < jobs.size() && !jobs[nextToWrite]->ready) {
          if (!wait) return true;
          jobDone.wait_for(lock, kCancelInterval);
          lock.unlock();
          const bool cancelled = cancel->Cancelled();
          lock.lock();
          if (cancelled) {
            lock.unlock();
            FailArchive(Fail(ZipWriteCode::kCancelled));
            return false;
          }
        }
        if (nextToWrite == jobs.size()) return true;
        job = jobs[nextToWrite].get();
      }
      if (cancel->Cancelled()) {
        FailArchive(Fail(ZipWriteCode::kCancelled));
        return false;
      }
      if (job->entry.result.ok()) {
        const ZipWriteResult r = job->entry.stream
                                     ? StreamEntry(archive.zip, archive.out, job->source, options.level, *cancel)
                                     : WritePrepared(archive.zip, archive.out, job->source, job->entry);
        // A file that could not be read is left out; a failing archive ends everything.
        if (archive.out.failed() || r.code == ZipWriteCode::kCancelled) {
          FailArchive(archive.out.failed() ? archive.out.error() : r);
          return false;
        }
        job->entry.result = r;
        job->written = r.ok();
      }
      {
        std::lock_guard lock(mutex);
        preparedBytes -= job->entry.data.size();
        std::string().swap(job->entry.data);
        ++nextToWrite;
      }
      workReady.notify_all();
    }
    return false;
  }
};

ZipBatch::ZipBatch() = default;

ZipBatch::~ZipBatch() { Abandon(); }

ZipWriteResult ZipBatch::Begin(const std::wstring& archivePath, const ZipOptions& options) {
  Abandon();
  state_ = std::make_unique<State>();
  State& s = *state_;
  s.options = options;
  s.cancel = std::make_unique<CancelPoll>(s.options.cancel);
  FileInfo found;
  if (options.addToExisting && ActiveFileSystem().Inspect(archivePath, &found).ok()) {
    // Its entries may be the only copies of files an earlier run moved: they all go into the
    // new archive, which takes its place only at the end.
    if (ZipWriteResult r = OpenFoundArchive(archivePath, found, &s.existing); !r.ok()) {
      state_.reset();
      return r;
    }
    for (const auto& [name, index] : s.existing->byName) s.names.insert(name);
    s.existingId = s.existing->id;
  }
  if (ZipWriteResult r = s.archive.Begin(archivePath, options.selfExtractor); !r.ok()) {
    s.archive.out.Discard();
    state_.reset();
    return r;
  }
  const unsigned threads = options.threads ? options.threads : std::max(1u, std::thread::hardware_concurrency());
  s.maxAhead = 16 + 8 * static_cast<std::size_t>(threads);
  for (unsigned i = 0; i < threads; ++i) s.workers.emplace_back([&s] { s.Work(); });
  s.begun = true;
  return {};
}

std::size_t ZipBatch::Add(ZipSource file) {
  if (!state_) state_ = std::make_unique<State>();
  State& s = *state_;
  // Names are numbered here, on the caller's thread, so the order of adding decides.
  const std::wstring folded = ToLowerText(FromUtf8(file.entryName));
  bool replaces = false;
  bool leftOut = false;
  if (s.existing) {
    if (auto old = s.existing->byName.find(folded); old != s.existing->byName.end() && s.existing->keep[old->second]) {
      if (s.options.commit == ZipCommit::kReplace) {
        s.existing->keep[old->second] = false;  // the new file takes its name
        replaces = true;
      } else if (s.options.commit == ZipCommit::kCreateNew) {
        leftOut = true;  // the name is taken: the file is skipped, the entry stays
      }
    }
  }
  if (!replaces && !leftOut && !s.names.insert(folded).second) {
    for (unsigned n = 1;; ++n) {
      std::string numbered = NumberedName(file.entryName, n);
      if (s.names.insert(ToLowerText(FromUtf8(numbered))).second) {
        file.entryName = std::move(numbered);
        break;
      }
    }
  }
  std::size_t index = 0;
  {
    std::lock_guard lock(s.mutex);
    index = s.jobs.size();
    auto job = std::make_unique<Job>();
    job->source = std::move(file);
    job->replaces = replaces;
    // Nothing is read once the archive has failed or was not begun, nor for a name taken.
    if (!s.begun || s.finished || !s.archiveError.ok()) {
      job->ready = true;
      job->entry.result = s.begun ? s.archiveError : Fail(ZipWriteCode::kNotStarted);
    } else if (leftOut) {
      job->ready = true;
      job->entry.result = Fail(ZipWriteCode::kExists);
    }
    s.jobs.push_back(std::move(job));
  }
  s.workReady.notify_one();
  if (s.begun && !s.finished) s.WriteReady(false);
  return index;
}

ZipWriteResult ZipBatch::Finish() {
  if (!state_ || !state_->begun || state_->finished) return Fail(ZipWriteCode::kNotStarted);
  State& s = *state_;
  {
    std::lock_guard lock(s.mutex);
    s.closing = true;
  }
  s.workReady.notify_all();
  s.WriteReady(true);
  s.StopWorkers();
  s.finished = true;
  ZipWriteResult result = s.archiveError;
  if (result.ok() && s.existing) {
    // The earlier entries that kept their names, after the new ones.
    FoundArchive& old = *s.existing;
    const std::vector<ZipEntry>& entries = old.reader->entries();
    for (std::size_t i = 0; i < entries.size() && result.ok(); ++i) {
      if (old.keep[i]) result = CopyEntry(old.file, *old.source, entries[i], s.archive);
    }
  }
  // Closed before the new archive takes its place (Windows renames nothing over an open file).
  const std::unique_ptr<FoundArchive> found = std::move(s.existing);
  const FileId foundId = found ? found->id : FileId{};
  const FileVersion foundVersion = found ? found->version : FileVersion{};
  if (found) {
    found->reader.reset();
    found->source.reset();
    found->file.Close();
  }
  if (result.ok()) {
    // A new archive never replaces one that appeared under its name meanwhile.
    const ZipCommit commit =
        s.options.addToExisting && s.options.commit == ZipCommit::kReplace ? ZipCommit::kCreateNew : s.options.commit;
    result = found ? s.archive.FinishOver(foundId, foundVersion) : s.archive.Finish(commit);
  } else {
    s.archive.out.Discard();
  }
  s.results.clear();
  for (const auto& job : s.jobs) {
    if (!result.ok() && job->entry.result.ok()) {
      s.results.push_back(result);
    } else if (job->entry.result.ok() && !job->written) {
      s.results.push_back(Fail(ZipWriteCode::kCancelled));
    } else {
      s.results.push_back(job->entry.result);
      s.results.back().replacedEntry = job->replaces && job->written;
    }
  }
  s.archiveError = result;
  return result;
}

void ZipBatch::Abandon() {
  if (!state_) return;
  state_->StopWorkers();
  if (!state_->finished) state_->archive.out.Discard();
  state_.reset();
}

const ZipWriteResult& ZipBatch::FileResult(std::size_t index) const {
  static const ZipWriteResult kNotStarted = Fail(ZipWriteCode::kNotStarted);
  if (!state_ || index >= state_->results.size()) return kNotStarted;
  return state_->results[index];
}

std::size_t ZipBatch::fileCount() const { return state_ ? state_->jobs.size() : 0; }

FileId ZipBatch::ExistingArchive() const {
  return state_ ? state_->existingId : FileId{};
}

const std::string& ZipBatch::EntryName(std::size_t index) const {
  static const std::string kNone;
  if (!state_ || index >= state_->jobs.size()) return kNone;
  return state_->jobs[index]->source.entryName;
}

//--- Self-extractor from a finished zip

ZipWriteResult WriteSelfExtractorFromZip(const std::wstring& zipPath, const std::wstring& exePath,
                                         const std::vector<SfxText>& texts, ZipCommit commit) {
  FileByteSource file;
  if (!file.Open(zipPath)) return Fail(ZipWriteCode::kReadFailed, LastSystemError());
  ReadAheadByteSource source(file, 1 << 16);
  ZipReader reader(file);
  if (reader.Open(GenerousLimits()) != ZipError::kNone) return Fail(ZipWriteCode::kNotZip);

  ArchiveStart archive;
  if (ZipWriteResult r = archive.Begin(exePath, &texts); !r.ok()) {
    archive.out.Discard();
    return r;
  }
  for (const ZipEntry& e : reader.entries()) {
    if (ZipWriteResult r = CopyEntry(file, source, e, archive); !r.ok()) {
      archive.out.Discard();
      return r;
    }
  }
  return archive.Finish(commit);
}

namespace testing_hooks {
void SetZipWriteFailure(std::function<std::uint32_t(std::uint64_t)> failure) {
  WriteFailureHook() = std::move(failure);
}
}  // namespace testing_hooks

}  // namespace ablagix
