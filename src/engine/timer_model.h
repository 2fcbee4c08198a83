// The interval timer without a window: it ticks once a minute and decides when the checked
// profiles run, and when the log is cleared first.
#pragma once

#include <array>
#include <string>
#include <string_view>

namespace ablagix {

// The entries of the interval chooser; entry 0 is only a prompt.
inline constexpr std::array<std::wstring_view, 10> kTimerIntervalEntries = {
    L"Timerintervall, bitte ausw\u00e4hlen", L"Alle 5 Minuten",  L"Alle 10 Minuten",
    L"Alle 15 Minuten",                      L"Alle 30 Minuten", L"Alle 60 Minuten",
    L"Alle 2 Stunden",                       L"Alle 3 Stunden",  L"Alle 4 Stunden",
    L"Alle 5 Stunden"};

// Minutes for a chooser position; the prompt and unknown positions mean 10.
int TimerIntervalMinutes(int chooserPosition);
// "Der Timer führt alle 10-Minuten oben angehakte Profile vollautomatisch aus." (in the
// current language)
std::wstring TimerInfoText(int minutes);
// "Die Timerroutine ist gestartet und läuft automatisch im Intervall von 10 Minuten"
std::wstring TimerStartedBalloon(int minutes);

enum class TickResult { Wait, Run, ClearLogAndRun };

class TimerModel {
 public:
  void SetInterval(int minutes) { intervalMinutes_ = minutes > 0 ? minutes : 10; }
  int interval() const { return intervalMinutes_; }
  // Whether every fifth timed run starts with an empty log.
  void SetClearLogEveryFifthRun(bool on) { clearEveryFifth_ = on; }

  void Start() { running_ = true; }
  void Stop() { running_ = false; }
  bool running() const { return running_; }

  // Set while any run is in progress, whoever started it; a tick then only counts.
  void SetBusy(bool busy) { busy_ = busy; }

  // One minute has passed.
  TickResult Tick();

  int minuteCounter() const { return minutes_; }
  int timedRuns() const { return timedRuns_; }

 private:
  int intervalMinutes_ = 10;
  bool clearEveryFifth_ = false;
  bool running_ = false;
  bool busy_ = false;
  int minutes_ = 0;
  int timedRuns_ = 0;
};

}  // namespace ablagix
