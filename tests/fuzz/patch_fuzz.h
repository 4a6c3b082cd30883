#pragma once
// What the four patch fuzz targets share: the input becomes a patch file, one reader opens
// it, and a patch that opens is checked against a small image and applied to it, its result
// never larger than a few MB whatever the patch claims.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "common/cancel.h"
#include "common/progress.h"
#include "patches/formats.h"

namespace ebf::fuzz {

inline int RunPatch(const uint8_t* data, std::size_t size, const char* name,
                    patches::OpenedPatch (*open)(const std::string&)) {
  // Scratch files of one process, removed when the fuzzer ends.
  static const struct Scratch {
    std::string stem;
    explicit Scratch(const char* n)
        : stem("/tmp/ebf-fuzz-" + std::string(n) + "-" + std::to_string(getpid())) {
      // The image: 64 KiB that every run sees the same.
      if (std::FILE* f = std::fopen((stem + ".img").c_str(), "wb")) {
        for (uint32_t i = 0; i < 65536; ++i)
          std::fputc(static_cast<int>((i * 7 + i / 256) & 0xFF), f);
        std::fclose(f);
      }
    }
    ~Scratch() {
      for (const char* ext : {".img", ".patch", ".out", ".out.part"})
        std::remove((stem + ext).c_str());
    }
  } scratch(name);
  const std::string patch = scratch.stem + ".patch";
  if (std::FILE* f = std::fopen(patch.c_str(), "wb")) {
    std::fwrite(data, 1, size, f);
    std::fclose(f);
  }
  patches::OpenedPatch opened = open(patch);
  if (!opened.patch) return 0;
  NoProgress progress;
  CancelToken cancel;
  patches::ApplyPatchFile(*opened.patch, scratch.stem + ".img", scratch.stem + ".out", progress,
                          cancel, 4 << 20);
  return 0;
}

}  // namespace ebf::fuzz
