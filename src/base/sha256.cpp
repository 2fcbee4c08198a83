#include "base/sha256.h"

#include <algorithm>
#include <cstring>

namespace ablagix {
namespace {

constexpr std::uint32_t kRound[64] = {
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

std::uint32_t Rotate(std::uint32_t x, int n) { return (x >> n) | (x << (32 - n)); }

void Compress(std::uint32_t state[8], const std::uint8_t block[64]) {
  std::uint32_t w[64];
  for (int i = 0; i < 16; ++i) {
    w[i] = (std::uint32_t{block[4 * i]} << 24) | (std::uint32_t{block[4 * i + 1]} << 16) |
           (std::uint32_t{block[4 * i + 2]} << 8) | std::uint32_t{block[4 * i + 3]};
  }
  for (int i = 16; i < 64; ++i) {
    const std::uint32_t s0 = Rotate(w[i - 15], 7) ^ Rotate(w[i - 15], 18) ^ (w[i - 15] >> 3);
    const std::uint32_t s1 = Rotate(w[i - 2], 17) ^ Rotate(w[i - 2], 19) ^ (w[i - 2] >> 10);
    w[i] = w[i - 16] + s0 + w[i - 7] + s1;
  }
  std::uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  std::uint32_t e = state[4], f = state[5], g = state[6], h = state[7];
  for (int i = 0; i < 64; ++i) {
    const std::uint32_t s1 = Rotate(e, 6) ^ Rotate(e, 11) ^ Rotate(e, 25);
    const std::uint32_t choose = (e & f) ^ (~e & g);
    const std::uint32_t t1 = h + s1 + choose + kRound[i] + w[i];
    const std::uint32_t s0 = Rotate(a, 2) ^ Rotate(a, 13) ^ Rotate(a, 22);
    const std::uint32_t majority = (a & b) ^ (a & c) ^ (b & c);
    const std::uint32_t t2 = s0 + majority;
    h = g;
    g = f;
    f = e;
    e = d + t1;
    d = c;
    c = b;
    b = a;
    a = t1 + t2;
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
  state[4] += e;
  state[5] += f;
  state[6] += g;
  state[7] += h;
}

}  // namespace

Sha256Stream::Sha256Stream()
    : state_{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a, 0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19} {}

void Sha256Stream::Update(std::string_view bytes) {
  if (bytes.empty()) return;
  length_ += bytes.size();
  if (buffered_ > 0) {
    const std::size_t take = std::min(bytes.size(), 64 - buffered_);
    std::memcpy(buffer_.data() + buffered_, bytes.data(), take);
    buffered_ += take;
    bytes.remove_prefix(take);
    if (buffered_ < 64) return;
    Compress(state_.data(), buffer_.data());
    buffered_ = 0;
  }
  for (; bytes.size() >= 64; bytes.remove_prefix(64)) Compress(state_.data(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
  std::memcpy(buffer_.data(), bytes.data(), bytes.size());
  buffered_ = bytes.size();
}

Sha256Digest Sha256Stream::Final() const {
  Sha256Stream last = *this;
  // A 1 bit, zeros, and the length in bits at the end of the last block.
  std::uint8_t tail[128] = {};
  std::memcpy(tail, buffer_.data(), buffered_);
  tail[buffered_] = 0x80;
  const std::size_t tailSize = buffered_ < 56 ? 64 : 128;
  const std::uint64_t bits = static_cast<std::uint64_t>(length_) * 8;
  for (int i = 0; i < 8; ++i) tail[tailSize - 1 - i] = static_cast<std::uint8_t>(bits >> (8 * i));
  Compress(last.state_.data(), tail);
  if (tailSize == 128) Compress(last.state_.data(), tail + 64);
  Sha256Digest digest;
  for (int i = 0; i < 8; ++i) {
    for (int j = 0; j < 4; ++j) digest[4 * i + j] = static_cast<std::uint8_t>(last.state_[i] >> (24 - 8 * j));
  }
  return digest;
}

Sha256Digest Sha256(std::string_view bytes) {
  Sha256Stream stream;
  stream.Update(bytes);
  return stream.Final();
}

HmacSha256Key::HmacSha256Key(std::string_view key) {
  std::string block(64, '\0');
  if (key.size() > 64) {
    const Sha256Digest shortened = Sha256(key);
    std::memcpy(block.data(), shortened.data(), shortened.size());
  } else if (!key.empty()) {
    std::memcpy(block.data(), key.data(), key.size());
  }
  for (char& c : block) c = static_cast<char>(c ^ 0x36);
  inner_.Update(block);
  for (char& c : block) c = static_cast<char>(c ^ 0x36 ^ 0x5c);
  outer_.Update(block);
}

Sha256Digest HmacSha256Key::Of(std::initializer_list<std::string_view> pieces) const {
  Sha256Stream inner = inner_;
  for (std::string_view piece : pieces) inner.Update(piece);
  const Sha256Digest innerDigest = inner.Final();
  Sha256Stream outer = outer_;
  outer.Update(std::string_view(reinterpret_cast<const char*>(innerDigest.data()), innerDigest.size()));
  return outer.Final();
}

Sha256Digest HmacSha256(std::string_view key, std::string_view message) { return HmacSha256Key(key).Of({message}); }

std::string HexOf(const Sha256Digest& digest, std::size_t bytes) {
  constexpr char kHex[] = "0123456789abcdef";
  std::string out;
  for (std::size_t i = 0; i < bytes && i < digest.size(); ++i) {
    out.push_back(kHex[digest[i] >> 4]);
    out.push_back(kHex[digest[i] & 0xF]);
  }
  return out;
}

}  // namespace ablagix
