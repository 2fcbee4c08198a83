#include "zip/sfx_archive.h"

#include <zlib.h>

#include "base/byte_order.h"
#include "base/text.h"

namespace ablagix {
namespace {

constexpr std::string_view kTextMagic{"AXSFXTXT", 8};
constexpr std::string_view kTrailerMagic{"AXSFX\0\1\x1A", 8};
constexpr std::uint16_t kTextVersion = 1;
constexpr std::uint32_t kEndSignature = 0x06054b50;
constexpr std::size_t kEndSize = 22;
// Far more than the dozen texts we write; a bound against a damaged count.
constexpr std::size_t kMaxTextBlock = 1 << 20;

void PutLe(std::string* out, std::uint64_t value, int bytes) {
  for (int i = 0; i < bytes; ++i) out->push_back(static_cast<char>(value >> (8 * i)));
}

std::uint32_t Crc(std::string_view bytes) {
  return static_cast<std::uint32_t>(
      crc32(0, reinterpret_cast<const Bytef*>(bytes.data()), static_cast<uInt>(bytes.size())));
}

}  // namespace

std::vector<SfxText> StandardSfxTexts() {
  return {
      {"ErrInvalidPassword", L"Das Passwort ist falsch!"},
      {"ErrPwdCaption", L"Bitte richtiges Passwort eingeben:"},
      {"ErrPwdTitle", L"Falsches Passwort"},
      {"PwTitle", L"Passwortschutz"},
      {"PwCaption", L"Geben Sie ein Passwort ein, um die Datei auszuf\u00fchren:"},
      {"Title", L"Kramdock Selbstextrahierende EXE"},
      {"MainText", L"Bitte dr\u00fccken sie Entpacken, um die Datei(en) zu entpacken."},
      {"MainUnzipBtn", L"Entpacken"},
      {"MainCloseBtn", L"Schlie\u00dfen"},
      {"ProgressCaption", L"Fertig"},
      {"ProgressTitle", L"In Bearbeitung..."},
      {"MainUnzipLabel", L"Bitte w\u00e4hlen Sie den Zielordner aus:"},
  };
}

std::wstring SfxTextValue(const std::vector<SfxText>& texts, std::string_view name, std::wstring_view fallback) {
  for (const SfxText& t : texts) {
    if (t.name == name) return t.value;
  }
  return std::wstring(fallback);
}

std::string EncodeSfxTexts(const std::vector<SfxText>& texts) {
  std::string out(kTextMagic);
  PutLe(&out, kTextVersion, 2);
  PutLe(&out, texts.size(), 2);
  for (const SfxText& t : texts) {
    const std::string value = ToUtf8(t.value);
    PutLe(&out, t.name.size(), 2);
    out += t.name;
    PutLe(&out, value.size(), 4);
    out += value;
  }
  return out;
}

bool DecodeSfxTexts(std::string_view block, std::vector<SfxText>* texts) {
  texts->clear();
  if (block.size() < 12 || block.substr(0, 8) != kTextMagic || LoadLe16(block, 8) != kTextVersion) return false;
  const std::size_t count = LoadLe16(block, 10);
  std::size_t at = 12;
  std::vector<SfxText> found;
  for (std::size_t i = 0; i < count; ++i) {
    if (block.size() - at < 2) return false;
    const std::size_t nameSize = LoadLe16(block, at);
    at += 2;
    if (block.size() - at < nameSize + 4) return false;
    SfxText text;
    text.name.assign(block.substr(at, nameSize));
    at += nameSize;
    const std::size_t valueSize = LoadLe32(block, at);
    at += 4;
    if (block.size() - at < valueSize) return false;
    const std::string_view value = block.substr(at, valueSize);
    at += valueSize;
    if (!IsValidUtf8(text.name) || !IsValidUtf8(value)) return false;
    text.value = FromUtf8(value);
    found.push_back(std::move(text));
  }
  if (at != block.size()) return false;
  *texts = std::move(found);
  return true;
}

std::string EncodeSfxTrailer(std::uint64_t textsOffset, std::string_view textBlock) {
  std::string out(kTrailerMagic);
  PutLe(&out, textsOffset, 8);
  PutLe(&out, textBlock.size(), 4);
  PutLe(&out, Crc(textBlock), 4);
  return out;
}

bool ReadSfxTexts(ByteSource& archive, std::vector<SfxText>* texts) {
  texts->clear();
  const std::uint64_t size = archive.size();
  if (size < kEndSize + kSfxTrailerSize) return false;
  std::string tail;
  const std::uint64_t endAt = size - kEndSize - kSfxTrailerSize;
  if (!archive.Read(endAt, kEndSize + kSfxTrailerSize, &tail) || tail.size() != kEndSize + kSfxTrailerSize) {
    return false;
  }
  if (LoadLe32(tail, 0) != kEndSignature || LoadLe16(tail, 20) != kSfxTrailerSize) return false;
  const std::string_view trailer = std::string_view(tail).substr(kEndSize);
  if (trailer.substr(0, 8) != kTrailerMagic) return false;
  const std::uint64_t at = LoadLe64(trailer, 8);
  const std::size_t blockSize = LoadLe32(trailer, 16);
  if (blockSize > kMaxTextBlock || at > endAt || blockSize > endAt - at) return false;
  std::string block;
  if (!archive.Read(at, blockSize, &block) || block.size() != blockSize) return false;
  if (Crc(block) != LoadLe32(trailer, 20)) return false;
  return DecodeSfxTexts(block, texts);
}

}  // namespace ablagix
