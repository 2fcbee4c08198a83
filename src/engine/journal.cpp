#include "engine/journal.h"

#include <zlib.h>

#include <algorithm>
#include <chrono>
#include <random>
#include <thread>
#include <cstdio>
#include <unordered_map>

#include "base/sha256.h"
#include "base/text.h"
#include "engine/run_state.h"
#include "fileops/file_system_seam.h"
#include "fileops/path_text.h"
#include "fileops/system_error.h"
#include "log/log_row.h"

namespace ablagix {
namespace {

constexpr std::wstring_view kHeader = L"Ablagix-Journal";
constexpr std::wstring_view kBeginn = L"Beginn";
constexpr std::wstring_view kProfil = L"Profil";
constexpr std::wstring_view kVorhaben = L"Vorhaben";
constexpr std::wstring_view kErledigt = L"Erledigt";
constexpr std::wstring_view kFehlgeschlagen = L"Fehlgeschlagen";
constexpr std::wstring_view kEnde = L"Ende";
constexpr std::wstring_view kZurueck = L"Zur\u00fcck";
constexpr std::wstring_view kRueckgaengig = L"R\u00fcckg\u00e4ngig";
constexpr std::wstring_view kErsetzt = L"ersetzt";
constexpr std::wstring_view kErgaenzt = L"erg\u00e4nzt";
constexpr std::wstring_view kWurzel = L"Wurzel";
constexpr std::wstring_view kOrdner = L"Ordner";
constexpr std::wstring_view kGeleert = L"Geleert";
constexpr std::wstring_view kKeyFile = L".schluessel";
constexpr std::size_t kKeyBytes = 32;
constexpr std::size_t kSealBytes = 16;  // the seal: the first 16 bytes of the HMAC, in hex

constexpr std::int64_t kTicksPerSecond = 10000000;
constexpr std::int64_t kTicksPerMillisecond = 10000;

constexpr std::wstring_view kActionTexts[] = {
    L"Verschieben", L"Kopieren", L"Zip-Verschieben", L"Zip-Kopieren", L"Papierkorb", L"L\u00f6schen", L"Schreddern",
    L"Entpacken",
};

std::uint32_t Crc(std::string_view bytes) {
  return static_cast<std::uint32_t>(crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

// Exactly the text's code units: a name's bytes that are no text must come back as they were.
void AppendField(std::string& line, std::wstring_view field) {
  const std::string bytes = ToUtf8Exact(field);
  std::size_t from = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    const char c = bytes[i];
    if (c != '%' && c != '\t' && c != '\n' && c != '\r') continue;
    line.append(bytes, from, i - from);
    line += c == '%' ? "%25" : c == '\t' ? "%09" : c == '\n' ? "%0A" : "%0D";
    from = i + 1;
  }
  line.append(bytes, from, std::string::npos);
}

// The key's blocks hashed once for all the lines a run or an undo seals.
const HmacSha256Key& SealKey(std::string_view key) {
  thread_local std::string known;
  thread_local HmacSha256Key prepared{std::string_view()};
  if (known != key) {
    prepared = HmacSha256Key(key);
    known = key;
  }
  return prepared;
}

std::string SealOf(std::string_view key, std::string_view started, std::string_view content) {
  return HexOf(SealKey(key).Of({started, "\n", content}), kSealBytes);
}

// The fields joined by tabs, the seal, the check, the end of the line. The seal covers the
// run's start too, so a line never passes in another journal.
std::string EncodeLine(std::initializer_list<std::wstring_view> fields, std::string_view key, std::wstring_view started) {
  std::string line;
  bool first = true;
  for (std::wstring_view field : fields) {
    if (!first) line += '\t';
    first = false;
    AppendField(line, field);
  }
  line += '\t';
  line += SealOf(key, ToUtf8(started), line);
  char check[16];
  std::snprintf(check, sizeof check, "\t%08x\n", static_cast<unsigned>(Crc(line)));
  return line + check;
}

int HexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

std::wstring DecodeField(std::string_view text) {
  std::string bytes;
  bytes.reserve(text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && HexValue(text[i + 1]) >= 0 && HexValue(text[i + 2]) >= 0) {
      bytes += static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2]));
      i += 2;
    } else {
      bytes += text[i];
    }
  }
  return FromUtf8Exact(bytes);
}

enum class LineCheck { kGood, kDamaged, kUnsealed };

// The fields of a line whose check and seal hold. A line whose check fails is damaged (a cut, a
// crash); one whose seal does not hold was not written by this installation for this run.
LineCheck DecodeLine(std::string_view line, std::string_view key, std::string_view started,
                     std::vector<std::wstring>* fields) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  const std::size_t tab = line.rfind('\t');
  if (tab == std::string_view::npos || line.size() - tab != 9) return LineCheck::kDamaged;
  unsigned check = 0;
  for (char c : line.substr(tab + 1)) {
    const int v = HexValue(c);
    if (v < 0) return LineCheck::kDamaged;
    check = check * 16 + static_cast<unsigned>(v);
  }
  const std::string_view sealed = line.substr(0, tab + 1);
  if (Crc(line.substr(0, tab)) != check) return LineCheck::kDamaged;
  const std::size_t sealTab = sealed.size() >= kSealBytes * 2 + 2 ? sealed.size() - kSealBytes * 2 - 2 : std::string_view::npos;
  if (sealTab == std::string_view::npos || sealed[sealTab] != '\t') return LineCheck::kUnsealed;
  const std::string_view content = sealed.substr(0, sealTab);
  const std::string expected = SealOf(key, started, sealed.substr(0, sealTab + 1));
  if (key.empty() || sealed.substr(sealTab + 1, kSealBytes * 2) != expected) return LineCheck::kUnsealed;
  fields->clear();
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = content.find('\t', start);
    fields->push_back(DecodeField(content.substr(start, end == std::string_view::npos ? end : end - start)));
    if (end == std::string_view::npos) break;
    start = end + 1;
  }
  return LineCheck::kGood;
}

// The start a journal's "Beginn" line names, read without checking the seal (the seal of
// every line is checked against it afterwards).
std::string StartOf(std::string_view bytes) {
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t end = bytes.find('\n', at);
    const std::string_view line = bytes.substr(at, end == std::string_view::npos ? end : end - at);
    if (line.starts_with("Beginn\t")) {
      const std::size_t tab = line.find('\t', 7);
      return std::string(line.substr(7, tab == std::string_view::npos ? tab : tab - 7));
    }
    if (end == std::string_view::npos) break;
    at = end + 1;
  }
  return {};
}

std::wstring TimeText(FileTime time) {
  return time < 0 ? L"-" + NumberText(static_cast<std::uint64_t>(-time)) : NumberText(static_cast<std::uint64_t>(time));
}

bool ParseTime(const std::wstring& text, FileTime* time) {
  std::uint64_t value = 0;
  if (!ParseWholeNumber(text, &value) || value > static_cast<std::uint64_t>(INT64_MAX)) return false;
  *time = static_cast<FileTime>(value);
  return true;
}

std::optional<FileStamp> ParseStamp(const std::wstring& size, const std::wstring& time) {
  FileStamp stamp;
  if (!ParseWholeNumber(size, &stamp.size) || !ParseTime(time, &stamp.lastWrite)) return std::nullopt;
  return stamp;
}

std::optional<JournalAction> ParseAction(std::wstring_view text) {
  for (std::size_t i = 0; i < std::size(kActionTexts); ++i) {
    if (text == kActionTexts[i]) return static_cast<JournalAction>(i);
  }
  return std::nullopt;
}

// "Lauf-20250615-100000-123.txt": the moment in UTC, so the names sort by time whatever the
// zone and its summer time do.
std::wstring JournalFileName(FileTime time) {
  using namespace std::chrono;
  const std::int64_t unixMs = time / kTicksPerMillisecond - 11644473600000LL;
  const sys_time<milliseconds> moment{milliseconds(unixMs)};
  const sys_days day = floor<days>(moment);
  const year_month_day date{day};
  const hh_mm_ss<milliseconds> clock{moment - day};
  wchar_t name[64];
  std::swprintf(name, std::size(name), L"Lauf-%04d%02u%02u-%02d%02d%02d-%03d.txt", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
                static_cast<int>(clock.hours().count()), static_cast<int>(clock.minutes().count()),
                static_cast<int>(clock.seconds().count()), static_cast<int>(clock.subseconds().count()));
  return name;
}

}  // namespace

std::wstring_view JournalActionText(JournalAction action) { return kActionTexts[static_cast<int>(action)]; }

std::wstring JournalFolderIn(const SettingsFolders& folders) {
  if (folders.SettingsFolder.empty()) return {};
  return WithTrailingBackslash(JoinPath(folders.SettingsFolder, L"Journal"));
}

std::wstring DefaultJournalFolder() { return JournalFolderIn(CurrentSettingsFolders()); }

std::string JournalKey(const std::wstring& journalFolder) {
  if (journalFolder.empty()) return {};
  const std::wstring path = JoinPath(journalFolder, kKeyFile);
  std::string key;
  for (int attempt = 0; attempt < 50; ++attempt) {
    if (ReadFileBytes(path, &key) && key.size() == kKeyBytes) return key;
    if (!key.empty() && key.size() != kKeyBytes && attempt > 10) return {};  // damaged: never guessed
    if (!FileExists(path)) {
      CreateFolders(journalFolder);
      std::random_device random;
      std::string fresh;
      while (fresh.size() < kKeyBytes) {
        const unsigned value = random();
        for (int i = 0; i < 4 && fresh.size() < kKeyBytes; ++i) fresh.push_back(static_cast<char>(value >> (8 * i)));
      }
      AppendFile file;
      // Only one process makes it; another one that raced it reads the first one's key.
      if (file.Create(path) && file.Append(fresh) && file.Flush()) return fresh;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return {};
}

//--- RunJournal

RunJournal::RunJournal(std::wstring folder, std::wstring_view kind) : folder_(std::move(folder)), kind_(kind) {}

RunJournal::~RunJournal() { Finish(); }

void RunJournal::BeginProfile(std::wstring_view name, const std::vector<std::wstring>& roots) {
  pendingProfile_ = name;
  AddRoots(roots);
}

void RunJournal::AddRoots(const std::vector<std::wstring>& roots) {
  for (const std::wstring& root : roots) {
    if (!root.empty() && knownRoots_.insert(root).second) pendingRoots_.push_back(root);
  }
}

bool RunJournal::EnsureOpen() {
  if (!path_.empty() || broken_ || folder_.empty()) return !path_.empty() && !broken_;
  broken_ = true;  // until the file is there
  if (!CreateFolders(folder_)) {
    problem_ = L"Konnte den Journalordner nicht anlegen: " + folder_;
    return false;
  }
  key_ = JournalKey(folder_);
  if (key_.empty()) {
    problem_ = L"Konnte den Schl\u00fcssel der Journale nicht lesen oder anlegen: " + JoinPath(folder_, kKeyFile);
    return false;
  }
  const FileTime now = CurrentFileTime();
  // Two runs in the same millisecond (two programs) take the next free one.
  for (std::int64_t i = 0; i < 1000 && path_.empty(); ++i) {
    const std::wstring candidate = JoinPath(folder_, JournalFileName(now + i * kTicksPerMillisecond));
    if (file_.Create(candidate)) {
      path_ = candidate;
    } else if (file_.LastError() != AlreadyExistsError()) {
      problem_ = L"Konnte das Journal nicht anlegen (" + SystemErrorText(file_.LastError()) + L"): " + candidate;
      return false;
    }
  }
  if (path_.empty()) return false;
  broken_ = false;
  started_ = TimeText(now);
  Write({kHeader, NumberText(kJournalVersion)});
  Write({kBeginn, started_, FormatLogTime(now), kind_});
  return !broken_;
}

void RunJournal::Write(std::initializer_list<std::wstring_view> fields) {
  if (broken_) return;
  if (!file_.Append(EncodeLine(fields, key_, started_))) {
    problem_ = L"Das Journal konnte nicht weitergeschrieben werden (" + SystemErrorText(file_.LastError()) +
               L"): " + path_;
    broken_ = true;
  }
}

void RunJournal::WritePending() {
  if (!pendingProfile_.empty()) {
    Write({kProfil, pendingProfile_});
    pendingProfile_.clear();
  }
  for (const std::wstring& root : pendingRoots_) {
    Write({kWurzel, root});
  }
  pendingRoots_.clear();
}

bool RunJournal::FolderMade(const std::wstring& folder) {
  if (folder_.empty()) return true;
  if (!EnsureOpen()) return false;
  WritePending();
  Write({kOrdner, folder});
  return !broken_;
}

bool RunJournal::FolderEmptied(const std::wstring& folder) {
  if (folder_.empty()) return true;
  if (!EnsureOpen()) return false;
  WritePending();
  Write({kGeleert, folder});
  return !broken_;
}

JournalMark RunJournal::Before(JournalAction action, const std::wstring& from, const std::wstring& to, bool replaces,
                               std::wstring_view entryName, bool addsTo) {
  if (folder_.empty()) return {};
  if (!EnsureOpen()) return {0, true};
  WritePending();
  const std::uint64_t number = nextEntry_++;
  FileStamp source;
  const bool known = ReadFileStamp(from, &source);
  Write({kVorhaben, NumberText(number), JournalActionText(action), from, to,
         known ? NumberText(source.size) : L"", known ? TimeText(source.lastWrite) : L"",
         TimeText(CurrentFileTime()), replaces ? kErsetzt : addsTo ? kErgaenzt : L"", entryName});
  // Not written down, not done: the caller leaves the file as it is.
  if (broken_) return {0, true};
  return {number, false};
}

void RunJournal::After(JournalMark mark, bool done, const std::wstring& finalPath, std::wstring_view entryName) {
  if (mark.entry == 0 || broken_) return;
  if (!done) {
    Write({kFehlgeschlagen, NumberText(mark.entry)});
    return;
  }
  FileInfo written;
  const bool known = !finalPath.empty() && ActiveFileSystem().Inspect(finalPath, &written).ok() &&
                     written.kind == FileKind::kFile;
  Write({kErledigt, NumberText(mark.entry), finalPath, known ? NumberText(written.version.size) : L"",
         known ? TimeText(written.version.lastWrite) : L"", TimeText(CurrentFileTime()), entryName,
         known ? TimeText(written.version.changed) : L"",
         known ? NumberText(written.id.volume) + L":" + NumberText(written.id.file) : L""});
}

void RunJournal::Finish() {
  if (path_.empty() || finished_) return;
  finished_ = true;
  Write({kEnde, TimeText(CurrentFileTime())});
  // Each line reached the system when it was written (a killed process loses none); this
  // puts the whole journal on the disk, for a power cut.
  if (!broken_ && !file_.Flush()) {
    problem_ = L"Das Journal konnte nicht gespeichert werden (" + SystemErrorText(file_.LastError()) + L"): " + path_;
  }
  file_.Close();
}

JournalMark JournalBefore(RunState& state, JournalAction action, const std::wstring& from, const std::wstring& to,
                          bool replace, std::wstring_view entryName, bool addToArchive) {
  if (!state.journal) return {};
  // Whether the change will replace a file can only be said before it.
  const bool exists = !to.empty() && PathExists(to);
  return state.journal->Before(action, from, to, replace && exists, entryName, addToArchive && exists);
}

void JournalAfter(RunState& state, JournalMark mark, const std::wstring& finalPath, std::wstring_view entryName) {
  if (state.journal) state.journal->After(mark, !finalPath.empty(), finalPath, entryName);
}

void JournalAfter(RunState& state, JournalMark mark, bool done) {
  if (state.journal) state.journal->After(mark, done, L"", L"");
}

std::wstring JournalRefusedWord() {
  return ErrorWord(L"Journal: Die \u00c4nderung lie\u00df sich nicht festhalten; die Datei bleibt unver\u00e4ndert");
}

bool JournalRefused(const RunState& state) { return state.journal && !state.journal->problem().empty(); }

//--- Reading

namespace {

// The steps of `path` behind `prefix`: none may be "." or "..", or the text below a root could
// name a place above it.
bool PlainStepsBelow(std::wstring_view path, std::size_t from) {
  for (std::size_t at = from; at <= path.size();) {
    std::size_t next = at;
    while (next < path.size() && !IsPathSeparator(path[next])) ++next;
    const std::wstring_view step = path.substr(at, next - at);
    if (step == L"." || step == L"..") return false;
    at = next + 1;
  }
  return true;
}

}  // namespace

bool PathWithinRoots(std::wstring_view path, const std::vector<std::wstring>& roots, bool rootItself) {
  for (const std::wstring& root : roots) {
    const std::wstring prefix = WithTrailingBackslash(root);
    if (rootItself && SameFolderText(path, prefix)) return true;
    if (path.size() > prefix.size() && FolderTextStartsWith(path, prefix) && PlainStepsBelow(path, prefix.size())) {
      return true;
    }
  }
  return false;
}

namespace {

// A folder the run may have made: in one of its folders, or on the way to one (a target
// "D:\Neu\Ablage" whose "D:\Neu" was not there either).
bool FolderOfRun(std::wstring_view folder, const std::vector<std::wstring>& roots) {
  if (PathWithinRoots(folder, roots, true)) return true;
  const std::wstring prefix = WithTrailingBackslash(folder);
  return PlainStepsBelow(folder, 0) && std::any_of(roots.begin(), roots.end(), [&](const std::wstring& root) {
           return root.size() > prefix.size() && FolderTextStartsWith(root, prefix);
         });
}

}  // namespace

namespace {

// The records of a journal applied in order: what a record refers to (its profile, the folders
// of its run, the entry of its number) is what came before it.
class JournalReplay {
 public:
  explicit JournalReplay(JournalContents* contents) : contents_(*contents) {}

  void Apply(const std::vector<std::wstring>& f) {
    const std::wstring& kind = f[0];
    std::uint64_t number = 0;
    const bool numbered = f.size() > 1 && ParseWholeNumber(f[1], &number);
    if (kind == kBeginn && f.size() >= 4) {
      ParseTime(f[1], &contents_.started);
      contents_.startedText = f[2];
      contents_.kind = f[3];
    } else if (kind == kProfil && f.size() >= 2) {
      profile_ = f[1];
      contents_.profiles.push_back(profile_);
    } else if (kind == kWurzel && f.size() >= 2 && !f[1].empty()) {
      roots_.push_back(f[1]);
      contents_.roots.push_back(f[1]);
    } else if (kind == kOrdner && f.size() >= 2 && FolderOfRun(f[1], roots_)) {
      contents_.folders.push_back(f[1]);
    } else if (kind == kGeleert && f.size() >= 2 && PathWithinRoots(f[1], roots_)) {
      contents_.emptiedFolders.push_back(f[1]);
    } else if (kind == kVorhaben && numbered && f.size() >= 10 && !byNumber_.contains(number)) {
      Planned(number, f);
    } else if ((kind == kErledigt && f.size() >= 7) || kind == kFehlgeschlagen) {
      auto it = numbered ? byNumber_.find(number) : byNumber_.end();
      if (it == byNumber_.end()) return;
      JournalEntry& e = contents_.entries[it->second];
      if (kind == kFehlgeschlagen) {
        e.outcome = JournalEntry::Outcome::kFailed;
      } else {
        Done(e, f);
      }
    } else if (kind == kZurueck && numbered && f.size() >= 4) {
      if (auto it = byNumber_.find(number); it != byNumber_.end()) {
        contents_.entries[it->second].undoWord = f[2];
        contents_.entries[it->second].undoPath = f[3];
      }
    } else if (kind == kEnde) {
      contents_.finished = true;
    } else if (kind == kRueckgaengig) {
      contents_.undone = true;
      if (f.size() >= 2) ParseTime(f[1], &contents_.undoneAt);
    }
  }

 private:
  // A change about to be made: a new entry.
  void Planned(std::uint64_t number, const std::vector<std::wstring>& f) {
    const std::optional<JournalAction> action = ParseAction(f[2]);
    if (!action) return;
    JournalEntry e;
    e.number = number;
    e.action = *action;
    e.profile = profile_;
    e.from = f[3];
    e.to = f[4];
    e.source = ParseStamp(f[5], f[6]);
    ParseTime(f[7], &e.startedAt);
    e.replaces = f[8] == kErsetzt;
    e.addedToArchive = f[8] == kErgaenzt;
    e.entryName = f[9];
    // Only what lies in the folders its run worked in: nothing else is this run's to touch.
    e.outsideRoots = !PathWithinRoots(e.from, roots_) || (!e.to.empty() && !PathWithinRoots(e.to, roots_));
    byNumber_[number] = contents_.entries.size();
    contents_.entries.push_back(std::move(e));
  }

  // A change that was made: where its file went and what it was afterwards.
  void Done(JournalEntry& e, const std::vector<std::wstring>& f) {
    e.outcome = JournalEntry::Outcome::kDone;
    e.finalPath = f[2];
    e.written = ParseStamp(f[3], f[4]);
    ParseTime(f[5], &e.doneAt);
    e.finalEntryName = f[6];
    if (f.size() >= 9) {
      ParseTime(f[7], &e.writtenChanged);
      const std::size_t colon = f[8].find(L':');
      std::uint64_t volume = 0, file = 0;
      if (colon != std::wstring::npos && ParseWholeNumber(std::wstring_view(f[8]).substr(0, colon), &volume) &&
          ParseWholeNumber(std::wstring_view(f[8]).substr(colon + 1), &file)) {
        e.writtenId = FileId{volume, file};
      }
    }
    if (!e.finalPath.empty() && !PathWithinRoots(e.finalPath, roots_)) e.outsideRoots = true;
  }

  JournalContents& contents_;
  std::unordered_map<std::uint64_t, std::size_t> byNumber_;
  std::vector<std::wstring> roots_;
  std::wstring profile_;
};

}  // namespace

bool ReadJournal(const std::wstring& path, std::string_view key, JournalContents* contents, std::wstring* error) {
  std::string bytes;
  if (!ReadFileBytes(path, &bytes)) {
    *error = L"Konnte das Journal nicht lesen: " + path;
    return false;
  }
  *contents = {};
  const std::string started = StartOf(bytes);
  JournalReplay replay(contents);
  bool header = false;
  bool anyLine = false;
  std::vector<std::wstring> f;
  std::string_view rest = bytes;
  while (!rest.empty()) {
    const std::size_t end = rest.find('\n');
    // A last line without its end was cut off while being written.
    if (end == std::string_view::npos) {
      ++contents->damagedLines;
      break;
    }
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    if (!header && !anyLine && line.starts_with("Ablagix-Journal\t1\t")) {
      *error = L"Das Journal stammt von einer \u00e4lteren Ablagix-Version ohne Siegel und wird nicht "
               L"r\u00fcckg\u00e4ngig gemacht: " + path;
      return false;
    }
    anyLine = true;
    const LineCheck check = DecodeLine(line, key, started, &f);
    if (check != LineCheck::kGood) {
      if (check == LineCheck::kUnsealed) ++contents->unsealedLines;
      if (check == LineCheck::kDamaged && !line.empty()) ++contents->damagedLines;
      continue;
    }
    if (!header) {
      std::uint64_t version = 0;
      if (f[0] != kHeader || f.size() < 2 || !ParseWholeNumber(f[1], &version)) break;
      if (version > static_cast<std::uint64_t>(kJournalVersion)) {
        *error = L"Das Journal stammt von einer neueren Ablagix-Version: " + path;
        return false;
      }
      header = true;
      continue;
    }
    replay.Apply(f);
  }
  // A run killed while it made its journal leaves it empty or with its first line cut: it
  // recorded nothing, so there is nothing to undo.
  if (!header && anyLine) {
    *error = contents->unsealedLines > 0
                 ? L"Das Journal tr\u00e4gt nicht das Siegel dieser Installation und wird nicht "
                   L"r\u00fcckg\u00e4ngig gemacht: " + path
                 : L"Keine Journaldatei von Ablagix: " + path;
    return false;
  }
  return true;
}

bool ReadJournalStart(const std::wstring& path, std::string_view key, FileTime* started) {
  ReadOnlyFile file;
  std::string head;
  if (!file.Open(path) || !file.ReadAt(0, 4096, &head)) return false;
  const std::string start = StartOf(head);
  std::vector<std::wstring> f;
  std::string_view rest = head;
  for (int line = 0; line < 2; ++line) {
    const std::size_t end = rest.find('\n');
    if (end == std::string_view::npos || DecodeLine(rest.substr(0, end), key, start, &f) != LineCheck::kGood) return false;
    rest.remove_prefix(end + 1);
  }
  return f.size() >= 2 && f[0] == kBeginn && ParseTime(f[1], started);
}

//--- JournalAppender

AppendFile::Opened JournalAppender::Open(const std::wstring& path, std::string key, FileTime started) {
  key_ = std::move(key);
  started_ = TimeText(started);
  bool endsWithLine = true;
  {
    ReadOnlyFile reader;
    if (!reader.Open(path)) return AppendFile::Opened::kFailed;
    std::string last;
    if (reader.size() > 0 && (!reader.ReadAt(reader.size() - 1, 1, &last) || last != "\n")) endsWithLine = false;
  }
  const AppendFile::Opened opened = file_.OpenExisting(path);
  if (opened != AppendFile::Opened::kOk) return opened;
  if (!endsWithLine && !file_.Append("\n")) return AppendFile::Opened::kFailed;
  return opened;
}

JournalAppender::~JournalAppender() {
  if (written_) (void)file_.Flush();
}

bool JournalAppender::Write(std::initializer_list<std::wstring_view> fields) {
  written_ = true;
  return file_.Append(EncodeLine(fields, key_, started_));
}

bool JournalAppender::UndoneEntry(std::uint64_t number, std::wstring_view word, std::wstring_view pathNow) {
  return Write({kZurueck, NumberText(number), word, pathNow});
}

bool JournalAppender::UndoneRun(FileTime when) { return Write({kRueckgaengig, TimeText(when)}) && file_.Flush(); }

std::size_t RemoveOldJournals(const std::wstring& journalFolder, int days, FileTime now) {
  if (journalFolder.empty() || days <= 0) return 0;
  const FileTime limit = now - static_cast<FileTime>(days) * 24 * 3600 * kTicksPerSecond;
  std::vector<std::wstring> old;
  FolderReader reader;
  if (!reader.Open(journalFolder)) return 0;
  DirEntry entry;
  while (reader.Next(&entry)) {
    if (entry.IsDirectory() || !StartsWithNoCase(entry.name, L"Lauf-") || !EqualsNoCase(ExtensionOf(entry.name), L"txt")) {
      continue;
    }
    // The last change counts: a run undone lately is kept as long as a run made lately.
    if (entry.lastWrite < limit) old.push_back(JoinPath(journalFolder, entry.name));
  }
  std::size_t removed = 0;
  for (const std::wstring& path : old) {
    // A run that still holds its journal keeps it.
    AppendFile probe;
    if (probe.OpenExisting(path) != AppendFile::Opened::kOk) continue;
    probe.Close();
    if (ActiveFileSystem().RemoveFile(path).ok()) ++removed;
  }
  return removed;
}

}  // namespace ablagix
