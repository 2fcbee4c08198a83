#include "metadata/pdf/pdf_internal.h"

#include <zlib.h>

namespace ablagix::pdf {

// Inflates zlib data up to `limit` bytes. A stream damaged partway keeps what came before
// the damage; streams written without the zlib header are accepted too.
bool Inflate(std::string_view in, std::size_t limit, std::string* out) {
  for (int windowBits : {MAX_WBITS, -MAX_WBITS}) {
    out->clear();
    z_stream z{};
    if (inflateInit2(&z, windowBits) != Z_OK) return false;
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(in.data()));
    z.avail_in = static_cast<uInt>(std::min<std::size_t>(in.size(), 0x7FFFFFFF));
    std::array<char, 65536> chunk;
    int rc = Z_OK;
    while (rc == Z_OK && out->size() < limit) {
      z.next_out = reinterpret_cast<Bytef*>(chunk.data());
      z.avail_out = static_cast<uInt>(chunk.size());
      rc = inflate(&z, Z_NO_FLUSH);
      const std::size_t produced = chunk.size() - z.avail_out;
      out->append(chunk.data(), std::min(produced, limit - out->size()));
      if (produced == 0 && rc == Z_OK) break;  // no progress: input used up
    }
    inflateEnd(&z);
    if (!out->empty() || rc == Z_STREAM_END) return true;
  }
  return false;
}

std::string AsciiHex(std::string_view in) {
  std::string out;
  int high = -1;
  for (char c : in) {
    if (c == '>') break;
    const int digit = HexDigit(c);
    if (digit < 0) continue;
    if (high < 0) {
      high = digit;
    } else {
      out.push_back(static_cast<char>(high * 16 + digit));
      high = -1;
    }
  }
  if (high >= 0) out.push_back(static_cast<char>(high * 16));
  return out;
}

std::string Ascii85(std::string_view in) {
  const std::size_t open = in.find_first_not_of(" \t\r\n\f");
  if (open != std::string_view::npos && in.substr(open, 2) == "<~") in.remove_prefix(open + 2);
  std::string out;
  std::uint64_t group = 0;
  int count = 0;
  auto emit = [&](int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<char>((group >> (24 - 8 * i)) & 0xFF));
  };
  for (std::size_t i = 0; i < in.size(); ++i) {
    const char c = in[i];
    if (c == '~') break;
    if (IsWhite(c)) continue;
    if (c == 'z' && count == 0) {
      out.append(4, '\0');
      continue;
    }
    if (c < '!' || c > 'u') continue;
    group = group * 85 + static_cast<std::uint64_t>(c - '!');
    if (++count == 5) {
      group &= 0xFFFFFFFF;
      emit(4);
      group = 0;
      count = 0;
    }
  }
  if (count > 1) {
    for (int i = count; i < 5; ++i) group = group * 85 + 84;
    group &= 0xFFFFFFFF;
    emit(count - 1);
  }
  return out;
}

int NumberOr(const Obj* o, int fallback) {
  if (o == nullptr || o->kind != Obj::kNumber || o->number < 0 || o->number > 1e7) return fallback;
  return static_cast<int>(o->number);
}

// Undoes the PNG and TIFF predictors that cross-reference streams use to compress better.
std::string Unpredict(std::string data, const Obj* parms) {
  const int predictor = parms ? NumberOr(parms->Get("Predictor"), 1) : 1;
  if (predictor < 2) return data;
  const std::size_t colors = static_cast<std::size_t>(std::clamp(NumberOr(parms->Get("Colors"), 1), 1, 32));
  const std::size_t bits = static_cast<std::size_t>(std::clamp(NumberOr(parms->Get("BitsPerComponent"), 8), 1, 16));
  const std::size_t columns = static_cast<std::size_t>(std::clamp(NumberOr(parms->Get("Columns"), 1), 1, 1 << 20));
  const std::size_t bpp = std::max<std::size_t>(1, colors * bits / 8);
  const std::size_t row = (colors * bits * columns + 7) / 8;
  std::string out;
  if (predictor == 2) {
    if (bits != 8) return data;
    for (std::size_t i = 0; i < data.size(); ++i) {
      if (i % row >= bpp) data[i] = static_cast<char>(data[i] + data[i - bpp]);
    }
    return data;
  }
  std::string previous(row, '\0');
  std::string current(row, '\0');
  for (std::size_t at = 0; at + 1 + row <= data.size(); at += row + 1) {
    const int type = static_cast<unsigned char>(data[at]);
    for (std::size_t i = 0; i < row; ++i) {
      const int raw = static_cast<unsigned char>(data[at + 1 + i]);
      const int left = i >= bpp ? static_cast<unsigned char>(current[i - bpp]) : 0;
      const int up = static_cast<unsigned char>(previous[i]);
      const int upLeft = i >= bpp ? static_cast<unsigned char>(previous[i - bpp]) : 0;
      int value = raw;
      if (type == 1) {
        value = raw + left;
      } else if (type == 2) {
        value = raw + up;
      } else if (type == 3) {
        value = raw + (left + up) / 2;
      } else if (type == 4) {
        const int p = left + up - upLeft;
        const int pa = std::abs(p - left);
        const int pb = std::abs(p - up);
        const int pc = std::abs(p - upLeft);
        value = raw + (pa <= pb && pa <= pc ? left : pb <= pc ? up : upLeft);
      }
      current[i] = static_cast<char>(value & 0xFF);
    }
    out += current;
    std::swap(previous, current);
  }
  return out;
}

}  // namespace ablagix::pdf
