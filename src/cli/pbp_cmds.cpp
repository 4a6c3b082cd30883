// `info` and `extract`: what a package holds, and its disc image back out.

#include <algorithm>
#include <cstdio>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <optional>

#include "cli/json_out.h"
#include "cli/registry.h"
#include "cli/terminal_host.h"
#include "common/cancel.h"
#include "common/files.h"
#include "common/run_lock.h"
#include "engine/patch_run.h"
#include "pbp/disc_table.h"
#include "pbp/extract.h"
#include "pbp/info.h"
#include "pbp/toc.h"
#include "pbp/track_extract.h"

namespace ebf::cli {
namespace {

Json TracksJson(const std::vector<pbp::TrackInfo>& list) {
  Json tracks = Json::array();
  for (const auto& t : list)
    tracks.push_back({{"number", t.number},
                      {"type", t.data ? "data" : "audio"},
                      {"start", pbp::FormatMsf(t.minute, t.second, t.frame)}});
  return tracks;
}

void PrintInfoJson(const pbp::EbootInfo& info) {
  Json sections = Json::array();
  for (int i = 0; i < pbp::kSectionCount; ++i)
    sections.push_back({{"name", pbp::kSectionNames[i]},
                        {"offset", info.header.offsets[i]},
                        {"size", info.sectionSizes[i]}});
  Json tracks = TracksJson(info.tracks);
  Json out = {{"title", info.title},
              {"gameId", info.gameId},
              {"saveName", info.saveName},
              {"fileSize", info.fileSize},
              {"sections", sections},
              {"discImageProblem", info.discImageProblem},
              {"blocks", info.blocks},
              {"compressedBlocks", info.compressedBlocks},
              {"bootPictureSize", info.bootPngSize},
              {"tracks", tracks}};
  // A package of several discs also lists each (the fields above are then disc 1's).
  if (!info.discs.empty()) {
    Json discs = Json::array();
    for (const pbp::DiscInfo& d : info.discs)
      discs.push_back({{"number", d.number},
                       {"gameId", d.gameId},
                       {"sectors", d.sectors},
                       {"blocks", d.blocks},
                       {"compressedBlocks", d.compressedBlocks},
                       {"compressedSize", d.compressedSize},
                       {"problem", d.problem},
                       {"tracks", TracksJson(d.tracks)}});
    out["discs"] = discs;
  }
  PrintJson(out);
}

void PrintTracks(const std::vector<pbp::TrackInfo>& tracks, const char* indent) {
  for (const auto& t : tracks) {
    char line[64];
    std::snprintf(line, sizeof line, "%s%2d  %-5s  %s\n", indent, t.number,
                  t.data ? "data" : "audio", pbp::FormatMsf(t.minute, t.second, t.frame).c_str());
    std::cout << line;
  }
}

// A package of several discs: each disc with its ID, size and tracks.
void PrintDiscs(const pbp::EbootInfo& info) {
  std::cout << "\nBoot picture: " << info.bootPngSize << " bytes\n\nDiscs: " << info.discs.size()
            << "\n";
  for (const pbp::DiscInfo& d : info.discs) {
    std::cout << "\nDisc " << d.number << ": " << d.gameId;
    if (d.problem.empty())
      std::cout << ", " << d.sectors << " sectors, " << d.blocks << " blocks ("
                << d.compressedBlocks << " compressed), " << d.compressedSize
                << " bytes of block data\n";
    else
      std::cout << "\n  " << d.problem << "\n";
    if (!d.tracks.empty()) {
      std::cout << "  Tracks:\n";
      PrintTracks(d.tracks, "    ");
    }
  }
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
  if (!info.discs.empty()) {
    PrintDiscs(info);
    return;
  }
  if (info.discImageProblem.empty())
    std::cout << "\nDisc blocks: " << info.blocks << " (" << info.compressedBlocks
              << " compressed)";
  else
    std::cout << "\nDisc image: " << info.discImageProblem;
  std::cout << "\nBoot picture: " << info.bootPngSize << " bytes\n\nTracks:\n";
  PrintTracks(info.tracks, "  ");
}

struct InfoArgs {
  std::string path;
};

struct ExtractArgs {
  std::string path, output, toc;
  bool split = false;
  int disc = 0;  // 0: every disc
};

// The package's LibCrypt data go beside each image taken out (engine/patch_run.h).
Outcome CopySbiFiles(CliContext& ctx, const std::string& package, int first, int count,
                     const std::function<std::string(int)>& imageOf) {
  for (int disc = first; disc < first + count; ++disc) {
    Outcome copied = CopyPackageSbi(package, disc, imageOf(disc), *ctx.questions);
    if (!copied.succeeded()) return copied;
  }
  return Outcome::Success();
}

void FinishExtract(CliContext& ctx, const Outcome& result,
                   const std::vector<std::string>& outputs) {
  ctx.progress->FinishLine();
  switch (result.kind()) {
    case OutcomeKind::Success:
      PrintResult(ctx, {{"outputs", outputs}, {"message", pbp::kExtractDone}}, pbp::kExtractDone);
      break;
    case OutcomeKind::Cancelled:
      std::cerr << "\nCancelled.\n";
      ctx.exitCode = kExitCancelled;
      break;
    case OutcomeKind::Declined:
      // A failed write, which --yes never answers, or a file of the user's to be replaced.
      if (!AnswerableRefusal(ctx)) std::cerr << "\n" << ctx.questions->refusedQuestion() << "\n";
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
  cmd->add_option("--disc", args->disc,
                  "Only this disc (from 1) of a package of several, written as OUTPUT "
                  "(default: every disc, each as \"OUTPUT (Disc N)\")")
      ->check(CLI::Range(1, 5));
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
    // Several discs go each to its own name; one disc, or the one asked for, to OUTPUT.
    const int discs = args->disc > 0 ? 1 : pbp::PackageDiscCount(args->path);
    const int first = std::max(args->disc, 1);
    auto outputOf = [&](int disc) {
      return discs > 1 ? pbp::DiscOutputPath(args->output, disc) : args->output;
    };
    std::vector<std::string> outputs;
    for (int disc = first; disc < first + discs; ++disc) outputs.push_back(outputOf(disc));
    if (args->split || args->toc == "cue") {
      if (args->split && !args->toc.empty() && args->toc != "cue") {
        std::cerr << "--split writes a CUE sheet; it cannot be combined with --toc " << args->toc
                  << ".\n";
        ctx.exitCode = 1;
        return;
      }
      const pbp::TrackFiles layout =
          args->split ? pbp::TrackFiles::Split : pbp::TrackFiles::OneFile;
      // Every disc's files in the way are asked about before the first is written.
      Outcome result = Outcome::Success();
      for (int disc = first; disc < first + discs && result.succeeded(); ++disc)
        result = pbp::ExtractTracks(args->path, outputOf(disc), layout, *ctx.progress, *ctx.cancel,
                                    notes, disc, {ctx.questions, true});
      for (int disc = first; disc < first + discs && result.succeeded(); ++disc) {
        std::optional<Stage> stage;
        if (discs > 1) stage.emplace(*ctx.progress, "", 1.0 / discs);
        result = pbp::ExtractTracks(args->path, outputOf(disc), layout, *ctx.progress, *ctx.cancel,
                                    notes, disc);
        if (!stage) break;
        result = result.Within("Disc " + std::to_string(disc));
        if (result.succeeded()) stage->Done();
      }
      if (result.succeeded()) result = CopySbiFiles(ctx, args->path, first, discs, outputOf);
      FinishExtract(ctx, result, outputs);
      return;
    }
    static const std::map<std::string, int> tocModes = {
        {"none", pbp::kTocNone}, {"toc", pbp::kTocFile}, {"ccd", pbp::kTocCcd}};
    int toc = args->toc.empty() ? ctx.settings.ebootTocExtract : tocModes.at(args->toc);
    Outcome result =
        discs > 1 ? pbp::ExtractEveryDisc(args->path, args->output, toc, *ctx.progress, *ctx.cancel,
                                          notes, ctx.questions)
                  : pbp::ExtractDiscImage(args->path, args->output, false, toc, *ctx.progress,
                                          *ctx.cancel, notes, first, {ctx.questions});
    if (result.succeeded()) result = CopySbiFiles(ctx, args->path, first, discs, outputOf);
    FinishExtract(ctx, result, outputs);
  });
}

}  // namespace ebf::cli
