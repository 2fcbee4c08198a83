#include "base/abort_flag.h"

#include <atomic>

namespace ablagix {
namespace {

std::atomic<bool> g_abort{false};
static_assert(std::atomic<bool>::is_always_lock_free, "the flag is set from signal handlers");

}  // namespace

bool AbortRequested() { return g_abort.load(std::memory_order_relaxed); }
void RequestAbort() { g_abort.store(true, std::memory_order_relaxed); }
void ClearAbort() { g_abort.store(false, std::memory_order_relaxed); }

}  // namespace ablagix
