#pragma once
// What a conversion knows before it runs about patches and LibCrypt: the patch files for
// each disc (given, or found beside the image and accepted at a question), each opened and
// read through once, and the LibCrypt data of each disc read from its subchannel file.

#include <cstdint>
#include <string>
#include <vector>

#include "common/bytes.h"
#include "common/outcome.h"
#include "common/questions.h"

namespace ebf {

// The beginning of the question that offers a patch found beside a disc image; the path
// and the question follow (BesidePatchQuestion).
inline constexpr const char* kBesidePatchHead = "A patch lies beside the disc image:";
inline constexpr const char* kMsgPatchForPackage =
    "Patches go onto a disc image: a package takes them only when it is recompressed.";

// A patch as the user gave it: the file, and the disc (from 1) it goes onto.
struct PatchChoice {
  int disc = 1;
  std::string path;
};

// A patch as planned: absolute, opened once, its format known.
struct PlannedPatch {
  int disc = 1;
  std::string path;
  std::string format;  // "PPF 3.0" ...
};

// A disc with LibCrypt data: where it was read, the key, and the .sbi the package gets.
struct DiscLibCrypt {
  int disc = 1;
  std::string file;
  uint16_t key = 0;
  Bytes sbi;
};

struct DiscPatchPlan {
  std::vector<PlannedPatch> patches;  // in the order they are applied
  std::vector<DiscLibCrypt> libcrypt;
  std::vector<std::string> notes;  // for the log: subchannel files that could not be read
  bool PatchesFor(int disc) const;
};

// One disc of the game: the image as given and the file behind it (a sheet's first file).
struct DiscFiles {
  std::string input, dataFile;
};

// The patch beside a disc image, named like the image (or its data file) with a patch
// extension; "" when there is none.
std::string FindPatchBeside(const std::string& input, const std::string& dataFile);
std::string BesidePatchQuestion(const std::string& patchPath);

// What the discs come from: images, or a package whose discs are taken out and converted
// again (they take patches), or a package changed in place (it takes none).
enum class PatchedInput { DiscImages, RecompressedPackage, PackageInPlace };

// Plans the patches and LibCrypt data of the discs. `offerBeside` asks about a patch found
// beside a disc image that was given none (Yes takes it). Only disc images are looked at for
// subchannel files. Refusals: a patch for a package changed in place or for a disc the game
// does not have, a missing, unreadable or damaged patch, one in a format this program does
// not read.
Outcome PlanDiscPatches(const std::vector<PatchChoice>& given, bool offerBeside,
                        const std::vector<DiscFiles>& discs, PatchedInput input,
                        Questions& questions, DiscPatchPlan& out);

// What the window and the log say when a disc has LibCrypt data and no patch: `sbiNames`
// are the files written (or to be written) beside the package.
std::string LibCryptNotice(const std::vector<std::string>& sbiNames);

// The .sbi beside the package for disc `disc`: "EBOOT.sbi" for a package of one disc,
// "EBOOT_N.sbi" for disc N of several (never a bare EBOOT.sbi then: one emulator would
// apply it to every disc).
std::string SbiFileName(int disc, int discCount);

// "LibCrypt key 0x...": the line the log and the command line show for a disc.
std::string LibCryptKeyLine(const DiscLibCrypt& disc);

}  // namespace ebf
