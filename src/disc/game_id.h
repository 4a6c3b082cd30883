#pragma once
// The game ID: the boot executable's name in the disc's root directory (SCUS_944.76;1 ->
// SCUS94476), and the checks an ID must pass before a conversion.

#include <cstdint>
#include <string>

#include "common/questions.h"
#include "disc/byte_source.h"

namespace ebf {

// The resolver scans only images of at least the first sixteen 2048-byte sectors.
inline constexpr uint64_t kMinScannedImageSize = 32768;

// Where detection looked, for tests and benchmarks.
struct GameIdProbe {
  uint32_t sectorSize = 0;  // 2048, 2352 or 2448; 0 when the layout was not recognised
  uint32_t dataOffset = 0;  // user data within a sector (0, 16 or 24)
  uint64_t directoryOffset = 0;
  uint64_t bytesRead = 0;  // bytes asked of the file
  uint32_t reads = 0;      // separate reads
};

// The ID found in an ISO, BIN, IMG or MDF file, or "" when there is none or anything goes
// wrong. Reads a few bytes at computed offsets and the one directory sector.
std::string DetectGameId(const std::string& imagePath, GameIdProbe* probe = nullptr);
// The same over any bytes that read like an image file (a disc's sectors in order).
std::string DetectGameId(ByteSource& source, GameIdProbe* probe = nullptr);

// Checks of the ID, title and save name before a conversion, in the program's order.
enum class CheckOutcome {
  Pass,
  Refused,   // show `message` (exclamation icon); the run does not start
  Declined,  // the user said No to a region question; nothing more is shown
};
struct GameIdCheck {
  CheckOutcome outcome = CheckOutcome::Pass;
  std::string message;
};

inline constexpr const char* kNoTitleMessage = "Please enter a title for the game!";
inline constexpr const char* kNoSaveNameMessage =
    "No game save name selected!  Please use the Select button to choose a game!";
inline constexpr const char* kIdLengthMessage = "Game ID is invalid (according to tarnwick)";
inline constexpr const char* kIdShapeMessage =
    "Game ID is invalid (well tarnwick will at least say that)";
inline constexpr const char* kPalFixOnNtscQuestion =
    "It seems that you're trying to apply a PAL -> NTSC fix on an NTSC game!  Well, there "
    "isn't much purpose in this, so are you sure you wish to do this?";
inline constexpr const char* kPalWithoutFixQuestion =
    "It seems that you're converting a PAL game, but haven't chosen to do a PAL -> NTSC fix.  "
    "Are you sure you wish to do this?";

// Whether the ID has a known product prefix and the "????#####" shape (length aside).
bool IsKnownGameIdShape(const std::string& gameId);

// `region` is the region caption the database lookup left ("NTSC", "PAL" or anything else).
GameIdCheck CheckGameIdForConversion(const std::string& gameId, const std::string& title,
                                     const std::string& saveName, const std::string& region,
                                     bool palFixScreen, bool palFixGfx, Questions& questions);

}  // namespace ebf
