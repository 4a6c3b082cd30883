#pragma once
// Turning a disc image into what the converter wants: one raw image of 2352-byte sectors.
// ISOs get raw padding, 2448-byte images lose their subchannel; the result goes to
// Temp/TempBIN.bin.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "common/host.h"

namespace ebf {

inline constexpr const char* kMsgNotEnoughSpace =
    "It appears that you may not have enough disk space!";

enum class ImagePrep { AsIs, IsoPadding, StripSubchannel };

// Decides from the image's length and first bytes what must be done to it.
ImagePrep ChooseImagePrep(const std::string& imagePath, bool addIsoPadding);

struct PrepProgress {
  Host& host;
  bool logMode = false;
};

// Both write `outPath` (deleted first, and again on cancel or failure) and return
// "Success.", "Cancelled." or an error text.
std::string PadIsoToRaw(const std::string& isoPath, const std::string& outPath, PrepProgress p);
std::string StripSubchannel(const std::string& imagePath, const std::string& outPath,
                            PrepProgress p);

// The converter's output size estimate: image + ICON0, ICON1, PIC0, PIC1, SND0 +
// BASE.PBP + Gameboot + 28. Missing files count as 0.
uint64_t ExpectedEbootSize(const std::string& imagePath, const std::string assetPaths[5],
                           const std::string& basePbpPath, const std::string& gamebootPath);

using FreeSpaceSource = std::function<std::optional<uint64_t>(const std::string& path)>;

// "" when there is room or the free space cannot be told, else the message.
std::string CheckFreeSpace(const std::string& outputFolder, uint64_t expectedSize,
                           const FreeSpaceSource& freeSpace);

}  // namespace ebf
