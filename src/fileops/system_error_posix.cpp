// The system's errno values as kinds of failure.
#include <cerrno>

#include "base/text.h"
#include "fileops/system_error.h"

namespace ablagix {

FsStatus StatusFromSystemError(std::uint32_t code, FsSide side) {
  FsError error = FsError::kOther;
  switch (static_cast<int>(code)) {
    case 0: error = FsError::kNone; break;
    case ENOENT:
    case ENOTDIR: error = FsError::kNotFound; break;
    case EACCES:
    case EPERM: error = FsError::kAccessDenied; break;
    case EBUSY:
    case ETXTBSY:
    case EAGAIN: error = FsError::kLocked; break;
    case ENOSPC:
    case EDQUOT: error = FsError::kDiskFull; break;
    case EEXIST:
    case ENOTEMPTY: error = FsError::kExists; break;
    case EROFS: error = FsError::kReadOnlyMedium; break;
    case ENAMETOOLONG: error = FsError::kNameTooLong; break;
    case EXDEV: error = FsError::kNotSameVolume; break;
    case EISDIR: error = FsError::kNotRegularFile; break;
    case EIO: error = FsError::kIo; break;
    case EFBIG: error = FsError::kTooLarge; break;
    case EINVAL:
    case EILSEQ: error = FsError::kInvalidName; break;
    case ENOMEM: error = FsError::kNoMemory; break;
    case ENETDOWN:
    case ENETUNREACH:
    case EHOSTDOWN:
    case EHOSTUNREACH:
    case ESTALE: error = FsError::kNetwork; break;
    default: break;
  }
  return FsStatus{error, error == FsError::kNone ? FsSide::kUnknown : side, code};
}

std::uint32_t DiskFullError() { return ENOSPC; }
std::uint32_t AlreadyExistsError() { return EEXIST; }

}  // namespace ablagix
