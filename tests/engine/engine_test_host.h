// A run host for engine tests: fixed clock, scripted Esc, recorded notifications.
#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <vector>

#include "engine/run.h"
#include "test_support.h"

namespace ablagix::test {

class TestRunHost : public RunHost {
 public:
  UiPort& ui() override { return ui_; }
  bool TimerRunning() const override { return timerRunning; }
  void Notify(const std::wstring& title, const std::wstring& text) override {
    notifications.push_back(title + L": " + text);
  }
  LocalDateTime Now() override { return now; }
  bool PollForAbort() override {
    ++polls;
    const bool esc = escAfterPolls > 0 && polls >= escAfterPolls;
    if (esc && escAt == std::chrono::steady_clock::time_point{}) escAt = std::chrono::steady_clock::now();
    return esc;
  }
  unsigned ContentThreads() override { return contentThreads; }
  std::wstring StoredFilterMask(const std::wstring& name) override {
    return name == L"Bilder" ? L".jpg,.png" : L"";
  }
  bool CopyProgress(std::uint64_t, std::uint64_t) override { return !cancelCopies; }
  ZipSettings Zip() const override { return zip; }

  RecordingUi ui_;
  bool timerRunning = false;
  bool cancelCopies = false;
  ZipSettings zip;
  LocalDateTime now{2025, 6, 15, 12, 0, 0};
  int escAfterPolls = 0;  // 0: never
  std::chrono::steady_clock::time_point escAt;  // when Esc was first reported
  unsigned contentThreads = 2;
  int polls = 0;
  std::vector<std::wstring> notifications;
};

}  // namespace ablagix::test
