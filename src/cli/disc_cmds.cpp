// Disc identity from the command line: the game ID in an image, the database entry for an
// ID, what the input resolver makes of a path, and the PAL-to-NTSC fix.
#include <cstdio>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>
#include <optional>

#include "cli/json_out.h"
#include "cli/registry.h"
#include "common/bytes.h"
#include "common/cancel.h"
#include "common/cd_sector.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/cue_sheet.h"
#include "disc/disc_image.h"
#include "disc/game_db.h"
#include "disc/game_id.h"
#include "disc/libcrypt.h"
#include "disc/pal_fix.h"
#include "disc/resolver.h"
#include "engine/pal_run.h"
#include "engine/patch_plan.h"
#include "engine/plan.h"
#include "pbp/inspect.h"
#include "pbp/patch.h"
#include "pbp/patch_journal.h"

namespace ebf::cli {
namespace {

// Answers the resolver's one question from the command line.
class Answering : public Questions {
 public:
  explicit Answering(bool answer) : answer_(answer) {}
  bool AskYesNo(const std::string& text, bool, MsgIcon) override {
    std::cerr << text << " -> " << (answer_ ? "Yes" : "No") << "\n";
    return answer_;
  }

 private:
  bool answer_;
};

std::string Hex(uint64_t value, int width) {
  char text[32];
  std::snprintf(text, sizeof text, "0x%0*llX", width, static_cast<unsigned long long>(value));
  return text;
}

// The track list of a disc read from a sheet, or, when the disc cannot be opened as a
// conversion opens it (a bad sheet, a broken CloneCD or Alcohol sheet, a damaged CHD),
// why not. False in that case.
bool PrintTracks(const std::string& input, bool addIsoPadding, bool json, std::string& error) {
  if (Extension4(input) == ".PBP") return true;  // a package's disc is read by `info`
  DiscOpenResult opened = OpenDiscImage(input, {addIsoPadding});
  if (!opened.disc) {
    error = ReplaceAll(opened.message, "\r\n", "\n");
    std::cerr << error << "\n";
    return false;
  }
  const DiscInfo& disc = opened.disc->info();
  if (disc.sheet.empty() || json) return true;
  for (const DiscTrack& t : disc.tracks) {
    std::cout << "track " << (t.number < 10 ? "0" : "") << t.number << " = " << std::left
              << std::setw(10) << TrackModeName(t.mode) << std::right << " at "
              << MsfText(t.start).data() << " (sector " << t.start << ")";
    if (t.index1 != t.start) std::cout << ", INDEX 01 at " << MsfText(t.index1).data();
    if (t.pregap) std::cout << ", pregap " << MsfText(t.pregap).data();
    if (t.postgap) std::cout << ", postgap " << MsfText(t.postgap).data();
    std::cout << ", " << FileNameOf(t.file) << "\n";
  }
  std::cout << "disc = " << disc.sectorCount << " sectors (" << MsfText(disc.sectorCount).data()
            << ")\n";
  return true;
}

// What lies beside a disc for it: LibCrypt data (the key and the file) and a patch.
struct Companions {
  std::string libcryptFile, patch;
  std::optional<uint16_t> key;
};

Companions FindCompanions(const ResolvedInput& r) {
  Companions c;
  if (!r.message.empty() || Extension4(r.input) == ".PBP") return c;
  c.patch = FindPatchBeside(r.input, r.dataFile);
  c.libcryptFile = FindSubchannelFile(r.input, r.dataFile);
  SubchannelData data;
  if (!c.libcryptFile.empty() && ReadSubchannelFile(c.libcryptFile, data).empty() &&
      HasLibCrypt(data))
    c.key = LibCryptKey(data);
  return c;
}

struct Args {
  std::string image, id, path, ini;
  bool no = false, screen = false, gfx = false, apply = false;
};

}  // namespace

void AddDiscCommands(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<Args>();

  auto* gameid = app.add_subcommand("gameid", "Print the game ID found in a disc image");
  gameid->add_option("IMAGE", args->image, "ISO, BIN, IMG, MDF, CHD or ECM image, or a CUE sheet")
      ->required();
  gameid->callback([args, &ctx] {
    if (std::string refused = NotAFileMessage(args->image); !refused.empty()) {
      std::cerr << refused << "\n";
      ctx.exitCode = 1;
      return;
    }
    std::string data = args->image;
    if (Extension4(data) == ".CUE") {
      auto found = FindCueDataFile(data);
      if (!found) {
        std::cerr << kCueInvalidMessage << "\n";
        ctx.exitCode = 1;
        return;
      }
      data = *found;
    }
    std::string id = DetectInputGameId(args->image, data);
    if (id.empty()) {
      std::cerr << "No game ID found in " << args->image << "\n";
      ctx.exitCode = 1;
      return;
    }
    if (ctx.json)
      PrintJson({{"image", args->image}, {"gameId", id}});
    else
      std::cout << id << "\n";
  });

  auto* lookup = app.add_subcommand("lookup", "Look a game ID up in the game database");
  lookup->add_option("ID", args->id, "Game ID as read from a disc, e.g. SLUS00594")->required();
  lookup->add_option("--ini", ctx.iniPath, "Settings file to read (HideNameTags)");
  lookup->callback([args, &ctx] {
    if (args->id.empty()) {
      std::cerr << "No game ID given: name one, e.g. SLUS00594.\n";
      ctx.exitCode = 1;
      return;
    }
    LoadCliSettings(ctx);
    auto entry = LookupGame(GameDbPath(ctx.folders.tree), args->id, ctx.settings.hideNameTags);
    if (!entry) {
      std::cerr << args->id << " is not in " << GameDbPath(ctx.folders.tree) << "\n";
      ctx.exitCode = 1;
      return;
    }
    if (ctx.json) {
      PrintJson({{"id", args->id},
                 {"title", entry->title},
                 {"saveName", entry->saveName},
                 {"region", entry->region},
                 {"packageId", entry->packageId}});
      return;
    }
    std::cout << "title = " << entry->title << "\n"
              << "save name = " << entry->saveName << "\n"
              << "region = " << entry->region << "\n"
              << "package ID = " << entry->packageId << "\n";
  });

  auto* resolve = app.add_subcommand("resolve", "Show what the main window would make of a path");
  resolve->add_option("PATH", args->path, "Input file")->required();
  resolve->add_option("--ini", ctx.iniPath, "Settings file to read");
  resolve->add_flag("--no", args->no,
                    "Answer No to the BIN/CUE question (the default without --yes)");
  resolve->callback([args, &ctx] {
    if (!FileExists(args->path)) {
      std::cerr << args->path << " does not exist\n";
      ctx.exitCode = 1;
      return;
    }
    LoadCliSettings(ctx);
    Answering answers(ctx.assumeYes && !args->no);
    ResolvedInput r = ResolveInput(AbsolutePath(args->path),
                                   ResolverContext(ctx.settings, ctx.folders.tree), answers);
    if (!r.message.empty()) {
      std::cerr << r.message << "\n";
      ctx.exitCode = 1;
    }
    // In JSON the disc is only checked; the track list is for the text output.
    std::string discError;
    if (ctx.json && r.message.empty() &&
        !PrintTracks(r.input, ctx.settings.addIsoPadding, true, discError))
      ctx.exitCode = 1;
    const Companions companions = FindCompanions(r);
    if (ctx.json) {
      Json passes = Json::array();
      for (const auto& pass : r.assetPasses)
        passes.push_back({{"gameId", pass.gameId}, {"second", pass.second}});
      PrintJson({{"input", r.input},
                 {"dataFile", r.dataFile},
                 {"title", r.title},
                 {"saveName", r.saveName},
                 {"gameId", r.gameId},
                 {"region", r.region},
                 {"outputFolder", r.outputFolder},
                 {"assetPasses", passes},
                 {"inspection", r.runInspection},
                 {"libcryptKey", companions.key ? Json(LibCryptKeyText(*companions.key)) : Json()},
                 {"libcryptFile", companions.key ? Json(companions.libcryptFile) : Json()},
                 {"patch", companions.patch.empty() ? Json() : Json(companions.patch)},
                 {"message", r.message.empty() ? discError : r.message}});
      return;
    }
    std::cout << "input = " << r.input << "\n"
              << "data file = " << r.dataFile << "\n"
              << "title = " << r.title << "\n"
              << "save name = " << r.saveName << "\n"
              << "game ID = " << r.gameId << "\n"
              << "region = " << r.region << "\n"
              << "output folder = " << r.outputFolder << "\n";
    for (const auto& pass : r.assetPasses)
      std::cout << (pass.second ? "asset pass 2 = " : "asset pass 1 = ") << pass.gameId << "\n";
    std::cout << "inspection = " << (r.runInspection ? "yes" : "no") << "\n";
    if (companions.key)
      std::cout << "libcrypt key = " << LibCryptKeyText(*companions.key) << " ("
                << FileNameOf(companions.libcryptFile) << ")\n";
    if (!companions.patch.empty()) std::cout << "patch = " << companions.patch << "\n";
    if (r.message.empty() && !PrintTracks(r.input, ctx.settings.addIsoPadding, false, discError))
      ctx.exitCode = 1;
  });

  auto* palfix = app.add_subcommand("palfix", "List (or apply) the PAL -> NTSC fix in an image");
  palfix
      ->add_option("IMAGE", args->image,
                   "Disc image, or an EBOOT.PBP (only its disc image is scanned)")
      ->required();
  palfix->add_flag("--screen", args->screen, "Fix Screen Height");
  palfix->add_flag("--gfx", args->gfx, "Fix Graphics (may cause problems)");
  palfix->add_flag("--apply", args->apply, "Change the file (otherwise only list the matches)");
  palfix->callback([args, &ctx] {
    if (!args->screen && !args->gfx) {
      std::cerr << "Choose --screen, --gfx or both\n";
      ctx.exitCode = kExitFailed;
      return;
    }
    // A sheet stands for the image it names.
    if (Extension4(args->image) != ".PBP") {
      std::string target;
      if (std::string why = PalFixTarget(args->image, target); !why.empty()) {
        std::cerr << ReplaceAll(why, "\r\n", "\n") << "\n";
        ctx.exitCode = kExitFailed;
        return;
      }
      if (target != args->image) ctx.progress->Log("The fix goes to " + target + "\n");
      args->image = target;
    }
    // A journal a run before this one left beside the file is rolled back first.
    RunLock lock;
    if (!MayRollBackLeftoverPatch(ctx, args->image, lock)) return;
    if (lock.held()) {
      if (std::string said = pbp::RollBackLeftoverPatch(args->image); !said.empty()) {
        std::cerr << said << "\n";
        if (said.find("could not be undone") != std::string::npos) {
          ctx.exitCode = kExitFailed;
          return;
        }
      }
      lock.Release();
    }
    // A package is checked as a package job checks it, and only its disc image is scanned,
    // as the conversion does: the header and sections before it are never patched.
    const bool package = Extension4(args->image) == ".PBP";
    if (package) {
      if (std::string e = pbp::CheckEbootForJob(args->image); !e.empty()) {
        std::cerr << e << "\n";
        ctx.exitCode = 1;
        return;
      }
    }
    PalFixOptions options;
    options.screenHeight = args->screen;
    options.graphics = args->gfx;
    options.write = args->apply;
    std::vector<PalPatch> found;
    const auto note = [&](const PalPatch& p) {
      found.push_back(p);
      return true;
    };
    uint64_t count = 0;
    Outcome outcome = Outcome::Success();
    if (args->apply) {
      // The user's file is changed all or nothing, through a journal beside it.
      lock = RunLock(ctx.folders.work, RunLockMode::Shared, kRunLockPatience);
      if (!lock.held()) {
        std::cerr << RunLockBusyMessage(ctx.folders.work) << "\n";
        ctx.exitCode = kExitFailed;
        return;
      }
      PalFixRun run{args->screen, args->gfx, *ctx.progress, *ctx.cancel};
      outcome = FixAllOrNothing(args->image, package, run, TempFolder(ctx.folders.work), note);
      count = run.patches;
    } else {
      File file(args->image, File::Mode::Read);
      if (!file) {
        std::cerr << args->image << ": " << file.LastError() << "\n";
        ctx.exitCode = 1;
        return;
      }
      std::vector<FileSpan> spans{{0, file.Size()}};
      if (package) {
        auto image = pbp::PalFixSpans(file);
        if (!image) {
          std::cerr << pbp::kEbootNotValid << "\n";
          ctx.exitCode = kExitFailed;
          return;
        }
        spans = std::move(*image);
      }
      PalFixResult r = ApplyPalFix(file, spans, options, nullptr, *ctx.progress, *ctx.cancel, note);
      count = r.patches;
      if (!r.error.empty())
        outcome = Outcome::Failed(args->image + ": " + r.error);
      else if (r.cancelled)
        outcome = Outcome::Cancelled();
      ctx.cancel->Take();
    }
    if (outcome.failed()) {
      // A failed fix has been rolled back: nothing it found is in the file.
      std::cerr << outcome.text() << "\n";
      ctx.exitCode = 1;
      ctx.cancel->Take();
      return;
    }
    if (outcome.kind() == OutcomeKind::Cancelled) {
      std::cerr << "Cancelled.\n";
      ctx.exitCode = kExitCancelled;
      return;
    }
    Json patches = Json::array();
    for (const PalPatch& p : found) {
      if (ctx.json)
        patches.push_back({{"offset", p.offset}, {"rule", PalRuleName(p.rule)}});
      else
        std::cout << Hex(p.offset, 8) << " " << PalRuleName(p.rule) << "\n";
    }
    if (ctx.json && ctx.exitCode == kExitSuccess) {
      PrintJson({{"image", args->image},
                 {"screen", args->screen},
                 {"graphics", args->gfx},
                 {"applied", args->apply},
                 {"count", count},
                 {"patches", patches}});
      return;
    }
    if (!ctx.quiet)
      std::cerr << count << (args->apply ? " patched" : " found (file unchanged)") << "\n";
  });
}

}  // namespace ebf::cli
