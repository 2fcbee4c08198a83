// Points the freedesktop.org trash of this process at a folder of the test (Linux), so tests
// never fill the trash of whoever runs them. Under Wine the trash is chosen once per process,
// by the environment ctest gives it, so there this does nothing.
#pragma once

#include <optional>
#include <string>

#ifndef _WIN32
#include <stdlib.h>

#include "base/text.h"
#endif

namespace ablagix::test {

class ScopedDataHome {
 public:
#ifdef _WIN32
  explicit ScopedDataHome(const std::wstring&) {}
#else
  explicit ScopedDataHome(const std::wstring& folder) {
    if (const char* old = getenv("XDG_DATA_HOME")) old_ = old;
    setenv("XDG_DATA_HOME", ToUtf8(folder).c_str(), 1);
  }
  ~ScopedDataHome() {
    if (old_) {
      setenv("XDG_DATA_HOME", old_->c_str(), 1);
    } else {
      unsetenv("XDG_DATA_HOME");
    }
  }

 private:
  std::optional<std::string> old_;
#endif
};

}  // namespace ablagix::test
