#pragma once
// The checks made before a conversion starts, in their fixed order, shared by the main
// window and the command line. Refusals come back as text to show with the exclamation
// icon; confirmations are asked through the Host.

#include <functional>
#include <string>

#include "common/host.h"

namespace ebf {

inline constexpr const char* kMsgInputMissing = "The input file doesn't exist!";
inline constexpr const char* kMsgInputTooShort = "The input file can't possibly be valid! XD";
inline constexpr const char* kMsgOutputInvalid = "The output folder is invalid!";
inline constexpr const char* kMsgOutputIsData =
    "The output folder is cannot be the same as the Data folder!";

// The closing messages of a run.
inline constexpr const char* kMsgPatchingDone = "Patching Done!  Enjoy :)";
inline constexpr const char* kMsgConversionDone =
    "Conversion Done :)  Just copy the EBOOT.PBP file to ms0:/PSP/GAME/<Game Name>  Enjoy!";
inline constexpr const char* kMsgOnPspFolder =
    "Conversion Done :)  The output folder you have selected appears to be the correct location "
    "on the PSP drive (if not, you'll need to copy).  If this is so, just run the game from the "
    "GAME menu.  Enjoy!";
inline constexpr const char* kMsgOfferTransfer =
    "Conversion Done :)  Do you want to transfer the game to the PSP now?\r\n(note, if you "
    "wish, you can disable this feature by editing the INI file, if you find this annoying)";

struct GoInputs {
  std::string programFolder;  // ends in the separator
  std::string input;
  std::string output;
  std::string title;
  std::string saveName;
  std::string gameId;
  std::string region;  // "NTSC", "PAL" or anything else
  bool palFixScreen = false;
  bool palFixGraphics = false;
  // The asset slots' own check, run in its place in the order; "" or the message.
  std::function<std::string()> slotChecks;
};

struct GoVerdict {
  bool proceed = false;
  std::string warning;  // shown when not empty; empty with !proceed: the user said No
};

GoVerdict RunGoChecks(const GoInputs& in, Host& host);

// The output text that names the program's own Data folder exactly.
bool IsDataFolder(const std::string& programFolder, const std::string& output);

}  // namespace ebf
