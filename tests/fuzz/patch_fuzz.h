#pragma once
// What the four patch fuzz targets share: the input becomes a patch file, one reader opens
// it, and a patch that opens is checked against a small image and applied to it, its result
// never larger than a few MB whatever the patch claims.

#include "common/cancel.h"
#include "common/progress.h"
#include "patches/formats.h"
#include "scratch_file.h"

namespace ebf::fuzz {

inline int RunPatch(const uint8_t* data, std::size_t size, const char* name,
                    patches::OpenedPatch (*open)(const std::string&)) {
  // The image: 64 KiB that every run sees the same.
  static const ScratchFile image(std::string(name) + ".img");
  static const bool written = [] {
    static uint8_t bytes[65536];
    for (uint32_t i = 0; i < 65536; ++i) bytes[i] = static_cast<uint8_t>((i * 7 + i / 256) & 0xFF);
    return !image.Write(bytes, sizeof bytes).empty();
  }();
  (void)written;
  static const ScratchFile patch(std::string(name) + ".patch"), out(std::string(name) + ".out"),
      part(std::string(name) + ".out.part");
  patches::OpenedPatch opened = open(patch.Write(data, size));
  if (!opened.patch) return 0;
  NoProgress progress;
  CancelToken cancel;
  patches::ApplyPatchFile(*opened.patch, image.path, out.path, progress, cancel, 4 << 20);
  return 0;
}

}  // namespace ebf::fuzz
