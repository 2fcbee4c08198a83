#include "engine/timer_model.h"

#include "base/text.h"
#include "profiles/language.h"

namespace ablagix {

int TimerIntervalMinutes(int chooserPosition) {
  static constexpr int kMinutes[] = {10, 5, 10, 15, 30, 60, 120, 180, 240, 300};
  if (chooserPosition < 0 || chooserPosition >= 10) return 10;
  return kMinutes[chooserPosition];
}

std::wstring TimerInfoText(int minutes) {
  return FillIn(Word(L"Der Timer f\u00fchrt alle %1-Minuten oben angehakte Profile vollautomatisch aus."),
                std::to_wstring(minutes));
}

std::wstring TimerStartedBalloon(int minutes) {
  return FillIn(Word(L"Die Timerroutine ist gestartet und l\u00e4uft automatisch im Intervall von %1 Minuten"),
                std::to_wstring(minutes));
}

TickResult TimerModel::Tick() {
  ++minutes_;
  if (busy_ || minutes_ < intervalMinutes_) return TickResult::Wait;
  minutes_ = 0;
  ++timedRuns_;
  // The log then never holds the rows of more than five timed runs.
  if (clearEveryFifth_ && timedRuns_ >= 5) {
    timedRuns_ = 0;
    return TickResult::ClearLogAndRun;
  }
  return TickResult::Run;
}

}  // namespace ablagix
