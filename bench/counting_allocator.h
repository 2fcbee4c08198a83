// Heap accounting for the benchmarks that measure memory: linking counting_allocator.cpp
// routes every operator new and delete of the program through counters.
#pragma once

#include <cstddef>

namespace bench {

std::size_t LiveHeapBytes();
std::size_t LiveHeapBlocks();
// The highest live byte count since the last ResetPeakHeapBytes.
std::size_t PeakHeapBytes();
void ResetPeakHeapBytes();

}  // namespace bench
