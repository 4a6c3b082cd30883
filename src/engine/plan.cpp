#include "engine/plan.h"

#include "common/files.h"
#include "common/text.h"
#include "disc/classify.h"
#include "disc/cue_sheet.h"
#include "disc/game_id.h"
#include "engine/converter_run.h"
#include "pbp/inspect.h"

namespace ebf {
namespace {

// What the job is about once the input is resolved: the user's words over what was found.
struct Identity {
  std::string input, dataFile, output, title, saveName, gameId, region;
  std::array<std::string, kSlotCount> slotTexts{};
  bool packageInspected = false;
};

Planned Refused(Outcome why, std::string title) {
  return {std::move(why), std::nullopt, std::move(title)};
}

// The command line's way in: the input as a drop would take it, then the user's words.
std::optional<Outcome> ResolveJobInput(const JobInput& job, const Settings& settings,
                                       const ProgramFolders& folders, Questions& questions,
                                       Identity& id) {
  const ResolveContext context = ResolverContext(settings, folders.tree);
  ResolvedInput res = ResolveInput(job.input, context, questions);
  if (!job.laterDiscs.empty()) TakeAsDiscSet(res, context);
  id.title = res.title;
  if (!res.message.empty()) return Outcome::Failed(res.message);
  id.input = res.input;
  id.dataFile = res.dataFile;
  id.saveName = res.saveName;
  id.gameId = res.gameId;
  id.region = res.region;
  const bool isPbp = Extension4(res.input) == ".PBP";
  if (res.runInspection && isPbp) {
    pbp::Inspection in = pbp::InspectEboot(res.input, TempFolder(folders.work), questions);
    if (!in.message.empty()) return Outcome::Failed(in.message);
    id.title = in.title;
    id.gameId = in.gameId;
    id.saveName = in.saveName;
    id.packageInspected = true;
  }
  if (id.gameId.empty()) id.gameId = settings.defGameId;
  // Slots: what the per-game search finds, then what the user named.
  if (!isPbp) {
    for (const AssetPass& pass : res.assetPasses) {
      CustomFolderSearch search{folders, settings.defaultCustDir, settings.useSourceDirAsCust,
                                res.dataFile, pass.gameId};
      FillSlotsFromCustomFolder(id.slotTexts, search);
    }
  }
  id.output = job.output.empty() ? res.outputFolder : job.output;
  return std::nullopt;
}

// The later discs of a game on several discs, each named as the user gave it and read for
// its own ID (disc 1's when it has none to find).
std::optional<Outcome> PlanLaterDiscs(const std::vector<std::string>& paths,
                                      const std::string& firstId,
                                      std::vector<PlannedDisc>& planned) {
  if (paths.size() + 1 > static_cast<std::size_t>(kMaxPackageDiscs))
    return Outcome::Failed(kMsgTooManyDiscs);
  for (std::size_t i = 0; i < paths.size(); ++i) {
    std::string path = paths[i];
    if (Extension4(path) == ".CCD") path = CcdImagePath(path);
    const std::string disc = "Disc " + std::to_string(i + 2) + " (" + path + ")";
    if (std::string notFile = NotAFileMessage(path); !notFile.empty())
      return Outcome::Failed(notFile).Within(disc);
    if (!FileExists(path)) return Outcome::Failed(kMsgInputMissing).Within(disc);
    if (Extension4(path) == ".PBP") return Outcome::Failed(kMsgPackageInSet);
    std::string dataFile = path;
    if (Extension4(path) == ".CUE") {
      auto named = FindCueDataFile(path);
      if (!named) return Outcome::Failed(kCueInvalidMessage).Within(disc);
      dataFile = *named;
    }
    std::string id = DetectInputGameId(path, dataFile);
    if (id.empty()) id = firstId;
    planned.push_back({AbsolutePath(path), AbsolutePath(dataFile), id});
  }
  return std::nullopt;
}

// A batch gives a game whose folder an earlier game took "<folder> (2)" and so on.
std::string UntakenFolder(std::string output, const std::set<std::string>& taken) {
  if (taken.empty() || output.empty()) return output;
  while (output.size() > 1 && IsSeparator(output.back())) output.pop_back();
  const std::string base = output;
  for (int n = 2; taken.count(OutputFolderKey(output)); ++n)
    output = base + " (" + std::to_string(n) + ")";
  return output;
}

}  // namespace

std::string OutputFolderKey(const std::string& folder) {
  std::string key = AbsolutePath(folder);
  while (key.size() > 1 && IsSeparator(key.back())) key.pop_back();
  return key;
}

bool IsDataFolder(const std::string& programFolder, const std::string& output) {
  // Exact text only: a trailing separator passes, as it always has.
  return output == WithTrailingSep(programFolder) + "Data";
}

ResolveContext ResolverContext(const Settings& settings, const std::string& programFolder) {
  ResolveContext rc;
  rc.programFolder = programFolder;
  rc.defaultOutputDir = settings.defaultOutputDir;
  rc.defaultOutDirOpt = settings.defaultOutDirOpt;
  rc.defGameId = settings.defGameId;
  rc.hideNameTags = settings.hideNameTags;
  return rc;
}

Planned PlanConversion(const JobInput& job, const Settings& settings, const ProgramFolders& folders,
                       Questions& questions) {
  Identity id;
  if (job.resolve) {
    if (auto refused = ResolveJobInput(job, settings, folders, questions, id))
      return Refused(*refused, id.title.empty() ? StemOf(job.input) : id.title);
  } else {
    id.input = id.dataFile = job.input;
    id.output = job.output;
    id.region = job.region;
    id.packageInspected = job.packageInspected;
  }
  if (job.title) id.title = *job.title;
  if (job.saveName) id.saveName = *job.saveName;
  if (job.gameId) id.gameId = *job.gameId;
  for (int i = 0; i < kSlotCount; ++i)
    if (!job.assets[i].text.empty() || !job.resolve) id.slotTexts[i] = job.assets[i].text;

  const bool isPbp = Extension4(id.input) == ".PBP";
  const bool inPlace = isPbp && !job.recompress;
  if (inPlace) id.output.clear();  // -o of a package names the file a rebuild writes
  id.output = UntakenFolder(id.output, job.takenOutputFolders);
  auto refuse = [&](const std::string& text) { return Refused(Outcome::Failed(text), id.title); };

  // The checks, in the order the Go button has always made them.
  if (std::string notFile = NotAFileMessage(id.input); !notFile.empty()) return refuse(notFile);
  if (!FileExists(id.input)) return refuse(kMsgInputMissing);
  if (id.input.size() < 4) return refuse(kMsgInputTooShort);
  if (Extension4(id.input) == ".ISO" && !questions.AskYesNo(kIsoQuestion, false))
    return Refused(Outcome::Declined(), id.title);
  if (!isPbp) {
    if (id.output.empty()) return refuse(kMsgNoOutput);
    if (!MakeFolders(id.output)) return refuse(kMsgOutputInvalid);
    if (IsDataFolder(folders.tree, id.output)) return refuse(kMsgOutputIsData);
  }
  GameIdCheck check = CheckGameIdForConversion(id.gameId, id.title, id.saveName, id.region,
                                               job.palFixScreen, job.palFixGraphics, questions);
  if (check.outcome == CheckOutcome::Refused) return refuse(check.message);
  if (check.outcome == CheckOutcome::Declined) return Refused(Outcome::Declined(), id.title);
  if (std::string missing = FirstMissingSlotMessage(id.slotTexts); !missing.empty())
    return refuse(missing);
  std::vector<PlannedDisc> laterDiscs;
  if (!job.laterDiscs.empty()) {
    if (isPbp) return refuse(kMsgPackageInSet);
    if (auto refused = PlanLaterDiscs(job.laterDiscs, id.gameId, laterDiscs))
      return Refused(*refused, id.title);
  }
  // A package rebuilt through the converter writes into the output folder too.
  if (isPbp && !inPlace) {
    if (!MakeFolders(id.output)) return refuse(kMsgOutputInvalid);
    if (IsDataFolder(folders.tree, id.output)) return refuse(kMsgOutputIsData);
  }

  ConversionPlan plan;
  plan.kind = inPlace ? JobKind::PatchPackage
              : isPbp ? JobKind::RecompressPackage
                      : JobKind::NewPackage;
  // The converter runs in the output folder, so every path it is given must stand alone.
  plan.input = AbsolutePath(id.input);
  plan.dataFile = id.dataFile.empty() ? plan.input : AbsolutePath(id.dataFile);
  if (!inPlace) plan.output = WithTrailingSep(AbsolutePath(id.output));
  plan.laterDiscs = std::move(laterDiscs);
  plan.title = id.title;
  plan.saveName = id.saveName;
  plan.gameId = id.gameId;
  for (int i = 0; i < kSlotCount; ++i) {
    const SlotChoice& choice = job.assets[i];
    plan.assets[i] = {choice.ticked, id.slotTexts[i],
                      ResolveSlotFile(folders, choice.ticked, id.slotTexts[i],
                                      kSlots[i].assetFileName, isPbp && id.packageInspected)};
  }
  plan.level = job.level;
  plan.palFixScreen = job.palFixScreen;
  plan.palFixGraphics = job.palFixGraphics;
  plan.confirm = job.confirm;
  plan.folders = folders;
  plan.settings = {settings.imgResMode, settings.imgResCentre, settings.addIsoPadding,
                   settings.ebootTocExtract};
  return {Outcome::Success(), std::move(plan), id.title};
}

}  // namespace ebf
