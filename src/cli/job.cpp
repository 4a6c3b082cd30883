#include "cli/job.h"

#include "assets/slots.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/resolver.h"
#include "engine/go_checks.h"
#include "pbp/inspect.h"

namespace ebf::cli {
namespace {

constexpr std::array<const char*, 6> kOptionNames = {"icon0", "icon1", "pic0",
                                                     "pic1",  "snd0",  "boot"};

// The resolver's one question (BIN with a CUE beside it) only informs; --yes takes the CUE.
class ResolverHost : public Host {
 public:
  ResolverHost(Host& inner, bool yes) : inner_(inner), yes_(yes) {}
  bool AskYesNo(const std::string& text, bool, MsgIcon) override {
    inner_.Log(text + (yes_ ? " -> Yes\n" : " -> No\n"));
    return yes_;
  }

 private:
  Host& inner_;
  bool yes_;
};

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
  for (std::size_t i = 0; i < kOptionNames.size(); ++i) {
    const std::string name = kOptionNames[i];
    cmd.add_option("--" + name, o.assets[i], "Custom " + std::string(kSlots[i].assetFileName));
    cmd.add_flag("--no-" + name, o.removed[i],
                 "Leave " + std::string(kSlots[i].assetFileName) + " out of the package");
  }
}

PreparedJob PrepareJob(const std::string& input, const JobOptions& o, CliContext& ctx, Host& host) {
  PreparedJob job;
  const ProgramFolders& folders = ctx.folders;
  ResolveContext rc;
  rc.programFolder = folders.tree;
  rc.settings = ctx.settings;
  ResolverHost resolverHost(host, ctx.assumeYes);
  ResolvedInput res = ResolveInput(input, rc, resolverHost);
  if (!res.message.empty()) {
    job.refusal = res.message;
    return job;
  }
  job.dataFile = res.dataFile;
  const bool isPbp = Extension4(res.input) == ".PBP";
  std::string title = res.title, saveName = res.saveName, gameId = res.gameId;
  if (res.runInspection && isPbp) {
    pbp::Inspection in = pbp::InspectEboot(res.input, TempFolder(folders.work), host);
    if (!in.message.empty()) {
      job.refusal = in.message;
      return job;
    }
    title = in.title;
    gameId = in.gameId;
    saveName = in.saveName;
  }
  if (gameId.empty()) gameId = ctx.settings.defGameId;

  // Slots: what the per-game search finds, then what the user named.
  std::array<std::string, 6> texts{};
  if (!isPbp) {
    for (const AssetPass& pass : res.assetPasses) {
      CustomFolderSearch search{folders, ctx.settings.defaultCustDir,
                                ctx.settings.useSourceDirAsCust, res.dataFile, pass.gameId};
      FillSlotsFromCustomFolder(texts, search);
    }
  }
  for (int i = 0; i < 6; ++i) {
    if (!o.assets[i].empty()) texts[i] = o.assets[i];
    job.context.slotChoices[i] = {!o.removed[i], texts[i]};
  }

  if (o.title) title = *o.title;
  if (o.gameId) gameId = *o.gameId;
  if (o.saveName) saveName = *o.saveName;
  std::string output = o.output.empty() ? res.outputFolder : o.output;
  if (isPbp && !o.recompress) output = "";  // patched in place; -o names a rebuild's file
  if (o.claimedFolders && !output.empty()) {
    std::string base = output;
    while (base.size() > 1 && IsSeparator(base.back())) base.pop_back();
    output = base;
    for (int n = 2; o.claimedFolders->count(output); ++n)
      output = base + " (" + std::to_string(n) + ")";
    o.claimedFolders->insert(output);
  }
  job.title = title;

  GoInputs go;
  go.programFolder = folders.tree;
  go.input = res.input;
  go.output = output;
  go.title = title;
  go.saveName = saveName;
  go.gameId = gameId;
  go.region = res.region;
  go.palFixScreen = o.palScreen;
  go.palFixGraphics = o.palGfx;
  go.slotChecks = [&texts] { return FirstMissingSlotMessage(texts); };
  GoVerdict verdict = RunGoChecks(go, host);
  if (!verdict.proceed) {
    job.refusal = verdict.warning;
    job.declined = verdict.warning.empty();
    return job;
  }

  ConversionRequest& r = job.request;
  r.InputPath = res.input;
  r.OutputFolder = output;
  r.Title = title;
  r.SaveName = saveName;
  r.GameID = gameId;
  std::string* paths[6] = {&r.Icon0Path, &r.Icon1Path, &r.Pic0Path,
                           &r.Pic1Path,  &r.Snd0Path,  &r.GamebootPath};
  for (int i = 0; i < 6; ++i)
    *paths[i] = ResolveSlotFile(folders, !o.removed[i], texts[i], kSlots[i].assetFileName, isPbp);
  r.CompressionLevel =
      static_cast<int16_t>(o.level ? *o.level : ValInt(ctx.settings.compressLevel));
  r.PalFixScreen = o.palScreen;
  r.PalFixGraphics = o.palGfx;
  r.RecompressEboot = o.recompress;
  r.LogMode = true;

  job.context.folders = folders;
  job.context.settings = ctx.settings;
  job.context.host = &host;
  if (isPbp && !o.recompress) {
    const std::string dest = o.output;
    job.context.chooseRebuildDestination = [dest, missing = job.destinationMissing] {
      *missing = dest.empty();
      return dest;
    };
  }
  return job;
}

}  // namespace ebf::cli
