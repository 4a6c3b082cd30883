#include "engine/go_checks.h"

#include "common/files.h"
#include "common/pattern.h"
#include "common/text.h"

namespace ebf {

bool IsKnownGameIdShape(const std::string& id) {
  static const char* const kPrefixes[] = {"SCUS", "SLUS", "SLES", "SCES", "SCED", "SLPS",
                                          "SLPM", "SCPS", "SLED", "SIPS", "ESPM"};
  if (id.size() != 9 || !Matches(id, "????#####")) return false;
  const std::string prefix = ToUpperAscii(id.substr(0, 4));
  for (const char* p : kPrefixes)
    if (prefix == p) return true;
  return false;
}

bool IsDataFolder(const std::string& programFolder, const std::string& output) {
  // Exact text only: a trailing separator passes, as it always has.
  return output == WithTrailingSep(programFolder) + "Data";
}

GoVerdict RunGoChecks(const GoInputs& in, Host& host) {
  auto refuse = [](const std::string& text) { return GoVerdict{false, text}; };
  auto ask = [&](const std::string& text, bool defaultNo) {
    return host.AskYesNo(text, defaultNo, MsgIcon::Exclamation);
  };
  const bool isPbp = Extension4(in.input) == ".PBP";

  if (!FileExists(in.input)) return refuse(kMsgInputMissing);
  if (in.input.size() < 4) return refuse(kMsgInputTooShort);
  if (Extension4(in.input) == ".ISO" &&
      !ask("It appears that you're using an ISO.  Some games will not work when using this "
           "format - it is recommended that you use a BIN+CUE or IMG+CCD instead.  Note, do not "
           "convert the ISO to BIN/IMG - re-dump the game if possible.  Are you sure you wish to "
           "continue?",
           false))
    return {};
  if (!isPbp) {
    if (in.output.empty()) return refuse("Please enter an output folder!");
    if (!MakeFolders(in.output)) return refuse(kMsgOutputInvalid);
    if (IsDataFolder(in.programFolder, in.output)) return refuse(kMsgOutputIsData);
  }
  if (in.title.empty()) return refuse("Please enter a title for the game!");
  if (in.saveName.empty())
    return refuse("No game save name selected!  Please use the Select button to choose a game!");
  if (in.gameId.size() != 9) return refuse("Game ID is invalid (according to tarnwick)");
  if (!IsKnownGameIdShape(in.gameId))
    return refuse("Game ID is invalid (well tarnwick will at least say that)");

  const bool anyFix = in.palFixScreen || in.palFixGraphics;
  if (in.region == "NTSC" && anyFix &&
      !ask("It seems that you're trying to apply a PAL -> NTSC fix on an NTSC game!  Well, there "
           "isn't much purpose in this, so are you sure you wish to do this?",
           true))
    return {};
  if (in.region == "PAL" && !anyFix &&
      !ask("It seems that you're converting a PAL game, but haven't chosen to do a PAL -> NTSC "
           "fix.  Are you sure you wish to do this?",
           true))
    return {};

  if (in.slotChecks) {
    std::string slot = in.slotChecks();
    if (!slot.empty()) return refuse(slot);
  }
  return {true, ""};
}

}  // namespace ebf
