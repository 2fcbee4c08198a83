#include "engine/journal.h"

#include <zlib.h>

#include <chrono>
#include <cstdio>
#include <unordered_map>

#include "base/text.h"
#include "engine/actions.h"
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

constexpr std::int64_t kTicksPerSecond = 10000000;
constexpr std::int64_t kTicksPerMillisecond = 10000;

constexpr std::wstring_view kActionTexts[] = {
    L"Verschieben", L"Kopieren", L"Zip-Verschieben", L"Zip-Kopieren", L"Papierkorb", L"L\u00f6schen", L"Schreddern",
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

// The fields joined by tabs, the check, the end of the line.
std::string EncodeLine(std::initializer_list<std::wstring_view> fields) {
  std::string line;
  bool first = true;
  for (std::wstring_view field : fields) {
    if (!first) line += '\t';
    first = false;
    AppendField(line, field);
  }
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

// The fields of a line whose check holds; false for a damaged one.
bool DecodeLine(std::string_view line, std::vector<std::wstring>* fields) {
  if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
  const std::size_t tab = line.rfind('\t');
  if (tab == std::string_view::npos || line.size() - tab != 9) return false;
  unsigned check = 0;
  for (char c : line.substr(tab + 1)) {
    const int v = HexValue(c);
    if (v < 0) return false;
    check = check * 16 + static_cast<unsigned>(v);
  }
  const std::string_view content = line.substr(0, tab);
  if (Crc(content) != check) return false;
  fields->clear();
  std::size_t start = 0;
  for (;;) {
    const std::size_t end = content.find('\t', start);
    fields->push_back(DecodeField(content.substr(start, end == std::string_view::npos ? end : end - start)));
    if (end == std::string_view::npos) break;
    start = end + 1;
  }
  return true;
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

//--- RunJournal

RunJournal::RunJournal(std::wstring folder, std::wstring_view kind) : folder_(std::move(folder)), kind_(kind) {}

RunJournal::~RunJournal() { Finish(); }

void RunJournal::BeginProfile(std::wstring_view name) { pendingProfile_ = name; }

bool RunJournal::EnsureOpen() {
  if (!path_.empty() || broken_ || folder_.empty()) return !path_.empty() && !broken_;
  broken_ = true;  // until the file is there
  if (!CreateFolders(folder_)) {
    problem_ = L"Konnte den Journalordner nicht anlegen: " + folder_ +
               L"; dieser Lauf l\u00e4sst sich nicht r\u00fcckg\u00e4ngig machen.";
    return false;
  }
  const FileTime now = CurrentFileTime();
  // Two runs in the same millisecond (two programs) take the next free one.
  for (std::int64_t i = 0; i < 1000 && path_.empty(); ++i) {
    const std::wstring candidate = JoinPath(folder_, JournalFileName(now + i * kTicksPerMillisecond));
    if (file_.Create(candidate)) {
      path_ = candidate;
    } else if (file_.LastError() != AlreadyExistsError()) {
      problem_ = L"Konnte das Journal nicht anlegen (" + SystemErrorText(file_.LastError()) +
                 L"): " + candidate + L"; dieser Lauf l\u00e4sst sich nicht r\u00fcckg\u00e4ngig machen.";
      return false;
    }
  }
  if (path_.empty()) return false;
  broken_ = false;
  Write({kHeader, NumberText(kJournalVersion)});
  Write({kBeginn, TimeText(now), FormatLogTime(now), kind_});
  return !broken_;
}

void RunJournal::Write(std::initializer_list<std::wstring_view> fields) {
  if (broken_) return;
  const std::string line = EncodeLine(fields);
  if (!file_.WriteAt(offset_, line.data(), line.size())) {
    problem_ = L"Das Journal konnte nicht weitergeschrieben werden (" + SystemErrorText(file_.LastError()) +
               L"): " + path_ + L"; dieser Lauf l\u00e4sst sich nur zum Teil r\u00fcckg\u00e4ngig machen.";
    broken_ = true;
    return;
  }
  offset_ += line.size();
}

JournalMark RunJournal::Before(JournalAction action, const std::wstring& from, const std::wstring& to, bool replaces,
                               std::wstring_view entryName) {
  if (!EnsureOpen()) return {};
  if (!pendingProfile_.empty()) {
    Write({kProfil, pendingProfile_});
    pendingProfile_.clear();
  }
  const std::uint64_t number = nextEntry_++;
  FileStamp source;
  const bool known = ReadFileStamp(from, &source);
  Write({kVorhaben, NumberText(number), JournalActionText(action), from, to,
         known ? NumberText(source.size) : L"", known ? TimeText(source.lastWrite) : L"",
         TimeText(CurrentFileTime()), replaces ? kErsetzt : L"", entryName});
  if (broken_) return {};
  return {number};
}

void RunJournal::After(JournalMark mark, bool done, const std::wstring& finalPath, std::wstring_view entryName) {
  if (mark.entry == 0 || broken_) return;
  if (!done) {
    Write({kFehlgeschlagen, NumberText(mark.entry)});
    return;
  }
  FileStamp written;
  const bool known = !finalPath.empty() && ReadFileStamp(finalPath, &written);
  Write({kErledigt, NumberText(mark.entry), finalPath, known ? NumberText(written.size) : L"",
         known ? TimeText(written.lastWrite) : L"", TimeText(CurrentFileTime()), entryName});
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
                          bool replace, std::wstring_view entryName) {
  if (!state.journal) return {};
  // Whether the change will replace a file can only be said before it.
  const bool replaces = replace && !to.empty() && PathExists(to);
  return state.journal->Before(action, from, to, replaces, entryName);
}

void JournalAfter(RunState& state, JournalMark mark, const std::wstring& finalPath, std::wstring_view entryName) {
  if (state.journal) state.journal->After(mark, !finalPath.empty(), finalPath, entryName);
}

void JournalAfter(RunState& state, JournalMark mark, bool done) {
  if (state.journal) state.journal->After(mark, done, L"", L"");
}

//--- Reading

bool ReadJournal(const std::wstring& path, JournalContents* contents, std::wstring* error) {
  std::string bytes;
  if (!ReadFileBytes(path, &bytes)) {
    *error = L"Konnte das Journal nicht lesen: " + path;
    return false;
  }
  *contents = {};
  std::unordered_map<std::uint64_t, std::size_t> byNumber;
  std::wstring profile;
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
    anyLine = true;
    if (!DecodeLine(line, &f)) {
      if (!line.empty()) ++contents->damagedLines;
      continue;
    }
    const std::wstring& kind = f[0];
    if (!header) {
      std::uint64_t version = 0;
      if (kind != kHeader || f.size() < 2 || !ParseWholeNumber(f[1], &version)) break;
      if (version > static_cast<std::uint64_t>(kJournalVersion)) {
        *error = L"Das Journal stammt von einer neueren Ablagix-Version: " + path;
        return false;
      }
      header = true;
      continue;
    }
    std::uint64_t number = 0;
    const bool numbered = f.size() > 1 && ParseWholeNumber(f[1], &number);
    if (kind == kBeginn && f.size() >= 4) {
      ParseTime(f[1], &contents->started);
      contents->startedText = f[2];
      contents->kind = f[3];
    } else if (kind == kProfil && f.size() >= 2) {
      profile = f[1];
      contents->profiles.push_back(profile);
    } else if (kind == kVorhaben && numbered && f.size() >= 10 && !byNumber.contains(number)) {
      const std::optional<JournalAction> action = ParseAction(f[2]);
      if (!action) continue;
      JournalEntry e;
      e.number = number;
      e.action = *action;
      e.profile = profile;
      e.from = f[3];
      e.to = f[4];
      e.source = ParseStamp(f[5], f[6]);
      ParseTime(f[7], &e.startedAt);
      e.replaces = f[8] == kErsetzt;
      e.entryName = f[9];
      byNumber[number] = contents->entries.size();
      contents->entries.push_back(std::move(e));
    } else if ((kind == kErledigt && f.size() >= 7) || kind == kFehlgeschlagen) {
      auto it = numbered ? byNumber.find(number) : byNumber.end();
      if (it == byNumber.end()) continue;
      JournalEntry& e = contents->entries[it->second];
      if (kind == kFehlgeschlagen) {
        e.outcome = JournalEntry::Outcome::kFailed;
        continue;
      }
      e.outcome = JournalEntry::Outcome::kDone;
      e.finalPath = f[2];
      e.written = ParseStamp(f[3], f[4]);
      ParseTime(f[5], &e.doneAt);
      e.finalEntryName = f[6];
    } else if (kind == kZurueck && numbered && f.size() >= 4) {
      if (auto it = byNumber.find(number); it != byNumber.end()) {
        contents->entries[it->second].undoWord = f[2];
        contents->entries[it->second].undoPath = f[3];
      }
    } else if (kind == kEnde) {
      contents->finished = true;
    } else if (kind == kRueckgaengig) {
      contents->undone = true;
      if (f.size() >= 2) ParseTime(f[1], &contents->undoneAt);
    }
  }
  // A run killed while it made its journal leaves it empty or with its first line cut: it
  // recorded nothing, so there is nothing to undo.
  if (!header && anyLine) {
    *error = L"Keine Journaldatei von Ablagix: " + path;
    return false;
  }
  return true;
}

//--- JournalAppender

bool JournalAppender::Open(const std::wstring& path) {
  bool endsWithLine = true;
  {
    ReadOnlyFile reader;
    if (!reader.Open(path)) return false;
    std::string last;
    if (reader.size() > 0 && (!reader.ReadAt(reader.size() - 1, 1, &last) || last != "\n")) endsWithLine = false;
  }
  if (!file_.Open(path) || !file_.Size(&offset_)) return false;
  if (!endsWithLine) {
    if (!file_.WriteAt(offset_, "\n", 1)) return false;
    ++offset_;
  }
  return true;
}

JournalAppender::~JournalAppender() {
  if (offset_ > 0) (void)file_.Flush();
}

bool JournalAppender::Write(std::initializer_list<std::wstring_view> fields) {
  const std::string line = EncodeLine(fields);
  if (!file_.WriteAt(offset_, line.data(), line.size())) return false;
  offset_ += line.size();
  return true;
}

bool JournalAppender::UndoneEntry(std::uint64_t number, std::wstring_view word, std::wstring_view pathNow) {
  return Write({kZurueck, NumberText(number), word, pathNow});
}

bool JournalAppender::UndoneRun(FileTime when) { return Write({kRueckgaengig, TimeText(when)}) && file_.Flush(); }

}  // namespace ablagix
