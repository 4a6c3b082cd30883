#pragma once
// What the command line does in place of the main window: resolve an input as a drop
// would, apply the user's overrides, run the Go checks and fill a ConversionRequest.

#include <array>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "cli/registry.h"
#include "engine/conversion.h"

namespace ebf::cli {

// The options shared by `convert` and `batch`.
struct JobOptions {
  std::string output;  // -o
  std::optional<std::string> title, gameId, saveName;
  std::optional<int> level;
  bool palScreen = false, palGfx = false, recompress = false;
  std::array<std::string, 6>
      assets;                     // --icon0 ... --boot (ICON0, ICON1, PIC0, PIC1, SND0, Gameboot)
  std::array<bool, 6> removed{};  // --no-icon0 ...
  // Batch runs: output folders already taken by an earlier game; a later game with the
  // same folder gets "<folder> (2)" and so on instead of overwriting it.
  std::set<std::string>* claimedFolders = nullptr;
};

void AddJobOptions(CLI::App& cmd, JobOptions& options);

struct PreparedJob {
  std::string refusal;    // shown and the job stops; "" when the job can run
  bool declined = false;  // a question was answered No
  ConversionRequest request;
  ConversionContext context;
  std::string title;
  std::string dataFile;  // the disc image behind the input (a CUE's BIN), when known
  // Set when a package's new pictures did not fit and no -o named the file to rebuild into.
  std::shared_ptr<bool> destinationMissing = std::make_shared<bool>(false);
};

// What a run says when a package must be rebuilt and no -o named the new file.
inline constexpr const char* kNeedRebuildDestination =
    "the new pictures do not fit: give -o NEW.PBP to rebuild into a new file";

// Resolves `input`, inspects a package, fills the slots, applies the options and runs the
// Go checks. `outputOverride` replaces the resolver's output folder when not empty.
PreparedJob PrepareJob(const std::string& input, const JobOptions& options, CliContext& ctx,
                       Host& host);

}  // namespace ebf::cli
