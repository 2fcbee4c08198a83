#include "fileops/byte_source.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <string>

namespace ablagix {
namespace {

TEST(ReadAheadByteSourceTest, GivesTheSameBytesAsTheSourceItself) {
  std::string bytes(5000, '\0');
  for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<char>(i * 7 + i / 251);
  MemoryByteSource memory(bytes);
  ReadAheadByteSource ahead(memory, 100);
  // Forward, backward, across and past the block's end, larger than a block, past the end.
  std::mt19937 random(7);
  std::string expected;
  std::string got;
  for (int i = 0; i < 3000; ++i) {
    const std::uint64_t offset = random() % 5200;
    const std::size_t count = random() % 8 == 0 ? 150 : random() % 40;
    ASSERT_TRUE(memory.Read(offset, count, &expected));
    ASSERT_TRUE(ahead.Read(offset, count, &got));
    ASSERT_EQ(got, expected) << offset << " " << count;
  }
}

}  // namespace
}  // namespace ablagix
