#include <windows.h>
#include <shlobj.h>

#include "desktop/shell_notify.h"

namespace ablagix {

void NotifyFolderChanged(const std::wstring& folder) {
  SHChangeNotify(SHCNE_UPDATEDIR, SHCNF_PATHW | SHCNF_FLUSHNOWAIT, folder.c_str(), nullptr);
}

}  // namespace ablagix
