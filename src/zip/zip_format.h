// The record signatures and field values of the zip format that both the reader and the
// writer know.
#pragma once

#include <cstdint>

namespace ablagix::zip_format {

inline constexpr std::uint32_t kLocalSignature = 0x04034b50;
inline constexpr std::uint32_t kCentralSignature = 0x02014b50;
inline constexpr std::uint32_t kEndSignature = 0x06054b50;
inline constexpr std::uint32_t kZip64EndSignature = 0x06064b50;
inline constexpr std::uint32_t kZip64LocatorSignature = 0x07064b50;
inline constexpr std::uint16_t kZip64ExtraId = 0x0001;
// General purpose flag: the name and comment are UTF-8.
inline constexpr std::uint16_t kUtf8Flag = 1u << 11;

}  // namespace ablagix::zip_format
