// Whole numbers stored in file formats, read from a byte string in little-endian (Intel) or
// big-endian (Motorola) order. The caller has checked that the bytes are there.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace ablagix {

inline std::uint32_t ByteAt(std::string_view b, std::size_t at) { return static_cast<unsigned char>(b[at]); }

inline std::uint16_t LoadLe16(std::string_view b, std::size_t at) {
  return static_cast<std::uint16_t>(ByteAt(b, at) | (ByteAt(b, at + 1) << 8));
}
inline std::uint32_t LoadLe32(std::string_view b, std::size_t at) {
  return std::uint32_t{LoadLe16(b, at)} | (std::uint32_t{LoadLe16(b, at + 2)} << 16);
}
inline std::uint64_t LoadLe64(std::string_view b, std::size_t at) {
  return std::uint64_t{LoadLe32(b, at)} | (std::uint64_t{LoadLe32(b, at + 4)} << 32);
}
inline std::uint16_t LoadBe16(std::string_view b, std::size_t at) {
  return static_cast<std::uint16_t>((ByteAt(b, at) << 8) | ByteAt(b, at + 1));
}
inline std::uint32_t LoadBe24(std::string_view b, std::size_t at) {
  return (ByteAt(b, at) << 16) | (ByteAt(b, at + 1) << 8) | ByteAt(b, at + 2);
}
inline std::uint32_t LoadBe32(std::string_view b, std::size_t at) {
  return (ByteAt(b, at) << 24) | LoadBe24(b, at + 1);
}

}  // namespace ablagix
