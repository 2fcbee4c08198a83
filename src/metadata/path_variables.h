// Path variables: "%Token%" tokens in a target folder, a new name, a zip name or a metadata
// condition, replaced per file by a value taken from that file (dates, size, extension, its
// name, the folder that holds it, a piece of the name, metadata). A value the file does not have becomes "Unbekannt".
//
//   ExpandPathVariables(L"E:\\Fotos\\%DateGAYYYY%\\%Ext%", facts, context)
//     -> L"E:\\Fotos\\2021\\JPG"
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "base/calendar.h"
#include "fileops/file_ops.h"

namespace ablagix {

// What the expansion knows of one file.
struct FileFacts {
  std::wstring path;
  std::uint64_t size = 0;
  FileTime lastWrite = 0;
  FileTime creation = 0;
};

// Supplies metadata values (Exif, audio, document and version properties) by token name.
// Returns "" when the file has no such value.
class MetadataSource {
 public:
  virtual ~MetadataSource() = default;
  virtual std::wstring Value(const std::wstring& path, std::wstring_view name, bool pathMode) = 0;
};

struct PathVariableContext {
  LocalDateTime today;
  // Null while this build has no metadata readers: such names then count as unsupported.
  MetadataSource* metadata = nullptr;
};

// The whole text with every token replaced. An unpaired "%" and the rest after it stay as
// they are. Every value is made safe for a folder name: ":" and the other characters that a
// Windows file name cannot hold become "_", and "." or ".." become "_", so a value can
// neither add a folder level nor climb out of the target.
std::wstring ExpandPathVariables(std::wstring_view text, const FileFacts& file,
                                 const PathVariableContext& context);

// The value of one token name (without the "%"), before the safety replacement.
std::wstring ResolvePathVariable(std::wstring_view name, const FileFacts& file,
                                 const PathVariableContext& context, bool pathMode);

// True when a token in `text` names a metadata value (Exif, audio, document, version).
bool NeedsMetadata(std::wstring_view text);

// What the values of a token look like, so that the folders a target can name are told from
// folders that happen to lie beside them ("2024" can be "%DateGAYYYY%", "Urlaub" cannot).
enum class ValueShape {
  kAny,           // anything that makes a name (names, extensions, metadata)
  kYear,          // "2024"
  kYearMonth,     // "2024_05"
  kYearMonthDay,  // "2024_05_17"
  kMegabytes,     // "12Mb"
  kKilobytes,     // "12Kb"
};
// The shape of token `name` (without the "%"). Any token can also give "Unbekannt".
ValueShape ShapeOfPathVariable(std::wstring_view name);
// The date tokens with a pattern of their own after a "*": "%Geändert*yyyy-mm-dd%".
inline constexpr std::wstring_view kChangedDateName = L"Ge\u00e4ndert";
inline constexpr std::wstring_view kCreatedDateName = L"Erstellt";
// The text of a value that is not known.
inline constexpr std::wstring_view kUnknownValue = L"Unbekannt";

}  // namespace ablagix
