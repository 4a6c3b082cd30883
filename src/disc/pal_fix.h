#pragma once
// The PAL-to-NTSC fix: two optional patches to a PAL game's R3000 code, found by fixed
// instruction pairs anywhere in a stretch of a file (no alignment) and rewritten in place.
// An undo list of the original words lets a patched source image be put back exactly.

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "common/cancel.h"
#include "common/file_io.h"
#include "common/progress.h"

namespace ebf {

inline constexpr const char* kPalFixCaption = "Applying PAL -> NTSC Fix...";
inline constexpr const char* kPalFixCompressedQuestion =
    "Warning: You have selected to do a PAL -> NTSC fix whilst making a compressed EBOOT.  This "
    "will apply the patch to the original Image file!  Although changes will be reverted, it's "
    "a good idea to keep a backup copy of the original Image, just in case something happens.  "
    "Continue?";

// The scan reads this much at a time; consecutive chunks overlap by one window.
inline constexpr uint32_t kPalChunkSize = 32767;
inline constexpr uint32_t kPalWindow = 8;
// The interface breathes once per this many chunks.
inline constexpr uint32_t kPalChunksPerPump = 65;

struct PalFixOptions {
  bool screenHeight = false;  // "Fix Screen Height"
  bool graphics = false;      // "Fix Graphics (may cause problems)"
  bool write = true;          // false: only report what would be patched
};

// One patch: where, which row of the table matched, and the words it replaced.
struct PalPatch {
  uint64_t offset = 0;  // file position of the window's first byte
  uint32_t w0 = 0, w1 = 0;
  int rule = 0;  // index into the patch table (0-1 screen height, 2-3 graphics)
};
// A short description of a table row ("screen height 0x24910013/0x24910010").
std::string PalRuleName(int rule);

struct PalFixResult {
  uint64_t patches = 0;
  bool cancelled = false;  // a cancel was seen; the request is left for the caller to take
  std::string error;       // a failed read or write; the scan stopped there
};

// Scans from the file's current position up to `end`. Each patch is appended to `undo`
// when one is given and reported to `onPatch` before it is written; when `onPatch` says
// false (the change could not be noted), it is not written and the scan stops there.
PalFixResult ApplyPalFix(File& file, uint64_t end, const PalFixOptions& options,
                         std::vector<PalPatch>* undo, Progress& progress, const CancelToken& cancel,
                         const std::function<bool(const PalPatch&)>& onPatch = {});
// Scans the spans as one run of bytes, in the order given, so that a match may begin in one
// span and end in the next (a package's disc image lies in blocks with headers between
// them). A patch's offset is its first byte's file position; a window that straddles two
// spans is written in two pieces, so such patches cannot be put back by ReplayPalUndo.
PalFixResult ApplyPalFix(File& file, const std::vector<FileSpan>& spans,
                         const PalFixOptions& options, std::vector<PalPatch>* undo,
                         Progress& progress, const CancelToken& cancel,
                         const std::function<bool(const PalPatch&)>& onPatch = {});

// Writes the original words back, in list order. Returns "" or an error text.
std::string ReplayPalUndo(File& file, const std::vector<PalPatch>& undo);
std::string ReplayPalUndo(const std::string& path, const std::vector<PalPatch>& undo);

}  // namespace ebf
