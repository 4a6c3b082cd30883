#pragma once
// Inspection of a package given as input: checks it, takes its sections, boot picture
// and start data apart into the program's Temp folder, and reads title, game ID and save
// name from it.

#include <cstdint>
#include <string>

#include "common/file_io.h"
#include "common/questions.h"
#include "pbp/container.h"

namespace ebf::pbp {

inline constexpr uint64_t kMinInspectSize = 20496;
inline constexpr const char* kEbootTooSmall = "The selected EBOOT is WAY too small to be valid!";
inline constexpr const char* kEbootNotValid =
    "The selected EBOOT doesn't appear to be valid!  (PSAR header not found)";

// Names of what the inspection leaves in Temp besides the sections.
inline constexpr const char* kGamebootFile = "Gameboot.png";
inline constexpr const char* kStartDatFile = "START.DAT";

// The six Extract buttons: each saves one file the inspection left in Temp.
struct AssetExtractDialog {
  const char* title;
  const char* defaultExtension;
  const char* defaultName;  // "" for none
  const char* filterName;   // followed by "All Files (*.*)"
  const char* filterPattern;
  const char* tempFile;
};
inline constexpr AssetExtractDialog kAssetExtractDialogs[] = {
    {"Select where to save the gameboot PNG", "png", "", "PNG Files (*.png)", "*.png",
     kGamebootFile},
    {"Select where to save ICON0.PNG", "png", "ICON0.PNG", "PNG Files (*.png)", "*.png",
     "ICON0.PNG"},
    {"Select where to save ICON1.PMF", "pmf", "ICON1.PMF", "PSMF Files (*.pmf)", "*.pmf",
     "ICON1.PMF"},
    {"Select where to save PIC0.PNG", "png", "PIC0.PNG", "PNG Files (*.png)", "*.png", "PIC0.PNG"},
    {"Select where to save PIC1.PNG", "png", "PIC1.PNG", "PNG Files (*.png)", "*.png", "PIC1.PNG"},
    {"Select where to save SND0.AT3", "at3", "SND0.AT3", "ATRAC3 Files (*.at3)", "*.at3",
     "SND0.AT3"},
};

// Copies a file the inspection left in Temp to the chosen path. Nothing happens (false)
// when the Temp file is missing.
bool SaveTempAsset(const std::string& tempFolder, const std::string& tempFile,
                   const std::string& destPath);

struct Inspection {
  // "" when the package was taken apart; else the message to show (exclamation icon).
  std::string message;
  std::string title;     // from PARAM.SFO, UTF-8
  std::string gameId;    // the 9-byte disc ID of PARAM.SFO
  std::string saveName;  // 128 bytes at DATA.PSAR + 0x122C (disc 1's section + 0x122C)
  int discCount = 1;
  PbpHeader header;
  uint64_t fileSize = 0;
  uint64_t startData = 0;  // absolute offset of the start-data block
  uint64_t bootPngSize = 0;
};

// The inspection's checks and reads, writing nothing: a package the inspection refuses is
// refused here with the same message, and a package it opens is opened here. The disc
// image's block index is not read (the inspection does not need it), but the disc table of
// a package of several discs is read whole: a package whose table is damaged is refused.
Inspection ReadInspection(File& package, const std::string& ebootPath);

// tempFolder ends in the separator; it is created when missing and marked hidden. The
// files written there: PARAM.SFO, ICON0.PNG, ICON1.PMF, PIC0.PNG, PIC1.PNG, SND0.AT3,
// BASE.PSP, Gameboot.png and START.DAT (everything after the boot picture but the file's
// last byte, as it has always been taken). Copies go through ReadSectionToFile, so a
// length of exactly 32,767 bytes takes the byte after it.
Inspection InspectEboot(const std::string& ebootPath, const std::string& tempFolder,
                        Questions& questions);

}  // namespace ebf::pbp
