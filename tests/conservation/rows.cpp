// What the program says it did (the rows of `run --format tsv`) and what its archives hold,
// read by Python's zipfile rather than by our own reader.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "conservation/harness.h"

namespace conservation {

//--- Log rows

std::string DecodeCell(const std::string& cell) {
  // \\ \t \n \r and \xNN; any other backslash is a character of its own (older builds wrote
  // names unescaped, and a lone backslash decodes to itself).
  std::string out;
  out.reserve(cell.size());
  for (size_t i = 0; i < cell.size(); ++i) {
    const char c = cell[i];
    if (c != '\\' || i + 1 >= cell.size()) {
      out += c;
      continue;
    }
    const char next = cell[i + 1];
    if (next == '\\') {
      out += '\\';
      ++i;
    } else if (next == 't') {
      out += '\t';
      ++i;
    } else if (next == 'n') {
      out += '\n';
      ++i;
    } else if (next == 'r') {
      out += '\r';
      ++i;
    } else if (next == 'x' && i + 3 < cell.size() && std::isxdigit(static_cast<unsigned char>(cell[i + 2])) &&
               std::isxdigit(static_cast<unsigned char>(cell[i + 3]))) {
      out += static_cast<char>(std::stoi(cell.substr(i + 2, 2), nullptr, 16));
      i += 3;
    } else {
      out += c;
    }
  }
  return out;
}

std::string Row::SourcePath() const {
  const std::string& folder = cells[kPfad];
  // Older builds split a name at its last backslash: the folder cell then ends with it.
  if (folder.empty() || folder.back() == '/' || folder.back() == '\\') return folder + cells[kDatei];
  return folder + "/" + cells[kDatei];
}

std::string Row::TargetPath() const {
  if (!cells[kZiel2].empty()) return cells[kZiel2];
  return Join(cells[kZielpfad], cells[kDatei]);
}

std::vector<Row> ReadRows(const std::string& tsvFile, int run) {
  std::vector<Row> rows;
  std::string text;
  if (!ReadFile(tsvFile, &text)) return rows;
  std::vector<std::string> lines;
  std::stringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  for (size_t i = 0; i < lines.size(); ++i) {
    Row row;
    row.run = run;
    row.raw = lines[i];
    // A raw line break inside a name (older builds) splits a row over lines: join them until
    // the row has its columns.
    auto tabs = [](const std::string& s) { return static_cast<int>(std::count(s.begin(), s.end(), '\t')); };
    while (tabs(row.raw) < kColumns - 1 && i + 1 < lines.size() && tabs(row.raw) + tabs(lines[i + 1]) <= kColumns - 1) {
      row.raw += "\n" + lines[++i];
    }
    // A line break in the last cell (the full target name of such a file) leaves a line
    // without tabs before the next complete row.
    if (tabs(row.raw) == kColumns - 1 && row.raw.compare(row.raw.rfind('\t'), 2, "\t/") == 0 && i + 2 < lines.size() &&
        tabs(lines[i + 1]) == 0 && tabs(lines[i + 2]) == kColumns - 1) {
      row.raw += "\n" + lines[++i];
    }
    if (row.raw.empty()) continue;
    std::vector<std::string> cells;
    size_t start = 0;
    for (;;) {
      const size_t tab = row.raw.find('\t', start);
      cells.push_back(row.raw.substr(start, tab == std::string::npos ? std::string::npos : tab - start));
      if (tab == std::string::npos) break;
      start = tab + 1;
    }
    row.readable = static_cast<int>(cells.size()) == kColumns;
    if (!row.readable) cells.resize(kColumns);
    row.banner = StartsWith(cells[0], "*****") || StartsWith(cells[kPfad], "*****") || StartsWith(cells[kErgebnis], "*****") ||
                 (row.readable && cells[kPfad].empty());
    for (std::string& cell : cells) cell = DecodeCell(cell);
    row.cells = std::move(cells);
    rows.push_back(std::move(row));
  }
  return rows;
}

//--- Archives

bool LooksLikeArchiveName(const std::string& name) {
  if (name.size() < 4) return false;
  std::string end = name.substr(name.size() - 4);
  for (char& c : end) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return end == ".zip" || end == ".exe";
}

namespace {

// Reads hex-encoded paths from stdin; per archive "A index ok|bad reason", per entry
// "E index name-hex sha256 size outside".
const char kLister[] = R"PY(
import hashlib, sys, zipfile
marker = sys.argv[1].encode()
for index, line in enumerate(sys.stdin):
    path = bytes.fromhex(line.strip())
    try:
        with open(path, 'rb') as f, zipfile.ZipFile(f) as z:
            out = []
            for info in z.infolist():
                if info.is_dir():
                    continue
                data = z.read(info)
                name = info.filename.encode('utf-8', 'surrogateescape')
                out.append('E %d %s %s %d %d' % (index, name.hex() or '-', hashlib.sha256(data).hexdigest(), len(data), 1 if marker in data else 0))
        print('\n'.join(out + ['A %d ok' % index]))
    except Exception as e:
        print('A %d bad %s' % (index, type(e).__name__))
)PY";

std::string Hex(const std::string& bytes) {
  static const char digits[] = "0123456789abcdef";
  std::string out;
  for (unsigned char c : bytes) {
    out += digits[c >> 4];
    out += digits[c & 15];
  }
  return out;
}

std::string Unhex(const std::string& hex) {
  std::string out;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) out += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  return out;
}

}  // namespace

std::map<std::string, Archive> ListArchives(const std::vector<std::string>& paths, const std::string& scratch) {
  std::map<std::string, Archive> result;
  if (paths.empty()) return result;
  const std::string input = scratch + "/archives.in";
  const std::string output = scratch + "/archives.out";
  {
    std::string lines;
    for (const std::string& p : paths) lines += Hex(p) + "\n";
    FILE* f = std::fopen(input.c_str(), "wb");
    if (!f) return result;
    std::fwrite(lines.data(), 1, lines.size(), f);
    std::fclose(f);
  }
  const pid_t pid = ::fork();
  if (pid == 0) {
    const int in = ::open(input.c_str(), O_RDONLY);
    const int out = ::open(output.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (in < 0 || out < 0) ::_exit(127);
    ::dup2(in, 0);
    ::dup2(out, 1);
    ::execlp("python3", "python3", "-c", kLister, kOutsideMarker, static_cast<char*>(nullptr));
    ::_exit(127);
  }
  int status = 0;
  if (pid > 0) ::waitpid(pid, &status, 0);
  std::string text;
  ReadFile(output, &text);
  std::stringstream in(text);
  for (std::string line; std::getline(in, line);) {
    std::stringstream words(line);
    std::string kind;
    size_t index = 0;
    words >> kind >> index;
    if (index >= paths.size()) continue;
    Archive& archive = result[paths[index]];
    if (kind == "A") {
      std::string state;
      words >> state;
      archive.readable = state == "ok";
      if (!archive.readable) std::getline(words, archive.problem);
    } else if (kind == "E") {
      ArchiveEntry e;
      std::string name;
      int outside = 0;
      words >> name >> e.hash >> e.size >> outside;
      e.name = Unhex(name);
      e.outside = outside != 0;
      archive.entries.push_back(e);
    }
  }
  for (const std::string& p : paths) {
    Archive& archive = result[p];
    if (!archive.readable && archive.problem.empty()) archive.problem = "not listed (python3 failed?)";
  }
  return result;
}

}  // namespace conservation
