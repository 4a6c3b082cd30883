#include "engine/patch_plan.h"

#include "common/files.h"
#include "disc/libcrypt.h"
#include "patches/patch.h"

namespace ebf {

bool DiscPatchPlan::PatchesFor(int disc) const {
  for (const PlannedPatch& p : patches)
    if (p.disc == disc) return true;
  return false;
}

std::string FindPatchBeside(const std::string& input, const std::string& dataFile) {
  std::vector<std::string> stems = {WithoutExtension(input)};
  if (!dataFile.empty() && WithoutExtension(dataFile) != stems[0])
    stems.push_back(WithoutExtension(dataFile));
  for (const std::string& stem : stems)
    for (const std::string& ext : patches::kPatchExtensions)
      if (const std::string p = ResolveCaseBlind(stem + ext); IsRegularFile(p)) return p;
  return {};
}

std::string BesidePatchQuestion(const std::string& patchPath) {
  return std::string(kBesidePatchHead) + "\r\n" + patchPath +
         "\r\nApply it to the disc in the package?  (The disc image itself is not changed.)";
}

Outcome PlanDiscPatches(const std::vector<PatchChoice>& given, bool offerBeside,
                        const std::vector<DiscFiles>& discs, PatchedInput input,
                        Questions& questions, DiscPatchPlan& out) {
  out = {};
  if (!given.empty() && input == PatchedInput::PackageInPlace)
    return Outcome::Failed(kMsgPatchForPackage);
  const bool images = input == PatchedInput::DiscImages;
  const int count = static_cast<int>(discs.size());
  std::vector<PatchChoice> choices;
  for (const PatchChoice& c : given) {
    if (c.disc < 1 || c.disc > count)
      return Outcome::Failed("There is no disc " + std::to_string(c.disc) +
                             " to patch: the game has " + std::to_string(count) +
                             (count == 1 ? " disc." : " discs."));
    choices.push_back(c);
  }
  if (offerBeside && images) {
    for (int disc = 1; disc <= count; ++disc) {
      bool has = false;
      for (const PatchChoice& c : given) has = has || c.disc == disc;
      if (has) continue;
      const DiscFiles& d = discs[disc - 1];
      const std::string beside = FindPatchBeside(d.input, d.dataFile);
      if (!beside.empty() &&
          questions.AskYesNo(BesidePatchQuestion(beside), false, MsgIcon::Information))
        choices.push_back({disc, beside});
    }
  }
  for (const PatchChoice& c : choices) {
    if (!FileExists(c.path)) return Outcome::Failed("The patch \"" + c.path + "\" doesn't exist!");
    patches::OpenedPatch opened = patches::OpenPatch(c.path);
    if (!opened.outcome.succeeded()) return opened.outcome;
    out.patches.push_back({c.disc, AbsolutePath(c.path), opened.patch->FormatName()});
  }
  if (!images) return Outcome::Success();
  for (int disc = 1; disc <= count; ++disc) {
    const DiscFiles& d = discs[disc - 1];
    const std::string file = FindSubchannelFile(d.input, d.dataFile);
    if (file.empty()) continue;
    SubchannelData data;
    if (std::string bad = ReadSubchannelFile(file, data); !bad.empty()) {
      out.notes.push_back("The subchannel file " + bad + "; it is left out.");
      continue;
    }
    if (!HasLibCrypt(data)) continue;
    out.libcrypt.push_back({disc, AbsolutePath(file), LibCryptKey(data), SbiBytes(data)});
  }
  return Outcome::Success();
}

std::string LibCryptNotice(const std::vector<std::string>& sbiNames) {
  std::string names;
  for (std::size_t i = 0; i < sbiNames.size(); ++i)
    names += (i == 0 ? "" : i + 1 == sbiNames.size() ? " and " : ", ") + sbiNames[i];
  return "This game is protected by LibCrypt. A PSP starts it only from a disc patched "
         "against the protection: convert it with an anti-LibCrypt patch. Emulators read the "
         "protection from " +
         names + " beside the package.";
}

std::string SbiFileName(int disc, int discCount) {
  return discCount > 1 ? "EBOOT_" + std::to_string(disc) + ".sbi" : "EBOOT.sbi";
}

std::string LibCryptKeyLine(const DiscLibCrypt& disc) {
  return "LibCrypt key " + LibCryptKeyText(disc.key) + " (from " + FileNameOf(disc.file) + ")";
}

}  // namespace ebf
