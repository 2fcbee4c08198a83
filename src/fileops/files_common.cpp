// The platform-independent part of the file system layer.
#include <atomic>
#include <chrono>
#include <mutex>

#include "base/text.h"
#include "fileops/files.h"
#include "fileops/files_internal.h"

namespace ablagix {
namespace {

std::mutex g_hookMutex;
std::function<bool(std::size_t)> g_interrupt;


}  // namespace

namespace testing_hooks {
void SetAtomicWriteInterrupt(std::function<bool(std::size_t)> interrupt) {
  std::lock_guard lock(g_hookMutex);
  g_interrupt = std::move(interrupt);
}
}  // namespace testing_hooks

namespace files_internal {

bool AtomicWriteInterrupted(std::size_t written) {
  std::lock_guard lock(g_hookMutex);
  return g_interrupt && g_interrupt(written);
}

std::wstring AtomicTempName(const std::wstring& path) {
  static std::atomic<unsigned> counter{0};
  auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
  return path + L".~tmp" + NumberText(static_cast<std::uint64_t>(ticks) % 1000000u) +
         L"-" + NumberText(counter++);
}

}  // namespace files_internal

bool WriteTextFile(const std::wstring& path, std::wstring_view text) {
  return WriteFileAtomic(path, ToUtf16LeBytes(text, false));
}

bool WriteTextFileWithBom(const std::wstring& path, std::wstring_view text) {
  return WriteFileAtomic(path, ToUtf16LeBytes(text, true));
}

}  // namespace ablagix
