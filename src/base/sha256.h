// SHA-256 and HMAC-SHA-256, for the tags that tell a journal written by this installation from
// one that was brought in or made up.
#pragma once

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

namespace ablagix {

using Sha256Digest = std::array<std::uint8_t, 32>;

// A digest over bytes that come in pieces.
class Sha256Stream {
 public:
  Sha256Stream();
  void Update(std::string_view bytes);
  Sha256Digest Final() const;

 private:
  std::array<std::uint32_t, 8> state_;
  std::array<std::uint8_t, 64> buffer_{};
  std::size_t buffered_ = 0;
  std::uint64_t length_ = 0;
};

Sha256Digest Sha256(std::string_view bytes);
Sha256Digest HmacSha256(std::string_view key, std::string_view message);

// HMAC-SHA-256 with one key for many messages: the key's blocks are hashed once, not per
// message (a journal seals every line).
class HmacSha256Key {
 public:
  explicit HmacSha256Key(std::string_view key);
  // The tag of the pieces one after the other.
  Sha256Digest Of(std::initializer_list<std::string_view> pieces) const;

 private:
  Sha256Stream inner_;
  Sha256Stream outer_;
};
// Lower-case hex of the first `bytes` bytes of a digest.
std::string HexOf(const Sha256Digest& digest, std::size_t bytes = 32);

}  // namespace ablagix
