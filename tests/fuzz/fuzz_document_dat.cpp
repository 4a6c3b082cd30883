// libFuzzer target: extracting the pages of a DOCUMENT.DAT. The input goes to a file in a
// private temporary folder, and the pages come out in another.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <random>
#include <string>
#include <system_error>

#include "common/cancel.h"
#include "common/progress.h"
#include "docmaker/document_dat.h"

namespace {

std::filesystem::path WorkFolder() {
  static const std::filesystem::path folder = [] {
    std::filesystem::path p = std::filesystem::temp_directory_path() /
                              ("ebf-fuzz-doc-" + std::to_string(std::random_device{}()));
    std::filesystem::create_directories(p / "pages");
    return p;
  }();
  return folder;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::filesystem::path folder = WorkFolder();
  const std::string dat = (folder / "DOCUMENT.DAT").string();
  if (std::FILE* f = std::fopen(dat.c_str(), "wb")) {
    if (size) std::fwrite(data, 1, size, f);
    std::fclose(f);
  }
  ebf::NoProgress progress;
  ebf::CancelToken cancel;
  ebf::ExtractDocumentDat(dat, (folder / "pages").string(), progress, cancel);
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(folder / "pages", ec))
    std::filesystem::remove(entry.path(), ec);
  return 0;
}
