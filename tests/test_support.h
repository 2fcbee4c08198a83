// Helpers for tests that work on real folders.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <deque>
#include <map>
#include <set>
#include <vector>

#include "base/ui_port.h"
#include "fileops/file_ops.h"

namespace ablagix::test {

// A fresh folder below the system's temporary folder, removed with everything in it at the end.
class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  const std::wstring& path() const { return path_; }
  // path() joined with a relative path ("a\\b.txt").
  std::wstring operator/(std::wstring_view relative) const;

 private:
  std::wstring path_;
};

// Removes a folder tree, read-only files included; links are removed, never followed.
void RemoveTree(const std::wstring& path);

// The names in a folder, without "." and "..".
std::set<std::wstring> NamesIn(const std::wstring& folder);

// Creates the file (and its folders) with these bytes.
bool WriteBytes(const std::wstring& path, std::string_view bytes);
std::string ReadBytes(const std::wstring& path);
// Sets the last-write time of an existing file.
bool SetLastWriteTime(const std::wstring& path, FileTime time);

// A link named `link` that points to the folder `target`: a symbolic link, or on Windows a
// junction when symbolic links are not allowed. False when the system offers neither.
bool MakeFolderLink(const std::wstring& link, const std::wstring& target);

// Makes a folder impossible to list for this process until the guard ends. False where the
// platform or the process's rights do not allow it (tests then skip that part).
class UnreadableFolder {
 public:
  explicit UnreadableFolder(const std::wstring& folder);
  ~UnreadableFolder();
  bool active() const { return active_; }

 private:
  std::wstring folder_;
  bool active_ = false;
  bool droppedPrivileges_ = false;
};

// A file nobody else can read while the guard lives: on Windows held open without sharing (as
// a mail program holds its mailbox), on Linux without read permission for this process.
// active() is false where that cannot be arranged.
class LockedFile {
 public:
  explicit LockedFile(const std::wstring& path);
  ~LockedFile();
  LockedFile(const LockedFile&) = delete;
  LockedFile& operator=(const LockedFile&) = delete;
  bool active() const { return active_; }

 private:
  std::wstring path_;
  void* handle_ = nullptr;
  bool active_ = false;
  bool droppedPrivileges_ = false;
};

// A UI port that records every message and answers from a script (Yes/Ok when it runs dry).
class RecordingUi : public UiPort {
 public:
  struct Shown {
    std::wstring text;
    MessageIcon icon;
    MessageButtons buttons;
  };
  MessageAnswer ShowMessage(const std::wstring& text, MessageIcon icon,
                            MessageButtons buttons) override {
    shown.push_back({text, icon, buttons});
    if (!answers.empty()) {
      MessageAnswer a = answers.front();
      answers.pop_front();
      return a;
    }
    return buttons == MessageButtons::Ok || buttons == MessageButtons::OkCancel ? MessageAnswer::Ok
                                                                                : MessageAnswer::Yes;
  }
  std::vector<Shown> shown;
  std::deque<MessageAnswer> answers;
};

// A UI port on which Esc is down once `polls` looks for it have passed, as if the user pressed
// it in the middle of long work.
class AbortAfter : public UiPort {
 public:
  explicit AbortAfter(int polls) : left_(polls) {}
  MessageAnswer ShowMessage(const std::wstring&, MessageIcon, MessageButtons) override { return MessageAnswer::Ok; }
  bool PollForAbort() override { return --left_ < 0; }

 private:
  int left_;
};

// The entries of a zip archive (a .zip or a self-extracting .exe) with their contents; empty
// when it cannot be read.
std::map<std::string, std::string> ZipEntries(const std::wstring& archive);

// The file time that shows as `local` on this machine's clock (inverse of FileTimeToLocal).
FileTime LocalToFileTime(const LocalDateTime& local);

// UTF-8 text from a wide literal, for readable expectations.
std::string U8(std::wstring_view text);

}  // namespace ablagix::test
