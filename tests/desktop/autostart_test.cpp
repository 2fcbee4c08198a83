#include "desktop/autostart.h"

#include <gtest/gtest.h>

#include "test_support.h"

namespace ablagix {
namespace {

class FakeRegistry : public AutostartHost {
 public:
  UiPort& ui() override { return ui_; }
  bool WriteRunValue(const std::wstring& data) override {
    if (readOnly) return false;
    value = data;
    return true;
  }
  bool DeleteRunValue() override {
    if (readOnly) return false;
    value.clear();
    return true;
  }
  void RestartElevated() override { restarted = true; }
  void StoreChoice(bool on) override { stored = on ? L"1" : L"0"; }

  test::RecordingUi ui_;
  bool readOnly = false;
  bool restarted = false;
  std::wstring value;
  std::wstring stored;
};

TEST(AutostartTest, CommandAndRegistryOutcomes) {
  EXPECT_EQ(AutostartCommand(L"C:\\Programme\\Ablagix", L"Ablagix"), L"C:\\Programme\\Ablagix\\Ablagix.EXE");
  EXPECT_EQ(AutostartCommand(L"C:\\", L"Ablagix"), L"C:\\Ablagix.EXE");

  FakeRegistry registry;
  EXPECT_EQ(SetAutostart(true, L"C:\\A\\Ablagix.EXE", registry), AutostartOutcome::Done);
  EXPECT_EQ(registry.value, L"C:\\A\\Ablagix.EXE");
  EXPECT_EQ(registry.stored, L"1");
  EXPECT_TRUE(registry.ui_.shown.empty());

  // A refused write asks; No changes nothing, Yes restarts with administrator rights.
  registry.readOnly = true;
  registry.ui_.answers = {MessageAnswer::No, MessageAnswer::Yes};
  EXPECT_EQ(SetAutostart(false, L"", registry), AutostartOutcome::Unchanged);
  EXPECT_EQ(registry.stored, L"1");
  EXPECT_EQ(registry.value, L"C:\\A\\Ablagix.EXE");
  ASSERT_EQ(registry.ui_.shown.size(), 1u);
  EXPECT_EQ(registry.ui_.shown[0].text, kNoRightsQuestion);
  EXPECT_EQ(registry.ui_.shown[0].icon, MessageIcon::Question);
  EXPECT_EQ(SetAutostart(false, L"", registry), AutostartOutcome::Restarting);
  EXPECT_TRUE(registry.restarted);
}

}  // namespace
}  // namespace ablagix
