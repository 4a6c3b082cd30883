#pragma once
// The input resolver: every chosen input (drop, browse, command line, last used image)
// passes through here. It pairs companion files, finds the data file behind a CUE sheet,
// reads the game ID, looks it up, and works out what the main window shows.

#include <string>
#include <vector>

#include "common/questions.h"

namespace ebf {

inline constexpr const char* kBinHasCueQuestion =
    "You have selected a BIN file, but it appears that a CUE file also exists,  It is "
    "recommeded that you select the CUE file - do you wish to do this?";

// What the main window holds when the resolver starts; fields the resolver does not reach
// keep these values.
struct ResolveContext {
  std::string programFolder;  // Data/ (the game database) lies under it
  // The settings the resolver follows.
  std::string defaultOutputDir;  // DefaultOutputDir
  int defaultOutDirOpt = 0;      // DefaultOutDirOpt
  std::string defGameId;         // DefGameID
  bool hideNameTags = false;     // HideNameTags
  std::string currentOutput;     // txtOut
  std::string currentGameId;
  std::string currentRegion;  // lblRegion's caption
  std::string currentSaveName;
};

// One request to the asset loader to pick up per-game artwork.
struct AssetPass {
  std::string gameId;
  bool second = false;  // the pass made with the database's own ID
};

struct ResolvedInput {
  std::string message;   // a refusal to show ("CUE Sheet is invalid!"); the resolver stopped
  std::string input;     // txtIn: the chosen file after pairing (a CUE stays a CUE)
  std::string dataFile;  // the file behind the input (a CUE's data file)
  std::string title;     // txtTitle
  std::string saveName;
  std::string gameId;                  // the current game ID
  std::string region;                  // lblRegion's caption
  std::string outputFolder;            // txtOut
  std::vector<AssetPass> assetPasses;  // in order
  bool runInspection = false;          // the package inspection runs next on `input`
};

ResolvedInput ResolveInput(const std::string& path, const ResolveContext& context,
                           Questions& questions);

// The input resolved is the first disc of a game on several: the game, and the output folder
// named after it or after the file, go without the disc number.
void TakeAsDiscSet(ResolvedInput& r, const ResolveContext& context);

// The game ID of an input (an image or a sheet), read through its disc; when the disc
// cannot be opened, from `dataFile` (the file a sheet names first) as it is. "" when none.
std::string DetectInputGameId(const std::string& input, const std::string& dataFile);

}  // namespace ebf
