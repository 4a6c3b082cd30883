// frmMain's button handlers: Go with its checks and closing messages, the browse, extract
// and drop actions, options and About.

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <cmath>

#include "common/files.h"
#include "common/pattern.h"
#include "common/text.h"
#include "ui/file_dialogs.h"
#include "ui/main_window.h"
#include "ui/options_dialog.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"
#include "ui/slot_table.h"

namespace ebf::ui {
namespace {

QString Q(const std::string& s) {
  return QString::fromStdString(s);
}
std::string S(const QString& s) {
  return s.toStdString();
}

constexpr const char* kMsgNoInput = "The input file doesn't exist!";
constexpr const char* kMsgShortInput = "The input file can't possibly be valid! XD";
constexpr const char* kMsgIsoWarning =
    "It appears that you're using an ISO.  Some games will not work when using this format - "
    "it is recommended that you use a BIN+CUE or IMG+CCD instead.  Note, do not convert the ISO "
    "to BIN/IMG - re-dump the game if possible.  Are you sure you wish to continue?";
constexpr const char* kMsgNoOutput = "Please enter an output folder!";
constexpr const char* kMsgBadOutput = "The output folder is invalid!";
constexpr const char* kMsgDataOutput =
    "The output folder is cannot be the same as the Data folder!";
constexpr const char* kMsgNoTitle = "Please enter a title for the game!";
constexpr const char* kMsgNoSave =
    "No game save name selected!  Please use the Select button to choose a game!";
constexpr const char* kMsgIdLength = "Game ID is invalid (according to tarnwick)";
constexpr const char* kMsgIdPrefix = "Game ID is invalid (well tarnwick will at least say that)";
constexpr const char* kMsgPalOnNtsc =
    "It seems that you're trying to apply a PAL -> NTSC fix on an NTSC game!  Well, there isn't "
    "much purpose in this, so are you sure you wish to do this?";
constexpr const char* kMsgPalNoFix =
    "It seems that you're converting a PAL game, but haven't chosen to do a PAL -> NTSC fix.  "
    "Are you sure you wish to do this?";
constexpr const char* kMsgPatched = "Patching Done!  Enjoy :)";
constexpr const char* kMsgConverted =
    "Conversion Done :)  Just copy the EBOOT.PBP file to ms0:/PSP/GAME/<Game Name>  Enjoy!";
constexpr const char* kMsgOnPsp =
    "Conversion Done :)  The output folder you have selected appears to be the correct location "
    "on the PSP drive (if not, you'll need to copy).  If this is so, just run the game from the "
    "GAME menu.  Enjoy!";
constexpr const char* kMsgOfferTransfer =
    "Conversion Done :)  Do you want to transfer the game to the PSP now?\r\n(note, if you wish, "
    "you can disable this feature by editing the INI file, if you find this annoying)";
constexpr const char* kMsgManyFiles =
    "More than one file was dropped - only the first file will be used.";

constexpr const char* kIdPrefixes[] = {"SCUS", "SLUS", "SLES", "SCES", "SCED", "SLPS",
                                       "SLPM", "SCPS", "SLED", "SIPS", "ESPM"};

// Slot order of the "doesn't exist" checks, with the name each message uses.
constexpr std::pair<int, const char*> kSlotChecks[] = {
    {MainWindow::kIcon0, "ICON0.PNG"}, {MainWindow::kPic0, "PIC0.PNG"},
    {MainWindow::kPic1, "PIC1.PNG"},   {MainWindow::kIcon1, "ICON1.PMF"},
    {MainWindow::kSnd0, "SND0.AT3"},   {MainWindow::kGameboot, "Gameboot PNG"}};

}  // namespace

// Runs the checks in their fixed order; each refusal shows its own message. Returns
// "ok" to go on, or "" when a check stopped the run.
std::string MainWindow::ValidateForGo() {
  Prompter& p = *services_.prompter;
  const std::string input = S(txtIn_->text());
  if (!FileExists(input)) return p.Warn(this, QLatin1String(kMsgNoInput)), "";
  if (CharCount(input) < 4) return p.Warn(this, QLatin1String(kMsgShortInput)), "";
  const std::string ext = Extension4(input);
  if (ext == ".ISO" && !p.Ask(this, QLatin1String(kMsgIsoWarning), false)) return "";
  if (ext != ".PBP") {
    const std::string out = S(txtOut_->text());
    if (out.empty()) return p.Warn(this, QLatin1String(kMsgNoOutput)), "";
    if (!MakeFolders(out)) return p.Warn(this, QLatin1String(kMsgBadOutput)), "";
    if (out == services_.programFolder + "Data")
      return p.Warn(this, QLatin1String(kMsgDataOutput)), "";
  }
  if (txtTitle_->text().isEmpty()) return p.Warn(this, QLatin1String(kMsgNoTitle)), "";
  if (saveName_.empty()) return p.Warn(this, QLatin1String(kMsgNoSave)), "";
  if (CharCount(gameId_) != 9) return p.Warn(this, QLatin1String(kMsgIdLength)), "";
  const std::string prefix = ToUpperAscii(gameId_.substr(0, 4));
  bool known = false;
  for (const char* k : kIdPrefixes) known |= prefix == k;
  if (!known || !Matches(gameId_, "????#####"))
    return p.Warn(this, QLatin1String(kMsgIdPrefix)), "";
  const std::string region = S(lblRegion_->text());
  const bool anyFix = chkPAL2NTSCScr_->isChecked() || chkPAL2NTSCGFX_->isChecked();
  if (region == "NTSC" && anyFix && !p.Ask(this, QLatin1String(kMsgPalOnNtsc), true)) return "";
  if (region == "PAL" && !anyFix && !p.Ask(this, QLatin1String(kMsgPalNoFix), true)) return "";
  for (auto [slot, label] : kSlotChecks) {
    const std::string text = S(slots_[slot].text->text());
    if (!text.empty() && !FileExists(text)) {
      p.Warn(this, QStringLiteral("The %1 file doesn't exist!").arg(QLatin1String(label)));
      return "";
    }
  }
  return "ok";
}

void MainWindow::GoClicked() {
  if (ValidateForGo().empty()) return;
  GoRequest request;
  request.input = S(txtIn_->text());
  request.outputFolder = S(txtOut_->text());
  request.title = S(txtTitle_->text());
  request.saveName = saveName_;
  request.gameId = gameId_;
  for (int i = 0; i < kSlotCount; ++i)
    request.assetSlots[i] = {slots_[i].check->isChecked(), S(slots_[i].text->text())};
  request.compressionLevel = static_cast<int>(std::lround(Val(S(txtCompress_->text()))));
  request.palFixScreen = chkPAL2NTSCScr_->isChecked();
  request.palFixGraphics = chkPAL2NTSCGFX_->isChecked();
  request.recompressEboot = chkRecompressEBOOT_->isChecked();

  TakeSettingsFromControls();
  const std::string error = SaveSettingsFile(services_.settingsFile, settings_, request.input);
  if (!error.empty()) services_.prompter->Warn(this, Q(error));
  if (!hooks_.runConversion) return;

  // The progress window stands in for the main window while the run lasts.
  ProgressWindow progress(ProgressWindow::Kind::Progress, *services_.prompter, theme_, this);
  progress.show();
  hide();
  const std::string result = hooks_.runConversion(request, progress);
  progress.hide();
  show();
  ShowClosingMessage(result, request);
}

void MainWindow::ShowClosingMessage(const std::string& result, const GoRequest& request) {
  Prompter& p = *services_.prompter;
  if (result != "Success.") {
    if (result != "Cancelled." && !result.empty()) p.Warn(this, Q(result));
    return;
  }
  if (Extension4(request.input) == ".PBP" && !request.recompressEboot) {
    p.Inform(this, QLatin1String(kMsgPatched));
  } else if (settings_.autoTransfer < 1) {
    p.Inform(this, QLatin1String(kMsgConverted));
  } else if (hooks_.isOnPspGameFolder && hooks_.isOnPspGameFolder(request.outputFolder)) {
    p.Inform(this, QLatin1String(kMsgOnPsp));
  } else if (p.Ask(this, QLatin1String(kMsgOfferTransfer), false, MsgIcon::Information)) {
    show();
    if (hooks_.openTransfer) hooks_.openTransfer(*this, request.outputFolder);
  }
}

void MainWindow::BrowseInput() {
  const QString start =
      settings_.defaultImagePath.empty() ? txtIn_->text() : Q(settings_.defaultImagePath);
  const QString patterns = QStringLiteral("*.iso;*.bin;*.img;*.cue;*.mdf;*.PBP");
  const QString path = services_.dialogs->OpenFile(
      this, QStringLiteral("Select a PSX ISO or EBOOT to convert/patch"), start,
      {{QStringLiteral("Supported Files (%1)").arg(patterns), patterns},
       {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
  if (!path.isEmpty()) ResolveInput(S(path));
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
  const std::string from =
      ResolveCaseBlind(services_.programFolder + "Temp" + kSep + info.assetFile);
  std::string error;
  if (!CopyFileTo(from, S(target), &error)) services_.prompter->Warn(this, Q(error));
}

void MainWindow::DropFiles(const QStringList& paths, int slot) {
  if (paths.isEmpty()) return;
  if (paths.size() > 1) services_.prompter->Warn(this, QLatin1String(kMsgManyFiles));
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
