#include "engine/duplicates.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <map>
#include <memory>
#include <thread>
#include <tuple>
#include <utility>

#include "base/abort_flag.h"
#include "base/text.h"
#include "engine/dispatch.h"
#include "fileops/in_place_io.h"
#include "fileops/path_text.h"
#include "log/log_row.h"

// Header only, so that no build (the Windows one neither) needs the library.
#define XXH_INLINE_ALL
#include <xxhash.h>

namespace ablagix {
namespace {

// A first look at the start of each file sets most files of a shared size apart cheaply; the
// ends pass hashes this much from each end (files up to twice that whole).
constexpr std::uint64_t kStart = 4 * 1024;
constexpr std::uint64_t kEdge = 64 * 1024;
// The whole-file pass and the comparison before a delete read in blocks of this size.
constexpr std::size_t kBlock = 1 << 20;

constexpr std::wstring_view kNotePrefix = L"Duplikat von ";
constexpr std::wstring_view kNoteSeparator = L"; ";

// One name met by the scan of the source or of the further folder, by its place in either list.
struct Name {
  RunFile file;
  std::uint32_t index;  // in the scan's list, or in the further folder's
  bool other;           // of the further folder
};

// One file (all its names) among those of one size, with what its reads found.
struct Candidate {
  std::uint64_t size = 0;
  std::vector<std::uint32_t> names;  // into the names of its size
  bool readable = true;  // read unchanged since the scan
  // The hash of the last pass that read it: its start, its ends, all its bytes. Files of one
  // size go through the same passes, so equal keys of equal sizes mean equal passes.
  XXH128_hash_t key{};
};

bool Less(const XXH128_hash_t& a, const XXH128_hash_t& b) {
  return a.high64 != b.high64 ? a.high64 < b.high64 : a.low64 < b.low64;
}
bool Same(const XXH128_hash_t& a, const XXH128_hash_t& b) { return a.high64 == b.high64 && a.low64 == b.low64; }

// Which copy stays: the oldest by its last write, then the shortest path, then the first name,
// then the first path; a total order, so the choice never depends on the scan's order.
bool KeptBefore(const RunFile& a, const RunFile& b) {
  if (a.lastWrite != b.lastWrite) return a.lastWrite < b.lastWrite;
  if (a.path.size() != b.path.size()) return a.path.size() < b.path.size();
  auto name = [](std::wstring_view path) {
    std::size_t at = path.size();
    while (at > 0 && !IsPathSeparator(path[at - 1])) --at;
    return path.substr(at);
  };
  const std::wstring_view nameA = name(a.path);
  const std::wstring_view nameB = name(b.path);
  if (nameA != nameB) return nameA < nameB;
  return a.path < b.path;
}

// Reads `count` bytes at `offset` into `buffer`; false when fewer came (a file that shrank).
bool ReadExactly(ReadOnlyFile& file, std::uint64_t offset, char* buffer, std::size_t count) {
  while (count > 0) {
    std::size_t got = 0;
    if (!file.ReadInto(offset, buffer, count, &got) || got == 0) return false;
    offset += got;
    buffer += got;
    count -= got;
  }
  return true;
}

// Whether the open file is still what the scan saw: a file written to since is no duplicate.
bool Unchanged(ReadOnlyFile& file, const RunFile& scanned) {
  FileVersion now;
  return file.Version(&now) && now.size == scanned.size && now.lastWrite == scanned.lastWrite;
}

// The first look: the start of the file (all of it when it is small).
bool HashStart(const RunFile& name, std::vector<char>& buffer, XXH128_hash_t* hash) {
  ReadOnlyFile file;
  if (!file.OpenFound(FileRef(name.path, name.id, name.folder)) || file.size() != name.size) return false;
  const std::size_t count = static_cast<std::size_t>(std::min(name.size, kStart));
  if (!ReadExactly(file, 0, buffer.data(), count)) return false;
  *hash = XXH3_128bits(buffer.data(), count);
  return Unchanged(file, name);
}

// Both ends of the file (all of it when they cover it).
bool HashEdges(const RunFile& name, std::vector<char>& buffer, XXH128_hash_t* hash) {
  ReadOnlyFile file;
  if (!file.OpenFound(FileRef(name.path, name.id, name.folder)) || file.size() != name.size) return false;
  const std::uint64_t size = name.size;
  if (size <= 2 * kEdge) {
    if (!ReadExactly(file, 0, buffer.data(), static_cast<std::size_t>(size))) return false;
    *hash = XXH3_128bits(buffer.data(), static_cast<std::size_t>(size));
  } else {
    if (!ReadExactly(file, 0, buffer.data(), kEdge) || !ReadExactly(file, size - kEdge, buffer.data() + kEdge, kEdge)) {
      return false;
    }
    *hash = XXH3_128bits(buffer.data(), 2 * kEdge);
  }
  return Unchanged(file, name);
}

// Every byte.
bool HashWhole(const RunFile& name, std::vector<char>& buffer, XXH3_state_t* state, XXH128_hash_t* hash) {
  ReadOnlyFile file;
  if (!file.OpenFound(FileRef(name.path, name.id, name.folder)) || file.size() != name.size) return false;
  XXH3_128bits_reset(state);
  for (std::uint64_t offset = 0; offset < name.size;) {
    if (AbortRequested()) return false;
    const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, name.size - offset));
    if (!ReadExactly(file, offset, buffer.data(), count)) return false;
    XXH3_128bits_update(state, buffer.data(), count);
    offset += count;
  }
  *hash = XXH3_128bits_digest(state);
  return Unchanged(file, name);
}

// Runs `work(i, worker)` for i in 0..count-1 on `threads` workers (on the calling thread when
// 0), polling and reporting on the calling thread; false when stopped.
template <typename Work>
bool ForEachFile(std::size_t count, const DuplicateRequest& request, std::size_t doneBefore, std::size_t total,
                 Work work) {
  auto poll = [&] {
    if (AbortRequested()) return true;
    if (request.poll && request.poll()) {
      RequestAbort();
      return true;
    }
    return false;
  };
  if (request.threads == 0 || count < 2) {
    auto last = std::chrono::steady_clock::now();
    for (std::size_t i = 0; i < count; ++i) {
      const auto now = std::chrono::steady_clock::now();
      if (now - last > std::chrono::milliseconds(20)) {
        last = now;
        if (poll()) return false;
        if (request.progress) request.progress(doneBefore + i, total);
      }
      work(i, 0u);
    }
    return !AbortRequested();
  }
  std::atomic<std::size_t> next{0};
  std::atomic<std::size_t> finished{0};
  std::atomic<bool> stop{false};
  std::vector<std::thread> workers;
  const unsigned threads = static_cast<unsigned>(std::min<std::size_t>(request.threads, count));
  for (unsigned t = 0; t < threads; ++t) {
    // Runs of neighbours, so that a worker reads the files of one folder one after another
    // and opens the folder once for them.
    workers.emplace_back([&, t] {
      constexpr std::size_t kRun = 32;
      for (std::size_t from; !stop && (from = next.fetch_add(kRun)) < count;) {
        const std::size_t to = std::min(count, from + kRun);
        for (std::size_t i = from; i < to && !stop; ++i) work(i, t);
        finished += to - from;
      }
    });
  }
  bool stopped = false;
  while (finished < count) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    if (poll()) {
      stopped = true;
      break;
    }
    if (request.progress) request.progress(doneBefore + finished, total);
  }
  stop = true;
  for (auto& worker : workers) worker.join();
  return !stopped && !AbortRequested();
}

}  // namespace

bool SelectDuplicates(const DuplicateRequest& request, RunFileList* files, DuplicateMatches* matches) {
  matches->clear();
  auto stopped = [&] {
    files->clear();
    return false;
  };
  // The further folder's files, all of them: they are the other copies, whatever the conditions.
  RunFileList others;
  if (!request.otherFolder.empty()) {
    ScanRequest scan;
    scan.folder = request.otherFolder;
    scan.includeSubfolders = true;
    scan.poll = [&, seen = std::uint64_t{0}]() mutable { return ++seen % 256 == 0 && request.poll && request.poll(); };
    ScanState state;
    if (ScanFolder(scan, &others, &state) != ScanResult::Completed) return stopped();
  }

  // Sizes first, without building a single path: only sizes met twice need their files.
  const std::size_t ownCount = files->size();
  std::vector<std::pair<std::uint64_t, std::uint32_t>> bySize;  // size, index (others after own)
  bySize.reserve(ownCount + others.size());
  auto sizeOf = [&](std::uint32_t i) { return i < ownCount ? (*files)[i].size : others[i - ownCount].size; };
  for (std::size_t i = 0; i < ownCount + others.size(); ++i) {
    const std::uint64_t size = sizeOf(static_cast<std::uint32_t>(i));
    if (size > 0) bySize.emplace_back(size, static_cast<std::uint32_t>(i));
  }
  std::sort(bySize.begin(), bySize.end());

  std::vector<Name> names;
  std::vector<Candidate> candidates;
  for (std::size_t from = 0; from < bySize.size();) {
    std::size_t to = from + 1;
    while (to < bySize.size() && bySize[to].first == bySize[from].first) ++to;
    if (to - from >= 2) {
      // The names of one size, joined into files by identity: two names of one file are no
      // copies of each other.
      const std::size_t firstName = names.size();
      const std::size_t firstCandidate = candidates.size();
      for (std::size_t k = from; k < to; ++k) {
        const std::uint32_t i = bySize[k].second;
        const bool other = i >= ownCount;
        names.push_back({other ? others[i - ownCount] : (*files)[i],
                         other ? i - static_cast<std::uint32_t>(ownCount) : i, other});
      }
      std::vector<std::uint32_t> byId(to - from);
      for (std::size_t k = 0; k < byId.size(); ++k) byId[k] = static_cast<std::uint32_t>(firstName + k);
      std::sort(byId.begin(), byId.end(), [&](std::uint32_t a, std::uint32_t b) {
        const FileId& x = names[a].file.id;
        const FileId& y = names[b].file.id;
        return std::tie(x.volume, x.file, a) < std::tie(y.volume, y.file, b);
      });
      for (std::size_t k = 0; k < byId.size(); ++k) {
        const FileId& id = names[byId[k]].file.id;
        if (k > 0 && id.known() && id == names[byId[k - 1]].file.id) {
          candidates.back().names.push_back(byId[k]);
          continue;
        }
        Candidate c;
        c.size = bySize[from].first;
        c.names.push_back(byId[k]);
        candidates.push_back(std::move(c));
      }
      if (candidates.size() - firstCandidate < 2) {
        names.resize(firstName);
        candidates.resize(firstCandidate);
      }
    }
    from = to;
  }
  bySize = {};

  // Three passes, each over the files that still share their size and last hash with another:
  // the start, both ends, every byte. A file that one pass read whole needs no later pass. The
  // files are read in the scan's order, folder by folder.
  std::vector<std::uint32_t> alive(candidates.size());
  for (std::uint32_t i = 0; i < alive.size(); ++i) alive[i] = i;
  auto scanOrder = [&](std::uint32_t a, std::uint32_t b) {
    const Name& x = names[candidates[a].names[0]];
    const Name& y = names[candidates[b].names[0]];
    return std::tie(x.other, x.index) < std::tie(y.other, y.index);
  };
  std::sort(alive.begin(), alive.end(), scanOrder);
  // Keeps, in their order, the readable files whose size and key another one shares.
  auto partnered = [&](const std::vector<std::uint32_t>& ids) {
    std::vector<std::uint32_t> sorted;
    for (std::uint32_t i : ids) {
      if (candidates[i].readable) sorted.push_back(i);
    }
    auto same = [&](std::uint32_t a, std::uint32_t b) {
      return candidates[a].size == candidates[b].size && Same(candidates[a].key, candidates[b].key);
    };
    std::sort(sorted.begin(), sorted.end(), [&](std::uint32_t a, std::uint32_t b) {
      const Candidate& x = candidates[a];
      const Candidate& y = candidates[b];
      return x.size != y.size ? x.size < y.size : Less(x.key, y.key);
    });
    std::vector<bool> keep(candidates.size(), false);
    for (std::size_t k = 0; k < sorted.size(); ++k) {
      if ((k > 0 && same(sorted[k - 1], sorted[k])) || (k + 1 < sorted.size() && same(sorted[k], sorted[k + 1]))) {
        keep[sorted[k]] = true;
      }
    }
    std::vector<std::uint32_t> kept;
    for (std::uint32_t i : ids) {
      if (keep[i]) kept.push_back(i);
    }
    return kept;
  };
  const unsigned workers = std::max(1u, request.threads);
  std::vector<std::vector<char>> buffers(workers);
  for (auto& b : buffers) b.resize(std::max<std::size_t>(kBlock, 2 * kEdge));
  std::vector<std::unique_ptr<XXH3_state_t, decltype(&XXH3_freeState)>> states;
  for (unsigned w = 0; w < workers; ++w) states.emplace_back(XXH3_createState(), &XXH3_freeState);
  // Progress counts every pass a file may need, so it reaches its end only with the last read.
  std::size_t total = 0;
  for (const Candidate& c : candidates) total += 1 + (c.size > kStart ? 1 : 0) + (c.size > 2 * kEdge ? 1 : 0);
  std::size_t done = 0;
  enum class Pass { kStart, kEdges, kWhole };
  for (Pass pass : {Pass::kStart, Pass::kEdges, Pass::kWhole}) {
    const std::uint64_t readBefore = pass == Pass::kStart ? 0 : pass == Pass::kEdges ? kStart : 2 * kEdge;
    std::vector<std::uint32_t> reading;
    for (std::uint32_t i : alive) {
      if (candidates[i].size > readBefore) reading.push_back(i);
    }
    const bool read = ForEachFile(reading.size(), request, done, total, [&](std::size_t k, unsigned w) {
      Candidate& c = candidates[reading[k]];
      const RunFile& file = names[c.names[0]].file;
      c.readable = pass == Pass::kStart   ? HashStart(file, buffers[w], &c.key)
                   : pass == Pass::kEdges ? HashEdges(file, buffers[w], &c.key)
                                          : HashWhole(file, buffers[w], states[w].get(), &c.key);
    });
    if (!read) return stopped();
    done += reading.size();
    alive = partnered(alive);
  }
  if (request.progress) request.progress(total, total);

  // Groups of equal size and whole hash.
  std::vector<std::uint32_t> order = alive;
  std::sort(order.begin(), order.end(), [&](std::uint32_t a, std::uint32_t b) {
    const Candidate& x = candidates[a];
    const Candidate& y = candidates[b];
    return x.size != y.size ? x.size < y.size : Less(x.key, y.key);
  });
  std::vector<std::pair<std::uint32_t, std::uint32_t>> selected;  // own index, name of the copy it duplicates
  for (std::size_t from = 0; from < order.size();) {
    std::size_t to = from + 1;
    while (to < order.size() && candidates[order[to]].size == candidates[order[from]].size &&
           Same(candidates[order[to]].key, candidates[order[from]].key)) {
      ++to;
    }
    if (to - from >= 2) {
      // A copy in the further folder: every file of the tree goes, and none of that folder's
      // (nor a file that is also one of its names). Otherwise the first file stays.
      auto hasOther = [&](const Candidate& c) {
        return std::any_of(c.names.begin(), c.names.end(), [&](std::uint32_t n) { return names[n].other; });
      };
      std::int64_t kept = -1;  // a name
      std::int64_t keptCandidate = -1;
      for (std::size_t k = from; k < to; ++k) {
        for (std::uint32_t n : candidates[order[k]].names) {
          if (!names[n].other) continue;
          if (kept < 0 || KeptBefore(names[n].file, names[static_cast<std::size_t>(kept)].file)) kept = n;
        }
      }
      if (kept < 0) {
        for (std::size_t k = from; k < to; ++k) {
          for (std::uint32_t n : candidates[order[k]].names) {
            if (kept < 0 || KeptBefore(names[n].file, names[static_cast<std::size_t>(kept)].file)) {
              kept = n;
              keptCandidate = order[k];
            }
          }
        }
      }
      for (std::size_t k = from; k < to; ++k) {
        const Candidate& c = candidates[order[k]];
        if (static_cast<std::int64_t>(order[k]) == keptCandidate || hasOther(c)) continue;
        for (std::uint32_t n : c.names) selected.emplace_back(names[n].index, static_cast<std::uint32_t>(kept));
      }
    }
    from = to;
  }

  std::sort(selected.begin(), selected.end());
  std::vector<bool> keep(ownCount, false);
  for (const auto& [index, copy] : selected) {
    keep[index] = true;
    const RunFile& kept = names[copy].file;
    matches->emplace_back(kept.path, kept.id, kept.folder);
  }
  files->Filter(keep);
  return true;
}

std::wstring DuplicateFolderProblem(const Profile& profile) {
  if (!SwitchesOf(profile).duplicates) return {};
  const std::wstring folder(Trim(profile.DuplikatOrdner));
  if (folder.empty()) return {};
  if (!IsFullPath(folder)) {
    return L"Die Bedingung DuplikatOrdner=" + profile.DuplikatOrdner +
           L" ist kein vollst\u00e4ndiger Pfad; das Profil wird nicht ausgef\u00fchrt.";
  }
  FolderReader reader;
  if (!FolderExists(folder) || !reader.Open(folder)) {
    return L"Der Ordner DuplikatOrdner=" + profile.DuplikatOrdner +
           L" ist nicht da oder kann nicht gelesen werden; das Profil wird nicht ausgef\u00fchrt.";
  }
  return {};
}

std::wstring WithDuplicateNote(std::wstring metadaten, const FileRef* kept) {
  if (!kept) return metadaten;
  if (!metadaten.empty()) metadaten += kNoteSeparator;
  metadaten += kNotePrefix;
  metadaten += kept->path;
  return metadaten;
}

std::wstring KeptCopyOfNote(std::wstring_view metadaten) {
  if (metadaten.starts_with(kNotePrefix)) return std::wstring(metadaten.substr(kNotePrefix.size()));
  const std::wstring marker = std::wstring(kNoteSeparator) + std::wstring(kNotePrefix);
  const std::size_t at = metadaten.find(marker);
  return at == std::wstring_view::npos ? std::wstring() : std::wstring(metadaten.substr(at + marker.size()));
}

namespace {

std::wstring Skipped(std::wstring_view why, const std::wstring& kept) {
  return std::wstring(ResultWord::kUebersprungen) + L": " + std::wstring(why) + L" " + kept;
}

// Compares the duplicate with its kept copy byte for byte, both opened as the files the scan
// found; "" when they agree, else the row's word. On agreement `file` carries the version that
// was compared, so a delete refuses the file once anything is written to it.
std::wstring ConfirmDuplicate(FileRef* file, const FileRef& kept) {
  ReadOnlyFile mine;
  ReadOnlyFile theirs;
  FsStatus status;
  if (!mine.OpenFound(*file, &status)) return ErrorWord(FsStatusText(status));
  FileVersion before;
  FileId mineId;
  if (!mine.Version(&before, &mineId)) return ErrorWord(FsErrorText(FsError::kIo));
  if (!theirs.OpenFound(kept, &status)) {
    if (status.error == FsError::kNotFound) return Skipped(L"Die behaltene Kopie ist nicht mehr da:", kept.path);
    if (status.error == FsError::kNotTheFoundFile || status.error == FsError::kNotRegularFile) {
      return Skipped(L"Die behaltene Kopie wurde seit der Suche durch eine andere Datei ersetzt:", kept.path);
    }
    return ErrorWord(L"Die behaltene Kopie kann nicht gelesen werden (" + FsErrorText(status.error) + L"): " +
                     kept.path);
  }
  FileVersion theirVersion;
  FileId theirId;
  if (!theirs.Version(&theirVersion, &theirId)) return ErrorWord(FsErrorText(FsError::kIo));
  // A kept copy named by a log row carries no identity: it may be this very file by now.
  if (theirId == mineId) return Skipped(L"Die behaltene Kopie ist die Datei selbst:", kept.path);
  const std::wstring differs = Skipped(L"Der Inhalt gleicht nicht mehr der behaltenen Kopie", kept.path);
  if (before.size != theirVersion.size || mine.size() != theirs.size()) return differs;
  std::vector<char> a(kBlock);
  std::vector<char> b(kBlock);
  for (std::uint64_t offset = 0; offset < before.size;) {
    const std::size_t count = static_cast<std::size_t>(std::min<std::uint64_t>(kBlock, before.size - offset));
    if (!ReadExactly(mine, offset, a.data(), count) || !ReadExactly(theirs, offset, b.data(), count)) return differs;
    if (std::memcmp(a.data(), b.data(), count) != 0) return differs;
    offset += count;
  }
  FileVersion after;
  FileVersion theirsAfter;
  if (!mine.Version(&after) || !(after == before) || !theirs.Version(&theirsAfter) ||
      !(theirsAfter == theirVersion)) {
    return Skipped(L"Die Datei oder die behaltene Kopie wurde w\u00e4hrend des Vergleichs ge\u00e4ndert:", kept.path);
  }
  file->versionKnown = true;
  file->version = after;
  return {};
}

bool Deletes(std::wstring_view aktion) {
  return EqualsNoCase(aktion, kAktionLoeschenP) || EqualsNoCase(aktion, kAktionLoeschenX) ||
         EqualsNoCase(aktion, kAktionLoeschenS);
}

}  // namespace

ActionResult HandleDuplicate(FileRef file, const FileRef& kept, const std::wstring& targetFolder,
                             const RunContext& run, const std::wstring& targetName) {
  if (run.mode == RunMode::Execute && Deletes(Trim(run.plan.aktion))) {
    std::wstring word = ConfirmDuplicate(&file, kept);
    if (!word.empty()) return {std::move(word), {}};
  }
  return HandleFile(file, targetFolder, run, targetName);
}

}  // namespace ablagix
