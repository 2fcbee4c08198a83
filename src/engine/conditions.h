// The conditions of a profile, decoded once per run and tested per file, cheapest first:
// extension, name pattern and excluded names (the name alone), then size and date (what the
// folder listing says), then metadata and text (the file's contents). The first failing test
// ends the checks for that file, so a file is only ever opened when everything cheaper passed;
// all tests must pass, so their order changes only the cost, never the result.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/calendar.h"
#include "engine/scan.h"
#include "engine/wildcard.h"
#include "profiles/profile.h"

namespace ablagix {

// A condition that has to look at the file itself (metadata, text inside it).
class FileContentTest {
 public:
  virtual ~FileContentTest() = default;
  virtual bool Accepts(const std::wstring& path, const DirEntry& entry) = 0;
};

struct ConditionContext {
  // The present moment as local wall-clock time; injected so tests can fix it.
  LocalDateTime now;
  // The mask stored for a named extension filter, "" when there is no such filter.
  std::function<std::wstring(const std::wstring& filterName)> storedFilterMask;
  // Builders for the content tests; unset or returning null means this build cannot
  // evaluate such a condition.
  std::function<std::unique_ptr<FileContentTest>(const std::wstring& metadaten)> makeMetadataTest;
  std::function<std::unique_ptr<FileContentTest>(const std::wstring& textSuche)> makeTextTest;
};

// A list of extensions ("jpg", "png", without dots); `all` accepts every extension.
struct ExtensionList {
  bool all = false;
  std::vector<std::wstring> extensions;
};
// Reads ".jpg,.png", "jpg, png", "*.jpg;*.png", "Alles"/"alles"/"*.*" alike.
ExtensionList ParseExtensionList(std::wstring_view text);

struct SizeCondition {
  wchar_t comparator;  // '<' or '>'
  std::uint64_t bytes;  // the amount in bytes, rounded down
  bool fraction = false;  // the amount lies between `bytes` and `bytes` + 1 ("<1,5BY")

  bool Met(std::uint64_t size) const {
    return comparator == L'<' ? (fraction ? size <= bytes : size < bytes) : size > bytes;
  }
};
// ">500KB": comparator, number, unit (KB, MB, GB; any other unit counts bytes). The number may
// have decimals after a comma or a point: "<1,5KB" is below 1536 bytes. nullopt when the text
// cannot be read; such a condition must refuse its profile, never be left out.
std::optional<SizeCondition> DecodeFileSize(std::wstring_view value);

struct DateCondition {
  bool creation;       // "EA": creation time; "GA": last write time
  wchar_t comparator;  // '<' older than, '>' newer than; anything else is never met
  LocalDateTime lower;  // the reference minute, second 0
  LocalDateTime upper;  // the same minute, second 59
};
// "GA<30D" relative to `now`. Unknown letters or a non-numeric amount give nullopt; such a
// condition must refuse its profile, never be left out.
std::optional<DateCondition> DecodeFiledate(std::wstring_view value, const LocalDateTime& now);

class ConditionSet {
 public:
  // Decodes the profile's conditions. `problem` (German, for the user) is set and the set
  // must not be used when a condition cannot be read or needs a test this build cannot make:
  // leaving such a condition out would select more files than the user asked for.
  static ConditionSet Build(const Profile& profile, const ConditionContext& context,
                            std::wstring* problem);

  // All tests, in their order.
  bool Accepts(const ScanEntry& file) const;

  // The same in three steps, for a scan that reads details only for names that pass and that
  // may test contents elsewhere (on worker threads).
  bool AcceptsName(std::wstring_view name, std::wstring_view extension) const;
  bool AcceptsDetails(const ScanEntry& file) const;  // size and date
  bool NeedsContent() const { return metadata_ || text_; }
  // Metadata and text; safe to call from several threads at once.
  bool AcceptsContent(const std::wstring& path, const DirEntry& entry) const;

 private:
  bool ExtensionAccepted(std::wstring_view extension) const;

  bool ignoreCase_ = true;
  ExtensionList include_;
  ExtensionList exclude_;
  std::optional<Wildcard> namePattern_;
  std::vector<Wildcard> excludedNames_;
  std::optional<SizeCondition> size_;
  std::optional<DateCondition> date_;
  std::shared_ptr<FileContentTest> metadata_;
  std::shared_ptr<FileContentTest> text_;
};

}  // namespace ablagix
