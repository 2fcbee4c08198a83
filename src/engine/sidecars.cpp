#include "engine/sidecars.h"

#include <array>

#include "base/text.h"
#include "fileops/path_text.h"

namespace ablagix {
namespace {

constexpr std::array<std::wstring_view, 7> kSidecarExtensions = {L"xmp", L"aae", L"thm", L"json",
                                                                  L"xml", L"pp3", L"dop"};

std::wstring_view StemOf(std::wstring_view name) {
  const size_t dot = name.rfind(L'.');
  return dot == std::wstring_view::npos ? name : name.substr(0, dot);
}

// The name of the main file a sidecar points to, in both forms, folded for comparing.
struct MainKeys {
  std::wstring stem;      // "img_1" of "IMG_1.xmp": a main file whose stem this is
  std::wstring fullName;  // "img_1.jpg" of "IMG_1.jpg.xmp": a main file of this name
};

MainKeys KeysOf(std::wstring_view sidecarName) {
  const std::wstring_view stem = StemOf(sidecarName);
  MainKeys keys{ToLowerText(stem), {}};
  if (stem.find(L'.') != std::wstring_view::npos) keys.fullName = keys.stem;
  return keys;
}

}  // namespace

bool IsSidecarExtension(std::wstring_view extension) {
  for (std::wstring_view e : kSidecarExtensions) {
    if (EqualsNoCase(e, extension)) return true;
  }
  return false;
}

std::wstring SidecarTargetName(const Sidecar& sidecar, std::wstring_view mainTargetName) {
  const std::wstring_view extension = ExtensionOf(sidecar.entry.name);
  const std::wstring_view base = sidecar.carriesMainName ? mainTargetName : StemOf(mainTargetName);
  return std::wstring(base) + L"." + std::wstring(extension);
}

std::vector<Sidecar> SidecarFinder::For(const std::wstring& folder, std::wstring_view name) {
  std::vector<Sidecar> found;
  if (IsSidecarExtension(ExtensionOf(name))) return found;
  auto listed = folders_.find(folder);
  if (listed == folders_.end()) {
    std::vector<DirEntry> files;
    FolderReader reader;
    DirEntry entry;
    if (reader.Open(folder)) {
      while (reader.Next(&entry)) {
        if (entry.IsRegularFile() && IsSidecarExtension(ExtensionOf(entry.name))) files.push_back(entry);
      }
    }
    listed = folders_.emplace(folder, std::move(files)).first;
  }
  const std::wstring stem = ToLowerText(StemOf(name));
  const std::wstring full = ToLowerText(name);
  for (const DirEntry& candidate : listed->second) {
    const MainKeys keys = KeysOf(candidate.name);
    if (keys.stem == stem) {
      found.push_back({folder, candidate, false});
    } else if (keys.fullName == full) {
      found.push_back({folder, candidate, true});
    }
  }
  return found;
}

std::vector<bool> SidecarsOfRunFiles(const RunFileList& files) {
  // The main files of the run by folder and (folded) stem and full name.
  std::unordered_set<std::wstring> stems;
  std::unordered_set<std::wstring> names;
  for (const RunFile& file : files) {
    const std::wstring name = NamePart(file.path);
    if (IsSidecarExtension(ExtensionOf(name))) continue;
    const std::wstring folder = ToLowerText(FolderPart(file.path));
    stems.insert(folder + ToLowerText(StemOf(name)));
    names.insert(folder + ToLowerText(name));
  }
  std::vector<bool> sidecar(files.size(), false);
  std::size_t i = 0;
  for (const RunFile& file : files) {
    const std::wstring name = NamePart(file.path);
    if (IsSidecarExtension(ExtensionOf(name))) {
      const std::wstring folder = ToLowerText(FolderPart(file.path));
      const MainKeys keys = KeysOf(name);
      sidecar[i] = stems.contains(folder + keys.stem) || (!keys.fullName.empty() && names.contains(folder + keys.fullName));
    }
    ++i;
  }
  return sidecar;
}

}  // namespace ablagix
