// convert and batch: the Go button from the command line.
#include <chrono>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <memory>
#include <sstream>

#include "cli/job.h"
#include "cli/json_out.h"
#include "cli/terminal_host.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/classify.h"
#include "disc/disc_set.h"
#include "engine/conversion.h"
#include "library/queue/report.h"
#include "pbp/rebuild.h"

namespace ebf::cli {
namespace {

// How the program's "Continue regardless?" question after a failed read or write begins.
constexpr const char* kUnexpectedErrorHead = "The following unexpected error occurred!!!";

struct JobResult {
  std::vector<std::string> discs;  // the images of a game on several discs
  OutcomeKind kind = OutcomeKind::Failed;
  std::string game, id, result, size;
  std::vector<std::string> warnings;  // what the package made lacks (a disc not found ...)
  double seconds = 0;
  int exitCode = kExitFailed;
  bool converted = false;
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

// A job that was planned (or refused), and how its run went.
struct JobRun {
  const std::vector<std::string>& discs;
  const Planned& planned;
  const ConversionResult& result;
  double seconds = 0;
  uint64_t inputBytes = 0;
};

// Prints the closing message of a job (or its JSON record) and says how it went.
JobResult ReportJob(const JobRun& run, const JobOptions& options, CliContext& ctx) {
  const std::string& input = run.discs.front();
  const Planned& planned = run.planned;
  const ConversionResult& result = run.result;
  const uint64_t inputBytes = run.inputBytes;
  TerminalQuestions& questions = *ctx.questions;
  ctx.progress->FinishLine();
  JobResult out;
  out.discs = run.discs;
  out.seconds = run.seconds;
  out.game = planned.title.empty() ? StemOf(input) : planned.title;
  if (planned.plan) {
    out.id = planned.plan->gameId;
    out.warnings = planned.plan->warnings;
    out.assets = SlotSourcesJson(*planned.plan);
  }

  const Outcome& outcome = result.outcome;
  out.kind = outcome.kind();
  switch (outcome.kind()) {
    case OutcomeKind::Success: {
      out.exitCode = kExitSuccess;
      out.converted = true;
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
  return out;
}

// Runs one input through the whole job; prints the closing message.
JobResult RunOne(const std::vector<std::string>& discs, const JobOptions& options,
                 CliContext& ctx) {
  const std::string& input = discs.front();
  TerminalQuestions& questions = *ctx.questions;
  questions.Clear();
  questions.SetRebuildDestination(options.output);
  const auto start = std::chrono::steady_clock::now();
  const Planned planned =
      PlanConversion(JobFor(discs, options, ctx.settings), ctx.settings, ctx.folders, questions);
  // Measured before the run: patching in place changes the input.
  uint64_t inputBytes = FileSize(planned.plan ? planned.plan->dataFile : input).value_or(0);
  if (planned.plan)
    for (const PlannedDisc& disc : planned.plan->laterDiscs)
      inputBytes += FileSize(disc.dataFile).value_or(0);
  ConversionResult result;
  result.outcome = planned.outcome;
  if (planned.plan) {
    ctx.progress->Log("Converting " + input + "\n");
    for (std::size_t i = 1; i < discs.size(); ++i)
      ctx.progress->Log("  disc " + std::to_string(i + 1) + ": " + discs[i] + "\n");
    result = RunConversion(*planned.plan, *ctx.progress, questions, *ctx.cancel);
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  JobResult out = ReportJob({discs, planned, result, seconds, inputBytes}, options, ctx);
  questions.Clear();
  return out;
}

struct ConvertArgs {
  std::vector<std::string> paths;
  JobOptions options;
  bool separateDiscs = false;
  std::string existing;  // batch: "skip" or "replace"; "" as --yes says
  std::string report;    // batch: the file the report goes to
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

// The command line's face of the queue: the terminal for every row's progress, a line
// before each row, and the closing message or JSON record of each as `convert` prints it.
class BatchView : public QueueObserver {
 public:
  BatchView(const JobOptions& options, CliContext& ctx) : options_(options), ctx_(ctx) {}
  Progress& ProgressFor(const QueueRow&) override { return *ctx_.progress; }
  void RowStarted(const QueueRow& row, std::size_t number, std::size_t count) override {
    ctx_.questions->Clear();
    ctx_.progress->Log("[" + std::to_string(number) + "/" + std::to_string(count) + "] " +
                       row.discs.front() + "\n");
  }
  void RowFinished(const QueueRow& row, const RowRun& run) override {
    if (row.state == RowState::Skipped || !run.planned)
      results.push_back(Unplanned(row));
    else
      results.push_back(ReportJob(
          {row.discs, *run.planned, run.result, row.seconds, row.sourceBytes}, options_, ctx_));
    ctx_.questions->Clear();
  }
  std::vector<JobResult> results;

 private:
  // A game passed over (its package is there already, which is no failure; it is not a
  // disc; a disc of it is missing), or one whose playlist could not be taken.
  JobResult Unplanned(const QueueRow& row) {
    ctx_.progress->FinishLine();
    const bool skipped = row.state == RowState::Skipped;
    JobResult out;
    out.discs = row.discs;
    out.game = row.title;
    out.id = row.gameId;
    out.seconds = row.seconds;
    out.result = skipped ? "Skipped: " + std::string(SkipReasonName(row.skip)) : row.reason;
    out.exitCode = row.skip == SkipReason::Exists ? kExitSuccess : kExitFailed;
    std::cerr << row.reason << "\n";
    if (row.skip == SkipReason::DiscMissing)
      std::cerr << "(run again with --allow-missing-discs to convert the discs found)\n";
    if (ctx_.json) {
      Json line = {{"input", row.discs.front()},
                   {"output", row.output.empty() ? Json() : Json(row.output)},
                   {"outcome", skipped ? "skipped" : "failed"},
                   {"reason", SkipReasonName(row.skip)},
                   {"message", row.reason},
                   {"title", row.title},
                   {"gameId", row.gameId},
                   {"seconds", std::round(row.seconds * 1000) / 1000},
                   {"sizes", {{"input", row.sourceBytes}, {"output", 0}}}};
      if (row.discs.size() > 1) line["discs"] = row.discs;
      PrintJson(line, true);
    }
    return out;
  }
  const JobOptions& options_;
  CliContext& ctx_;
};

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
  b->add_option("--existing", batch->existing,
                "A game whose folder holds an EBOOT.PBP already: skip it, or replace the "
                "package (default: replace with --yes, else skip)")
      ->check(CLI::IsMember({"skip", "replace"}));
  b->add_option("--report", batch->report,
                "Write every game's result and the summary to FILE: JSON when it ends in "
                ".json, otherwise CSV");
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
    const std::vector<std::string> images = FindDiscImages(batch->paths);
    if (images.empty()) {
      std::cerr << "No disc images found.\n";
      ctx.exitCode = kExitFailed;
      return;
    }
    BatchQueue queue;
    std::vector<QueueRow> rows;
    for (const FoundGame& game : GamesAmong(images, batch->separateDiscs))
      rows.push_back(RowFor(game));
    const std::size_t games = queue.Add(std::move(rows)).size();

    QueueSetup setup;
    setup.settings = QueueSettings(ctx.settings, batch->options.output);
    setup.folders = ctx.folders;
    JobOptions each = batch->options;
    each.output.clear();
    setup.job = JobFor({images.front()}, each, setup.settings);
    const std::string existing =
        batch->existing.empty() ? (ctx.assumeYes ? "replace" : "skip") : batch->existing;
    setup.existing = existing == "replace" ? ExistingPackage::Replace : ExistingPackage::Skip;
    BatchView view(batch->options, ctx);
    queue.Run(setup, view, *ctx.questions, *ctx.cancel);
    const std::vector<JobResult>& results = view.results;

    int worst = kExitSuccess;
    for (const auto& r : results) worst = std::max(worst, r.exitCode);
    ctx.exitCode = worst;
    if (!batch->report.empty()) {
      if (std::string why = WriteQueueReport(batch->report, queue.Rows(), queue.Summary());
          !why.empty()) {
        std::cerr << why << "\n";
        ctx.exitCode = std::max(ctx.exitCode, kExitFailed);
      }
    }
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
    for (const auto& r : results) ok += r.converted;
    std::cout << ok << " of " << games << " converted.\n";
    std::cout << SummaryLine(queue.Summary()) << "\n";
  });
}

}  // namespace ebf::cli
