// convert and batch: the Go button from the command line.
#include <chrono>
#include <cmath>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>
#include <set>
#include <sstream>

#include "cli/job.h"
#include "cli/json_out.h"
#include "cli/terminal_host.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/classify.h"
#include "disc/cue_sheet.h"
#include "disc/disc_set.h"
#include "engine/conversion.h"
#include "pbp/rebuild.h"

namespace ebf::cli {
namespace {

// How the program's "Continue regardless?" question after a failed read or write begins.
constexpr const char* kUnexpectedErrorHead = "The following unexpected error occurred!!!";

namespace fs = std::filesystem;

struct JobResult {
  std::vector<std::string> discs;  // the images of a game on several discs
  OutcomeKind kind = OutcomeKind::Failed;
  std::string game, id, result, size;
  std::vector<std::string> warnings;  // what the package made lacks (a disc not found ...)
  double seconds = 0;
  int exitCode = kExitFailed;
  Json assets;  // where each slot's file came from, when the job was planned
};

// What --json prints for a finished job: one object on one line.
void PrintJobJson(const std::string& input, const std::string& output, const char* outcome,
                  const std::string& message, const JobResult& r, uint64_t inputBytes,
                  uint64_t outputBytes) {
  Json line = {{"input", input},
               {"output", output.empty() ? Json() : Json(output)},
               {"outcome", outcome},
               {"message", message},
               {"title", r.game},
               {"gameId", r.id},
               {"seconds", std::round(r.seconds * 1000) / 1000},
               {"sizes", {{"input", inputBytes}, {"output", outputBytes}}}};
  if (r.discs.size() > 1) line["discs"] = r.discs;
  if (!r.warnings.empty()) line["warnings"] = r.warnings;
  if (!r.assets.is_null()) line["assets"] = r.assets;
  PrintJson(line, true);
}

std::string Seconds(double s) {
  std::ostringstream out;
  out << static_cast<int>(s) / 60 << "m " << static_cast<int>(s) % 60 << "s";
  return out.str();
}

// Runs one input through the whole job; prints the closing message. A batch passes the
// folders its earlier games took, and gets this game's added.
JobResult RunOne(const std::vector<std::string>& discs, const JobOptions& options, CliContext& ctx,
                 std::set<std::string>* takenFolders = nullptr, PictureFinder* pictures = nullptr,
                 bool wholeGame = false) {
  const std::string& input = discs.front();
  TerminalProgress& progress = *ctx.progress;
  TerminalQuestions& questions = *ctx.questions;
  questions.Clear();
  questions.SetRebuildDestination(options.output);
  const auto start = std::chrono::steady_clock::now();
  JobResult out;
  out.discs = discs;
  JobInput job = JobFor(discs, options, ctx.settings, wholeGame);
  if (takenFolders) job.takenOutputFolders = *takenFolders;
  job.pictures = pictures;
  const Planned planned = PlanConversion(job, ctx.settings, ctx.folders, questions);
  out.game = planned.title.empty() ? StemOf(input) : planned.title;
  if (planned.plan) {
    out.id = planned.plan->gameId;
    out.warnings = planned.plan->warnings;
    out.assets = SlotSourcesJson(*planned.plan);
    if (takenFolders && !planned.plan->output.empty())
      takenFolders->insert(OutputFolderKey(planned.plan->output));
  }
  // Measured before the run: patching in place changes the input.
  uint64_t inputBytes = FileSize(planned.plan ? planned.plan->dataFile : input).value_or(0);
  if (planned.plan)
    for (const PlannedDisc& disc : planned.plan->laterDiscs)
      inputBytes += FileSize(disc.dataFile).value_or(0);
  ConversionResult result;
  result.outcome = planned.outcome;
  if (planned.plan) {
    progress.Log("Converting " + input + "\n");
    for (std::size_t i = 1; i < discs.size(); ++i)
      progress.Log("  disc " + std::to_string(i + 1) + ": " + discs[i] + "\n");
    result = RunConversion(*planned.plan, progress, questions, *ctx.cancel);
  }
  progress.FinishLine();
  out.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();

  const Outcome& outcome = result.outcome;
  out.kind = outcome.kind();
  switch (outcome.kind()) {
    case OutcomeKind::Success: {
      out.exitCode = kExitSuccess;
      const bool inPlace = planned.plan->kind == JobKind::PatchPackage && !result.rebuilt;
      const std::string done = result.rebuilt ? pbp::kRebuildDone
                               : inPlace      ? kMsgPatchingDone
                                              : kMsgConversionDone;
      const uint64_t outputBytes = FileSize(result.package).value_or(0);
      out.size = FormatSize(outputBytes);
      out.result = outcome.text();
      out.warnings.insert(out.warnings.end(), result.warnings.begin(), result.warnings.end());
      if (ctx.json) {
        PrintJobJson(input, result.package, "success", done, out, inputBytes, outputBytes);
      } else {
        std::cout << done << "\n";
        if (result.palPatches)
          std::cout << "PAL -> NTSC fix: " << result.palPatches << " change(s)\n";
        std::cout << result.package << " (" << out.size << ", " << Seconds(out.seconds) << ")\n";
      }
      break;
    }
    case OutcomeKind::Cancelled:
      std::cerr << "Cancelled.\n";
      out.result = outcome.text();
      out.exitCode = kExitCancelled;
      if (ctx.json) PrintJobJson(input, "", "cancelled", outcome.text(), out, inputBytes, 0);
      break;
    case OutcomeKind::Declined:
      if (questions.destinationMissing()) {
        std::cerr << kNeedRebuildDestination << "\n";
        out.result = "No file to rebuild into";
        if (ctx.json)
          PrintJobJson(input, "", "failed", kNeedRebuildDestination, out, inputBytes, 0);
      } else if (questions.refusedQuestion().rfind(kUnexpectedErrorHead, 0) == 0) {
        // A failed read or write stopped the run: a failure, whatever --yes says.
        const std::string& text = questions.refusedQuestion();
        const std::string error = text.substr(0, text.rfind("\n\nContinue regardless?"));
        std::cerr << error << "\n";
        out.result = "Stopped by an error";
        if (ctx.json) PrintJobJson(input, "", "failed", error, out, inputBytes, 0);
      } else {
        // A question stopped the run: say which, and how to answer it.
        const std::string& question = questions.refusedQuestion();
        const bool rebuild = question == pbp::kRebuildQuestion && options.output.empty();
        std::cerr << question
                  << (rebuild
                          ? "\n(not answered: run again with --yes -o NEW.PBP to rebuild into a "
                            "new file)\n"
                          : "\n(not answered: run again with --yes to answer Yes)\n");
        out.result = "Stopped at a question";
        out.exitCode = kExitCancelled;
        if (ctx.json) PrintJobJson(input, "", "declined", question, out, inputBytes, 0);
      }
      break;
    case OutcomeKind::Failed: {
      const std::string text = ReplaceAll(outcome.text(), "\r\n", "\n");
      std::cerr << text << "\n";
      if (!planned.plan && text.find("not converted without") != std::string::npos)
        std::cerr << "(run again with --allow-missing-discs to convert the discs found)\n";
      const auto lines = SplitLines(outcome.text());
      out.result = ReplaceAll(lines.empty() ? outcome.text() : lines[0], "\t", " ");
      if (ctx.json) PrintJobJson(input, "", "failed", text, out, inputBytes, 0);
      break;
    }
  }
  questions.Clear();
  return out;
}

bool IsDiscImage(const std::string& path) {
  const std::string ext = Extension4(path);
  return ext == ".CUE" || ext == ".ISO" || ext == ".BIN" || ext == ".IMG" || ext == ".MDF" ||
         ext == ".CCD" || ext == ".CHD" || ext == ".ECM";
}

// Every disc image under the given files and folders, a CUE taking the place of the data
// file it names, a CCD turned into its IMG, each once.
std::vector<std::string> FindDiscImages(const std::vector<std::string>& paths) {
  std::vector<std::string> found;
  for (const std::string& p : paths) {
    std::error_code ec;
    if (fs::is_directory(fs::u8path(p), ec)) {
      std::vector<std::string> inFolder;
      for (auto it = fs::recursive_directory_iterator(fs::u8path(p), ec);
           !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
        if (!it->is_regular_file(ec)) continue;
        auto u8 = it->path().u8string();
        std::string file(u8.begin(), u8.end());
        if (IsDiscImage(file)) inFolder.push_back(file);
      }
      std::sort(inFolder.begin(), inFolder.end());
      found.insert(found.end(), inFolder.begin(), inFolder.end());
    } else if (IsDiscImage(p)) {
      found.push_back(p);
    }
  }
  std::set<std::string> covered, seen;
  for (std::string& f : found) {
    if (Extension4(f) == ".CCD") f = CcdImagePath(f);
    // A sheet stands for every file it names (a set has one per track).
    if (Extension4(f) == ".CUE")
      for (const std::string& data : FindCueDataFiles(f)) covered.insert(CanonicalPath(data));
  }
  std::vector<std::string> images;
  for (const std::string& f : found) {
    const std::string key = CanonicalPath(f);
    if (!FileExists(f) || covered.count(key) || !seen.insert(key).second) continue;
    images.push_back(f);
  }
  return images;
}

struct ConvertArgs {
  std::vector<std::string> paths;
  JobOptions options;
  bool separateDiscs = false;
};

// The discs `convert` was given: the images named, or the ones a playlist names.
std::optional<std::vector<std::string>> DiscsToConvert(const std::vector<std::string>& inputs) {
  if (inputs.size() == 1 && Extension4(inputs[0]) == ".M3U") {
    PlaylistDiscs playlist = ReadM3u(inputs[0]);
    if (!playlist.error.empty()) {
      std::cerr << playlist.error << "\n";
      return std::nullopt;
    }
    return playlist.paths;
  }
  std::vector<std::string> discs;
  for (const std::string& input : inputs) {
    if (Extension4(input) == ".M3U") {
      std::cerr << "A playlist names every disc of a game: give it alone.\n";
      return std::nullopt;
    }
    // An Alcohol descriptor named on the command line stands for the image it describes,
    // which is read with the descriptor beside it, as the window reads an MDF.
    if (Extension4(input) == ".MDS") {
      const std::string mdf = DescribedMdfPath(input);
      if (mdf.empty()) {
        std::cerr << input << " describes "
                  << FileNameOf(WithoutExtension(input)) + ".mdf, which is not beside it.\n";
        return std::nullopt;
      }
      discs.push_back(mdf);
      continue;
    }
    discs.push_back(input);
  }
  return discs;
}

// The games among the images found: the "(Disc N)" files of one game together, in disc
// order (or each alone with `separate`); a game with a disc missing is refused when it runs.
struct FoundGame {
  std::vector<std::string> discs;
  bool wholeGame = false;  // grouped by its names
};
std::vector<FoundGame> GamesAmong(const std::vector<std::string>& images, bool separate) {
  std::vector<FoundGame> games;
  std::set<std::string> found, grouped;
  for (const std::string& image : images) found.insert(CanonicalPath(image));
  for (const std::string& image : images) {
    if (grouped.count(CanonicalPath(image))) continue;
    if (separate || DiscNumberOf(StemOf(image)) == 0) {
      games.push_back({{image}, false});
      continue;
    }
    const DiscSet set = FindDiscSet(
        image, [&](const std::string& path) { return found.count(CanonicalPath(path)) > 0; });
    FoundGame game{{}, true};
    for (const SetMember& member : set.discs) {
      game.discs.push_back(member.path);
      grouped.insert(CanonicalPath(member.path));
    }
    games.push_back(std::move(game));
  }
  return games;
}

}  // namespace

void AddConvertCommands(CLI::App& app, CliContext& ctx) {
  auto convert = std::make_shared<ConvertArgs>();
  auto batch = std::make_shared<ConvertArgs>();

  auto* c = app.add_subcommand(
      "convert",
      "Convert a disc image (or the discs of one game) to EBOOT.PBP, or patch a package");
  c->add_option("INPUT", convert->paths,
                "ISO, BIN, CUE, IMG, CCD, MDF, CHD, ECM or a PBP package; for a game on several "
                "discs every disc in order (at most five), or an .m3u playlist naming them")
      ->required();
  AddJobOptions(*c, convert->options);
  AddPatchOption(*c, convert->options);
  c->callback([convert, batch, &ctx] {
    LoadCliSettings(ctx);
    ApplyJobSettings(convert->options, ctx.settings);
    const auto discs = DiscsToConvert(convert->paths);
    if (!discs) {
      ctx.exitCode = kExitFailed;
      return;
    }
    ctx.exitCode = RunOne(*discs, convert->options, ctx).exitCode;
  });

  auto* b = app.add_subcommand("batch", "Convert every disc image found, each into its own folder");
  b->add_option("PATH", batch->paths, "Disc images and folders to search")->required();
  b->add_flag("--separate-discs", batch->separateDiscs,
              "A package for each disc of a game on several discs, not one for the game");
  AddJobOptions(*b, batch->options);
  b->callback([convert, batch, &ctx] {
    LoadCliSettings(ctx);
    ApplyJobSettings(batch->options, ctx.settings);
    if (batch->options.output.empty()) {
      std::cerr << "batch needs an output folder: -o FOLDER\n";
      ctx.exitCode = kExitFailed;
      return;
    }
    if (!MakeFolders(batch->options.output) || !IsDirectory(batch->options.output)) {
      std::cerr << "The output folder is invalid!\n";
      ctx.exitCode = kExitFailed;
      return;
    }
    // Each game gets its own folder under the output, named as the settings say (by title
    // when they would name none).
    ctx.settings.defaultOutputDir = batch->options.output;
    if (ctx.settings.defaultOutDirOpt == 0) ctx.settings.defaultOutDirOpt = 2;
    JobOptions each = batch->options;
    each.output.clear();
    std::set<std::string> taken;
    // Every folder of pictures is read once for the whole batch.
    PictureFinder pictures(PictureFoldersOf(ctx.settings));

    const std::vector<std::string> images = FindDiscImages(batch->paths);
    if (images.empty()) {
      std::cerr << "No disc images found.\n";
      ctx.exitCode = kExitFailed;
      return;
    }
    const std::vector<FoundGame> games = GamesAmong(images, batch->separateDiscs);
    std::vector<JobResult> results;
    for (std::size_t i = 0; i < games.size(); ++i) {
      ctx.progress->Log("[" + std::to_string(i + 1) + "/" + std::to_string(games.size()) + "] " +
                        games[i].discs.front() + "\n");
      results.push_back(RunOne(games[i].discs, each, ctx, &taken, &pictures, games[i].wholeGame));
      // Ctrl+C stops the whole batch.
      if (results.back().kind == OutcomeKind::Cancelled) break;
    }
    int worst = kExitSuccess;
    for (const auto& r : results) worst = std::max(worst, r.exitCode);
    ctx.exitCode = worst;
    if (ctx.json) return;

    std::size_t w = 4;
    for (const auto& r : results) w = std::max(w, CharCount(r.game));
    w = std::min<std::size_t>(w, 40);
    std::cout << "\n"
              << std::left << std::setw(static_cast<int>(w)) << "Game"
              << "  " << std::setw(9) << "ID"
              << "  " << std::setw(24) << "Result"
              << "  " << std::setw(9) << "Size"
              << "  Time\n";
    for (const auto& r : results) {
      std::string game = CharCount(r.game) > w ? LeftChars(r.game, w - 1) + "~" : r.game;
      game += std::string(w - CharCount(game), ' ');
      std::cout << game << "  " << std::setw(9) << r.id << "  " << std::setw(24)
                << LeftChars(r.result, 24) << "  " << std::setw(9) << r.size << "  "
                << Seconds(r.seconds) << "\n";
    }
    std::size_t ok = 0;
    for (const auto& r : results) ok += r.exitCode == 0;
    std::cout << ok << " of " << games.size() << " converted.\n";
  });
}

}  // namespace ebf::cli
