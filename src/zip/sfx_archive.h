// The self-extracting archive: the bytes of the self-extractor program (ablagix-sfx.exe),
// then a block with the texts it shows, then an ordinary zip archive whose offsets count from
// the start of the whole file, so that every zip tool opens the .exe as it is. The zip's
// comment is a small trailer that points back to the text block; the program finds it from
// the end of its own file, wherever the stub ends.
//
//   [stub .exe][text block][zip entries ... central directory, end record + trailer comment]
//
// Text block: "AXSFXTXT", version (u16 = 1), count (u16), then per text a UTF-8 name
// (u16 length + bytes) and a UTF-8 value (u32 length + bytes); all numbers little-endian.
// Trailer: "AXSFX\0\1\x1A", offset of the text block (u64), its size (u32), its CRC-32 (u32).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fileops/byte_source.h"

namespace ablagix {

struct SfxText {
  std::string name;
  std::wstring value;
  friend bool operator==(const SfxText&, const SfxText&) = default;
};

// The program's German texts in the order they are handed over: the five password and error
// texts, the window title, the main text, then the remaining five.
std::vector<SfxText> StandardSfxTexts();
// The value of a named text, or `fallback`.
std::wstring SfxTextValue(const std::vector<SfxText>& texts, std::string_view name, std::wstring_view fallback);

std::string EncodeSfxTexts(const std::vector<SfxText>& texts);
[[nodiscard]] bool DecodeSfxTexts(std::string_view block, std::vector<SfxText>* texts);

constexpr std::size_t kSfxTrailerSize = 24;
std::string EncodeSfxTrailer(std::uint64_t textsOffset, std::string_view textBlock);

// The texts of a self-extracting archive, found from its end. False when the bytes are not
// one of ours or the block is damaged.
[[nodiscard]] bool ReadSfxTexts(ByteSource& archive, std::vector<SfxText>* texts);

// The self-extractor program that is put in front of the texts. False when this build has
// none (it could not be built or was left out); zip actions that need it then fail.
[[nodiscard]] bool SfxStubBytes(std::string_view* out);

namespace testing_hooks {
// Makes SfxStubBytes report a missing stub, as a build without one would.
void HideSfxStub(bool hide);
}  // namespace testing_hooks

}  // namespace ablagix
