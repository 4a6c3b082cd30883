#pragma once
// Running the converter where it is installed, every file it reads named by argument and its
// package written under a temporary name; following the growing package, and judging the
// converter's output.

#include <array>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "common/cancel.h"
#include "common/outcome.h"
#include "common/progress.h"

namespace ebf {

inline constexpr const char* kConverterName = "tarnwick.exe";
// What a conversion has the converter write; it becomes EBOOT.PBP only once checked.
inline constexpr const char* kPartialPackageName = "EBOOT.PBP.part";
// The note in Temp that names, while a run is under way, the partial package it may leave in
// the output folder, so that the next start can remove it should the program be killed.
inline constexpr const char* kRunNote = "RUN.NOTE";
inline constexpr const char* kMsgPipeError = "Pipe Error!!!";
inline constexpr const char* kMsgCouldNotStart = "Could not start tarnwick!";
inline constexpr const char* kMsgPipeUnreadable =
    "Pipe could not be read!  Something may be stuffed up... :/";
inline constexpr const char* kMsgConversionError =
    "Error occurred during conversion!  Tarnwick returned the following:";

// Effective asset files in the converter's order.
enum AssetIndex { kIcon0, kIcon1, kPic0, kPic1, kSnd0, kBoot, kAssetCount };
using AssetPaths = std::array<std::string, kAssetCount>;

// A package holds at most five discs: the PSP's disc menu and the emulators see no more.
inline constexpr int kMaxPackageDiscs = 5;
// A work file of disc `disc` in Temp: "TempBIN.bin" for the first, "TempBIN2.bin" ...
std::string TempImageName(const std::string& stem, const std::string& extension, int disc);

// Whether a file name is one that a run makes in the output folder and may delete: a
// package under its temporary name ("*.PBP.part").
bool IsRunFileName(const std::string& name);

struct ConverterRunOptions {
  std::string converter;   // the installed converter, run where it is
  std::string workFolder;  // its working folder: the program's own Temp, never the user's
  std::string output;      // the package it writes (a temporary name beside EBOOT.PBP)
  std::string templatePackage, dataPsp;
  AssetPaths assets;  // ICON0, ICON1, PIC0, PIC1, SND0, BOOT
  std::string title;
  std::string gameId;
  int level = 9;
  std::string inputPath;
  std::string toc;  // disc 1's TOC file, "" when there is none
  // Discs 2 to 5 of a game on several discs: each its own ID, prepared image and TOC.
  struct LaterDisc {
    std::string gameId, inputPath, toc;
  };
  std::vector<LaterDisc> laterDiscs;
  uint64_t expectedSize = 0;
  std::chrono::milliseconds pollInterval{200};
  std::string* printed = nullptr;  // receives all the converter printed, when given
};

// The converter's arguments: itself, the options naming every file it reads and writes, then
// the title, the game ID, the level and the image, then an ID and an image for each later
// disc.
std::vector<std::string> ConverterArguments(const ConverterRunOptions& o);

// True when the output ends in "Done." (CR and LF in the last ten characters ignored).
bool ConverterSucceeded(const std::string& output);

// Runs the converter; a cancel deletes its output. A cancel that arrives as the
// converter ends (Ctrl+C reaches the whole process group) is still a cancel.
Outcome RunConverter(const ConverterRunOptions& o, Progress& progress, CancelToken& cancel);

}  // namespace ebf
