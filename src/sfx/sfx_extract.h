// Extraction for the self-extractor: every entry of the archive into one folder, refusing
// names that would leave it, over long paths and Unicode names (Win32 only).
//
// A file that is already there is never truncated or deleted: each entry is written to a
// hidden temporary file beside its target and gets its name only once it is complete and its
// CRC is right. A taken name is replaced only when the person says so, and then by renaming
// over the old file; otherwise the new file is numbered ("Bericht(1).docx").
#pragma once

#include <windows.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "fileops/byte_source.h"

namespace ablagix::sfx {

// This program's own file, read through a handle.
class HandleSource : public ByteSource {
 public:
  explicit HandleSource(HANDLE file);
  std::uint64_t size() const override { return size_; }
  bool Read(std::uint64_t offset, std::size_t count, std::string* out) override;

 private:
  HANDLE file_;
  std::uint64_t size_ = 0;
};

// A file of an entry's name that is already in the target folder.
struct TakenName {
  std::wstring name;  // relative to the target folder, "\" between folders
  std::uint64_t existingSize = 0;
  FILETIME existingTime{};  // last written, UTC
  std::uint64_t newSize = 0;
  FILETIME newTime{};
};

enum class TakenChoice { kReplace, kKeepBoth, kCancel };

struct TakenAnswer {
  TakenChoice choice = TakenChoice::kKeepBoth;
  bool forAll = false;  // the same for every further taken name, without asking
};

struct ExtractCallbacks {
  // Bytes done and in all; false cancels.
  std::function<bool(std::uint64_t, std::uint64_t)> progress;
  // Asked before an entry is written over a file of its name. Without it (silent mode) the
  // new file is numbered and nothing is replaced.
  std::function<TakenAnswer(const TakenName&)> askTaken;
};

struct ExtractReport {
  bool archiveBroken = false;
  bool cancelled = false;
  std::wstring folderError;            // the target folder could not be created
  std::vector<std::wstring> refused;   // names that would leave the folder
  std::vector<std::wstring> failed;    // "name: reason"
  std::vector<std::wstring> renamed;   // "name → stored name", names Windows does not allow
  std::vector<std::wstring> numbered;  // "name → stored name", the name was taken
  std::uint64_t files = 0;             // files written
  std::uint64_t replaced = 0;          // of them, put in place of an existing file

  bool ok() const { return !archiveBroken && !cancelled && folderError.empty() && refused.empty() && failed.empty(); }
};

// Extracts into `folder` (created when missing). Cancelling, by `progress` or by the answer to
// a taken name, keeps the files extracted so far and removes only the unfinished one.
ExtractReport ExtractArchive(ByteSource& archive, const std::wstring& folder, const ExtractCallbacks& callbacks);

// The report as German text for a message box; empty when everything went as the archive
// says, with no name changed.
std::wstring ReportText(const ExtractReport& report);

// "Bericht(1).docx": the name a kept-both file gets; a leading dot does not start an extension
// (".profile(1)").
std::wstring NumberedName(const std::wstring& name, unsigned n);

// 0 all extracted (names changed or not); 1 some entries refused or not written; 2 the
// archive is damaged or missing; 3 the target folder cannot be created; 4 cancelled.
int ExitCode(const ExtractReport& report);

}  // namespace ablagix::sfx
