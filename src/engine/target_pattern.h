// The folders a profile's target text can name. A run leaves them out of its scan when they lie
// inside its source, so it never takes up what it wrote there itself; folders that merely lie
// beside them are scanned as any other ("Fotos\%DateGAYYYY%" leaves out "Fotos\2024", not
// "Fotos\Urlaub").
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "metadata/path_variables.h"

namespace ablagix {

class TargetFolderPattern {
 public:
  // `ziel` as the profile holds it, variables included; "" names no folder.
  explicit TargetFolderPattern(std::wstring_view ziel);

  // True when `folder` is a folder the target can name, or lies below one. The folders above
  // the first variable only hold the target and are not covered ("D:\Fotos" is not, for
  // "D:\Fotos\%DateGAYYYY%"). Fixed parts compare by the file system's case rule.
  bool Covers(std::wstring_view folder) const;

 private:
  struct Piece {
    std::wstring text;      // a fixed part (when `variable` is false)
    bool variable = false;
    ValueShape shape = ValueShape::kAny;
  };
  using Component = std::vector<Piece>;

  static bool Matches(const Component& component, std::wstring_view name);

  std::vector<Component> components_;
  // How many components a folder needs to be covered: those up to the first variable.
  std::size_t depth_ = 0;
};

}  // namespace ablagix
