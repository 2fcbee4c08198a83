#include "zip/zip_writer.h"

#include <zlib.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>

#include "base/byte_order.h"
#include "base/text.h"
#include "fileops/byte_source.h"
#include "fileops/in_place_io.h"
#include "fileops/output_file.h"
#include "fileops/file_system_seam.h"
#include "fileops/path_text.h"
#include "fileops/temp_files.h"
#include "zip/zip_format.h"
#include "zip/zip_reader.h"
#include "zip/zip_writer_internal.h"

namespace ablagix {
namespace zip_writing {

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

ZipWriteResult Fail(ZipWriteCode code, std::uint32_t systemError) {
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

std::uint16_t VersionNeeded(bool zip64, std::uint16_t method) {
  return zip64 ? 45 : method == 8 ? 20 : 10;
}

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

//--- Deflater

Deflater::Deflater(int level) {
  ready_ = deflateInit2(&z_, std::clamp(level, 1, 9), Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) == Z_OK;
}

Deflater::~Deflater() {
  if (ready_) deflateEnd(&z_);
}

bool Deflater::Run(std::string_view in, int flush, std::string* out) {
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

//--- ArchiveOut

ZipWriteResult ArchiveOut::Create(const std::wstring& target) {
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

void ArchiveOut::NoteMember(std::uint32_t mode) {
  if (mode != 0) memberMask_ &= mode;
}

bool ArchiveOut::Write(std::string_view bytes) {
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

bool ArchiveOut::Patch(std::uint64_t offset, std::string_view bytes) {
  if (failed()) return false;
  const std::uint64_t bufferAt = position_ - buffer_.size();
  if (offset >= bufferAt) {
    buffer_.replace(static_cast<std::size_t>(offset - bufferAt), bytes.size(), bytes);
    return true;
  }
  if (offset + bytes.size() > bufferAt && !FlushBuffer()) return false;
  return WriteFileAt(offset, bytes);
}

bool ArchiveOut::Rewind(std::uint64_t offset) {
  if (!FlushBuffer()) return false;
  position_ = offset;
  return true;
}

bool ArchiveOut::Close() {
  if (!FlushBuffer()) return false;
  if (end_ > position_ && !file_.SetSize(position_)) return SetError(ZipWriteCode::kWriteFailed, file_.LastError());
  (void)file_.SetPermissions(created_ & memberMask_ & 0666);
  file_.Unhide();  // renamed next: the finished archive is seen under its name
  if (!file_.Flush()) return SetError(ZipWriteCode::kWriteFailed, file_.LastError());
  file_.Close();
  return true;
}

ZipWriteResult ArchiveOut::Commit(ZipCommit commit) {
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

ZipWriteResult ArchiveOut::CommitOver(const FileId& id, const FileVersion& version) {
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

void ArchiveOut::Discard() {
  file_.Close();
  if (!temp_.empty()) RemoveFile(temp_);
  temp_.clear();
}

bool ArchiveOut::SetError(ZipWriteCode code, std::uint32_t systemError) {
  if (error_.ok()) error_ = Fail(code, systemError);
  return false;
}

bool ArchiveOut::FlushBuffer() {
  if (failed()) return false;
  if (buffer_.empty()) return true;
  if (!WriteFileAt(position_ - buffer_.size(), buffer_)) return false;
  buffer_.clear();
  return true;
}

bool ArchiveOut::WriteFileAt(std::uint64_t offset, std::string_view bytes) {
  if (const auto& hook = WriteFailureHook()) {
    if (std::uint32_t code = hook(offset)) return SetError(ZipWriteCode::kWriteFailed, code);
  }
  if (!file_.WriteAt(offset, bytes.data(), bytes.size())) {
    return SetError(ZipWriteCode::kWriteFailed, file_.LastError());
  }
  end_ = std::max(end_, offset + bytes.size());
  return true;
}

//--- ZipStructure

bool ZipStructure::WriteLocalHeader(CentralRecord& record, bool zip64) {
  record.offset = out_.position();
  out_.Write(LocalHeader(record, zip64));
  return !out_.failed();
}

bool ZipStructure::PatchLocalHeader(const CentralRecord& record, bool zip64) {
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

bool ZipStructure::WriteDirectory(std::string_view comment) {
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

std::string ZipStructure::LocalHeader(const CentralRecord& r, bool zip64) {
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

//--- ArchiveStart

ZipWriteResult ArchiveStart::Begin(const std::wstring& target, const std::vector<SfxText>* selfExtractor) {
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

ZipWriteResult ArchiveStart::Finish(ZipCommit commit) {
  if (!WriteEnd()) return out.error();
  return out.Commit(commit);
}

ZipWriteResult ArchiveStart::FinishOver(const FileId& id, const FileVersion& version) {
  if (!WriteEnd()) return out.error();
  return out.CommitOver(id, version);
}

bool ArchiveStart::WriteEnd() {
  if (zip.WriteDirectory(comment) && out.Close()) return true;
  out.Discard();
  return false;
}

//--- CancelPoll

bool CancelPoll::Cancelled(bool now) {
  if (cancelled_ || !cancel_) return cancelled_;
  const auto t = std::chrono::steady_clock::now();
  if (!now && t - last_ < kCancelInterval) return false;
  last_ = t;
  cancelled_ = cancel_();
  return cancelled_;
}

}  // namespace zip_writing

using namespace zip_writing;

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

namespace zip_writing {

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

}  // namespace zip_writing

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
