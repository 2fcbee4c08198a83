// Shared between files_common.cpp and the two platform files; not for other callers.
#pragma once

#include <cstddef>
#include <string>

namespace ablagix::files_internal {

constexpr std::size_t kAtomicChunk = 1 << 16;

// Whether the test hook asks the atomic writer to stop after `written` bytes.
bool AtomicWriteInterrupted(std::size_t written);

// Name of the temporary file that WriteFileAtomic writes before the rename. Unique per call
// so two writers never share one.
std::wstring AtomicTempName(const std::wstring& path);

// The path as the system calls take it. Windows: "/" made "\", made absolute, and in the
// long-path form. POSIX: UTF-8 with "\" made "/".
std::wstring ApiPath(const std::wstring& path);
// Windows only: the absolute, normalised path with "\" separators, without the prefix.
std::wstring FullPathText(const std::wstring& path);
std::string NativePath(const std::wstring& path);

}  // namespace ablagix::files_internal
