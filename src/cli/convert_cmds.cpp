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
#include "disc/cue_sheet.h"
#include "engine/conversion.h"
#include "pbp/rebuild.h"

namespace ebf::cli {
namespace {

// How the program's "Continue regardless?" question after a failed read or write begins.
constexpr const char* kUnexpectedErrorHead = "The following unexpected error occurred!!!";

namespace fs = std::filesystem;

struct JobResult {
  OutcomeKind kind = OutcomeKind::Failed;
  std::string game, id, result, size;
  double seconds = 0;
  int exitCode = kExitFailed;
};

// What --json prints for a finished job: one object on one line.
void PrintJobJson(const std::string& input, const std::string& output, const char* outcome,
                  const std::string& message, const JobResult& r, uint64_t inputBytes,
                  uint64_t outputBytes) {
  PrintJson({{"input", input},
             {"output", output.empty() ? Json() : Json(output)},
             {"outcome", outcome},
             {"message", message},
             {"title", r.game},
             {"gameId", r.id},
             {"seconds", std::round(r.seconds * 1000) / 1000},
             {"sizes", {{"input", inputBytes}, {"output", outputBytes}}}},
            true);
}

std::string Seconds(double s) {
  std::ostringstream out;
  out << static_cast<int>(s) / 60 << "m " << static_cast<int>(s) % 60 << "s";
  return out.str();
}

// Runs one input through the whole job; prints the closing message. A batch passes the
// folders its earlier games took, and gets this game's added.
JobResult RunOne(const std::string& input, const JobOptions& options, CliContext& ctx,
                 std::set<std::string>* takenFolders = nullptr) {
  TerminalProgress& progress = *ctx.progress;
  TerminalQuestions& questions = *ctx.questions;
  questions.Clear();
  questions.SetRebuildDestination(options.output);
  const auto start = std::chrono::steady_clock::now();
  JobResult out;
  JobInput job = JobFor(input, options, ctx.settings);
  if (takenFolders) job.takenOutputFolders = *takenFolders;
  const Planned planned = PlanConversion(job, ctx.settings, ctx.folders, questions);
  out.game = planned.title.empty() ? StemOf(input) : planned.title;
  if (planned.plan) {
    out.id = planned.plan->gameId;
    if (takenFolders && !planned.plan->output.empty())
      takenFolders->insert(OutputFolderKey(planned.plan->output));
  }
  // Measured before the run: patching in place changes the input.
  const uint64_t inputBytes = FileSize(planned.plan ? planned.plan->dataFile : input).value_or(0);
  ConversionResult result;
  result.outcome = planned.outcome;
  if (planned.plan) {
    progress.Log("Converting " + input + "\n");
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

std::string Canonical(const std::string& path) {
  std::error_code ec;
  auto p = fs::weakly_canonical(fs::u8path(path), ec);
  if (ec) return path;
  auto u8 = p.u8string();
  return std::string(u8.begin(), u8.end());
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
    if (Extension4(f) == ".CCD") f = ResolveCaseBlind(WithoutExtension(f) + ".img");
    // A sheet stands for every file it names (a set has one per track).
    if (Extension4(f) == ".CUE")
      for (const std::string& data : FindCueDataFiles(f)) covered.insert(Canonical(data));
  }
  std::vector<std::string> images;
  for (const std::string& f : found) {
    const std::string key = Canonical(f);
    if (!FileExists(f) || covered.count(key) || !seen.insert(key).second) continue;
    images.push_back(f);
  }
  return images;
}

struct ConvertArgs {
  std::string input;
  std::vector<std::string> paths;
  JobOptions options;
};

}  // namespace

void AddConvertCommands(CLI::App& app, CliContext& ctx) {
  auto convert = std::make_shared<ConvertArgs>();
  auto batch = std::make_shared<ConvertArgs>();

  auto* c = app.add_subcommand("convert", "Convert a disc image to EBOOT.PBP, or patch a package");
  c->add_option("INPUT", convert->input, "ISO, BIN, CUE, IMG, CCD, MDF, CHD, ECM or a PBP package")
      ->required();
  AddJobOptions(*c, convert->options);
  c->callback([convert, batch, &ctx] {
    LoadCliSettings(ctx);
    ctx.exitCode = RunOne(convert->input, convert->options, ctx).exitCode;
  });

  auto* b = app.add_subcommand("batch", "Convert every disc image found, each into its own folder");
  b->add_option("PATH", batch->paths, "Disc images and folders to search")->required();
  AddJobOptions(*b, batch->options);
  b->callback([convert, batch, &ctx] {
    LoadCliSettings(ctx);
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

    const std::vector<std::string> images = FindDiscImages(batch->paths);
    if (images.empty()) {
      std::cerr << "No disc images found.\n";
      ctx.exitCode = kExitFailed;
      return;
    }
    std::vector<JobResult> results;
    for (std::size_t i = 0; i < images.size(); ++i) {
      ctx.progress->Log("[" + std::to_string(i + 1) + "/" + std::to_string(images.size()) + "] " +
                        images[i] + "\n");
      results.push_back(RunOne(images[i], each, ctx, &taken));
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
    std::cout << ok << " of " << images.size() << " converted.\n";
  });
}

}  // namespace ebf::cli
