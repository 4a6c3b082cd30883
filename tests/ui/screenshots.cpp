// Draws the main window (customisation folded and open), the progress window, the options
// dialog and the other dialogs with sample values into PNG files, for the documentation.
//   ebf_ui_screenshots <runtime folder> <output folder>

#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QListWidget>
#include <QSpinBox>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTimer>

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
#include "ui/preview_dialog.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"
#include "ui/select_dialog.h"
#include "ui/transfer_dialog.h"

using namespace ebf;

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
  // Settings go to a scratch file so that the runtime tree stays as it is.
  QTemporaryDir scratchDir;
  const std::string scratch = scratchDir.filePath(QStringLiteral("screenshots.ini")).toStdString();

  ui::MainWindow w({runtime, scratch, &prompter, &dialogs});
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
  w.ToggleCustomisation();
  w.resize(820, 10);
  ok &= Save(w, out, "main-customise.png");

  ui::ProgressWindow progress(ui::ProgressWindow::Kind::Progress, prompter, w.theme());
  progress.SetCaption("Converting to EBOOT...");
  progress.SetSizeText("Image Size: 512.3 MB");
  progress.SetBytesText("Bytes written: 214.8 MB");
  for (int i = 0; i < 125; ++i) progress.Tick();
  progress.resize(460, progress.sizeHint().height());
  progress.show();
  QApplication::processEvents();
  progress.SetFraction(0.42);
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
  select.Load(GameDbPath(runtime), true, "SCUS94476", "");
  ok &= Save(select, out, "select.png");

  ui::FixSaveDialog fixSave(w.theme(), prompter, "Moonlit Harbour", "SLUS01234");
  ok &= Save(fixSave, out, "fixsave.png");

  ui::PreviewInputs previewIn;
  previewIn.programFolder = runtime;
  for (int i = 0; i < kSlotCount; ++i)
    previewIn.slotFiles[i] = ResolveSlotFile(runtime, true, "", kSlots[i].assetFileName, false);
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
  return ok ? 0 : 1;
}
