#include "desktop/shell_notify.h"

namespace ablagix {

void NotifyFolderChanged(const std::wstring&) {}

}  // namespace ablagix
