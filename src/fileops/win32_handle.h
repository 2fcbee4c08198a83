// Owned Win32 handles (files, finds, registry keys, GDI objects, device contexts, memory from
// LocalAlloc/CoTaskMemAlloc, a COM apartment): each released exactly once, on every path out.
// For the *_win32.cpp files and the Windows programs only.
#pragma once

#include <windows.h>
#include <objbase.h>

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

// A thread, process or event handle: unlike a file's, "none" is null.
struct KernelHandleTraits {
  using Handle = HANDLE;
  static HANDLE Invalid() { return nullptr; }
  static void Close(HANDLE h) { CloseHandle(h); }
};
using UniqueKernelHandle = UniqueHandle<KernelHandleTraits>;

struct FindHandleTraits {
  using Handle = HANDLE;
  static HANDLE Invalid() { return INVALID_HANDLE_VALUE; }
  static void Close(HANDLE h) { FindClose(h); }
};
using UniqueFind = UniqueHandle<FindHandleTraits>;

struct RegistryKeyTraits {
  using Handle = HKEY;
  static HKEY Invalid() { return nullptr; }
  static void Close(HKEY h) { RegCloseKey(h); }
};
using UniqueHkey = UniqueHandle<RegistryKeyTraits>;

// A font, bitmap, brush or pen from Create*; never one a device context still has selected.
template <typename T>
struct GdiObjectTraits {
  using Handle = T;
  static T Invalid() { return nullptr; }
  static void Close(T h) { DeleteObject(h); }
};
template <typename T>
using UniqueGdiObject = UniqueHandle<GdiObjectTraits<T>>;
using UniqueFont = UniqueGdiObject<HFONT>;
using UniqueBitmap = UniqueGdiObject<HBITMAP>;

struct MenuTraits {
  using Handle = HMENU;
  static HMENU Invalid() { return nullptr; }
  static void Close(HMENU h) { DestroyMenu(h); }
};
using UniqueMenu = UniqueHandle<MenuTraits>;

// A memory device context from CreateCompatibleDC.
struct MemoryDcTraits {
  using Handle = HDC;
  static HDC Invalid() { return nullptr; }
  static void Close(HDC h) { DeleteDC(h); }
};
using UniqueMemoryDc = UniqueHandle<MemoryDcTraits>;

struct LocalMemoryTraits {
  using Handle = HLOCAL;
  static HLOCAL Invalid() { return nullptr; }
  static void Close(HLOCAL h) { LocalFree(h); }
};
using UniqueLocalMemory = UniqueHandle<LocalMemoryTraits>;

struct CoTaskMemoryTraits {
  using Handle = void*;
  static void* Invalid() { return nullptr; }
  static void Close(void* h) { CoTaskMemFree(h); }
};
using UniqueCoTaskMemory = UniqueHandle<CoTaskMemoryTraits>;

// The device context of a window (or of the screen for nullptr), given back to that window.
class WindowDc {
 public:
  explicit WindowDc(HWND window) : window_(window), dc_(GetDC(window)) {}
  WindowDc(const WindowDc&) = delete;
  WindowDc& operator=(const WindowDc&) = delete;
  ~WindowDc() {
    if (dc_) ReleaseDC(window_, dc_);
  }
  HDC get() const { return dc_; }
  explicit operator bool() const { return dc_ != nullptr; }

 private:
  HWND window_;
  HDC dc_;
};

// Selects `object` into `dc` for as long as it lives and puts the previous one back, so the
// object can be deleted afterwards.
class SelectedObject {
 public:
  SelectedObject(HDC dc, HGDIOBJ object) : dc_(dc), previous_(SelectObject(dc, object)) {}
  SelectedObject(const SelectedObject&) = delete;
  SelectedObject& operator=(const SelectedObject&) = delete;
  ~SelectedObject() {
    if (previous_ && previous_ != HGDI_ERROR) SelectObject(dc_, previous_);
  }

 private:
  HDC dc_;
  HGDIOBJ previous_;
};

// COM for this thread as long as it lives; uninitialised only if the start succeeded.
class ComApartment {
 public:
  explicit ComApartment(DWORD model = COINIT_APARTMENTTHREADED) : started_(SUCCEEDED(CoInitializeEx(nullptr, model))) {}
  ComApartment(const ComApartment&) = delete;
  ComApartment& operator=(const ComApartment&) = delete;
  ~ComApartment() {
    if (started_) CoUninitialize();
  }
  bool started() const { return started_; }

 private:
  bool started_;
};

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
