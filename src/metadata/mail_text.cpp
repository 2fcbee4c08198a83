// The text of mails and web archives (EML, MHT): the subject and every text part, decoded
// from quoted-printable or base64 and from the part's character set.
#include <string>
#include <string_view>

#include "base/text.h"
#include "metadata/document_bytes.h"
#include "metadata/document_text.h"

namespace ablagix {

using namespace document_bytes;

namespace {

// The text in the named character set: UTF-8 or UTF-16 by name, else Windows-1252.
std::wstring DecodeCharset(std::string_view bytes, std::string_view charset) {
  std::string name;
  for (char c : charset) name.push_back(Lower(c));
  if (name.find("utf-8") != std::string::npos || name.find("utf8") != std::string::npos) return FromUtf8(bytes);
  if (name.find("utf-16") != std::string::npos) return FromUtf16LeBytes(bytes);
  return FromWindows1252(bytes);
}

std::string QuotedPrintable(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '=' && i + 1 < text.size()) {
      if (text[i + 1] == '\r' || text[i + 1] == '\n') {  // soft line break
        i += (text[i + 1] == '\r' && i + 2 < text.size() && text[i + 2] == '\n') ? 2 : 1;
        continue;
      }
      if (i + 2 < text.size() && HexValue(text[i + 1]) >= 0 && HexValue(text[i + 2]) >= 0) {
        out.push_back(static_cast<char>(HexValue(text[i + 1]) * 16 + HexValue(text[i + 2])));
        i += 2;
        continue;
      }
    }
    out.push_back(text[i]);
  }
  return out;
}

std::string Base64(std::string_view text) {
  std::string out;
  unsigned buffer = 0;
  int bits = 0;
  for (char c : text) {
    int value = c >= 'A' && c <= 'Z' ? c - 'A'
                : c >= 'a' && c <= 'z' ? c - 'a' + 26
                : c >= '0' && c <= '9' ? c - '0' + 52
                : c == '+' ? 62
                : c == '/' ? 63
                : -1;
    if (value < 0) continue;
    buffer = (buffer << 6) | static_cast<unsigned>(value);
    bits += 6;
    if (bits >= 8) {
      bits -= 8;
      out.push_back(static_cast<char>((buffer >> bits) & 0xFF));
    }
  }
  return out;
}

// The value of a header parameter ("charset=utf-8", "boundary=\"x\"").
std::string Parameter(std::string_view header, std::string_view lowerName) {
  const std::size_t at = FindNoCaseBytes(header, lowerName, 0);
  if (at == std::string_view::npos) return {};
  std::size_t start = at + lowerName.size();
  while (start < header.size() && (IsSpace(header[start]) || header[start] == '=')) ++start;
  if (start < header.size() && header[start] == '"') {
    const std::size_t end = header.find('"', start + 1);
    return std::string(header.substr(start + 1, end == std::string_view::npos ? std::string_view::npos : end - start - 1));
  }
  std::size_t end = start;
  while (end < header.size() && header[end] != ';' && !IsSpace(header[end])) ++end;
  return std::string(header.substr(start, end - start));
}

// One header's value, with folded continuation lines joined.
std::string HeaderValue(std::string_view headers, std::string_view lowerName) {
  std::size_t at = 0;
  while (at < headers.size()) {
    const std::size_t end = headers.find('\n', at);
    const std::string_view line = headers.substr(at, end == std::string_view::npos ? std::string_view::npos : end - at);
    if (StartsNoCase(line, 0, lowerName) && line.size() > lowerName.size() && line[lowerName.size()] == ':') {
      std::string value(line.substr(lowerName.size() + 1));
      std::size_t next = end;
      while (next != std::string_view::npos && next + 1 < headers.size() &&
             (headers[next + 1] == ' ' || headers[next + 1] == '\t')) {
        const std::size_t after = headers.find('\n', next + 1);
        value += headers.substr(next + 1, after == std::string_view::npos ? std::string_view::npos : after - next - 1);
        next = after;
      }
      return value;
    }
    if (end == std::string_view::npos) break;
    at = end + 1;
  }
  return {};
}

void AppendMimePart(std::string_view part, int depth, std::wstring* out) {
  std::size_t split = part.find("\r\n\r\n");
  std::size_t bodyStart = split == std::string_view::npos ? std::string_view::npos : split + 4;
  if (const std::size_t lf = part.find("\n\n"); lf != std::string_view::npos && (split == std::string_view::npos || lf < split)) {
    split = lf;
    bodyStart = lf + 2;
  }
  if (split == std::string_view::npos) return;
  const std::string_view headers = part.substr(0, split);
  const std::string_view body = part.substr(bodyStart);
  const std::string type = HeaderValue(headers, "content-type");
  const std::string encoding = HeaderValue(headers, "content-transfer-encoding");
  const std::string subject = HeaderValue(headers, "subject");
  if (!subject.empty()) *out += FromWindows1252(subject) + L"\n";
  std::string lowerType;
  for (char c : type) lowerType.push_back(Lower(c));
  if (lowerType.find("multipart/") != std::string::npos && depth < 8) {
    const std::string boundary = Parameter(type, "boundary");
    if (boundary.empty()) return;
    const std::string marker = "--" + boundary;
    std::size_t at = body.find(marker);
    while (at != std::string_view::npos) {
      const std::size_t start = at + marker.size();
      if (body.substr(start, 2) == "--") break;
      const std::size_t next = body.find(marker, start);
      AppendMimePart(body.substr(start, next == std::string_view::npos ? std::string_view::npos : next - start),
                     depth + 1, out);
      at = next;
    }
    return;
  }
  if (!lowerType.empty() && lowerType.find("text/") == std::string::npos) return;  // attachments, pictures
  std::string lowerEncoding;
  for (char c : encoding) lowerEncoding.push_back(Lower(c));
  std::string decoded = lowerEncoding.find("quoted-printable") != std::string::npos ? QuotedPrintable(body)
                        : lowerEncoding.find("base64") != std::string::npos        ? Base64(body)
                                                                                   : std::string(body);
  const std::string charset = Parameter(type, "charset");
  if (lowerType.find("text/html") != std::string::npos) {
    std::string lowerCharset;
    for (char c : charset) lowerCharset.push_back(Lower(c));
    *out += charset.empty() ? HtmlText(decoded) : HtmlTextAs(decoded, lowerCharset.find("utf-8") != std::string::npos);
  } else {
    *out += DecodeCharset(decoded, charset);
  }
  *out += L"\n";
}

}  // namespace

std::wstring MimeText(std::string_view bytes) {
  std::wstring out;
  AppendMimePart(bytes, 0, &out);
  return out;
}

}  // namespace ablagix
