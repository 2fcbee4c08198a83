// Owned Win32 file and find handles; for the *_win32.cpp files only.
#pragma once

#include <windows.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "base/unique_handle.h"

namespace ablagix {

struct FileHandleTraits {
  using Handle = HANDLE;
  static HANDLE Invalid() { return INVALID_HANDLE_VALUE; }
  static void Close(HANDLE h) { CloseHandle(h); }
};
using UniqueFile = UniqueHandle<FileHandleTraits>;

struct FindHandleTraits {
  using Handle = HANDLE;
  static HANDLE Invalid() { return INVALID_HANDLE_VALUE; }
  static void Close(HANDLE h) { FindClose(h); }
};
using UniqueFind = UniqueHandle<FindHandleTraits>;

// Writes all of `data` at `offset` in pieces of at most 1 GiB (one WriteFile takes no more
// than a DWORD). On failure `*error` is the system's code, or `zeroWriteError` when it wrote
// nothing without saying why.
inline bool WriteAllAt(HANDLE file, std::uint64_t offset, const void* data, std::size_t size, std::uint32_t zeroWriteError,
                       std::uint32_t* error) {
  const char* bytes = static_cast<const char*>(data);
  while (size > 0) {
    const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(size, 1u << 30));
    OVERLAPPED at{};
    at.Offset = static_cast<DWORD>(offset & 0xFFFFFFFFu);
    at.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD written = 0;
    if (!WriteFile(file, bytes, chunk, &written, &at)) {
      *error = GetLastError();
      return false;
    }
    if (written == 0) {
      *error = zeroWriteError;
      return false;
    }
    bytes += written;
    offset += written;
    size -= written;
  }
  return true;
}

}  // namespace ablagix
