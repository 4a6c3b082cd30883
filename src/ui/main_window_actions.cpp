// frmMain's button handlers: Go with its checks and closing messages, the browse, extract
// and drop actions, options and About.

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <cmath>
#include <filesystem>

#include "assets/slots.h"
#include "common/files.h"
#include "common/pattern.h"
#include "common/text.h"
#include "disc/classify.h"
#include "pbp/rebuild.h"
#include "ui/disc_list.h"
#include "ui/file_dialogs.h"
#include "ui/main_window.h"
#include "ui/options_dialog.h"
#include "ui/patch_list.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"
#include "ui/slot_table.h"
#include "ui/widgets.h"

namespace ebf::ui {
namespace {}  // namespace

std::vector<std::string> MainWindow::Discs() const {
  std::vector<std::string> set = discs_->discs();
  if (set.size() > 1) return set;
  return {S(txtIn_->text())};
}

JobInput MainWindow::JobFromControls() const {
  JobInput job;
  const std::vector<std::string> discs = Discs();
  job.input = discs.front();
  job.laterDiscs.assign(discs.begin() + 1, discs.end());
  job.output = S(txtOut_->text());
  job.title = S(txtTitle_->text());
  job.saveName = saveName_;
  job.gameId = gameId_;
  job.region = S(lblRegion_->text());
  for (int i = 0; i < kSlotCount; ++i)
    job.assets[i] = {slots_[i].check->isChecked(), S(slots_[i].text->text()), slotSources_[i]};
  job.packageInspected = packageLoaded_;
  job.level = txtCompress_->value();
  job.palFixScreen = chkPAL2NTSCScr_->isChecked();
  job.palFixGraphics = chkPAL2NTSCGFX_->isChecked();
  job.recompress = chkRecompressEBOOT_->isChecked();
  job.confirm = true;
  job.patches = patches_->patches();
  return job;
}

void MainWindow::GoClicked() {
  // The checks ask and refuse over this window; nothing has been written when they stop.
  PrompterQuestions questions(*services_.prompter, this);
  const Planned planned =
      PlanConversion(JobFromControls(), settings_, services_.folders, questions);
  if (!planned.plan) {
    if (planned.outcome.failed()) services_.prompter->Warn(this, Q(planned.outcome.text()));
    return;
  }
  TakeSettingsFromControls();
  const std::string error = SaveSettingsFile(services_.settingsFile, settings_, S(txtIn_->text()));
  if (!error.empty()) services_.prompter->Warn(this, Q(error));
  const ConversionResult result = RunPlan(*planned.plan);
  if (result.rebuilt) {
    // The rebuild has said all there is to say.
    services_.prompter->Inform(this, QLatin1String(pbp::kRebuildDone));
    return;
  }
  // A patched package's pictures and title are what the window should show now.
  if (result.outcome.succeeded() && planned.plan->kind == JobKind::PatchPackage)
    InspectPackage(planned.plan->input);
  ShowClosingMessage(result, *planned.plan);
}

void MainWindow::ShowClosingMessage(const ConversionResult& result, const ConversionPlan& plan) {
  Prompter& p = *services_.prompter;
  if (!result.outcome.succeeded()) {
    if (result.outcome.failed()) p.Warn(this, Q(result.outcome.text()));
    return;
  }
  if (plan.kind == JobKind::PatchPackage) {
    p.Inform(this, QLatin1String(kMsgPatchingDone));
  } else if (settings_.autoTransfer < 1) {
    p.Inform(this, QLatin1String(kMsgConversionDone));
  } else if (hooks_.isOnPspGameFolder && hooks_.isOnPspGameFolder(plan.output)) {
    p.Inform(this, QLatin1String(kMsgOnPspFolder));
  } else if (p.Ask(this, QLatin1String(kMsgOfferTransfer), false, MsgIcon::Information)) {
    show();
    if (hooks_.openTransfer) hooks_.openTransfer(*this, plan.output);
  }
}

void MainWindow::BrowseInput() {
  const QString start =
      settings_.defaultImagePath.empty() ? txtIn_->text() : Q(settings_.defaultImagePath);
  const QString patterns = QStringLiteral("*.iso;*.bin;*.img;*.cue;*.mdf;*.chd;*.ecm;*.PBP");
  const QString path = services_.dialogs->OpenFile(
      this, QStringLiteral("Select a PSX ISO or EBOOT to convert/patch"), start,
      {{QStringLiteral("Supported Files (%1)").arg(patterns), patterns},
       {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
  if (!path.isEmpty()) ResolveInput(S(path));
}

void MainWindow::AddDisc() {
  const QString patterns = QStringLiteral("*.iso;*.bin;*.img;*.cue;*.mdf;*.chd;*.ecm");
  const QString path = services_.dialogs->OpenFile(
      this, QStringLiteral("Select the next disc of the game"), Q(FolderOf(S(txtIn_->text()))),
      {{QStringLiteral("Disc Images (%1)").arg(patterns), patterns},
       {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
  if (!path.isEmpty() && discs_->AddDisc(S(path))) FindDiscCompanions(false);
}

void MainWindow::MakeImageFromDrive() {
  const std::string drive = ChooseDrive(this, *services_.prompter, hooks_.listDrives);
  if (drive.empty()) return;
  const std::string start =
      settings_.defaultImagePath.empty() ? S(txtOut_->text()) : settings_.defaultImagePath;
  RipOutcome made =
      MakeImageFromDisc(this, *services_.prompter, *services_.dialogs, theme_, drive, start);
  if (made.result.succeeded()) ResolveInput(made.cuePath);
}

void MainWindow::ConvertFromDrive() {
  const std::string drive = ChooseDrive(this, *services_.prompter, hooks_.listDrives);
  if (drive.empty()) return;
  // The package goes where the output box says; a rip in Temp is no place for it.
  std::string output = S(txtOut_->text());
  if (output.empty()) {
    output = S(services_.dialogs->PickFolder(this, QStringLiteral("Select Output Folder"),
                                             Q(settings_.defaultOutputDir)));
    if (output.empty()) return;
  }
  const std::string folder = services_.folders.work + "Temp" + kSep + "Disc";
  RipOutcome made = RipForConversion(this, *services_.prompter, theme_, drive, folder, "Disc");
  if (made.result.succeeded()) {
    ResolveInput(made.cuePath);
    SetOutputText(output);
    if (S(txtIn_->text()) == made.cuePath) GoClicked();
    SetInputText("");
  }
  std::error_code ec;
  std::filesystem::remove_all(std::filesystem::u8path(folder), ec);
}

void MainWindow::BrowseOutput() {
  const QString folder = services_.dialogs->PickFolder(
      this, QStringLiteral("Select Output Folder"),
      txtOut_->text().isEmpty() ? Q(settings_.defaultOutputDir) : txtOut_->text());
  if (!folder.isEmpty()) txtOut_->setText(folder);
}

void MainWindow::BrowseSlot(int slot) {
  const SlotInfo& info = SlotAt(slot);
  const QString path = services_.dialogs->OpenFile(this, QLatin1String(info.browseTitle),
                                                   Q(settings_.defaultCustDir), info.browseFilters);
  if (!path.isEmpty()) slots_.at(slot).text->setText(path);
}

void MainWindow::ExtractSlot(int slot) {
  const SlotInfo& info = SlotAt(slot);
  const QString target = services_.dialogs->SaveFile(
      this, QLatin1String(info.extractTitle), txtOut_->text(), QLatin1String(info.extractName),
      QLatin1String(info.extractExtension), info.extractFilters);
  if (target.isEmpty()) return;
  const std::string from = ResolveCaseBlind(TempFolder(services_.folders.work) + info.assetFile);
  std::string error;
  if (!CopyFileTo(from, S(target), &error)) services_.prompter->Warn(this, Q(error));
}

void MainWindow::DropFiles(const QStringList& paths, int slot) {
  if (paths.isEmpty()) return;
  if (paths.size() > 1) services_.prompter->Warn(this, QLatin1String(kMoreThanOneFileMessage));
  const std::string first = S(paths.front());
  if (slot >= 0) {
    slots_.at(slot).text->setText(paths.front());
    return;
  }
  if (!FileExists(first)) return;
  ResolveInput(first);
}

void MainWindow::OpenOptions() {
  TakeSettingsFromControls();
  OptionsDialog dialog(
      settings_, services_.settingsFile, theme_, *services_.dialogs, *services_.prompter,
      [this] { LoadAndApplyTheme(); }, this);
  dialog.exec();
}

void MainWindow::ShowAbout() {
  services_.prompter->Inform(
      this,
      QStringLiteral("ebootforge %1\n\n"
                     "Turns PlayStation disc images into EBOOT.PBP packages for the PSP, and edits "
                     "such packages.\n\n"
                     "Built with Qt %2, zlib, libpng, libjpeg-turbo, giflib and CLI11. "
                     "All artwork is drawn by the program's own build.")
          .arg(QStringLiteral(EBF_VERSION), QLatin1String(qVersion())));
}

}  // namespace ebf::ui
