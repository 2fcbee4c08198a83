#include "profiles/ini_file.h"

#include "base/text.h"
#include "fileops/file_system_seam.h"
#include "fileops/file_ops.h"

namespace ablagix {
namespace {

std::wstring DecodeText(const std::string& bytes, TextEncoding* encoding) {
  auto at = [&](size_t i) { return static_cast<unsigned char>(bytes[i]); };
  if (bytes.size() >= 2 && at(0) == 0xFF && at(1) == 0xFE) {
    *encoding = TextEncoding::Utf16Le;
    return FromUtf16LeBytes(std::string_view(bytes).substr(2));
  }
  if (bytes.size() >= 3 && at(0) == 0xEF && at(1) == 0xBB && at(2) == 0xBF) {
    *encoding = TextEncoding::Utf8Bom;
    return FromUtf8(std::string_view(bytes).substr(3));
  }
  // Without a byte-order mark: modern editors save UTF-8; anything that is not valid UTF-8
  // is the ANSI code page that older programs wrote.
  bool ascii = true;
  for (char c : bytes) {
    if (static_cast<unsigned char>(c) >= 0x80) {
      ascii = false;
      break;
    }
  }
  if (!ascii && IsValidUtf8(bytes)) {
    *encoding = TextEncoding::Utf8;
    return FromUtf8(bytes);
  }
  *encoding = TextEncoding::Ansi;
  return FromWindows1252(bytes);
}

std::wstring_view Unquote(std::wstring_view value) {
  if (value.size() >= 2 && (value.front() == L'"' || value.front() == L'\'') &&
      value.back() == value.front()) {
    return value.substr(1, value.size() - 2);
  }
  return value;
}

std::wstring Folded(std::wstring_view name) { return ToLowerText(Trim(name)); }

// A value must stay on its line, or it would turn into keys of its own on the next read.
std::wstring OneLine(std::wstring_view value) {
  std::wstring out(value);
  for (auto& c : out) {
    if (c == L'\r' || c == L'\n') c = L' ';
  }
  return out;
}

}  // namespace

IniFile IniFile::Load(const std::wstring& path) {
  std::string bytes;
  const bool read = ReadFileBytes(path, &bytes);
  if (!read) bytes.clear();
  IniFile ini = FromBytes(path, bytes);
  if (bytes.empty()) ini.encoding_ = TextEncoding::Utf16Le;
  // A file that is there but cannot be read (locked, no permission) reads as defaults, but
  // must never be replaced by what little this object knows of it.
  ini.unreadable_ = !read && PathExists(path);
  return ini;
}

IniFile IniFile::FromBytes(const std::wstring& path, const std::string& bytes) {
  IniFile ini;
  ini.path_ = path;
  ini.Parse(DecodeText(bytes, &ini.encoding_));
  return ini;
}

void IniFile::Parse(const std::wstring& text) {
  lines_.clear();
  size_t firstBreak = text.find_first_of(L"\r\n");
  if (firstBreak != std::wstring::npos) {
    newline_ = text.compare(firstBreak, 2, L"\r\n") == 0 ? L"\r\n"
               : text[firstBreak] == L'\n'               ? L"\n"
                                                         : L"\r";
  }
  finalNewline_ = text.empty() || text.back() == L'\n' || text.back() == L'\r';
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find_first_of(L"\r\n", pos);
    if (end == std::wstring::npos) end = text.size();
    Line line;
    line.text = text.substr(pos, end - pos);
    std::wstring_view trimmed = Trim(line.text);
    if (!trimmed.empty() && trimmed.front() == L'[') {
      line.kind = LineKind::Section;
      std::wstring_view inner = trimmed.substr(1);
      size_t close = inner.find(L']');
      if (close != std::wstring_view::npos) inner = inner.substr(0, close);
      size_t nul = inner.find(L'\0');
      if (nul != std::wstring_view::npos) inner = inner.substr(0, nul);
      line.name = std::wstring(Trim(inner));
    } else if (!trimmed.empty() && trimmed.front() != L';') {
      size_t eq = trimmed.find(L'=');
      if (eq != std::wstring_view::npos && !Trim(trimmed.substr(0, eq)).empty()) {
        line.kind = LineKind::Entry;
        line.name = std::wstring(Trim(trimmed.substr(0, eq)));
      }
    }
    lines_.push_back(std::move(line));
    if (end < text.size() && text[end] == L'\r' && end + 1 < text.size() && text[end + 1] == L'\n') {
      ++end;
    }
    pos = end + 1;
  }
  Reindex();
}

void IniFile::Reindex() {
  sectionIndex_.clear();
  for (size_t i = 0; i < lines_.size(); ++i) {
    if (lines_[i].kind == LineKind::Section) sectionIndex_.try_emplace(Folded(lines_[i].name), i);
  }
}

void IniFile::ShiftIndex(size_t at, std::ptrdiff_t by) {
  for (auto& [name, line] : sectionIndex_) {
    if (line >= at) line = static_cast<size_t>(static_cast<std::ptrdiff_t>(line) + by);
  }
}

size_t IniFile::FindSection(std::wstring_view section) const {
  auto it = sectionIndex_.find(Folded(section));
  return it == sectionIndex_.end() ? std::wstring::npos : it->second;
}

size_t IniFile::SectionEnd(size_t header) const {
  size_t i = header + 1;
  while (i < lines_.size() && lines_[i].kind != LineKind::Section) ++i;
  return i;
}

size_t IniFile::FindKey(size_t header, std::wstring_view key) const {
  std::wstring_view wanted = Trim(key);
  size_t end = SectionEnd(header);
  for (size_t i = header + 1; i < end; ++i) {
    if (lines_[i].kind == LineKind::Entry && EqualsNoCase(lines_[i].name, wanted)) return i;
  }
  return std::wstring::npos;
}

std::wstring IniFile::GetString(std::wstring_view section, std::wstring_view key,
                                std::wstring_view defaultValue) const {
  size_t header = FindSection(section);
  if (header == std::wstring::npos) return std::wstring(defaultValue);
  size_t line = FindKey(header, key);
  if (line == std::wstring::npos) return std::wstring(defaultValue);
  std::wstring_view text = lines_[line].text;
  return std::wstring(Unquote(Trim(text.substr(text.find(L'=') + 1))));
}

bool IniFile::HasKey(std::wstring_view section, std::wstring_view key) const {
  size_t header = FindSection(section);
  return header != std::wstring::npos && FindKey(header, key) != std::wstring::npos;
}

bool IniFile::HasSection(std::wstring_view section) const {
  return FindSection(section) != std::wstring::npos;
}

std::vector<std::wstring> IniFile::SectionNames() const {
  std::vector<std::wstring> names;
  for (size_t i = 0; i < lines_.size(); ++i) {
    if (lines_[i].kind != LineKind::Section || lines_[i].name.empty()) continue;
    if (FindSection(lines_[i].name) == i) names.push_back(lines_[i].name);
  }
  return names;
}

std::vector<std::pair<std::wstring, std::wstring>> IniFile::SectionEntries(
    std::wstring_view section) const {
  std::vector<std::pair<std::wstring, std::wstring>> entries;
  size_t header = FindSection(section);
  if (header == std::wstring::npos) return entries;
  size_t end = SectionEnd(header);
  for (size_t i = header + 1; i < end; ++i) {
    if (lines_[i].kind != LineKind::Entry) continue;
    std::wstring_view text = lines_[i].text;
    entries.emplace_back(lines_[i].name, Unquote(Trim(text.substr(text.find(L'=') + 1))));
  }
  return entries;
}

void IniFile::SetString(std::wstring_view section, std::wstring_view key, std::wstring_view value) {
  std::wstring keyName(Trim(key));
  std::wstring valueText = OneLine(value);
  size_t header = FindSection(section);
  if (header == std::wstring::npos) {
    lines_.push_back({L"[" + std::wstring(Trim(section)) + L"]", LineKind::Section,
                      std::wstring(Trim(section))});
    lines_.push_back({keyName + L"=" + valueText, LineKind::Entry, keyName});
    sectionIndex_.try_emplace(Folded(section), lines_.size() - 2);
    return;
  }
  size_t line = FindKey(header, keyName);
  if (line != std::wstring::npos) {
    lines_[line].text = lines_[line].name + L"=" + valueText;
    return;
  }
  // New keys go after the section's last key, so trailing blank lines and comments that
  // separate it from the next section stay where they are.
  size_t insertAt = header + 1;
  size_t end = SectionEnd(header);
  for (size_t i = header + 1; i < end; ++i) {
    if (lines_[i].kind == LineKind::Entry) insertAt = i + 1;
  }
  lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(insertAt),
                Line{keyName + L"=" + valueText, LineKind::Entry, keyName});
  ShiftIndex(insertAt, 1);
}

void IniFile::DeleteKey(std::wstring_view section, std::wstring_view key) {
  size_t header = FindSection(section);
  if (header == std::wstring::npos) return;
  size_t line = FindKey(header, key);
  if (line == std::wstring::npos) return;
  lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(line));
  ShiftIndex(line, -1);
}

void IniFile::DeleteSection(std::wstring_view section) {
  size_t header;
  while ((header = FindSection(section)) != std::wstring::npos) {
    lines_.erase(lines_.begin() + static_cast<std::ptrdiff_t>(header),
                 lines_.begin() + static_cast<std::ptrdiff_t>(SectionEnd(header)));
    Reindex();
  }
}

std::string IniFile::Serialize() const {
  std::wstring text;
  for (size_t i = 0; i < lines_.size(); ++i) {
    text += lines_[i].text;
    if (i + 1 < lines_.size() || finalNewline_) text += newline_;
  }
  TextEncoding encoding = encoding_;
  std::string ansi;
  if (encoding == TextEncoding::Ansi) {
    bool lossy = false;
    ansi = ToWindows1252(text, &lossy);
    if (!lossy) return ansi;
    encoding = TextEncoding::Utf16Le;  // keep every character rather than the old encoding
  }
  if (encoding == TextEncoding::Utf8 || encoding == TextEncoding::Utf8Bom) {
    std::string out = encoding == TextEncoding::Utf8Bom ? "\xEF\xBB\xBF" : "";
    return out + ToUtf8(text);
  }
  return ToUtf16LeBytes(text, true);
}

bool IniFile::Save(FsStatus* status) {
  if (unreadable_) {
    // The file is there but could not be read: writing would replace what we never saw.
    if (status) *status = FsStatus::Fail(FsError::kAccessDenied, FsSide::kTarget);
    return false;
  }
  std::string bytes = Serialize();
  const FsStatus written = ActiveFileSystem().WriteFileAtomic(path_, bytes);
  if (status) *status = written;
  if (!written.ok()) return false;
  if (encoding_ == TextEncoding::Ansi && bytes.size() >= 2 && bytes[0] == '\xFF' && bytes[1] == '\xFE') {
    encoding_ = TextEncoding::Utf16Le;
  }
  return true;
}

std::wstring SaveFailedMessage(std::wstring_view what, const std::wstring& file, const FsStatus& status) {
  std::wstring text = std::wstring(what) + L" konnte nicht gespeichert werden:\r\n" + file;
  const std::wstring reason = FsErrorText(status.error);
  if (!reason.empty()) text += L"\r\n(" + reason + L")";
  return text + L"\r\n\r\nIhre Eingaben bleiben erhalten. Bitte schlie\u00dfen Sie das Programm, das die "
                L"Datei verwendet, oder w\u00e4hlen Sie einen anderen Speicherort und speichern Sie erneut.";
}

bool TellIfNotSaved(bool saved, const FsStatus& status, UiPort& ui, std::wstring_view what,
                    const std::wstring& file) {
  if (!saved) ui.ShowMessage(SaveFailedMessage(what, file, status), MessageIcon::Critical, MessageButtons::Ok);
  return saved;
}

std::wstring ReadIniString(const std::wstring& file, std::wstring_view section,
                           std::wstring_view key, std::wstring_view defaultValue) {
  return IniFile::Load(file).GetString(section, key, defaultValue);
}

bool WriteIniString(const std::wstring& file, std::wstring_view section, std::wstring_view key,
                    std::wstring_view value, FsStatus* status) {
  IniFile ini = IniFile::Load(file);
  ini.SetString(section, key, value);
  return ini.Save(status);
}

bool DeleteIniKey(const std::wstring& file, std::wstring_view section, std::wstring_view key) {
  IniFile ini = IniFile::Load(file);
  if (!ini.HasKey(section, key)) return true;
  ini.DeleteKey(section, key);
  return ini.Save();
}

bool DeleteIniSection(const std::wstring& file, std::wstring_view section) {
  IniFile ini = IniFile::Load(file);
  if (!ini.HasSection(section)) return true;
  ini.DeleteSection(section);
  return ini.Save();
}

}  // namespace ablagix
