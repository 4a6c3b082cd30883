#pragma once
// DOCUMENT.DAT, the manual the PSP shows for a game: the template header with the game ID
// and page count patched in, a table of 128-byte page records, eight zero bytes, then the
// PNG pages back to back.

#include <cstdint>
#include <string>
#include <vector>

#include "common/cancel.h"
#include "common/outcome.h"
#include "common/program_folders.h"
#include "common/progress.h"

namespace ebf {

inline constexpr uint64_t kDocIdOffset = 12;
inline constexpr uint64_t kDocIdLength = 9;
inline constexpr uint64_t kDocPageCountOffset = 132;
inline constexpr uint64_t kDocTableOffset = 136;
inline constexpr uint64_t kDocRecordSize = 128;
inline constexpr uint64_t kDocRecordSizeField = 12;
inline constexpr uint64_t kDocGapSize = 8;
// Pages wider than this, or of 30 bytes or less, are left out.
inline constexpr uint32_t kDocMaxPageWidth = 480;
inline constexpr uint64_t kDocMinPageBytes = 31;

// Data/DOCHead.dat, the user's before the shipped one.
std::string DocumentTemplatePath(const ProgramFolders& folders);

struct DocResult {
  Outcome outcome = Outcome::Failed("Nothing was written.");
  uint32_t pagesStored = 0;
};

// Pages that are missing, not PNG after conversion, or wider than 480 keep an all-zero
// record. Non-PNG pictures are converted through <work folder>/Temp/TempConv.png. A
// cancel removes the partial output.
DocResult WriteDocumentDat(const ProgramFolders& folders, const std::string& outputPath,
                           const std::string& gameIdPrefix, const std::string& gameIdNumber,
                           const std::vector<std::string>& pagePaths, Progress& progress,
                           CancelToken& cancel);

// Writes each page to <folder>/<zeros><index>.png, the zeros being 5 minus the number of
// digits of the highest index (count - 1), the same for every page of a file. Records of skipped
// pages (size 0) give no file, and the table ends where the file does. A cancel keeps the pages
// already written.
DocResult ExtractDocumentDat(const std::string& datPath, const std::string& outputFolder,
                             Progress& progress, CancelToken& cancel);

// The name ExtractDocumentDat gives page `index` of `count`.
std::string DocumentPageFileName(uint32_t index, uint32_t count);

}  // namespace ebf
