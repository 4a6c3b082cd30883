// Disc identity from the command line: the game ID in an image, the database entry for an
// ID, what the input resolver makes of a path, and the PAL-to-NTSC fix.
#include <cstdio>
#include <filesystem>
#include <iostream>

#include "cli/registry.h"
#include "common/cancel.h"
#include "common/file_io.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/cue_sheet.h"
#include "disc/game_db.h"
#include "disc/game_id.h"
#include "disc/pal_fix.h"
#include "disc/resolver.h"
#include "pbp/patch.h"

namespace ebf::cli {
namespace {

// Answers the resolver's one question from the command line.
class AnsweringHost : public Host {
 public:
  explicit AnsweringHost(bool answer) : answer_(answer) {}
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

struct Args {
  std::string image, id, path, ini;
  bool yes = false, no = false, screen = false, gfx = false, apply = false;
};

CommandRegistrar discCommands(30, [](CLI::App& app, CliContext& ctx) {
  static Args args;

  auto* gameid = app.add_subcommand("gameid", "Print the game ID found in a disc image");
  gameid->add_option("IMAGE", args.image, "ISO, BIN, IMG or MDF image, or a CUE sheet")->required();
  gameid->callback([&ctx] {
    std::string image = args.image;
    if (Extension4(image) == ".CUE") {
      auto data = FindCueDataFile(image);
      if (!data) {
        std::cerr << kCueInvalidMessage << "\n";
        ctx.exitCode = 1;
        return;
      }
      image = *data;
    }
    std::string id = DetectGameId(image);
    if (id.empty()) {
      std::cerr << "No game ID found in " << args.image << "\n";
      ctx.exitCode = 1;
      return;
    }
    std::cout << id << "\n";
  });

  auto* lookup = app.add_subcommand("lookup", "Look a game ID up in the game database");
  lookup->add_option("ID", args.id, "Game ID as read from a disc, e.g. SLUS00594")->required();
  lookup->add_option("--ini", ctx.iniPath, "Settings file to read (HideNameTags)");
  lookup->callback([&ctx] {
    LoadCliSettings(ctx);
    auto entry = LookupGame(GameDbPath(ctx.programFolder), args.id, ctx.settings.hideNameTags);
    if (!entry) {
      std::cerr << args.id << " is not in " << GameDbPath(ctx.programFolder) << "\n";
      ctx.exitCode = 1;
      return;
    }
    std::cout << "title = " << entry->title << "\n"
              << "save name = " << entry->saveName << "\n"
              << "region = " << entry->region << "\n"
              << "package ID = " << entry->packageId << "\n";
  });

  auto* resolve = app.add_subcommand("resolve", "Show what the main window would make of a path");
  resolve->add_option("PATH", args.path, "Input file")->required();
  resolve->add_option("--ini", ctx.iniPath, "Settings file to read");
  auto* yes = resolve->add_flag("--yes", args.yes, "Answer Yes to the BIN/CUE question");
  resolve->add_flag("--no", args.no, "Answer No to the BIN/CUE question (default)")->excludes(yes);
  resolve->callback([&ctx] {
    if (!FileExists(args.path)) {
      std::cerr << args.path << " does not exist\n";
      ctx.exitCode = 1;
      return;
    }
    LoadCliSettings(ctx);
    ResolveContext context;
    context.programFolder = ctx.programFolder;
    context.settings = ctx.settings;
    AnsweringHost host(args.yes);
    ResolvedInput r = ResolveInput(AbsolutePath(args.path), context, host);
    if (!r.message.empty()) {
      std::cerr << r.message << "\n";
      ctx.exitCode = 1;
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
  });

  auto* palfix = app.add_subcommand("palfix", "List (or apply) the PAL -> NTSC fix in an image");
  palfix
      ->add_option("IMAGE", args.image,
                   "Disc image, or an EBOOT.PBP (only its disc image is scanned)")
      ->required();
  palfix->add_flag("--screen", args.screen, "Fix Screen Height");
  palfix->add_flag("--gfx", args.gfx, "Fix Graphics (may cause problems)");
  palfix->add_flag("--apply", args.apply, "Change the file (otherwise only list the matches)");
  palfix->callback([&ctx] {
    if (!args.screen && !args.gfx) {
      std::cerr << "Choose --screen, --gfx or both\n";
      ctx.exitCode = 2;
      return;
    }
    // A package is checked as a package job checks it, and only its disc image is scanned,
    // as the conversion does: the header and sections before it are never patched.
    const bool package = Extension4(args.image) == ".PBP";
    if (package) {
      if (std::string e = pbp::CheckEbootForJob(args.image); !e.empty()) {
        std::cerr << e << "\n";
        ctx.exitCode = 1;
        return;
      }
    }
    File file(args.image, args.apply ? File::Mode::ReadWrite : File::Mode::Read);
    if (!file) {
      std::cerr << args.image << ": " << file.LastError() << "\n";
      ctx.exitCode = 1;
      return;
    }
    const uint64_t end = file.Size();
    const uint64_t start = package ? pbp::PalFixStart(file).value_or(end) : 0;
    PalFixOptions options;
    options.screenHeight = args.screen;
    options.graphics = args.gfx;
    options.write = args.apply;
    PalFixResult result;
    if (start < end && file.Seek(start))
      result = ApplyPalFix(file, end, options, nullptr, *ctx.host, [](const PalPatch& p) {
        std::cout << Hex(p.offset, 8) << " " << PalRuleName(p.rule) << "\n";
      });
    if (!file.Close() && result.error.empty()) result.error = file.LastError();
    if (!result.error.empty()) {
      std::cerr << args.image << ": " << result.error << "\n";
      ctx.exitCode = 1;
    } else if (result.cancelled) {
      TakeCancelRequest();
      std::cerr << "Cancelled.\n";
      ctx.exitCode = 1;
    }
    std::cerr << result.patches << (args.apply ? " patched" : " found (file unchanged)") << "\n";
  });
});

}  // namespace
}  // namespace ebf::cli
