// One row of the queue from its checks to its package (and the copy onto the PSP).
#include <chrono>

#include "common/files.h"
#include "common/text.h"
#include "disc/disc_set.h"
#include "disc/resolver.h"
#include "library/queue/queue.h"
#include "transfer/psp_copy.h"

namespace ebf {
namespace {

// The face's questions, but the one before an EBOOT.PBP is replaced: the choice made before
// the run answers it. While the row is planned, the checks' questions are noted and
// answered Yes, and put to the face only once the row is known to run: a game whose
// package is there already is skipped without a word. The first question answered No is
// kept.
class RowQuestions : public Questions {
 public:
  RowQuestions(Questions& face, ExistingPackage existing) : face_(face), existing_(existing) {}
  bool AskYesNo(const std::string& text, bool defaultNo, MsgIcon icon) override {
    if (text.rfind(kOverwriteWarningHead, 0) == 0)
      return Answered(text, existing_ == ExistingPackage::Replace);
    // The resolver's question changes what is converted: it cannot wait.
    if (deferring && text != kBinHasCueQuestion) {
      deferred_.push_back({text, defaultNo, icon});
      return true;
    }
    return Answered(text, face_.AskYesNo(text, defaultNo, icon));
  }
  std::optional<std::string> ChooseRebuildDestination(const std::string& source) override {
    return face_.ChooseRebuildDestination(source);
  }
  // Puts the noted questions to the face; false at the first answered No.
  bool AskDeferred() {
    deferring = false;
    for (const Deferred& q : deferred_)
      if (!Answered(q.text, face_.AskYesNo(q.text, q.defaultNo, q.icon))) return false;
    return true;
  }
  bool deferring = true;
  std::string refused;

 private:
  struct Deferred {
    std::string text;
    bool defaultNo;
    MsgIcon icon;
  };
  bool Answered(const std::string& text, bool yes) {
    if (!yes && refused.empty()) refused = text;
    return yes;
  }
  Questions& face_;
  ExistingPackage existing_;
  std::vector<Deferred> deferred_;
};

void Finish(QueueRow& row, RowState state, std::string reason, SkipReason skip = SkipReason::None) {
  row.state = state;
  row.skip = skip;
  row.reason = std::move(reason);
}

// Copies the package made onto the PSP; the row's state says how that went.
void CopyToPsp(QueueRow& row, const ConversionPlan& plan, const QueueSetup& setup,
               Progress& progress, RowQuestions& questions, CancelToken& cancel) {
  const std::string target =
      PspGameFolder(setup.pspRoot, plan.title, plan.gameId, setup.settings.autoTransfer);
  progress.Log("Copying to " + target + "\n");
  Stage copying(progress, "", 0.1);
  const Outcome copied = CopyEbootToPsp(plan.output, target, progress, questions, cancel);
  copying.Done();
  switch (copied.kind()) {
    case OutcomeKind::Success:
      row.copiedTo = target;
      break;
    case OutcomeKind::Declined:
      row.warnings.push_back("An EBOOT.PBP is already in " + target + "; it was left as it is.");
      break;
    case OutcomeKind::Cancelled:
      Finish(row, RowState::Cancelled,
             "Cancelled while copying to the PSP; the package is in " + plan.output);
      break;
    case OutcomeKind::Failed:
      Finish(row, RowState::Failed, copied.Within("while copying to the PSP").text());
      break;
  }
}

}  // namespace

const char* RowStateName(RowState state) {
  switch (state) {
    case RowState::Queued:
      return "Queued";
    case RowState::Running:
      return "Running";
    case RowState::Done:
      return "Done";
    case RowState::Failed:
      return "Failed";
    case RowState::Skipped:
      return "Skipped";
    case RowState::Cancelled:
      return "Cancelled";
  }
  return "";
}

const char* SkipReasonName(SkipReason reason) {
  switch (reason) {
    case SkipReason::Exists:
      return "exists";
    case SkipReason::DiscMissing:
      return "disc missing";
    case SkipReason::NotADisc:
      return "not a disc";
    case SkipReason::None:
      break;
  }
  return "";
}

QueueRow RowFor(const FoundGame& game) {
  QueueRow row;
  row.discs = game.discs;
  row.wholeGame = game.wholeGame;
  row.problem = game.problem;
  const std::string& first = game.playlist.empty() ? game.discs.front() : game.playlist;
  row.title =
      game.discs.size() > 1 || game.wholeGame ? WithoutDiscNumber(StemOf(first)) : StemOf(first);
  return row;
}

void IdentifyRow(QueueRow& row, const Settings& settings, const ProgramFolders& folders) {
  row.sourceBytes = SourceBytes(row.discs);
  row.identified = true;
  if (!row.problem.empty()) return;
  // Nothing is asked while games are read: a question gets its default answer.
  DefaultAnswers quiet;
  const ResolveContext context = ResolverContext(settings, folders.tree);
  ResolvedInput r = ResolveInput(row.discs.front(), context, quiet);
  if (row.discs.size() > 1 || row.wholeGame) TakeAsDiscSet(r, context);
  if (!r.message.empty()) return;
  if (!row.titleEdited && !r.title.empty()) row.title = r.title;
  if (!row.idEdited) row.gameId = r.gameId;
  row.region = r.region;
}

Settings QueueSettings(Settings settings, const std::string& outputFolder) {
  settings.defaultOutputDir = outputFolder;
  if (settings.defaultOutDirOpt == 0) settings.defaultOutDirOpt = 2;
  return settings;
}

RowRun RunRow(QueueRow& row, const std::set<std::string>& taken, const QueueSetup& setup,
              PictureFinder& pictures, Progress& progress, Questions& questions,
              CancelToken& cancel) {
  const auto start = std::chrono::steady_clock::now();
  RowRun run;
  row.warnings.clear();
  row.output.clear();
  row.package.clear();
  row.copiedTo.clear();
  row.packageBytes = 0;
  RowQuestions asked(questions, setup.existing);
  [&] {
    if (!row.identified) IdentifyRow(row, setup.settings, setup.folders);
    if (!row.problem.empty()) return Finish(row, RowState::Failed, row.problem);
    for (const std::string& disc : row.discs)
      if (std::string why = NotADiscMessage(disc); !why.empty())
        return Finish(row, RowState::Skipped, why, SkipReason::NotADisc);

    JobInput job = setup.job;
    job.input = row.discs.front();
    job.laterDiscs.assign(row.discs.begin() + 1, row.discs.end());
    job.wholeGame = row.wholeGame;
    job.resolve = true;
    job.confirm = false;
    if (row.titleEdited) job.title = row.title;
    if (row.idEdited) job.gameId = row.gameId;
    // The fixes chosen for the queue are for its PAL games.
    if (row.region == "NTSC") job.palFixScreen = job.palFixGraphics = false;
    job.takenOutputFolders = taken;
    job.pictures = &pictures;
    run.planned = PlanConversion(job, setup.settings, setup.folders, asked);
    const Planned& planned = *run.planned;
    if (!row.titleEdited && !planned.title.empty()) row.title = planned.title;
    if (!planned.plan) {
      run.result.outcome = planned.outcome;
      if (planned.discMissing)
        return Finish(row, RowState::Skipped, planned.outcome.text(), SkipReason::DiscMissing);
      if (planned.outcome.kind() == OutcomeKind::Declined)
        return Finish(row, RowState::Failed, "Stopped at a question: " + asked.refused);
      return Finish(row, RowState::Failed, planned.outcome.text());
    }
    const ConversionPlan& plan = *planned.plan;
    row.gameId = plan.gameId;
    row.output = OutputFolderKey(plan.output);
    row.warnings = plan.warnings;
    if (setup.existing == ExistingPackage::Skip && FileExists(plan.output + "EBOOT.PBP"))
      return Finish(row, RowState::Skipped, "An EBOOT.PBP is already in " + row.output,
                    SkipReason::Exists);
    if (!asked.AskDeferred())
      return Finish(row, RowState::Failed, "Stopped at a question: " + asked.refused);

    progress.Log("Converting " + row.discs.front() + "\n");
    for (std::size_t i = 1; i < row.discs.size(); ++i)
      progress.Log("  disc " + std::to_string(i + 1) + ": " + row.discs[i] + "\n");
    const bool copy = !setup.pspRoot.empty();
    {
      Stage converting(progress, "", copy ? 0.9 : 1.0);
      run.result = RunConversion(plan, progress, asked, cancel);
      converting.Done();
    }
    const Outcome& outcome = run.result.outcome;
    switch (outcome.kind()) {
      case OutcomeKind::Success:
        row.package = run.result.package;
        row.packageBytes = FileSize(row.package).value_or(0);
        Finish(row, RowState::Done, "");
        if (copy) CopyToPsp(row, plan, setup, progress, asked, cancel);
        break;
      case OutcomeKind::Cancelled:
        Finish(row, RowState::Cancelled, outcome.text());
        break;
      case OutcomeKind::Declined:
        Finish(row, RowState::Failed, "Stopped at a question: " + asked.refused);
        break;
      case OutcomeKind::Failed:
        Finish(row, RowState::Failed, outcome.text());
        break;
    }
  }();
  run.refusedQuestion = asked.refused;
  row.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  return run;
}

}  // namespace ebf
