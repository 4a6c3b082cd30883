// frmMain and the core: a new input goes through the resolver (and, for a package, the
// inspection), and Go hands the window's choices to RunConversion.

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>

#include "assets/slots.h"
#include "common/files.h"
#include "common/text.h"
#include "disc/classify.h"
#include "disc/disc_set.h"
#include "disc/game_db.h"
#include "disc/resolver.h"
#include "engine/conversion.h"
#include "library/output_name.h"
#include "pbp/info.h"
#include "pbp/inspect.h"
#include "pbp/rebuild.h"
#include "ui/disc_list.h"
#include "ui/file_dialogs.h"
#include "ui/job_runner.h"
#include "ui/main_window.h"
#include "ui/patch_list.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"
#include "ui/widgets.h"

namespace ebf::ui {

void MainWindow::ResolveWithCore(const std::string& chosen) {
  const DropDecision decision = ClassifyInputPath(chosen);
  if (decision.action == DropAction::Refuse) {
    services_.prompter->Warn(this, Q(decision.message));
    return;
  }
  if (decision.action == DropAction::Ignore) return;

  ResolveContext context = ResolverContext(settings_, services_.folders.tree);
  context.currentOutput = S(txtOut_->text());
  context.currentGameId = gameId_;
  context.currentRegion = S(lblRegion_->text());
  context.currentSaveName = saveName_;
  PrompterQuestions questions(*services_.prompter, this);
  ResolvedInput r = ebf::ResolveInput(decision.path, context, questions);
  ApplyNameTemplate(r, settings_);
  ForgetFoundPictures();

  SetInputText(r.input);
  SetTitleText(r.title);
  discs_->SetDiscs({});
  SetPackageLoaded(false);
  patches_->Clear();
  patches_->SetDiscCount(1);
  if (!r.message.empty()) {
    SetGameIdentity(r.saveName, "");
    UpdateControlStates();
    services_.prompter->Warn(this, Q(r.message));
    return;
  }
  SetGameIdentity(r.saveName, r.gameId);
  SetRegion(r.region);
  SetOutputText(r.outputFolder);
  // One disc of a game on several: the others beside it join the list, and the game is named
  // without the disc number.
  std::vector<std::string> set;
  if (Extension4(r.input) != ".PBP" && DiscNumberOf(StemOf(r.input)) > 0) {
    const DiscSet found = FindDiscSet(r.input, [](const std::string& path) {
      const std::string ext = Extension4(path);
      for (const char* image : {".CUE", ".ISO", ".BIN", ".IMG", ".MDF", ".CHD", ".ECM"})
        if (ext == image) return true;
      return false;
    });
    for (const SetMember& member : found.discs) set.push_back(member.path);
    // The game goes by disc 1: its ID names the package and its saves, whichever disc was
    // chosen.
    if (set.size() > 1 && CanonicalPath(set.front()) != CanonicalPath(r.input) &&
        DiscNumberOf(StemOf(set.front())) < DiscNumberOf(StemOf(r.input))) {
      ResolveWithCore(set.front());
      return;
    }
  }
  discs_->SetDiscs(set);
  if (set.size() > 1) {
    TakeAsDiscSet(r, context);
    ApplyNameTemplate(r, settings_);
    SetTitleText(r.title);
    SetOutputText(r.outputFolder);
  }
  for (const AssetPass& pass : r.assetPasses) LoadSlotsForGame(r.dataFile, pass.gameId);
  if (Extension4(r.input) != ".PBP") {
    LoadFoundPictures(GameNamesOf(r));
    FindDiscCompanions(true);
  }
  UpdateControlStates();
  if (r.runInspection && Extension4(r.input) == ".PBP") InspectPackage(r.input);
}

namespace {

// "Disc 2: SLUS00907, 1234 sectors, 3 tracks, 45.6 MB compressed"
std::string DiscLine(const pbp::DiscInfo& d) {
  std::string line = "Disc " + std::to_string(d.number) + ": " + d.gameId;
  if (!d.problem.empty()) return line + " (" + d.problem + ")";
  const std::size_t tracks = d.tracks.size();
  return line + ", " + std::to_string(d.sectors) + " sectors, " + std::to_string(tracks) +
         (tracks == 1 ? " track, " : " tracks, ") + FormatSize(d.compressedSize) + " compressed";
}

}  // namespace

void MainWindow::InspectPackage(const std::string& path) {
  PrompterQuestions questions(*services_.prompter, this);
  const pbp::Inspection in = pbp::InspectEboot(path, TempFolder(services_.folders.work), questions);
  if (!in.message.empty()) {
    services_.prompter->Warn(this, Q(in.message));
    return;
  }
  SetTitleText(in.title);
  SetGameIdentity(in.saveName, in.gameId);
  // The package says nothing of its region; the game list does.
  const auto entry =
      LookupGame(GameDbPath(services_.folders.tree), in.gameId, settings_.hideNameTags);
  SetRegion(entry ? entry->region : "");
  SetPackageLoaded(true);
  if (in.discCount > 1) {
    pbp::EbootInfo info;
    pbp::ReadEbootInfo(path, info);
    std::vector<std::string> lines;
    for (const pbp::DiscInfo& d : info.discs) lines.push_back(DiscLine(d));
    discs_->ShowPackageDiscs(lines);
  }
  UpdateControlStates();
}

void MainWindow::LoadSlotsForGame(const std::string& dataFile, const std::string& gameId) {
  std::array<std::string, kSlotCount> texts;
  for (int i = 0; i < kSlotCount; ++i) texts[i] = S(slots_[i].text->text());
  CustomFolderSearch search{services_.folders, settings_.defaultCustDir,
                            settings_.useSourceDirAsCust, dataFile, gameId};
  FillSlotsFromCustomFolder(texts, search);
  for (int i = 0; i < kSlotCount; ++i)
    if (texts[i] != S(slots_[i].text->text())) SetSlot(i, slots_[i].check->isChecked(), texts[i]);
}

void MainWindow::ReloadGameAssets() {
  const std::string input = S(txtIn_->text());
  if (Extension4(input) == ".PBP") return;
  ForgetFoundPictures();
  LoadSlotsForGame(input, gameId_);
  LoadFoundPictures({input, S(txtTitle_->text()),
                     gameId_.empty() ? std::vector<std::string>{} : std::vector{gameId_},
                     S(lblRegion_->text())});
}

void MainWindow::ForgetFoundPictures() {
  for (int i = 0; i < kSlotCount; ++i)
    if (slotSources_[i] != SlotSource::Chosen) SetSlot(i, slots_[i].check->isChecked(), "");
}

void MainWindow::LoadFoundPictures(const GameNames& game) {
  std::array<std::string, kSlotCount> texts;
  std::array<SlotSource, kSlotCount> sources{};
  std::array<bool, kSlotCount> ticked{};
  for (int i = 0; i < kSlotCount; ++i) {
    texts[i] = S(slots_[i].text->text());
    ticked[i] = slots_[i].check->isChecked();
  }
  PictureFinder finder(PictureFoldersOf(settings_));
  FillFoundSlots(finder.Find(game), texts, sources, ticked);
  for (int i = 0; i < kSlotCount; ++i)
    if (sources[i] != SlotSource::Chosen) SetSlot(i, ticked[i], texts[i], sources[i]);
}

void MainWindow::UpdateControlStates() {
  const std::string input = S(txtIn_->text());
  const bool exists = !input.empty() && FileExists(input);
  const bool isPbp = Extension4(input) == ".PBP";
  txtTitle_->setEnabled(exists);
  lblRegion_->setEnabled(exists);
  cmdGame_->setEnabled(exists && bool(hooks_.selectGame));
  cmdGameCust_->setEnabled(exists && bool(hooks_.customGame));
  cmdGo_->setEnabled(exists);
  chkRecompressEBOOT_->setEnabled(isPbp);
  for (int i = 0; i < kSlotCount; ++i) slots_[i].extract->setEnabled(isPbp && packageLoaded_);
  // A package keeps its own compression unless it is to be rebuilt through the converter.
  const bool converting = !isPbp || chkRecompressEBOOT_->isChecked();
  txtOut_->setEnabled(converting);
  cmdOutBrowse_->setEnabled(converting);
  txtCompress_->setEnabled(converting);
  patches_->setEnabled(exists && converting);
  chkPAL2NTSCScr_->setEnabled(exists && !isPbp);
  chkPAL2NTSCGFX_->setEnabled(exists && !isPbp);
}

ConversionResult MainWindow::RunPlan(const ConversionPlan& plan) {
  // The progress window stands in for the main window while the run lasts.
  ProgressWindow progress(ProgressWindow::Kind::Progress, *services_.prompter, theme_, this);
  progress.show();
  hide();
  WorkerQuestions questions(*services_.prompter, &progress, [this, &plan](const std::string&) {
    const QString dest = services_.dialogs->SaveFile(
        this, QLatin1String(pbp::kRebuildDestinationTitle), Q(FolderOf(plan.input)),
        QStringLiteral("EBOOT.PBP"), QStringLiteral("PBP"),
        {{QStringLiteral("PBP Files (*.pbp)"), QStringLiteral("*.pbp")},
         {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
    return std::optional<std::string>(S(dest));
  });
  ConversionResult result = RunJob(
      progress, questions,
      [&plan](Progress& p, Questions& q, CancelToken& c) { return RunConversion(plan, p, q, c); });
  progress.hide();
  show();
  return result;
}

}  // namespace ebf::ui
