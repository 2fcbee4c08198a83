// A move-only owner of one operating-system handle, closed exactly once.
//
//   struct FdTraits {
//     using Handle = int;
//     static Handle Invalid() { return -1; }
//     static void Close(Handle h) { close(h); }
//   };
//   UniqueHandle<FdTraits> fd(open(...));
//   if (!fd) return false;
#pragma once

#include <utility>

namespace ablagix {

template <typename Traits>
class UniqueHandle {
 public:
  using Handle = typename Traits::Handle;

  UniqueHandle() = default;
  explicit UniqueHandle(Handle h) : handle_(h) {}
  UniqueHandle(const UniqueHandle&) = delete;
  UniqueHandle& operator=(const UniqueHandle&) = delete;
  UniqueHandle(UniqueHandle&& other) noexcept : handle_(other.release()) {}
  UniqueHandle& operator=(UniqueHandle&& other) noexcept {
    if (this != &other) reset(other.release());
    return *this;
  }
  ~UniqueHandle() { reset(); }

  explicit operator bool() const { return handle_ != Traits::Invalid(); }
  Handle get() const { return handle_; }
  Handle release() { return std::exchange(handle_, Traits::Invalid()); }
  void reset(Handle h = Traits::Invalid()) {
    Handle old = std::exchange(handle_, h);
    if (old != Traits::Invalid()) Traits::Close(old);
  }

 private:
  Handle handle_ = Traits::Invalid();
};

}  // namespace ablagix
