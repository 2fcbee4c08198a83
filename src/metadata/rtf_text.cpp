// The text of RTF documents: the characters of the body, without control words, font tables,
// pictures and other destinations that hold no readable text.
#include <string>
#include <string_view>
#include <vector>

#include "base/text.h"
#include "metadata/document_bytes.h"
#include "metadata/document_text.h"

namespace ablagix {

using namespace document_bytes;

std::wstring RtfText(std::string_view bytes) {
  std::wstring out;
  // Per group: whether its text is skipped (font tables, pictures, "\*" destinations), and how
  // many characters follow a \u as its stand-in.
  struct Group {
    bool skip = false;
    int unicodeSkip = 1;
  };
  std::vector<Group> groups{Group{}};
  int pendingSkip = 0;
  std::string ansi;
  auto flush = [&] {
    out += FromWindows1252(ansi);
    ansi.clear();
  };
  for (std::size_t i = 0; i < bytes.size();) {
    const char c = bytes[i];
    Group& group = groups.back();
    if (c == '{') {
      if (groups.size() < 256) groups.push_back(group);
      ++i;
      continue;
    }
    if (c == '}') {
      if (groups.size() > 1) groups.pop_back();
      ++i;
      continue;
    }
    if (c == '\r' || c == '\n') {
      ++i;
      continue;
    }
    if (c != '\\') {
      if (pendingSkip > 0) {
        --pendingSkip;
      } else if (!group.skip) {
        ansi.push_back(c);
      }
      ++i;
      continue;
    }
    if (i + 1 >= bytes.size()) break;
    const char next = bytes[i + 1];
    if (next == '\'' && i + 3 < bytes.size()) {  // a character by its code
      const int hi = HexValue(bytes[i + 2]);
      const int lo = HexValue(bytes[i + 3]);
      if (pendingSkip > 0) {
        --pendingSkip;
      } else if (!group.skip && hi >= 0 && lo >= 0) {
        ansi.push_back(static_cast<char>(hi * 16 + lo));
      }
      i += 4;
      continue;
    }
    if (next == '*') {
      group.skip = true;
      i += 2;
      continue;
    }
    if (!((next >= 'a' && next <= 'z') || (next >= 'A' && next <= 'Z'))) {  // an escaped symbol
      if (!group.skip && (next == '\\' || next == '{' || next == '}')) ansi.push_back(next);
      if (!group.skip && next == '~') ansi.push_back(' ');
      i += 2;
      continue;
    }
    std::size_t end = i + 1;
    while (end < bytes.size() && ((bytes[end] >= 'a' && bytes[end] <= 'z') || (bytes[end] >= 'A' && bytes[end] <= 'Z'))) {
      ++end;
    }
    const std::string_view word = bytes.substr(i + 1, end - i - 1);
    long number = 0;
    bool negative = false;
    bool hasNumber = false;
    if (end < bytes.size() && bytes[end] == '-') {
      negative = true;
      ++end;
    }
    while (end < bytes.size() && bytes[end] >= '0' && bytes[end] <= '9' && number < 100000000) {
      number = number * 10 + (bytes[end] - '0');
      hasNumber = true;
      ++end;
    }
    if (negative) number = -number;
    if (end < bytes.size() && bytes[end] == ' ') ++end;  // the delimiter belongs to the word
    i = end;
    if (word == "fonttbl" || word == "colortbl" || word == "stylesheet" || word == "info" || word == "pict" ||
        word == "object" || word == "header" || word == "footer") {
      group.skip = true;
    } else if (group.skip) {
      continue;
    } else if (word == "par" || word == "line" || word == "row" || word == "cell" || word == "tab") {
      ansi.push_back(word == "tab" || word == "cell" ? '\t' : '\n');
    } else if (word == "uc" && hasNumber) {
      group.unicodeSkip = static_cast<int>(std::max(0L, std::min(number, 8L)));
    } else if (word == "u" && hasNumber) {
      flush();
      out.push_back(static_cast<wchar_t>(static_cast<std::uint16_t>(number)));
      pendingSkip = group.unicodeSkip;
    }
  }
  flush();
  return out;
}

}  // namespace ablagix
