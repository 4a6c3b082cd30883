#pragma once
// A conversion is planned before it runs: what the window or the command line was given
// becomes one plan that has passed every check made before anything is written. The run
// (conversion.h) then carries the plan out and never changes it.

#include <array>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/settings.h"
#include "assets/slots.h"
#include "common/outcome.h"
#include "common/program_folders.h"
#include "common/questions.h"
#include "disc/resolver.h"
#include "engine/patch_plan.h"
#include "library/picture_lookup.h"

namespace ebf {

// The refusals of the checks, in the program's own words.
inline constexpr const char* kMsgInputMissing = "The input file doesn't exist!";
inline constexpr const char* kMsgInputTooShort = "The input file can't possibly be valid! XD";
inline constexpr const char* kMsgNoOutput = "Please enter an output folder!";
inline constexpr const char* kMsgOutputInvalid = "The output folder is invalid!";
inline constexpr const char* kMsgOutputIsData =
    "The output folder is cannot be the same as the Data folder!";
inline constexpr const char* kMsgTooManyDiscs =
    "A package holds at most five discs; give no more than five.";
inline constexpr const char* kMsgPackageInSet =
    "A game on several discs is made from disc images; a package cannot be one of them.";
inline constexpr const char* kIsoQuestion =
    "It appears that you're using an ISO.  Some games will not work when using this format - it "
    "is recommended that you use a BIN+CUE or IMG+CCD instead.  Note, do not convert the ISO to "
    "BIN/IMG - re-dump the game if possible.  Are you sure you wish to continue?";

// What a game whose discs' names skip a number ("(Disc 1)", "(Disc 3)") does: the package
// would give disc 3 the place of disc 2.
enum class MissingDiscs {
  Ask,     // the window: a question, No by default
  Refuse,  // the command line, unless told otherwise
  Allow,   // convert the discs found, with a warning
};

// A slot row as the user left it: ticked or not, and the text typed or browsed ("" = the
// default, or the original asset of a package input).
struct SlotChoice {
  bool ticked = true;
  std::string text;
  SlotSource source = SlotSource::Chosen;  // where the window's lookup found `text`
};

// What a conversion starts from: the window's controls, or the command line's arguments.
struct JobInput {
  std::string input;  // as typed, dropped or named; disc 1 of a game on several discs
  // Discs 2 to 5 of a game on several discs, in disc order; they go into one package.
  std::vector<std::string> laterDiscs;
  // The discs are a whole game found by their "(Disc N)" names (a batch's group, the window's
  // disc list): a gap in the numbering counts even when only one disc was found.
  bool wholeGame = false;
  MissingDiscs missingDiscs = MissingDiscs::Ask;
  // Resolve the input as a drop does (companion files, the disc's identity, the package's
  // inspection, the per-game assets): the command line. The window resolved it when the
  // input was chosen, and the user may have changed what it found since.
  bool resolve = false;
  // The output folder; with `resolve`, "" takes the one the resolver works out. For a
  // package patched in place it is not used.
  std::string output;
  // What the user typed or chose; with `resolve`, what is not given is what the disc says.
  std::optional<std::string> title, saveName, gameId;
  std::string region;  // the region caption ("NTSC", "PAL" or anything); found with `resolve`
  std::array<SlotChoice, kSlotCount> assets{};
  // The package's own assets are in Temp (its inspection ran); blank slots then keep them.
  bool packageInspected = false;
  int level = 9;
  bool palFixScreen = false, palFixGraphics = false;
  bool recompress = false;  // a package is rebuilt through the converter
  // Ask before overwriting files in the output folder and before the PAL fix goes onto the
  // source image. The command line does not ask.
  bool confirm = true;
  // Output folders that earlier games of a batch took (as OutputFolderKey gives them): this
  // game's gets " (2)" and so on.
  std::set<std::string> takenOutputFolders;
  // With `resolve`: the finder of pictures in the user's folders, kept by a batch for all
  // its games so that every folder is read once; null makes one for this job.
  PictureFinder* pictures = nullptr;
  // ---- Patches (engine/patch_plan.h) ----
  // Patch files, applied in this order to the disc each names.
  std::vector<PatchChoice> patches;
  // Ask whether a patch found beside a disc image that was given none is to be applied.
  bool offerBesidePatches = false;
  // ---- end of patches ----
};

enum class JobKind {
  NewPackage,         // a disc image through the converter
  PatchPackage,       // a package patched in place, or rebuilt when the new assets do not fit
  RecompressPackage,  // a package's disc image taken out and converted again
};

// One asset slot as planned: the user's choice and the file the package gets.
struct Slot {
  bool ticked = true;
  std::string text;
  std::string path;
  SlotSource source = SlotSource::Chosen;
};

// A later disc of a game on several discs: the image as given, the file behind it, and the
// ID read from its own disc.
struct PlannedDisc {
  std::string input, dataFile, gameId;
};

// What the run needs from the settings.
struct RunSettings {
  int imgResMode = 0;
  bool imgResCentre = false;
  bool addIsoPadding = false;
  int ebootTocExtract = 0;
};

struct ConversionPlan {
  JobKind kind = JobKind::NewPackage;
  std::string input;     // absolute
  std::string dataFile;  // the disc image behind the input (the file a sheet names first)
  std::string output;    // absolute, ending in the separator; "" for a package in place
  std::vector<PlannedDisc> laterDiscs;    // discs 2 to 5, in order; none for one disc
  std::string title, saveName, gameId;    // the package's: disc 1's ID names it and its saves
  std::array<Slot, kSlotCount> assets{};  // ICON0, ICON1, PIC0, PIC1, SND0, Gameboot
  int level = 9;
  bool palFixScreen = false, palFixGraphics = false;
  bool confirm = true;
  // What the user should know about the package made (a disc missing from the set ...):
  // logged when the run starts and carried in the command line's JSON record.
  std::vector<std::string> warnings;
  ProgramFolders folders;
  RunSettings settings;
  // ---- Patches and LibCrypt (engine/patch_plan.h) ----
  DiscPatchPlan discPatches;
  // ---- end of patches ----

  bool palFix() const { return palFixScreen || palFixGraphics; }
  int discCount() const { return 1 + static_cast<int>(laterDiscs.size()); }
};

struct Planned {
  Outcome outcome = Outcome::Declined();  // Success when `plan` holds the plan
  std::optional<ConversionPlan> plan;
  // The title the job goes by, also when it was refused (for a batch's summary).
  std::string title;
  bool discMissing = false;  // refused for a disc missing from the game's numbering
};

// Resolves what needs resolving, runs every check in its fixed order (each refusal is a
// failed Outcome with the check's own message; a question answered No is Declined) and
// fills the six slots. Nothing of the user's is written; the output folder is made.
Planned PlanConversion(const JobInput& job, const Settings& settings, const ProgramFolders& folders,
                       Questions& questions);

// A folder as a batch remembers it: absolute, without a trailing separator.
std::string OutputFolderKey(const std::string& folder);

// The output text that names the program's own Data folder exactly.
bool IsDataFolder(const std::string& programFolder, const std::string& output);

// The settings the input resolver follows.
ResolveContext ResolverContext(const Settings& settings, const std::string& programFolder);

}  // namespace ebf
