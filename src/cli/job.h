#pragma once
// What the command line gives a conversion in place of the main window's controls.

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "cli/json_out.h"
#include "cli/registry.h"
#include "engine/plan.h"

namespace ebf::cli {

// The options shared by `convert` and `batch`.
struct JobOptions {
  std::string output;  // -o
  std::optional<std::string> title, gameId, saveName;
  std::optional<int> level;
  bool palScreen = false, palGfx = false, recompress = false;
  bool allowMissingDiscs = false;
  std::array<std::string, kSlotCount> assets;  // --icon0 ... --boot, in the slots' order
  std::array<bool, kSlotCount> removed{};      // --no-icon0 ...
  // Over the settings: ResourceRoot, ThumbnailsRoot, NameTemplate.
  std::optional<std::string> resources, thumbnails, nameTemplate;
  std::vector<std::string> patches;  // --patch FILE or --patch N:FILE, in order
};

void AddJobOptions(CLI::App& cmd, JobOptions& options);
// --patch, for a command that converts one game.
void AddPatchOption(CLI::App& cmd, JobOptions& options);
// "N:FILE" names disc N; anything else is FILE for disc 1.
PatchChoice ParsePatchOption(const std::string& text);

// What a run says when a package must be rebuilt and no -o named the new file.
inline constexpr const char* kNeedRebuildDestination =
    "the new pictures do not fit: give -o NEW.PBP to rebuild into a new file";

// The settings a job runs with: the file's, with --resources, --thumbnails and --name over
// them. With --name, -o is the folder the named folder goes into.
void ApplyJobSettings(const JobOptions& options, Settings& settings);

// Every slot of a plan as --json names it: {"ICON0": {"source": ..., "file": ...}, ...},
// the source one of "chosen", "custom folder", "resource folder", "thumbnails", "default",
// "original" (a package's own) and "removed".
Json SlotSourcesJson(const ConversionPlan& plan);

// The job for `discs` (one input, or the discs of one game in order) as the options describe
// it: resolved as a drop would be, the user's words over what disc 1 says, and no
// confirmations asked but the one before an EBOOT.PBP is replaced. `wholeGame`: the discs
// were grouped by their names, so a gap in the numbering counts.
JobInput JobFor(const std::vector<std::string>& discs, const JobOptions& options,
                const Settings& settings, bool wholeGame = false);

}  // namespace ebf::cli
