#pragma once
// Turning a disc into what the converter wants: one raw image of 2352-byte sectors, and
// ISO.TOC for a disc of several tracks. ISOs get raw padding, 2448-byte images lose their
// subchannel, the files of a CUE sheet are joined; the result goes to Temp/TempBIN.bin.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "common/cancel.h"
#include "common/outcome.h"
#include "common/progress.h"
#include "disc/disc_image.h"

namespace ebf {

inline constexpr const char* kMsgNotEnoughSpace =
    "It appears that you may not have enough disk space!";

enum class ImagePrep { AsIs, IsoPadding, StripSubchannel };

// Decides from the image's length and first bytes what must be done to it.
ImagePrep ChooseImagePrep(const std::string& imagePath, bool addIsoPadding);

// The disc's sectors in order into `outPath` (deleted first, and again on cancel or
// failure), through a fixed buffer, as a stage named `caption`; progress and cancel every
// 512 sectors.
Outcome WriteDiscImage(DiscImage& disc, const std::string& outPath, const char* caption,
                       Progress& progress, CancelToken& cancel);

// Both write `outPath` as WriteDiscImage does.
Outcome PadIsoToRaw(const std::string& isoPath, const std::string& outPath, Progress& progress,
                    CancelToken& cancel);
Outcome StripSubchannel(const std::string& imagePath, const std::string& outPath,
                        Progress& progress, CancelToken& cancel);

inline constexpr const char* kMsgUnpaddedIso =
    "ISO padding is off, so the 2,048-byte sectors of %s are stored without raw headers: the "
    "package will not start in emulators.";

struct DiscPreparation {
  Outcome outcome = Outcome::Success();
  std::string imagePath;  // what the converter is given: the user's file or `tempBin`
  std::string warning;    // what the package will lack, also logged ("" when nothing)
};
// The whole preparation of a disc input. A CUE sheet of one file without gaps is read as it
// always was (PrepareCue), unless its disc would come out broken; a CUE sheet of several
// files, an IMG with a .ccd beside it and an MDF with an .mds beside it get ISO.TOC from
// their sheet in the output folder (ending in the separator). The image is the user's file when it
// already is the disc's raw sectors, else it is written to `tempBin`. `plainImage` reads the input
// as a plain image whatever lies beside it (a package's extracted image). A plain ISO of
// 2,048-byte sectors with padding off goes to the converter as it is, with an ISO.TOC that
// gives the disc its length in the ISO's sectors, and the warning kMsgUnpaddedIso.
DiscPreparation PrepareDiscImage(const std::string& inputPath, const std::string& outputFolder,
                                 const std::string& tempBin, bool addIsoPadding, bool plainImage,
                                 Progress& progress, CancelToken& cancel,
                                 const std::string& tocName = "ISO.TOC");

// The converter's output size estimate: image + ICON0, ICON1, PIC0, PIC1, SND0 +
// BASE.PBP + Gameboot + 28. Missing files count as 0.
uint64_t ExpectedEbootSize(const std::string& imagePath, const std::string assetPaths[5],
                           const std::string& basePbpPath, const std::string& gamebootPath);

using FreeSpaceSource = std::function<std::optional<uint64_t>(const std::string& path)>;

// "" when there is room or the free space cannot be told, else the message.
std::string CheckFreeSpace(const std::string& outputFolder, uint64_t expectedSize,
                           const FreeSpaceSource& freeSpace);

}  // namespace ebf
