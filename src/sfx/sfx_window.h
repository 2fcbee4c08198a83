// The self-extractor's window: the texts of the archive, a folder choice, a progress bar.
#pragma once

#include <windows.h>

#include <string>
#include <vector>

#include "fileops/byte_source.h"
#include "zip/sfx_archive.h"

namespace ablagix::sfx {

// Shows the window until it is closed; returns the process exit code.
int RunWindow(HINSTANCE instance, ByteSource& archive, const std::vector<SfxText>& texts,
              const std::wstring& initialFolder);

}  // namespace ablagix::sfx
