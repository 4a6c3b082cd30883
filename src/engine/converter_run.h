#pragma once
// Running the converter: staging its files in the output folder, starting it hidden,
// following the growing EBOOT.PBP, and judging its output.

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "common/cancel.h"
#include "common/outcome.h"
#include "common/program_folders.h"
#include "common/progress.h"

namespace ebf {

inline constexpr const char* kConverterName = "tarnwick.exe";
// What a conversion has the converter write; it becomes EBOOT.PBP only once checked.
inline constexpr const char* kPartialPackageName = "EBOOT.PBP.part";
// The note in Temp that names, while a run is under way, every file it may leave in the
// output folder (staged files, ISO.TOC, the partial package), so that the next start can
// remove them should the program be killed.
inline constexpr const char* kRunNote = "RUN.NOTE";
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

// A package holds at most five discs: the PSP's disc menu and the emulators see no more.
inline constexpr int kMaxPackageDiscs = 5;
// A work file of disc `disc` in Temp: "TempBIN.bin" for the first, "TempBIN2.bin" ...
std::string TempImageName(const std::string& stem, const std::string& extension, int disc);

// Copies the converter, BASE.PBP, DATA.PSP (when present; the user's own before the shipped
// ones) and each asset that is not already its staged file into the output folder (ending
// in the separator). Returns "" or an error text.
std::string StageConverterFiles(const ProgramFolders& folders, const std::string& outputFolder,
                                const AssetPaths& assets);

// The files StageConverterFiles makes in the output folder.
std::vector<std::string> StagedFilePaths(const std::string& outputFolder, const AssetPaths& assets);

// Whether a file name is one that a run makes in the output folder and may delete (the
// staged files, the discs' TOC files, and packages under their temporary names,
// "*.PBP.part").
bool IsRunFileName(const std::string& name);

// Removes what staging put in the output folder (never a user's own asset file) and the
// discs' TOC files.
void RemoveStagedFiles(const std::string& outputFolder, const AssetPaths& assets);

struct ConverterRunOptions {
  std::string outputFolder;  // ends in the separator
  std::string title;
  std::string gameId;
  int level = 9;
  std::string inputPath;
  // Discs 2 to 5 of a game on several discs: each its own ID and prepared image.
  struct LaterDisc {
    std::string gameId, inputPath;
  };
  std::vector<LaterDisc> laterDiscs;
  // The file the converter writes in the output folder (told through TARNWICK_OUTPUT when
  // it is not EBOOT.PBP); progress follows it and a cancel deletes it.
  std::string outputName = "EBOOT.PBP";
  uint64_t expectedSize = 0;
  std::chrono::milliseconds pollInterval{200};
};

// The converter's arguments: itself, the title, the game ID, the level and the image, then
// an ID and an image for each later disc.
std::vector<std::string> ConverterArguments(const ConverterRunOptions& o);

// True when the output ends in "Done." (CR and LF in the last ten characters ignored).
bool ConverterSucceeded(const std::string& output);

// Runs the staged converter; a cancel deletes its output. A cancel that arrives as the
// converter ends (Ctrl+C reaches the whole process group) is still a cancel.
Outcome RunConverter(const ConverterRunOptions& o, Progress& progress, CancelToken& cancel);

}  // namespace ebf
