// Extraction for the self-extractor: every entry of the archive into one folder, refusing
// names that would leave it, over long paths and Unicode names (Win32 only).
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

struct ExtractReport {
  bool archiveBroken = false;
  bool cancelled = false;
  std::wstring folderError;           // the target folder could not be created
  std::vector<std::wstring> refused;  // names that would leave the folder
  std::vector<std::wstring> failed;   // "name: reason"
  std::uint64_t files = 0;            // files written

  bool ok() const { return !archiveBroken && !cancelled && folderError.empty() && refused.empty() && failed.empty(); }
};

// Extracts into `folder` (created when missing). `progress` gets the bytes done and in all
// and returns false to cancel; a cancelled file is removed again.
ExtractReport ExtractArchive(ByteSource& archive, const std::wstring& folder,
                             const std::function<bool(std::uint64_t, std::uint64_t)>& progress);

// The report as German text for a message box; empty when everything went well.
std::wstring ReportText(const ExtractReport& report);

}  // namespace ablagix::sfx
