// System error codes (GetLastError on Windows, errno on Linux) as kinds of failure and as
// short German reasons for log rows and messages. system_error_win32.cpp and
// system_error_posix.cpp map the codes, system_error.cpp holds the texts.
#pragma once

#include <cstdint>
#include <string>

namespace ablagix {

// Why a call failed, in the terms a log row explains to the user.
enum class FsError : std::uint8_t {
  kNone,
  kNotFound,        // the file or a folder of its path is not there
  kAccessDenied,    // no permission (or a read-only file where writing was asked)
  kLocked,          // another program holds the file without sharing it
  kDiskFull,        // no space left (or the quota is used up)
  kExists,          // the name is taken
  kReadOnlyMedium,  // the volume itself refuses writes
  kNameTooLong,
  kNotSameVolume,   // a rename across volumes; the caller copies instead
  kNotRegularFile,  // a folder, a device, a pipe where a file was expected
  kCancelled,       // the progress callback said stop
  kIo,              // the device reported a read or write error
  kTooLarge,        // bigger than the file system takes (4 GB on FAT32)
  kInvalidName,
  kNoMemory,
  kNetwork,         // the network path went away
  // The name no longer stands for the file that was found: it was swapped for another file or
  // a link meanwhile (the file's identity differs), so nothing is done to it.
  kNotTheFoundFile,
  // The file was written to while it was being handled: what went elsewhere is not all there
  // is, so the source stays.
  kChangedMeanwhile,
  kOther,
};

// Which file the failure concerns, when that is known.
enum class FsSide : std::uint8_t { kUnknown, kSource, kTarget };

struct FsStatus {
  FsError error = FsError::kNone;
  FsSide side = FsSide::kUnknown;
  std::uint32_t code = 0;  // the system's own code (errno or GetLastError), 0 when none

  bool ok() const { return error == FsError::kNone; }
  static FsStatus Ok() { return {}; }
  static FsStatus Fail(FsError error, FsSide side = FsSide::kUnknown, std::uint32_t code = 0) {
    return {error, side, code};
  }
};

// Maps a system error code (errno on Linux, GetLastError on Windows) to its kind.
FsStatus StatusFromSystemError(std::uint32_t code, FsSide side = FsSide::kUnknown);

// The short German reason for a log row: "Nicht genügend Speicherplatz", "Zugriff verweigert".
std::wstring FsErrorText(FsError error);
// "Quelle: Zugriff verweigert" / "Ziel: Nicht genügend Speicherplatz" / just the reason.
std::wstring FsStatusText(const FsStatus& status);

// "Nicht genügend Speicherplatz", "Zugriff verweigert", ...; unknown codes give
// "Systemfehler <code>".
std::wstring SystemErrorText(std::uint32_t code);

// The system's codes for a full disk and for a name that is taken, for callers and tests that
// must recognise or provoke them.
std::uint32_t DiskFullError();
std::uint32_t AlreadyExistsError();

}  // namespace ablagix
