// libFuzzer target: extracting the pages of a DOCUMENT.DAT. The input goes to a scratch
// file, and the pages come out in a private folder.

#include "common/cancel.h"
#include "common/progress.h"
#include "docmaker/document_dat.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  static const ebf::fuzz::ScratchFile dat("DOCUMENT.DAT");
  static const ebf::fuzz::ScratchFolder pages("pages");
  ebf::NoProgress progress;
  ebf::CancelToken cancel;
  ebf::ExtractDocumentDat(dat.Write(data, size), pages.path, progress, cancel);
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(pages.path, ec))
    std::filesystem::remove(entry.path(), ec);
  return 0;
}
