#pragma once
// Scratch space of one fuzzer process, removed when the fuzzer ends: a file that each input
// is written to (for the readers that read files), and private folders.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>

namespace ebf::fuzz {

inline std::string ScratchPath(const std::string& name, const std::string& folder = "/tmp") {
  return folder + "/ebf-fuzz-" + std::to_string(getpid()) + "-" + name;
}

struct ScratchFile {
  const std::string path;
  explicit ScratchFile(const std::string& name, const std::string& folder = "/tmp")
      : path(ScratchPath(name, folder)) {}
  ~ScratchFile() { std::remove(path.c_str()); }
  const std::string& Write(const uint8_t* data, std::size_t size) const {
    if (std::FILE* f = std::fopen(path.c_str(), "wb")) {
      if (size) std::fwrite(data, 1, size, f);
      std::fclose(f);
    }
    return path;
  }
};

struct ScratchFolder {
  const std::string path;
  explicit ScratchFolder(const std::string& name) : path(ScratchPath(name)) {
    std::error_code ec;
    std::filesystem::create_directories(path, ec);
  }
  ~ScratchFolder() {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
  }
};

}  // namespace ebf::fuzz
