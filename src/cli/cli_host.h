// The run host of the command line: messages and questions on the terminal, progress on
// stderr when it is a terminal, Ctrl+C as Esc.
#pragma once

#include <string>

#include "engine/run.h"
#include "metadata/metadata_source.h"
#include "profiles/settings_store.h"

namespace ablagix::cli {

class TerminalUi : public UiPort {
 public:
  explicit TerminalUi(bool assumeYes = false) : assumeYes_(assumeYes) {}
  MessageAnswer ShowMessage(const std::wstring& text, MessageIcon icon, MessageButtons buttons) override;
  MessageAnswer AskBeforeDestroying(const std::wstring& text, MessageIcon icon, MessageButtons buttons,
                                    MessageAnswer keep) override;

 private:
  MessageAnswer Ask(const std::wstring& text, MessageButtons buttons, MessageAnswer unattended,
                    std::wstring_view unattendedNote);
  bool assumeYes_;
};

class CliRunHost : public RunHost {
 public:
  CliRunHost(SettingsFolders folders, bool assumeYes);
  UiPort& ui() override { return ui_; }
  bool TimerRunning() const override { return timerRunning_; }
  void SetTimerRunning(bool on) { timerRunning_ = on; }
  void Notify(const std::wstring& title, const std::wstring& text) override;
  LocalDateTime Now() override;
  bool PollForAbort() override { return false; }  // Ctrl+C sets the abort flag directly
  // A long copy stops at Ctrl+C (its partial copy is removed again).
  bool CopyProgress(std::uint64_t, std::uint64_t) override;
  void Progress(const RunProgress& progress) override;
  std::wstring StoredFilterMask(const std::wstring& name) override;
  MetadataSource* Metadata() override { return &metadata_; }
  ZipSettings Zip() const override { return zip_; }
  unsigned ContentThreads() override { return contentThreads_; }
  std::wstring JournalFolder() override;
  int JournalDays() override { return journalDays_; }
  // Threads that test file contents at once; 1 tests them on the run's own thread.
  void SetContentThreads(unsigned threads) { contentThreads_ = threads <= 1 ? 0 : threads; }
  bool ExtractDocumentText() const override { return extractDocumentText_; }
  // Clears the progress line before normal output continues.
  void EndProgress();

 private:
  TerminalUi ui_;
  SettingsFolders folders_;
  FileMetadataSource metadata_;
  ZipSettings zip_;
  unsigned contentThreads_ = ContentPool::DefaultThreads();
  bool extractDocumentText_ = true;
  int journalDays_ = kDefaultJournalDays;
  bool timerRunning_ = false;
  bool progressShown_ = false;
  bool progressToTerminal_ = false;
};

}  // namespace ablagix::cli
