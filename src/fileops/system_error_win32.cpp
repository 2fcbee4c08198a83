// The system's GetLastError codes as kinds of failure.
#include <windows.h>

#include "base/text.h"
#include "fileops/system_error.h"

namespace ablagix {

FsStatus StatusFromSystemError(std::uint32_t code, FsSide side) {
  FsError error = FsError::kOther;
  switch (code) {
    case ERROR_SUCCESS: error = FsError::kNone; break;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NET_NAME:
    case ERROR_DIRECTORY: error = FsError::kNotFound; break;
    case ERROR_BAD_NETPATH:
    case ERROR_NETNAME_DELETED:
    case ERROR_UNEXP_NET_ERR: error = FsError::kNetwork; break;
    case ERROR_FILE_TOO_LARGE: error = FsError::kTooLarge; break;
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME: error = FsError::kInvalidName; break;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY: error = FsError::kNoMemory; break;
    case ERROR_ACCESS_DENIED:
    case ERROR_PRIVILEGE_NOT_HELD: error = FsError::kAccessDenied; break;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_USER_MAPPED_FILE: error = FsError::kLocked; break;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case 1295 /* ERROR_DISK_QUOTA_EXCEEDED */: error = FsError::kDiskFull; break;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS: error = FsError::kExists; break;
    case ERROR_WRITE_PROTECT: error = FsError::kReadOnlyMedium; break;
    case ERROR_FILENAME_EXCED_RANGE: error = FsError::kNameTooLong; break;
    case ERROR_NOT_SAME_DEVICE: error = FsError::kNotSameVolume; break;
    case ERROR_REQUEST_ABORTED:
    case ERROR_OPERATION_ABORTED: error = FsError::kCancelled; break;
    case ERROR_CRC:
    case ERROR_READ_FAULT:
    case ERROR_WRITE_FAULT:
    case ERROR_IO_DEVICE: error = FsError::kIo; break;
    default: break;
  }
  return FsStatus{error, error == FsError::kNone ? FsSide::kUnknown : side, code};
}

std::uint32_t DiskFullError() { return ERROR_DISK_FULL; }
std::uint32_t AlreadyExistsError() { return ERROR_FILE_EXISTS; }

}  // namespace ablagix
