// "expand": what a target folder with path variables becomes for one file, with the file's
// own dates and size and the metadata readers, as a real run would build it; with "--name" the
// new name a "Zielname" template gives it.
#include "base/text.h"
#include "cli/commands.h"
#include "cli/console.h"
#include "engine/new_name.h"
#include "fileops/file_ops.h"
#include "fileops/path_text.h"
#include "metadata/metadata_source.h"

namespace ablagix::cli {

int ExpandCommand(const std::vector<std::wstring>& given, const GlobalOptions& options) {
  std::vector<std::wstring> args;
  bool asName = false;
  std::uint64_t number = 1;
  for (std::size_t i = 0; i < given.size(); ++i) {
    if (given[i] == L"--name") {
      asName = true;
    } else if (given[i] == L"--nr") {
      if (i + 1 >= given.size() || !ParseWholeNumber(given[i + 1], &number)) {
        WriteErr(L"expand: --nr braucht eine ganze Zahl\n");
        return kExitBadInput;
      }
      ++i;
    } else {
      args.push_back(given[i]);
    }
  }
  if (args.size() != 2) {
    WriteErr(L"expand: Datei und Vorlage angeben (ablagix-cli expand DATEI \"D:\\\\Fotos\\\\%Datum%\")\n");
    return kExitBadInput;
  }
  const std::wstring& file = args[0];
  // The dates and the size as the scan sees them: from the folder listing.
  FileFacts facts{file};
  bool found = false;
  FolderReader folder;
  const std::wstring name = NamePart(file);
  if (folder.Open(FolderPart(file).empty() ? L"." : FolderPart(file))) {
    DirEntry entry;
    while (folder.Next(&entry)) {
      if (entry.name == name && !entry.IsDirectory()) {
        facts.size = entry.size;
        facts.lastWrite = entry.lastWrite;
        facts.creation = entry.creation;
        found = true;
        break;
      }
    }
  }
  if (!found) {
    WriteErr(L"Datei nicht gefunden: " + file + L"\n");
    return kExitBadInput;
  }
  FileMetadataSource metadata(ReadMetadataSettings(SettingsFor(options).SettingsFilePath));
  const PathVariableContext context{FileTimeToLocal(CurrentFileTime()), &metadata};
  WriteOut((asName ? NewFileName(Trim(args[1]), facts, context, number) : ExpandPathVariables(args[1], facts, context)) +
           L"\n");
  return kExitOk;
}

}  // namespace ablagix::cli
