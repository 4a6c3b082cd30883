#include "engine/plan.h"

#include <algorithm>

#include "common/files.h"
#include "common/text.h"
#include "disc/classify.h"
#include "disc/cue_sheet.h"
#include "disc/disc_image.h"
#include "disc/disc_set.h"
#include "disc/game_id.h"
#include "engine/converter_run.h"
#include "library/found_pictures.h"
#include "library/output_name.h"
#include "pbp/disc_table.h"
#include "pbp/inspect.h"

namespace ebf {
namespace {

// What the job is about once the input is resolved: the user's words over what was found.
struct Identity {
  std::string input, dataFile, output, title, saveName, gameId, region;
  std::array<std::string, kSlotCount> slotTexts{};
  std::array<SlotSource, kSlotCount> slotSources{};
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
    for (int i = 0; i < kSlotCount; ++i)
      if (!id.slotTexts[i].empty()) id.slotSources[i] = SlotSource::CustomFolder;
    // ---- Pictures from the user's resource and thumbnails folders, for blank slots.
    std::optional<PictureFinder> own;
    PictureFinder& finder = job.pictures ? *job.pictures : own.emplace(PictureFoldersOf(settings));
    std::array<bool, kSlotCount> open{};
    for (int i = 0; i < kSlotCount; ++i)
      open[i] = job.assets[i].ticked && job.assets[i].text.empty();
    FillFoundSlots(finder.Find(GameNamesOf(res)), id.slotTexts, id.slotSources, open);
    // ----
  }
  // ---- The output folder by the name template, with the names the user gave or a package
  // told of itself.
  res.title = job.title.value_or(id.title);
  res.gameId = job.gameId.value_or(id.gameId);
  ApplyNameTemplate(res, settings);
  // ----
  id.output = job.output.empty() ? res.outputFolder : job.output;
  return std::nullopt;
}

// Whether a disc is one the input rules take: the message of the refusal, or "" with `path`
// turned into the file that stands for the disc (a CloneCD sheet's image).
std::string CheckDiscInput(std::string& path) {
  if (std::string notFile = NotAFileMessage(path); !notFile.empty()) return notFile;
  if (!FileExists(path)) return kMsgInputMissing;
  const DropDecision decision = ClassifyInputPath(path);
  if (decision.action == DropAction::Refuse) return decision.message;
  path = decision.path;
  if (Extension4(path) == ".PBP") return kMsgPackageInSet;
  // A CHD or ECM file cut short is said now, before the game ID that could not be read from
  // it is asked for. Sheets and plain images are read as the run has always read them.
  const std::string ext = Extension4(path);
  if (ext != ".CHD" && ext != ".ECM") return {};
  const DiscOpenResult opened = OpenDiscImage(path);
  return opened.disc ? std::string() : opened.message;
}

// The files behind a disc (a sheet stands for every file it names), as one key each.
std::vector<std::string> DiscFileKeys(const std::string& path) {
  std::vector<std::string> files = {path};
  if (Extension4(path) == ".CUE") {
    const std::vector<std::string> named = FindCueDataFiles(path);
    files.insert(files.end(), named.begin(), named.end());
  }
  std::vector<std::string> keys;
  for (const std::string& f : files) keys.push_back(CanonicalPath(f));
  return keys;
}

// The later discs of a game on several discs, each named as the user gave it, checked as
// disc 1 is, and read for its own ID (disc 1's when it has none to find).
std::optional<Outcome> PlanLaterDiscs(const std::string& firstDisc,
                                      const std::vector<std::string>& paths,
                                      const std::string& firstId,
                                      std::vector<PlannedDisc>& planned) {
  if (paths.size() + 1 > static_cast<std::size_t>(kMaxPackageDiscs))
    return Outcome::Failed(kMsgTooManyDiscs);
  std::vector<std::vector<std::string>> seen = {DiscFileKeys(firstDisc)};
  for (std::size_t i = 0; i < paths.size(); ++i) {
    std::string path = paths[i];
    const std::string disc = "Disc " + std::to_string(i + 2) + " (" + path + ")";
    if (std::string refused = CheckDiscInput(path); !refused.empty())
      return Outcome::Failed(refused).Within(disc);
    const std::vector<std::string> keys = DiscFileKeys(path);
    for (std::size_t other = 0; other < seen.size(); ++other)
      for (const std::string& key : keys)
        if (std::find(seen[other].begin(), seen[other].end(), key) != seen[other].end())
          return Outcome::Failed("It is the same disc as disc " + std::to_string(other + 1) +
                                 ": a package holds each disc once.")
              .Within(disc);
    seen.push_back(keys);
    std::string dataFile = path;
    if (Extension4(path) == ".CUE") {
      auto named = FindCueDataFile(path);
      if (!named) return Outcome::Failed(CueInvalidMessage(path)).Within(disc);
      dataFile = *named;
    }
    std::string id = DetectInputGameId(path, dataFile);
    if (id.empty()) id = firstId;
    planned.push_back({AbsolutePath(path), AbsolutePath(dataFile), id});
  }
  return std::nullopt;
}

// The numbers missing below the highest "(Disc N)" among the discs' names; none when a name
// carries no number (nothing to go by).
std::vector<int> MissingDiscNumbers(const std::vector<std::string>& discs) {
  std::set<int> numbers;
  for (const std::string& d : discs) {
    const int n = DiscNumberOf(StemOf(d));
    if (n == 0) return {};
    numbers.insert(n);
  }
  std::vector<int> missing;
  for (int n = 1; !numbers.empty() && n < *numbers.rbegin(); ++n)
    if (!numbers.count(n)) missing.push_back(n);
  return missing;
}

// "Disc 2" or "Discs 2 and 4" of the game.
std::string MissingDiscsText(const std::vector<int>& missing, const std::string& game) {
  std::string text = missing.size() == 1 ? "Disc " : "Discs ";
  for (std::size_t i = 0; i < missing.size(); ++i)
    text += (i == 0 ? "" : i + 1 == missing.size() ? " and " : ", ") + std::to_string(missing[i]);
  return text + " of \"" + game + "\" " + (missing.size() == 1 ? "was" : "were") + " not found";
}

// Said before any work starts rather than when the package is about to be written.
std::string OutputNotWritable(const std::string& folder) {
  const std::string why = FolderWriteError(folder);
  if (why.empty()) return {};
  return "The output folder cannot be written: " + AbsolutePath(folder) + " (" + why + ")";
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
  for (int i = 0; i < kSlotCount; ++i) {
    if (!job.assets[i].text.empty() || !job.resolve) {
      id.slotTexts[i] = job.assets[i].text;
      id.slotSources[i] = job.assets[i].source;
    }
  }

  const bool isPbp = Extension4(id.input) == ".PBP";
  const bool inPlace = isPbp && !job.recompress;
  if (inPlace) id.output.clear();  // -o of a package names the file a rebuild writes
  id.output = UntakenFolder(id.output, job.takenOutputFolders);
  auto refuse = [&](const std::string& text) { return Refused(Outcome::Failed(text), id.title); };

  // The checks, in the order the Go button has always made them.
  if (std::string notFile = NotAFileMessage(id.input); !notFile.empty()) return refuse(notFile);
  if (!FileExists(id.input)) return refuse(kMsgInputMissing);
  if (id.input.size() < 4) return refuse(kMsgInputTooShort);
  if (!isPbp) {
    // Disc 1 is held to what the window's drop takes, as every later disc is.
    std::string disc = id.input;
    std::string refused = CheckDiscInput(disc);
    if (!refused.empty())
      return Refused(job.laterDiscs.empty()
                         ? Outcome::Failed(refused)
                         : Outcome::Failed(refused).Within("Disc 1 (" + id.input + ")"),
                     id.title);
  }
  if (Extension4(id.input) == ".ISO" && !questions.AskYesNo(kIsoQuestion, false))
    return Refused(Outcome::Declined(), id.title);
  if (!isPbp) {
    if (id.output.empty()) return refuse(kMsgNoOutput);
    if (!MakeFolders(id.output)) return refuse(kMsgOutputInvalid);
    if (IsDataFolder(folders.tree, id.output)) return refuse(kMsgOutputIsData);
    if (std::string why = OutputNotWritable(id.output); !why.empty()) return refuse(why);
  }
  GameIdCheck check = CheckGameIdForConversion(id.gameId, id.title, id.saveName, id.region,
                                               job.palFixScreen, job.palFixGraphics, questions);
  if (check.outcome == CheckOutcome::Refused) return refuse(check.message);
  if (check.outcome == CheckOutcome::Declined) return Refused(Outcome::Declined(), id.title);
  if (std::string missing = FirstMissingSlotMessage(id.slotTexts); !missing.empty())
    return refuse(missing);
  // ---- A found picture is taken as a chosen one is; a refusal names the file.
  FoundSlots found;
  for (int i = 0; i < kSlotCount; ++i) found.ticked[i] = job.assets[i].ticked;
  found.texts = id.slotTexts;
  found.sources = id.slotSources;
  std::array<std::string, kSlotCount> drawn;
  if (Outcome taken =
          TakeFoundPictures(found, folders.work, settings.imgResMode, settings.imgResCentre, drawn);
      !taken.succeeded())
    return Refused(taken, id.title);
  // ----
  std::vector<PlannedDisc> laterDiscs;
  if (!job.laterDiscs.empty()) {
    if (isPbp) return refuse(kMsgPackageInSet);
    if (auto refused = PlanLaterDiscs(id.input, job.laterDiscs, id.gameId, laterDiscs))
      return Refused(*refused, id.title);
  }
  std::vector<std::string> warnings;
  if (!isPbp && (job.wholeGame || !job.laterDiscs.empty())) {
    std::vector<std::string> discs = {job.input};
    discs.insert(discs.end(), job.laterDiscs.begin(), job.laterDiscs.end());
    if (const std::vector<int> missing = MissingDiscNumbers(discs); !missing.empty()) {
      const std::string what = MissingDiscsText(missing, WithoutDiscNumber(id.title));
      switch (job.missingDiscs) {
        case MissingDiscs::Refuse: {
          Planned refused = refuse(what + "; the game is not converted without " +
                                   (missing.size() == 1 ? "it." : "them."));
          refused.discMissing = true;
          return refused;
        }
        case MissingDiscs::Ask:
          if (!questions.AskYesNo(what + ".  Make the package of the discs found anyway?", true,
                                  MsgIcon::Exclamation))
            return Refused(Outcome::Declined(), id.title);
          break;
        case MissingDiscs::Allow:
          break;
      }
      warnings.push_back(what + "; the package holds the discs found.");
    }
  }
  // A package rebuilt through the converter writes into the output folder too.
  if (isPbp && !inPlace) {
    if (!MakeFolders(id.output)) return refuse(kMsgOutputInvalid);
    if (IsDataFolder(folders.tree, id.output)) return refuse(kMsgOutputIsData);
    if (std::string why = OutputNotWritable(id.output); !why.empty()) return refuse(why);
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
                                      kSlots[i].assetFileName, isPbp && id.packageInspected),
                      choice.ticked ? id.slotSources[i] : SlotSource::Chosen};
    if (!drawn[i].empty()) plan.assets[i].path = drawn[i];  // a thumbnail drawn to size
  }
  plan.level = job.level;
  plan.palFixScreen = job.palFixScreen;
  plan.palFixGraphics = job.palFixGraphics;
  plan.confirm = job.confirm;
  plan.warnings = std::move(warnings);
  plan.folders = folders;
  plan.settings = {settings.imgResMode, settings.imgResCentre, settings.addIsoPadding,
                   settings.ebootTocExtract};
  // ---- Patches and LibCrypt (engine/patch_plan.h) ----
  {
    std::vector<DiscFiles> discFiles = {{plan.input, plan.dataFile}};
    for (const PlannedDisc& d : plan.laterDiscs) discFiles.push_back({d.input, d.dataFile});
    // A package recompressed: each of its discs is one to patch.
    if (plan.kind == JobKind::RecompressPackage)
      discFiles.resize(std::max(1, pbp::PackageDiscCount(plan.input)), discFiles.front());
    const PatchedInput input = plan.kind == JobKind::NewPackage ? PatchedInput::DiscImages
                               : plan.kind == JobKind::RecompressPackage
                                   ? PatchedInput::RecompressedPackage
                                   : PatchedInput::PackageInPlace;
    Outcome patched = PlanDiscPatches(job.patches, job.offerBesidePatches, discFiles, input,
                                      questions, plan.discPatches);
    if (!patched.succeeded()) return Refused(patched, id.title);
  }
  // ---- end of patches ----
  return {Outcome::Success(), std::move(plan), id.title};
}

}  // namespace ebf
