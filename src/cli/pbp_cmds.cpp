// `info` and `extract`: what a package holds, and its disc image back out.

#include <cstdio>
#include <iostream>
#include <map>
#include <memory>

#include "cli/json_out.h"
#include "cli/registry.h"
#include "cli/terminal_host.h"
#include "common/cancel.h"
#include "common/files.h"
#include "common/run_lock.h"
#include "pbp/extract.h"
#include "pbp/info.h"
#include "pbp/toc.h"
#include "pbp/track_extract.h"

namespace ebf::cli {
namespace {

void PrintInfoJson(const pbp::EbootInfo& info) {
  Json sections = Json::array();
  for (int i = 0; i < pbp::kSectionCount; ++i)
    sections.push_back({{"name", pbp::kSectionNames[i]},
                        {"offset", info.header.offsets[i]},
                        {"size", info.sectionSizes[i]}});
  Json tracks = Json::array();
  for (const auto& t : info.tracks)
    tracks.push_back({{"number", t.number},
                      {"type", t.data ? "data" : "audio"},
                      {"start", pbp::FormatMsf(t.minute, t.second, t.frame)}});
  PrintJson({{"title", info.title},
             {"gameId", info.gameId},
             {"saveName", info.saveName},
             {"fileSize", info.fileSize},
             {"sections", sections},
             {"discImageProblem", info.discImageProblem},
             {"blocks", info.blocks},
             {"compressedBlocks", info.compressedBlocks},
             {"bootPictureSize", info.bootPngSize},
             {"tracks", tracks}});
}

void PrintText(const pbp::EbootInfo& info) {
  std::cout << "Title:     " << info.title << "\n"
            << "Game ID:   " << info.gameId << "\n"
            << "Save name: " << info.saveName << "\n\n"
            << "Section      Offset        Size\n";
  for (int i = 0; i < pbp::kSectionCount; ++i) {
    char line[96];
    std::snprintf(line, sizeof line, "%-10s %10llu  %10llu\n", pbp::kSectionNames[i],
                  static_cast<unsigned long long>(info.header.offsets[i]),
                  static_cast<unsigned long long>(info.sectionSizes[i]));
    std::cout << line;
  }
  if (info.discImageProblem.empty())
    std::cout << "\nDisc blocks: " << info.blocks << " (" << info.compressedBlocks
              << " compressed)";
  else
    std::cout << "\nDisc image: " << info.discImageProblem;
  std::cout << "\nBoot picture: " << info.bootPngSize << " bytes\n\nTracks:\n";
  for (const auto& t : info.tracks) {
    char line[64];
    std::snprintf(line, sizeof line, "  %2d  %-5s  %s\n", t.number, t.data ? "data" : "audio",
                  pbp::FormatMsf(t.minute, t.second, t.frame).c_str());
    std::cout << line;
  }
}

struct InfoArgs {
  std::string path;
};

struct ExtractArgs {
  std::string path, output, toc;
  bool split = false;
};

void FinishExtract(CliContext& ctx, const Outcome& result) {
  ctx.progress->FinishLine();
  switch (result.kind()) {
    case OutcomeKind::Success:
      std::cout << pbp::kExtractDone << "\n";
      break;
    case OutcomeKind::Cancelled:
      std::cerr << "\nCancelled.\n";
      ctx.exitCode = kExitCancelled;
      break;
    case OutcomeKind::Declined:
      // Only a failed write is ever refused here: say which.
      std::cerr << "\n" << ctx.questions->refusedQuestion() << "\n";
      ctx.exitCode = kExitFailed;
      break;
    case OutcomeKind::Failed:
      std::cerr << "\n" << result.text() << "\n";
      ctx.exitCode = kExitFailed;
      break;
  }
}

}  // namespace

void AddInfoCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<InfoArgs>();
  auto* cmd = app.add_subcommand("info", "Show what an EBOOT.PBP holds");
  cmd->add_option("EBOOT", args->path, "The package")->required();
  cmd->callback([args, &ctx] {
    // A journal beside the package is rolled back by the description, unless another run
    // is under way: then the change may be that run's own, not one that never ended.
    RunLock lock;
    if (!MayRollBackLeftoverPatch(ctx, args->path, lock)) return;
    pbp::EbootInfo info;
    std::string err = pbp::ReadEbootInfo(args->path, info);
    if (!info.recovered.empty()) std::cerr << info.recovered << "\n";
    if (!err.empty()) {
      std::cerr << err << "\n";
      ctx.exitCode = 1;
      return;
    }
    if (ctx.json)
      PrintInfoJson(info);
    else
      PrintText(info);
  });
}

void AddExtractCommand(CLI::App& app, CliContext& ctx) {
  auto args = std::make_shared<ExtractArgs>();
  auto* cmd = app.add_subcommand("extract", "Take the disc image out of an EBOOT.PBP");
  cmd->add_option("EBOOT", args->path, "The package")->required();
  cmd->add_option("OUTPUT", args->output,
                  "The raw disc image to write (with --split or --toc cue: the set's name)")
      ->required();
  cmd->add_option("--toc", args->toc,
                  "TOC output: none, toc, ccd, or cue (one BIN and a multi-track sheet) "
                  "(default: the setting)")
      ->check(CLI::IsMember({"none", "toc", "ccd", "cue"}));
  cmd->add_flag("--split", args->split,
                "One BIN per track and a sheet naming them, as a Redump set has them");
  cmd->add_option("--ini", ctx.iniPath, "Settings file to read (default: the program's own)");
  cmd->callback([args, &ctx] {
    LoadCliSettings(ctx);
    // The temporary files are noted in Temp for the next start: the run holds the lock that
    // keeps a start from taking them for a dead run's.
    RunLock lock(ctx.folders.work, RunLockMode::Shared, kRunLockPatience);
    if (!lock.held()) {
      std::cerr << RunLockBusyMessage(ctx.folders.work) << "\n";
      ctx.exitCode = kExitFailed;
      return;
    }
    const std::string notes = TempFolder(ctx.folders.work);
    if (args->split || args->toc == "cue") {
      if (args->split && !args->toc.empty() && args->toc != "cue") {
        std::cerr << "--split writes a CUE sheet; it cannot be combined with --toc " << args->toc
                  << ".\n";
        ctx.exitCode = 1;
        return;
      }
      Outcome result = pbp::ExtractTracks(
          args->path, args->output, args->split ? pbp::TrackFiles::Split : pbp::TrackFiles::OneFile,
          *ctx.progress, *ctx.cancel, notes);
      FinishExtract(ctx, result);
      return;
    }
    static const std::map<std::string, int> tocModes = {
        {"none", pbp::kTocNone}, {"toc", pbp::kTocFile}, {"ccd", pbp::kTocCcd}};
    int toc = args->toc.empty() ? ctx.settings.ebootTocExtract : tocModes.at(args->toc);
    if (std::string question = pbp::CcdOverwriteQuestion(args->output);
        !question.empty() && !ctx.questions->AskYesNo(question, false, MsgIcon::Exclamation)) {
      std::cerr << "Not overwriting " << pbp::CcdFilePath(args->output) << " (use --yes).\n";
      ctx.exitCode = 1;
      return;
    }
    Outcome result = pbp::ExtractDiscImage(args->path, args->output, false, toc, *ctx.progress,
                                           *ctx.cancel, notes);
    FinishExtract(ctx, result);
  });
}

}  // namespace ebf::cli
