// SHA-256 and HMAC-SHA-256, for the tags that tell a journal written by this installation from
// one that was brought in or made up.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

namespace ablagix {

using Sha256Digest = std::array<std::uint8_t, 32>;

Sha256Digest Sha256(std::string_view bytes);
Sha256Digest HmacSha256(std::string_view key, std::string_view message);
// Lower-case hex of the first `bytes` bytes of a digest.
std::string HexOf(const Sha256Digest& digest, std::size_t bytes = 32);

}  // namespace ablagix
