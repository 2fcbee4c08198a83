#include "engine/timer_model.h"

#include <gtest/gtest.h>

namespace ablagix {
namespace {

TEST(TimerModel, ThePromptMeansTenMinutesAndTheChooserMapsItsEntries) {
  EXPECT_EQ(TimerIntervalMinutes(0), 10);
  EXPECT_EQ(TimerIntervalMinutes(1), 5);
  EXPECT_EQ(TimerIntervalMinutes(6), 120);
  EXPECT_EQ(TimerIntervalMinutes(9), 300);
  EXPECT_EQ(TimerIntervalMinutes(42), 10);
  EXPECT_EQ(TimerInfoText(15), L"Der Timer f\u00fchrt alle 15-Minuten oben angehakte Profile vollautomatisch aus.");
}

TEST(TimerModel, RunsEveryIntervalNeverWhileBusyAndClearsBeforeTheFifthRun) {
  TimerModel t;
  t.SetInterval(TimerIntervalMinutes(1));
  t.SetClearLogEveryFifthRun(true);
  std::vector<TickResult> runs;
  for (int minute = 1; minute <= 30; ++minute) {
    TickResult r = t.Tick();
    if (r != TickResult::Wait) {
      EXPECT_EQ(minute % 5, 0) << "run at minute " << minute;
      runs.push_back(r);
    }
  }
  ASSERT_EQ(runs.size(), 6u);
  EXPECT_EQ(runs[3], TickResult::Run);
  EXPECT_EQ(runs[4], TickResult::ClearLogAndRun);
  EXPECT_EQ(runs[5], TickResult::Run);
  EXPECT_EQ(t.timedRuns(), 1);

  // A tick during a run only counts; the run comes with the first free tick.
  t.SetBusy(true);
  for (int i = 0; i < 7; ++i) EXPECT_EQ(t.Tick(), TickResult::Wait);
  t.SetBusy(false);
  EXPECT_EQ(t.Tick(), TickResult::Run);
}

}  // namespace
}  // namespace ablagix
