#pragma once
// The readers of each format, for OpenPatch (patch.h), which picks one by the file's first
// bytes. Each reads its header and walks the whole patch once, so that a damaged patch is
// refused when it is opened.

#include <string>

#include "patches/patch.h"

namespace ebf::patches {

OpenedPatch OpenPpf(const std::string& path);
OpenedPatch OpenIps(const std::string& path);
OpenedPatch OpenBps(const std::string& path);
OpenedPatch OpenVcdiff(const std::string& path);

}  // namespace ebf::patches
