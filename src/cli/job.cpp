#include "cli/job.h"

#include "common/files.h"
#include "common/text.h"

namespace ebf::cli {
namespace {

constexpr std::array<const char*, kSlotCount> kOptionNames = {"icon0", "icon1", "pic0",
                                                              "pic1",  "snd0",  "boot"};

}  // namespace

void AddJobOptions(CLI::App& cmd, JobOptions& o) {
  cmd.add_option("-o,--output", o.output, "Output folder (a new file for a rebuilt package)");
  cmd.add_option("--title", o.title, "Game title shown on the PSP");
  cmd.add_option("--id", o.gameId, "Game ID such as SLUS00594");
  cmd.add_option("--save-name", o.saveName, "Game save name");
  cmd.add_option("--level", o.level, "Compression level 0-9")->check(CLI::Range(0, 9));
  cmd.add_flag("--pal-screen", o.palScreen, "PAL -> NTSC fix: screen height");
  cmd.add_flag("--pal-gfx", o.palGfx, "PAL -> NTSC fix: graphics");
  cmd.add_flag("--recompress", o.recompress, "Rebuild a package through its disc image");
  cmd.add_flag("--allow-missing-discs", o.allowMissingDiscs,
               "Convert a game whose \"(Disc N)\" files skip a number from the discs found");
  for (std::size_t i = 0; i < kOptionNames.size(); ++i) {
    const std::string name = kOptionNames[i];
    cmd.add_option("--" + name, o.assets[i], "Custom " + std::string(kSlots[i].assetFileName));
    cmd.add_flag("--no-" + name, o.removed[i],
                 "Leave " + std::string(kSlots[i].assetFileName) + " out of the package");
  }
  cmd.add_option("--resources", o.resources,
                 "Folder of pictures for every game, one folder per game (ResourceRoot)")
      ->check(CLI::ExistingDirectory);
  cmd.add_option("--thumbnails", o.thumbnails,
                 "RetroArch thumbnails folder: box art for ICON0, title screens for PIC1 "
                 "(ThumbnailsRoot)")
      ->check(CLI::ExistingDirectory);
  cmd.add_option("--name", o.nameTemplate,
                 "Output folder's name under -o: %GAMEID%, %TITLE%, %FILENAME%, %REGION% "
                 "(NameTemplate)");
}

void ApplyJobSettings(const JobOptions& o, Settings& settings) {
  if (o.resources) settings.resourceRoot = *o.resources;
  if (o.thumbnails) settings.thumbnailsRoot = *o.thumbnails;
  if (o.nameTemplate) {
    settings.nameTemplate = *o.nameTemplate;
    if (!o.output.empty()) settings.defaultOutputDir = o.output;
  }
}

Json SlotSourcesJson(const ConversionPlan& plan) {
  Json slots = Json::object();
  for (int i = 0; i < kSlotCount; ++i) {
    const Slot& slot = plan.assets[i];
    std::string source;
    switch (slot.source) {
      case SlotSource::CustomFolder:
        source = "custom folder";
        break;
      case SlotSource::ResourceFolder:
        source = "resource folder";
        break;
      case SlotSource::Thumbnails:
        source = "thumbnails";
        break;
      default:
        source = !slot.ticked                       ? "removed"
                 : !slot.text.empty()               ? "chosen"
                 : plan.kind == JobKind::NewPackage ? "default"
                                                    : "original";
    }
    const std::string file = slot.text.empty() ? slot.path : slot.text;
    slots[StemOf(kSlots[i].assetFileName)] = {{"source", source},
                                              {"file", slot.ticked ? Json(file) : Json()}};
  }
  return slots;
}

void AddPatchOption(CLI::App& cmd, JobOptions& o) {
  cmd.add_option("--patch", o.patches,
                 "A patch (PPF, IPS, BPS, xdelta) for the disc, applied to the package's copy; "
                 "repeatable, applied in order; N:FILE for disc N of a game on several discs");
}

PatchChoice ParsePatchOption(const std::string& text) {
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos || colon == 0 || colon > 2 || colon + 1 == text.size())
    return {1, text};
  for (std::size_t i = 0; i < colon; ++i)
    if (text[i] < '0' || text[i] > '9') return {1, text};
  return {std::stoi(text.substr(0, colon)), text.substr(colon + 1)};
}

JobInput JobFor(const std::vector<std::string>& discs, const JobOptions& o,
                const Settings& settings, bool wholeGame) {
  JobInput job;
  job.wholeGame = wholeGame;
  job.missingDiscs = o.allowMissingDiscs ? MissingDiscs::Allow : MissingDiscs::Refuse;
  const std::string& input = discs.front();
  job.input = input;
  job.laterDiscs.assign(discs.begin() + 1, discs.end());
  job.resolve = true;
  // For a package patched in place, -o names the file a rebuild writes instead.
  const bool inPlace = Extension4(input) == ".PBP" && !o.recompress;
  // With --name, -o is where the named folder goes (ApplyJobSettings).
  if (!inPlace && !o.nameTemplate) job.output = o.output;
  job.title = o.title;
  job.saveName = o.saveName;
  job.gameId = o.gameId;
  // The slots' rules are made for the full paths the window hands them.
  for (int i = 0; i < kSlotCount; ++i)
    job.assets[i] = {!o.removed[i], o.assets[i].empty() ? "" : AbsolutePath(o.assets[i])};
  job.level = o.level ? *o.level : ValInt(settings.compressLevel);
  job.palFixScreen = o.palScreen;
  job.palFixGraphics = o.palGfx;
  job.recompress = o.recompress;
  job.confirm = false;
  for (const std::string& p : o.patches) job.patches.push_back(ParsePatchOption(p));
  job.offerBesidePatches = true;
  return job;
}

}  // namespace ebf::cli
