// Draws the main window (customisation folded and open, its CD menu open), the progress
// window, the options dialog and the other dialogs with sample values into PNG files, for
// the documentation; then runs a real conversion from the main window and takes the
// progress window in the middle of it and the message box that closes it.
//   ebf_ui_screenshots <runtime folder> <output folder>

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSpinBox>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTimer>
#include <filesystem>

#include "app/settings.h"
#include "assets/slots.h"
#include "common/files.h"
#include "disc/game_db.h"
#include "transfer/volumes.h"
#include "ui/dialog_hooks.h"
#include "ui/doc_dialog.h"
#include "ui/file_dialogs.h"
#include "ui/fix_save_dialog.h"
#include "ui/main_window.h"
#include "ui/options_dialog.h"
#include "ui/patch_list.h"
#include "ui/preview_dialog.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"
#include "ui/select_dialog.h"
#include "ui/transfer_dialog.h"
#include "ui/verify_dialog.h"

using namespace ebf;

// A raw disc image of `sectors` sectors with a mixture of runs and noise, so that the
// converter has a few seconds of real work at level 9.
static bool WriteSampleImage(const std::string& path, int sectors) {
  QFile f(QString::fromStdString(path));
  if (!f.open(QIODevice::WriteOnly)) return false;
  QByteArray sector(2352, 0);
  uint32_t x = 2463534242u;
  for (int s = 0; s < sectors; ++s) {
    for (int i = 0; i < sector.size(); ++i) {
      x ^= x << 13;
      x ^= x >> 17;
      x ^= x << 5;
      sector[i] = static_cast<char>((i / 64) % 4 == 0 ? (s & 0x3F) : (x & 0xFF));
    }
    if (f.write(sector) != sector.size()) return false;
  }
  return true;
}

// Takes the progress window once a second of the run has passed and it shows the bytes
// written so far, and the message box that ends the run.
class RunWatcher : public QObject {
 public:
  RunWatcher(ui::MainWindow& w, QString folder) : w_(w), folder_(std::move(folder)) {
    connect(&timer_, &QTimer::timeout, this, [this] { Look(); });
    timer_.start(40);
  }
  bool progressTaken = false, messageTaken = false;

 private:
  void Look() {
    for (ui::ProgressWindow* p : w_.findChildren<ui::ProgressWindow*>()) {
      // A compressed run shows the bytes written, once a second.
      auto* bytes = p->findChild<QLabel*>(QStringLiteral("lblBytes"));
      if (progressTaken || !p->isVisible() || !bytes ||
          !bytes->text().startsWith(QLatin1String("Bytes written: ")) || p->elapsedSeconds() < 1)
        continue;
      p->resize(460, p->sizeHint().height());
      progressTaken = p->grab().save(folder_ + "/progress-run.png");
    }
    if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
      QApplication::processEvents();
      messageTaken = box->grab().save(folder_ + "/message.png");
      box->accept();
    }
  }
  ui::MainWindow& w_;
  QString folder_;
  QTimer timer_;
};

static bool Save(QWidget& w, const QString& folder, const char* name) {
  w.show();
  for (int i = 0; i < 10; ++i) QApplication::processEvents();
  const QString path = folder + "/" + name;
  const bool ok = w.grab().save(path);
  if (!ok) qWarning("could not write %s", qPrintable(path));
  return ok;
}

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  if (argc != 3) {
    qWarning("usage: ebf_ui_screenshots <runtime folder> <output folder>");
    return 2;
  }
  const std::string runtime = WithTrailingSep(argv[1]);
  const QString out = QString::fromLocal8Bit(argv[2]);
  ui::QtPrompter prompter;
  ui::QtFileDialogs dialogs;
  // The program runs from a scratch copy of the runtime tree, so that its settings, Temp
  // folder and output stay out of the build.
  QTemporaryDir scratchDir;
  const std::string scratch = scratchDir.filePath(QStringLiteral("screenshots.ini")).toStdString();
  const std::string program =
      WithTrailingSep(scratchDir.filePath(QStringLiteral("program")).toStdString());
  for (const char* sub : {"Data", "PSXCust", "Themes"}) {
    std::filesystem::create_directories(program + sub);
    std::filesystem::copy(runtime + sub, program + sub, std::filesystem::copy_options::recursive);
  }

  ui::MainWindow w({program, scratch, &prompter, &dialogs});
  ui::MainWindow::Hooks hooks;
  ui::InstallDialogHooks(hooks,
                         {std::make_shared<FixedVolumes>(std::vector<RemovableVolume>{}), {}});
  w.SetHooks(std::move(hooks));
  w.settings().theme = "Default";
  w.LoadAndApplyTheme();
  w.SetInputText("/home/mira/Games/Moonlit Harbour (Disc 1).cue");
  w.SetTitleText("Moonlit Harbour");
  w.SetGameIdentity("SLUS01234", "SLUS01234");
  w.SetRegion("NTSC");
  w.SetOutputText("/home/mira/PSP/GAME/Moonlit Harbour");
  w.findChild<QSpinBox*>("txtCompress")->setValue(9);
  w.SetSlot(ui::MainWindow::kIcon0, true, "/home/mira/Pictures/harbour-icon.png");
  w.SetSlot(ui::MainWindow::kIcon1, false, "");
  w.SetSlot(ui::MainWindow::kPic1, true, "/home/mira/Pictures/harbour-night.jpg");
  w.resize(820, 10);
  bool ok = Save(w, out, "main.png");
  {
    // The CD menu open below its button, taken from the screen with the window under it.
    auto* cd = w.findChild<QPushButton*>("cmdInCD");
    auto* menu = w.findChild<QMenu*>("mnuCD");
    menu->popup(cd->mapToGlobal(QPoint(0, cd->height())));
    for (int i = 0; i < 10; ++i) QApplication::processEvents();
    const QRect area = w.frameGeometry().united(menu->geometry());
    ok &= QGuiApplication::primaryScreen()
              ->grabWindow(0, area.x(), area.y(), area.width(), area.height())
              .save(out + "/cd-menu.png");
    menu->hide();
  }
  w.ToggleCustomisation();
  w.resize(820, 10);
  ok &= Save(w, out, "main-customise.png");

  ui::ProgressWindow progress(ui::ProgressWindow::Kind::Progress, prompter, w.theme());
  // An uncompressed run: the image's size, and the bar near half way.
  progress.BeginStage("Converting to EBOOT...", 1.0, 537185075);
  for (int i = 0; i < 125; ++i) progress.Tick();
  progress.resize(460, progress.sizeHint().height());
  progress.show();
  QApplication::processEvents();
  progress.Advance(42, 100);
  ok &= Save(progress, out, "progress.png");

  Settings& s = w.settings();
  s.defaultImagePath = "/home/mira/Games";
  s.defaultOutputDir = "/home/mira/PSP/GAME";
  s.defaultOutDirOpt = 2;
  s.autoTransfer = 1;
  s.imgResMode = 3;
  ui::OptionsDialog options(s, scratch, w.theme(), dialogs, prompter, {});
  ok &= Save(options, out, "options.png");

  ui::SelectDialog select(w.theme(), prompter);
  select.Load(GameDbPath(program), true, "SCUS94476", "");
  ok &= Save(select, out, "select.png");

  ui::FixSaveDialog fixSave(w.theme(), prompter, "Moonlit Harbour", "SLUS01234");
  ok &= Save(fixSave, out, "fixsave.png");

  ui::PreviewInputs previewIn;
  previewIn.programFolder = program;
  for (int i = 0; i < kSlotCount; ++i)
    previewIn.slotFiles[i] = ResolveSlotFile(program, true, "", kSlots[i].assetFileName, false);
  ui::PreviewDialog preview(previewIn, w.theme());
  preview.timer().stop();
  ok &= Save(preview, out, "preview.png");
  preview.Tick();
  for (int i = 0; i < 3; ++i) preview.Tick();
  ok &= Save(preview, out, "preview-fade.png");

  ui::DocDialog doc(w.theme(), prompter, dialogs, "SLUS01234", "/home/mira/PSP/GAME/Harbour");
  for (const char* page :
       {"/home/mira/Scans/harbour-manual-01.png", "/home/mira/Scans/harbour-manual-02.png",
        "/home/mira/Scans/harbour-manual-03.jpg", "/home/mira/Scans/harbour-manual-04.jpg"})
    doc.AddPage(QString::fromLatin1(page), false);
  doc.list()->item(2)->setSelected(true);
  ok &= Save(doc, out, "doc.png");

  FixedVolumes volumes({{"/media/mira/PSP", "PSP"}, {"/media/mira/CARD", "CARD 32GB"}});
  ui::TransferDialog transfer(w.theme(), prompter, volumes,
                              {"/home/mira/PSP/GAME/Harbour", "Moonlit Harbour", "SLUS01234", 1});
  ok &= Save(transfer, out, "transfer.png");
  transfer.hide();

  VerifyReport report;
  report.blocks = 18245;
  report.digests = DigestCheck::Checked;
  report.tracks = {{1, false, 0, 611661120, "6a0c1d3e", "0f3b5c8de1a2b4c6d8e0f1a2b3c4d5e6",
                    "7d1f2e3c4b5a69788796a5b4c3d2e1f0a9b8c7d6"},
                   {2, true, 260060, 36702960, "b19e5f04", "c4d5e6f7a8b9c0d1e2f3a4b5c6d7e8f9",
                    "1a2b3c4d5e6f708192a3b4c5d6e7f8091a2b3c4d"},
                   {3, true, 275665, 42336000, "03f2aa71", "e1f2a3b4c5d6e7f8091a2b3c4d5e6f70",
                    "9f8e7d6c5b4a39281706f5e4d3c2b1a09f8e7d6c"}};
  report.datChecked = true;
  report.datMatched = true;
  report.datGame = "Moonlit Harbour (USA)";
  report.datText = "Matches \"Moonlit Harbour (USA)\".";
  ui::VerifyDialog verify(w.theme(), "/home/mira/PSP/GAME/Harbour/EBOOT.PBP", report);
  ok &= Save(verify, out, "verify.png");

  const std::string work =
      WithTrailingSep(scratchDir.filePath(QStringLiteral("work")).toStdString());
  QDir().mkpath(QString::fromStdString(work + "Moonlit Harbour"));
  {
    // A game on three discs: disc 2 chosen, the others found beside it.
    if (w.customisationShown()) w.ToggleCustomisation();
    for (int n = 1; n <= 3; ++n)
      if (!WriteSampleImage(work + "Moonlit Harbour (Disc " + std::to_string(n) + ").bin", 64))
        return 1;
    w.ResolveInput(work + "Moonlit Harbour (Disc 2).bin");
    w.SetTitleText("Moonlit Harbour");
    w.SetGameIdentity("SLUS01234", "SLUS01234");
    w.SetRegion("NTSC");
    w.SetOutputText("/home/mira/PSP/GAME/Moonlit Harbour");
    w.resize(820, 10);
    ok &= Save(w, out, "disc-set.png");

    // LibCrypt data beside disc 1, a translation for disc 2 in the Patches list.
    QFile sbi(QString::fromStdString(work + "Moonlit Harbour (Disc 1).sbi"));
    const char record[] = {'S', 'B', 'I', 0, 0x03, 0x08, 0x05, 1, 0x41,
                           1,   1,   3,   6, 6,    0,    3,    8, 0x15};
    if (!sbi.open(QIODevice::WriteOnly) || sbi.write(record, sizeof record) != sizeof record)
      return 1;
    sbi.close();
    w.ResolveInput(work + "Moonlit Harbour (Disc 2).bin");
    w.SetTitleText("Moonlit Harbour");
    w.SetGameIdentity("SLUS01234", "SLUS01234");
    w.SetRegion("NTSC");
    w.SetOutputText("/home/mira/PSP/GAME/Moonlit Harbour");
    auto* patches = w.findChild<ui::PatchList*>("frmPatches");
    if (!patches) return 1;
    patches->AddPatch(2, work + "Moonlit Harbour (Disc 2) English v1.1.xdelta");
    ok &= Save(w, out, "patches.png");
    patches->Clear();
  }

  // A real run from the main window: Go, the progress window half way, the closing message.
  const std::string image = work + "Moonlit Harbour (Disc 1).bin";
  if (!WriteSampleImage(image, 70000)) {
    qWarning("could not write the sample image");
    return 1;
  }
  w.SetInputText(image);
  w.SetTitleText("Moonlit Harbour");
  w.SetGameIdentity("SLUS01234", "SLUS01234");
  w.SetRegion("NTSC");
  w.SetOutputText(work + "Moonlit Harbour");
  w.findChild<QSpinBox*>("txtCompress")->setValue(9);
  for (int i = 0; i < ui::MainWindow::kSlotCount; ++i) w.SetSlot(i, true, "");
  s.autoTransfer = 0;
  w.show();
  RunWatcher watcher(w, out);
  w.GoClicked();
  if (!watcher.progressTaken) qWarning("the run ended before the progress window was taken");
  if (!watcher.messageTaken) qWarning("no closing message came up");
  ok &= watcher.progressTaken && watcher.messageTaken;
  return ok ? 0 : 1;
}
