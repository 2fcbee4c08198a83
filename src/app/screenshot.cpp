#include "app/screenshot.h"

#include <zlib.h>

#include <cstdint>
#include <string>
#include <vector>

#include "fileops/file_ops.h"
#include "fileops/win32_handle.h"

namespace ablagix::app {
namespace {

void PutBigEndian(std::string& out, std::uint32_t value) {
  out.push_back(static_cast<char>(value >> 24));
  out.push_back(static_cast<char>(value >> 16));
  out.push_back(static_cast<char>(value >> 8));
  out.push_back(static_cast<char>(value));
}

void PutChunk(std::string& out, const char* type, const std::string& data) {
  PutBigEndian(out, static_cast<std::uint32_t>(data.size()));
  std::string body = std::string(type, 4) + data;
  out += body;
  uLong crc = crc32(0L, reinterpret_cast<const Bytef*>(body.data()), static_cast<uInt>(body.size()));
  PutBigEndian(out, static_cast<std::uint32_t>(crc));
}

// An 8-bit RGB PNG from top-down BGRA rows.
std::string EncodePng(const std::vector<std::uint8_t>& bgra, int width, int height) {
  std::string raw;
  raw.reserve(static_cast<size_t>(height) * (static_cast<size_t>(width) * 3 + 1));
  for (int y = 0; y < height; ++y) {
    raw.push_back(0);  // no filter
    const std::uint8_t* row = bgra.data() + static_cast<size_t>(y) * static_cast<size_t>(width) * 4;
    for (int x = 0; x < width; ++x) {
      raw.push_back(static_cast<char>(row[x * 4 + 2]));
      raw.push_back(static_cast<char>(row[x * 4 + 1]));
      raw.push_back(static_cast<char>(row[x * 4 + 0]));
    }
  }
  uLongf packedSize = compressBound(static_cast<uLong>(raw.size()));
  std::string packed(packedSize, '\0');
  compress2(reinterpret_cast<Bytef*>(packed.data()), &packedSize,
            reinterpret_cast<const Bytef*>(raw.data()), static_cast<uLong>(raw.size()), 6);
  packed.resize(packedSize);

  std::string png("\x89PNG\r\n\x1a\n", 8);
  std::string header;
  PutBigEndian(header, static_cast<std::uint32_t>(width));
  PutBigEndian(header, static_cast<std::uint32_t>(height));
  header += std::string("\x08\x02\x00\x00\x00", 5);  // 8 bit, RGB, deflate, no filter, no interlace
  PutChunk(png, "IHDR", header);
  PutChunk(png, "IDAT", packed);
  PutChunk(png, "IEND", {});
  return png;
}

}  // namespace

bool SaveWindowPng(HWND window, const std::wstring& path) {
  RedrawWindow(window, nullptr, nullptr, RDW_INVALIDATE | RDW_ERASE | RDW_ALLCHILDREN | RDW_UPDATENOW);
  RECT rect{};
  GetClientRect(window, &rect);
  const int width = rect.right - rect.left;
  const int height = rect.bottom - rect.top;
  if (width <= 0 || height <= 0) return false;

  std::vector<std::uint8_t> pixels;
  {
    WindowDc source(window);
    UniqueMemoryDc memory(CreateCompatibleDC(source.get()));
    if (!source || !memory) return false;
    BITMAPINFO info{};
    info.bmiHeader.biSize = sizeof info.bmiHeader;
    info.bmiHeader.biWidth = width;
    info.bmiHeader.biHeight = -height;  // top-down
    info.bmiHeader.biPlanes = 1;
    info.bmiHeader.biBitCount = 32;
    info.bmiHeader.biCompression = BI_RGB;
    void* bits = nullptr;
    UniqueBitmap bitmap(CreateDIBSection(source.get(), &info, DIB_RGB_COLORS, &bits, nullptr, 0));
    if (!bitmap || !bits) return false;
    {
      SelectedObject selected(memory.get(), bitmap.get());
      BitBlt(memory.get(), 0, 0, width, height, source.get(), 0, 0, SRCCOPY);
      GdiFlush();
    }
    const auto* first = static_cast<const std::uint8_t*>(bits);
    pixels.assign(first, first + static_cast<size_t>(width) * static_cast<size_t>(height) * 4);
  }
  return WriteFileAtomic(path, EncodePng(pixels, width, height));
}

}  // namespace ablagix::app
