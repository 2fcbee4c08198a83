#include "counting_allocator.h"

#include <cstdlib>
#include <new>

namespace {

std::size_t g_liveBytes = 0;
std::size_t g_liveBlocks = 0;
std::size_t g_peakBytes = 0;

// Each block carries its size in front, padded so the user part stays suitably aligned.
constexpr std::size_t kHeader = alignof(std::max_align_t);

void* Allocate(std::size_t size) {
  auto* block = static_cast<unsigned char*>(std::malloc(size + kHeader));
  if (!block) throw std::bad_alloc();
  *reinterpret_cast<std::size_t*>(block) = size;
  g_liveBytes += size;
  ++g_liveBlocks;
  if (g_liveBytes > g_peakBytes) g_peakBytes = g_liveBytes;
  return block + kHeader;
}

void Release(void* p) {
  if (!p) return;
  unsigned char* block = static_cast<unsigned char*>(p) - kHeader;
  g_liveBytes -= *reinterpret_cast<std::size_t*>(block);
  --g_liveBlocks;
  std::free(block);
}

}  // namespace

namespace bench {

std::size_t LiveHeapBytes() { return g_liveBytes; }
std::size_t LiveHeapBlocks() { return g_liveBlocks; }
std::size_t PeakHeapBytes() { return g_peakBytes; }
void ResetPeakHeapBytes() { g_peakBytes = g_liveBytes; }

}  // namespace bench

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* p) noexcept { Release(p); }
void operator delete[](void* p) noexcept { Release(p); }
void operator delete(void* p, std::size_t) noexcept { Release(p); }
void operator delete[](void* p, std::size_t) noexcept { Release(p); }
