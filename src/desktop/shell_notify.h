// Tells the shell that a folder's content changed, so open Explorer windows refresh.
#pragma once

#include <string>

namespace ablagix {

// Windows: SHChangeNotify(SHCNE_UPDATEDIR). Elsewhere nothing: file managers watch by themselves.
void NotifyFolderChanged(const std::wstring& folder);

}  // namespace ablagix
