// Sidecar files: the small files that photo programs keep beside a picture (.xmp, .aae, .thm,
// .json, .xml, .pp3, .dop). A sidecar belongs to the file of the same base name ("IMG_1.xmp"
// beside "IMG_1.jpg") or carries that file's whole name ("IMG_1.jpg.xmp"). With the profile
// option "Begleitdateien" they travel with their main file and take the name it gets.
#pragma once

#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "engine/scan.h"
#include "fileops/files.h"

namespace ablagix {

bool IsSidecarExtension(std::wstring_view extension);

struct Sidecar {
  std::wstring folder;
  DirEntry entry;  // name, size and times
  bool carriesMainName = false;  // "IMG_1.jpg.xmp" rather than "IMG_1.xmp"
};

// The sidecar's new name when its main file `mainName` became `mainTargetName`:
// "IMG_1.xmp" follows "IMG_1.jpg" -> "IMG_1(1).jpg" as "IMG_1(1).xmp".
std::wstring SidecarTargetName(const Sidecar& sidecar, std::wstring_view mainTargetName);

// Finds sidecars in the folders of a run; each folder is listed once.
class SidecarFinder {
 public:
  // The sidecars of the main file `name` in `folder`; none for a file that is a sidecar itself.
  std::vector<Sidecar> For(const std::wstring& folder, std::wstring_view name);

 private:
  std::unordered_map<std::wstring, std::vector<DirEntry>> folders_;
};

// Which files of a run are the sidecars of another file of the same run: those are handled
// with their main file, never a second time on their own. A sidecar whose main file is not in
// the run is an ordinary file.
std::vector<bool> SidecarsOfRunFiles(const RunFileList& files);

}  // namespace ablagix
