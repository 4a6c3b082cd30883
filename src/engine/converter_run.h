#pragma once
// Running the converter: staging its files in the output folder, starting it hidden,
// following the growing EBOOT.PBP, and judging its output.

#include <array>
#include <chrono>
#include <cstdint>
#include <string>

#include "common/host.h"
#include "common/program_folders.h"

namespace ebf {

inline constexpr const char* kConverterName = "tarnwick.exe";
inline constexpr const char* kMsgPipeError = "Pipe Error!!!";
inline constexpr const char* kMsgCouldNotStart = "Could not start tarnwick!";
inline constexpr const char* kMsgPipeUnreadable =
    "Pipe could not be read!  Something may be stuffed up... :/";
inline constexpr const char* kMsgConversionError =
    "Error occurred during conversion!  Tarnwick returned the following:";

// Effective asset files in the converter's order, and the names they are staged under.
enum AssetIndex { kIcon0, kIcon1, kPic0, kPic1, kSnd0, kBoot, kAssetCount };
inline constexpr std::array<const char*, kAssetCount> kStagedAssetNames = {
    "ICON0.PNG", "ICON1.PMF", "PIC0.PNG", "PIC1.PNG", "SND0.AT3", "BOOT.PNG"};
using AssetPaths = std::array<std::string, kAssetCount>;

// Copies the converter, BASE.PBP, DATA.PSP (when present; the user's own before the shipped
// ones) and each asset that is not already its staged file into the output folder (ending
// in the separator). Returns "" or an error text.
std::string StageConverterFiles(const ProgramFolders& folders, const std::string& outputFolder,
                                const AssetPaths& assets);

// Removes what staging put in the output folder (never a user's own asset file) and ISO.TOC.
void RemoveStagedFiles(const std::string& outputFolder, const AssetPaths& assets);

struct ConverterRunOptions {
  std::string outputFolder;  // ends in the separator
  std::string title;
  std::string gameId;
  int level = 9;
  std::string inputPath;
  uint64_t expectedSize = 0;
  bool logMode = false;
  std::chrono::milliseconds pollInterval{200};
};

// The command line exactly as the converter is started with it (nothing escaped).
std::string ConverterCommandLine(const ConverterRunOptions& o);

// True when the output ends in "Done." (CR and LF in the last ten characters ignored).
bool ConverterSucceeded(const std::string& output);

// Runs the staged converter. "Success.", "Cancelled." (EBOOT.PBP deleted) or the error.
std::string RunConverter(const ConverterRunOptions& o, Host& host);

}  // namespace ebf
