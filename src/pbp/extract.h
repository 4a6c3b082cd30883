#pragma once
// Takes the disc image stored in a package's DATA.PSAR back out as raw 2,352-byte
// sectors, 16 to a block, whatever extension the output has.

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "common/cancel.h"
#include "common/file_io.h"
#include "common/outcome.h"
#include "common/progress.h"
#include "common/questions.h"
#include "pbp/psar.h"

namespace ebf::pbp {

// What a failed extraction says (besides the out-of-space text).
inline constexpr const char* kNoSuchFile = "File doesn't exist!";
inline constexpr const char* kPsarHeaderNotFound =
    "EBOOT doesn't appear to be valid!  (PSAR header not found)";
inline constexpr const char* kInflateFailed = "zlib inflate failed!";

std::string OutOfSpaceText(uint64_t bytesRequired);

// The EBOOT-to-ISO button's save dialog.
inline constexpr const char* kIsoDialogTitle = "Select where to save the ISO";
inline constexpr const char* kIsoDialogExtension = "iso";
inline constexpr const char* kIsoDialogFilter = "ISO Files (*.iso)";
inline constexpr const char* kExtractDone = "Done :)";

// The question asked before an extraction when a CCD file named like the output exists
// (Yes/No, exclamation); "" when there is none.
std::string CcdOverwriteQuestion(const std::string& outputPath);

// The digest field of an index entry: the first 16 bytes of SHA-1 over the block's plain
// 37,632 bytes, as our converter writes it (zero or another kind in other tools' packages).
inline constexpr uint64_t kIndexDigestPos = 8;
inline constexpr std::size_t kIndexDigestSize = 16;
using BlockDigestField = std::array<uint8_t, kIndexDigestSize>;

struct BlockRef {
  uint32_t offset = 0;  // from DATA.PSAR + 0x100000
  uint32_t length = 0;  // bytes stored; exactly 37,632 means stored raw
  BlockDigestField digest{};
  bool stored() const { return length == kBlockSize; }
};

// What the disc-image header of one disc of an open package says, checked against the
// file's size.
struct DiscImageLayout {
  uint64_t fileSize = 0;
  uint64_t psar = 0;     // DATA.PSAR offset
  uint64_t section = 0;  // the disc's own section: DATA.PSAR itself in a package of one disc
  int disc = 1;          // which disc, from 1
  int discCount = 1;     // how many the package holds
  TocArea toc{};
  std::vector<BlockRef> blocks;  // every used index slot, in index order
};

// Reads the DATA.PSAR offset, finds disc `disc` (1 for a package of one disc; through the
// title header's table for several), checks its magic, and scans its whole block index (a
// slot with offset and length both 0 is skipped, later slots are still read). Returns "" or
// a message: kPsarHeaderNotFound, the table's problem (DiscTableMessage), a disc the
// package does not hold, or a sentence naming `displayPath` and what is wrong (index cut
// short, a block that starts past the end of the file).
// With `keepBlocksPastEnd` such blocks are kept instead (they read as zeros), for a check
// that names every damaged block.
std::string ReadDiscImageLayout(File& package, const std::string& displayPath, DiscImageLayout& out,
                                bool keepBlocksPastEnd = false, int disc = 1);

// "The EBOOT "x" holds 2 discs; there is no disc 3."
std::string NoSuchDiscMessage(const std::string& ebootPath, int discCount, int disc);

// Where disc N of a package of several goes when the user named one output:
// "dir/Game.iso" gives "dir/Game (Disc 2).iso", "dir/Game" gives "dir/Game (Disc 2)".
std::string DiscOutputPath(const std::string& outputPath, int disc);

// One output file of an extraction: `count` sectors from sector `first` of the image.
// Targets follow one another without gaps, the first at sector 0.
struct SectorTarget {
  std::string path;
  uint64_t first = 0;
  uint64_t count = 0;
  std::string shownAs;  // the name messages give (the final name of a temporary file)
};

// Reads the blocks in order and writes their sectors to the targets (created or
// truncated); progress and cancel every 32 blocks. Where the package carries our block
// digests, every block must match its own. A failure names the failing block and its
// offset, or the file that could not be written. Written files are left to the caller.
Outcome WriteSectors(const std::string& packagePath, const DiscImageLayout& layout,
                     const std::vector<SectorTarget>& targets, Progress& progress,
                     CancelToken& cancel);

// Extracts disc `disc` (from 1) to outputPath; with conversionLayout the TOC file is ISO.TOC
// beside the output (ISO2.TOC ... for later discs). tocSetting is eboot_toc_extract (0 none,
// 1 TOC file, 2 CCD file). The image and its TOC files are written under temporary names and
// renamed together when all are complete; on every other way out nothing of the run is left.
// With a note folder (the work folder's Temp) the temporary names are noted there first, so
// that the next start removes them should the program be killed. Cancel is honoured every 32
// blocks. Failures: the messages above (kInflateFailed followed by the block and its offset),
// the out-of-space text, or a message about a damaged package or an output that cannot be
// written.
// Whether the files of the user's that an extraction would replace are asked about first
// (the run is Declined when one is answered No).
struct ReplaceCheck {
  Questions* questions = nullptr;  // null: replaced without a word (a save dialog asked)
  // Ask, then stop before anything is written: a package of several discs has every disc's
  // questions answered before the first disc is written.
  bool onlyAsk = false;
};

Outcome ExtractDiscImage(const std::string& ebootPath, const std::string& outputPath,
                         bool conversionLayout, int tocSetting, Progress& progress,
                         CancelToken& cancel, const std::string& noteFolder = {}, int disc = 1,
                         const ReplaceCheck& replace = {});

// Every disc of the package as ExtractDiscImage writes it: a package of one disc to
// outputPath, each disc of several to DiscOutputPath(outputPath, N) with its TOC files
// named after that. A failure says which disc; the discs written before it stay.
Outcome ExtractEveryDisc(const std::string& ebootPath, const std::string& outputPath,
                         int tocSetting, Progress& progress, CancelToken& cancel,
                         const std::string& noteFolder = {},
                         Questions* askBeforeReplacing = nullptr);

}  // namespace ebf::pbp
