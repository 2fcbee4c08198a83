// "exif": the twenty Exif fields of a picture, as target folders and metadata conditions see
// them (an empty field shows as "-").
#include <algorithm>

#include "cli/commands.h"
#include "cli/console.h"
#include "base/text.h"
#include "fileops/file_ops.h"
#include "metadata/exif_reader.h"

namespace ablagix::cli {

int ExifCommand(const std::vector<std::wstring>& args, const GlobalOptions&) {
  if (args.size() != 1) {
    WriteErr(L"exif: genau eine Bilddatei angeben (ablagix-cli exif DATEI)\n");
    return kExitBadInput;
  }
  const std::wstring& file = args.front();
  if (!FileExists(file)) {
    WriteErr(L"Datei nicht gefunden: " + file + L"\n");
    return kExitBadInput;
  }
  // One reading for all fields; the run reads the picture per field, with the same result.
  const std::vector<PropertyItem> items = ReadPictureProperties(file);
  std::size_t width = 0;
  for (std::wstring_view name : kExifFieldNames) width = std::max(width, name.size());
  for (int field = 0; field < kExifFieldCount; ++field) {
    std::wstring line(kExifFieldNames[field]);
    line.append(width - line.size(), L' ');
    const std::wstring value = ExifFieldText(items, field);
    WriteOut(NumberText(static_cast<std::uint64_t>(field)) + (field < 10 ? L"   " : L"  ") + line + L"  " +
             (value.empty() ? L"-" : value) + L"\n");
  }
  return kExitOk;
}

}  // namespace ablagix::cli
