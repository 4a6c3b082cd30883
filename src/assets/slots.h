#pragma once
// The six asset slots of a package (icon, animation, pictures, sound, boot picture), how a
// slot's check box and text turn into the one file the conversion uses, and the search
// that fills the slots from the custom-assets folders.

#include <array>
#include <cstdint>
#include <string>

#include "common/program_folders.h"

namespace ebf {

struct SlotInfo {
  const char* assetFileName;  // name inside PSXCust/Default and Temp
  const char* messageName;    // name used in validation messages
  int16_t minimumLength;
  uint32_t signature;    // first four bytes, read little-endian
  int16_t maximumWidth;  // 0 = no limit
  int16_t maximumHeight;
};

inline constexpr uint32_t kPngSignature4 = 0x474E5089;  // 89 50 4E 47
inline constexpr uint32_t kPsmfSignature = 0x464D5350;  // "PSMF"
inline constexpr uint32_t kRiffSignature = 0x46464952;  // "RIFF"

enum SlotIndex { kSlotIcon0, kSlotIcon1, kSlotPic0, kSlotPic1, kSlotSnd0, kSlotGameboot };
inline constexpr int kSlotCount = 6;

// In the fixed order every routine treats them. ICON1's 8-byte minimum is deliberate.
inline constexpr std::array<SlotInfo, kSlotCount> kSlots = {{
    {"ICON0.PNG", "ICON0.PNG", 24, kPngSignature4, 144, 80},
    {"ICON1.PMF", "ICON1.PMF", 8, kPsmfSignature, 0, 0},
    {"PIC0.PNG", "PIC0.PNG", 24, kPngSignature4, 480, 272},
    {"PIC1.PNG", "PIC1.PNG", 24, kPngSignature4, 480, 272},
    {"SND0.AT3", "SND0.AT3", 24, kRiffSignature, 0, 0},
    {"Gameboot.PNG", "Gameboot PNG", 24, kPngSignature4, 480, 272},
}};

// The zero-length "null" file in the work folder that stands for a removed asset; created
// (hidden) when missing.
std::string NullAssetFile(const std::string& workFolder);

// The path the conversion uses for one slot: "null" when unticked, the user's file when it
// exists, else the original asset of a package input (Temp) or the default (the user's
// PSXCust/Default before the shipped one).
std::string ResolveSlotFile(const ProgramFolders& folders, bool ticked, const std::string& text,
                            const std::string& assetFileName, bool inputIsEboot);

// "The <asset> file doesn't exist!" for a non-blank text naming no file, else "".
std::string SlotFileMissingMessage(const std::string& text, const std::string& assetFileName);

// The run's check of every slot text before anything is resolved, in the Go button's
// order (ICON0, PIC0, PIC1, ICON1, SND0, Gameboot): the first "doesn't exist" message, or "".
std::string FirstMissingSlotMessage(const std::array<std::string, kSlotCount>& texts);

struct CustomFolderSearch {
  ProgramFolders folders;        // PSXCust/ in the user's tree, then in the shipped one
  std::string customFolder;      // the defaultcustdir setting ("" = none)
  bool useSourceFolder = false;  // the usesourcedirascust setting
  std::string inputPath;         // the disc image or package being converted
  std::string gameId;            // the current game ID ("" = none): PSXCust/<ID>/ and the like
};

// Puts into each slot's text the first existing candidate (see slots.cpp for the order);
// a slot without a candidate keeps its text. Returns how many slots were filled.
int FillSlotsFromCustomFolder(std::array<std::string, kSlotCount>& texts,
                              const CustomFolderSearch& search);

}  // namespace ebf
