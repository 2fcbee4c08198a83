#include "fileops/temp_files.h"

#include <atomic>
#include <chrono>
#include <mutex>
#include <random>
#include <unordered_set>
#include <vector>

#include "base/text.h"
#include "fileops/file_system_seam.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "fileops/temp_files_internal.h"

namespace ablagix {
namespace {

constexpr std::wstring_view kPrefix = L".~ablagix-";
constexpr std::wstring_view kLedgerSuffix = L".txt";

// A word of this process's own, so that its temporary names are told from another's.
const std::wstring& ProcessToken() {
  static const std::wstring token = [] {
    std::random_device device;
    std::mt19937_64 random(device() ^ static_cast<std::uint64_t>(
                                          std::chrono::steady_clock::now().time_since_epoch().count()));
    constexpr wchar_t kDigits[] = L"0123456789abcdefghijklmnopqrstuv";
    std::wstring t;
    std::uint64_t bits = random();
    for (int i = 0; i < 10; ++i, bits >>= 5) t.push_back(kDigits[bits & 31]);
    return t;
  }();
  return token;
}

struct LedgerState {
  std::mutex mutex;
  std::wstring folder;
  std::unique_ptr<temp_files_internal::Ledger> ledger;
  std::unordered_set<std::wstring> noted;  // folders written to the ledger
};

LedgerState& State() {
  static LedgerState state;
  return state;
}

// Notes `folder` in this process's ledger once.
void Note(const std::wstring& folder) {
  LedgerState& s = State();
  std::lock_guard lock(s.mutex);
  if (s.folder.empty() || s.noted.contains(folder)) return;
  if (!s.ledger) {
    CreateFolders(s.folder);
    auto ledger = std::make_unique<temp_files_internal::Ledger>();
    if (!ledger->Create(JoinPath(s.folder, ProcessToken() + std::wstring(kLedgerSuffix)))) return;
    s.ledger = std::move(ledger);
  }
  if (s.ledger->Append(ToUtf8Exact(folder) + "\n")) s.noted.insert(folder);
}

// Removes the temporary files of process `token` from `folder`.
std::size_t RemoveTempFilesOf(const std::wstring& token, const std::wstring& folder) {
  const std::wstring prefix = std::wstring(kPrefix) + token + L"-";
  std::vector<std::wstring> names;
  FolderReader reader;
  if (!reader.Open(folder)) return 0;
  DirEntry entry;
  while (reader.NextName(&entry)) {
    if (entry.name.starts_with(prefix) && !entry.IsDirectory() && !entry.isLink) names.push_back(entry.name);
  }
  std::size_t removed = 0;
  for (const std::wstring& name : names) {
    const std::wstring path = JoinPath(folder, name);
    SetAttributes(path, kAttrNormal);  // ours, hidden and perhaps read-only like its source
    if (ActiveFileSystem().RemoveFile(path).ok()) ++removed;
  }
  return removed;
}

}  // namespace

std::wstring TempFilePath(const std::wstring& folder) {
  static std::atomic<std::uint64_t> counter{0};
  Note(folder);
  return JoinPath(folder, std::wstring(kPrefix) + ProcessToken() + L"-" + NumberText(counter++) + L".tmp");
}

bool IsTempFileName(std::wstring_view name) { return name.starts_with(kPrefix); }

void SetTempLedgerFolder(const std::wstring& folder) {
  LedgerState& s = State();
  std::lock_guard lock(s.mutex);
  if (s.folder == folder) return;
  s.folder = folder;
  s.ledger.reset();
  s.noted.clear();
}

std::size_t RemoveLeftoverTempFiles() {
  std::wstring ledgers;
  {
    LedgerState& s = State();
    std::lock_guard lock(s.mutex);
    ledgers = s.folder;
  }
  if (ledgers.empty()) return 0;
  std::vector<std::wstring> names;
  FolderReader reader;
  if (!reader.Open(ledgers)) return 0;
  DirEntry entry;
  while (reader.NextName(&entry)) {
    if (entry.name.ends_with(kLedgerSuffix) && entry.name != ProcessToken() + std::wstring(kLedgerSuffix)) {
      names.push_back(entry.name);
    }
  }
  std::size_t removed = 0;
  for (const std::wstring& name : names) {
    std::string content;
    if (!temp_files_internal::TakeAbandonedLedger(JoinPath(ledgers, name), &content)) continue;
    const std::wstring token = name.substr(0, name.size() - kLedgerSuffix.size());
    std::size_t start = 0;
    for (std::size_t end = content.find('\n'); end != std::string::npos; end = content.find('\n', start)) {
      const std::wstring folder = FromUtf8Exact(std::string_view(content).substr(start, end - start));
      if (!folder.empty()) removed += RemoveTempFilesOf(token, folder);
      start = end + 1;
    }
  }
  return removed;
}

void CleanUpAfterKilledRuns(const std::wstring& journalFolder) {
  if (journalFolder.empty()) return;
  SetTempLedgerFolder(JoinPath(journalFolder, L"Temp"));
  RemoveLeftoverTempFiles();
}

}  // namespace ablagix
