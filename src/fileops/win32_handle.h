// Owned Win32 file and find handles; for the *_win32.cpp files only.
#pragma once

#include <windows.h>

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

}  // namespace ablagix
