#include "engine/go_checks.h"

#include "common/files.h"
#include "common/text.h"
#include "disc/game_id.h"

namespace ebf {

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
  // Title, save name, ID and the region questions.
  GameIdCheck id = CheckGameIdForConversion(in.gameId, in.title, in.saveName, in.region,
                                            in.palFixScreen, in.palFixGraphics, host);
  if (id.outcome == CheckOutcome::Refused) return refuse(id.message);
  if (id.outcome == CheckOutcome::Declined) return {};

  if (in.slotChecks) {
    std::string slot = in.slotChecks();
    if (!slot.empty()) return refuse(slot);
  }
  return {true, ""};
}

}  // namespace ebf
