// Copying and moving single files with progress and cancel.
//
// Neither operation ever leaves a half-written file under the target's name, and a move
// removes the source only after the file is complete at its new place: across volumes the
// move is a full copy, closed and flushed, before the source is deleted.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace ablagix {

// Called now and then with the bytes done and the total; returning false cancels.
using CopyProgress = std::function<bool(std::uint64_t done, std::uint64_t total)>;

enum class TransferResult { Done, Failed, Cancelled };

// Copies `from` to `to`, replacing `to` when it exists. Keeps the last-write time.
TransferResult CopyFileWithProgress(const std::wstring& from, const std::wstring& to,
                                    const CopyProgress& progress);

// Moves `from` to `to`, replacing `to` when it exists.
TransferResult MoveFileReplacing(const std::wstring& from, const std::wstring& to,
                                 const CopyProgress& progress);

}  // namespace ablagix
