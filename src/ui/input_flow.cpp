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
#include "disc/game_db.h"
#include "disc/resolver.h"
#include "engine/conversion.h"
#include "pbp/inspect.h"
#include "pbp/rebuild.h"
#include "ui/file_dialogs.h"
#include "ui/main_window.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"
#include "ui/widgets.h"

namespace ebf::ui {
namespace {}  // namespace

void MainWindow::ResolveWithCore(const std::string& chosen) {
  const DropDecision decision = ClassifyInputPath(chosen);
  if (decision.action == DropAction::Refuse) {
    services_.prompter->Warn(this, Q(decision.message));
    return;
  }
  if (decision.action == DropAction::Ignore) return;

  ResolveContext context;
  context.programFolder = services_.folders.tree;
  context.settings = settings_;
  context.currentOutput = S(txtOut_->text());
  context.currentGameId = gameId_;
  context.currentRegion = S(lblRegion_->text());
  context.currentSaveName = saveName_;
  PrompterHost host(*services_.prompter, this);
  const ResolvedInput r = ebf::ResolveInput(decision.path, context, host);

  SetInputText(r.input);
  SetTitleText(r.title);
  SetPackageLoaded(false);
  if (!r.message.empty()) {
    SetGameIdentity(r.saveName, "");
    UpdateControlStates();
    services_.prompter->Warn(this, Q(r.message));
    return;
  }
  SetGameIdentity(r.saveName, r.gameId);
  SetRegion(r.region);
  SetOutputText(r.outputFolder);
  for (const AssetPass& pass : r.assetPasses) LoadSlotsForGame(r.dataFile, pass.gameId);
  UpdateControlStates();
  if (r.runInspection && Extension4(r.input) == ".PBP") InspectPackage(r.input);
}

void MainWindow::InspectPackage(const std::string& path) {
  PrompterHost host(*services_.prompter, this);
  const pbp::Inspection in = pbp::InspectEboot(path, TempFolder(services_.folders.work), host);
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
  if (Extension4(input) != ".PBP") LoadSlotsForGame(input, gameId_);
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
  chkPAL2NTSCScr_->setEnabled(exists && !isPbp);
  chkPAL2NTSCGFX_->setEnabled(exists && !isPbp);
}

std::string MainWindow::RunCoreConversion(GoRequest& g, ProgressWindow& progress) {
  const bool isPbp = Extension4(g.input) == ".PBP";
  ConversionRequest r;
  r.InputPath = g.input;
  r.OutputFolder = g.outputFolder;
  r.Title = g.title;
  r.SaveName = g.saveName;
  r.GameID = g.gameId;
  std::string* paths[kSlotCount] = {&r.Icon0Path, &r.Icon1Path, &r.Pic0Path,
                                    &r.Pic1Path,  &r.Snd0Path,  &r.GamebootPath};
  ConversionContext ctx;
  for (int i = 0; i < kSlotCount; ++i) {
    *paths[i] = ResolveSlotFile(services_.folders, g.assetSlots[i].ticked, g.assetSlots[i].text,
                                kSlots[i].assetFileName, isPbp && packageLoaded_);
    ctx.slotChoices[i] = {g.assetSlots[i].ticked, g.assetSlots[i].text};
  }
  r.CompressionLevel = static_cast<int16_t>(g.compressionLevel);
  r.PalFixScreen = g.palFixScreen;
  r.PalFixGraphics = g.palFixGraphics;
  r.RecompressEboot = g.recompressEboot;
  r.LogMode = false;

  ctx.folders = services_.folders;
  ctx.settings = settings_;
  ctx.host = &progress;
  ctx.chooseRebuildDestination = [this, &g] {
    const QString dest = services_.dialogs->SaveFile(
        this, QLatin1String(pbp::kRebuildDestinationTitle), Q(FolderOf(g.input)),
        QStringLiteral("EBOOT.PBP"), QStringLiteral("PBP"),
        {{QStringLiteral("PBP Files (*.pbp)"), QStringLiteral("*.pbp")},
         {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
    return S(dest);
  };
  ConversionOutcome outcome;
  std::string result = RunConversion(r, ctx, &outcome);
  if (result == "Success." && !outcome.rebuiltTo.empty()) {
    services_.prompter->Inform(this, QLatin1String(pbp::kRebuildDone));
    return "";  // the rebuild has said all there is to say
  }
  // A patched package's pictures and title are what the window should show now.
  if (result == "Success." && isPbp && !g.recompressEboot) InspectPackage(g.input);
  return result;
}

}  // namespace ebf::ui
