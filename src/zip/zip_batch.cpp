// ZipBatch: many files into one archive. Workers read and compress the files in memory ahead
// of the writer, which writes them in the order they were added.
#include "zip/zip_writer.h"

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_set>

#include "base/text.h"
#include "fileops/file_system_seam.h"
#include "zip/zip_writer_internal.h"

namespace ablagix {

using namespace zip_writing;

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

}  // namespace ablagix
