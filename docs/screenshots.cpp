// The screenshots of docs/, each from a real run of the program on data docs/screenshots.sh
// builds: the settings file (written by ebootforge-cli), the pictures and manual pages
// (ImageMagick), and, made here, the disc images. The main window starts as the program
// starts (the settings file read, a disc named on the command line), and each window is
// taken as a user reaches it: the main window with the user's pictures, its CD menu, the
// dialogs, a conversion (its progress window and closing message), Verify on the package
// made (its progress half way and its result), the transfer onto a folder that stands in
// for a PSP, a game on three discs, and the batch queue half way through a library.
//   ebf_screenshots <runtime folder> <output folder> <data folder>

#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QLabel>
#include <QListWidget>
#include <QMenu>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QSpinBox>
#include <QStyleFactory>
#include <QTemporaryDir>
#include <QTimer>
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>

#include "app/settings.h"
#include "assets/slots.h"
#include "common/files.h"
#include "disc/game_db.h"
#include "support/cd_sets.h"
#include "support/disc_builder.h"
#include "support/disc_sets.h"
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
#include "ui/queue_table.h"
#include "ui/queue_window.h"
#include "ui/select_dialog.h"
#include "ui/startup_flow.h"
#include "ui/transfer_dialog.h"
#include "ui/verify_dialog.h"

using namespace ebf;

namespace {

constexpr uint32_t kSector = 2352;

bool Append(std::ofstream& out, const Bytes& bytes) {
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  return static_cast<bool>(out);
}

// A game's data track (its SYSTEM.CNF naming `exe`), then `sectors` in all of runs and
// noise, so that the converter has a few seconds of real work at level 9.
bool WriteDataTrack(const std::string& path, const std::string& exe, int sectors) {
  std::ofstream out(path, std::ios::binary);
  const Bytes game = test::BuildDiscImage(test::GameDisc(exe), test::SectorLayout::Mode2Raw);
  if (!Append(out, game)) return false;
  Bytes sector(kSector);
  uint32_t x = 2463534242u;
  for (int s = static_cast<int>(game.size() / kSector); s < sectors; ++s) {
    for (uint32_t i = 0; i < kSector; ++i) {
      x ^= x << 13;
      x ^= x >> 17;
      x ^= x << 5;
      sector[i] = static_cast<uint8_t>((i / 64) % 4 == 0 ? (s & 0x3F) : (x & 0xFF));
    }
    if (!Append(out, sector)) return false;
  }
  return true;
}

// "Moonlit Harbour": a Redump set of a data track and two audio tracks. "Tidewater (Disc
// N).bin": a game on three discs, each its own ID.
std::string WriteDiscs(const std::string& games) {
  const std::string stem = games + "Moonlit Harbour";
  std::vector<std::string> names;
  for (int t = 1; t <= 3; ++t)
    names.push_back("Moonlit Harbour (Track " + std::to_string(t) + ").bin");
  bool ok = WriteDataTrack(games + names[0], "SLUS_999.01", 70000);
  for (int t = 2; t <= 3; ++t) {
    Bytes audio(150 * kSector, 0);  // INDEX 00: two seconds of silence
    const Bytes tone = test::ToneSectors(1500, 220.0 * t, t);
    audio.insert(audio.end(), tone.begin(), tone.end());
    std::ofstream out(games + names[t - 1], std::ios::binary);
    ok = ok && Append(out, audio);
  }
  std::ofstream(stem + ".cue") << test::RedumpSheet(names);
  for (int n = 1; n <= 3; ++n)  // no sectors beyond the game's own
    ok = ok && WriteDataTrack(games + "Tidewater (Disc " + std::to_string(n) + ").bin",
                              "SLUS_999.1" + std::to_string(n), 0);
  return ok ? stem + ".cue" : "";
}

// A library for the batch queue: games of one disc and of two, one with a disc missing,
// a file that is no disc, and one game long enough to be caught half way.
bool WriteLibrary(const std::string& library) {
  bool ok = WriteDataTrack(library + "Ashen Coast (USA).bin", "SLUS_999.21", 6000);
  for (int n = 1; n <= 2; ++n)
    ok = ok && WriteDataTrack(library + "Tidewater (Disc " + std::to_string(n) + ").bin",
                              "SLUS_999.1" + std::to_string(n), 4000);
  for (int n : {1, 3})
    ok = ok && WriteDataTrack(library + "Lantern Fields (Disc " + std::to_string(n) + ").bin",
                              "SLUS_999.3" + std::to_string(n), 3000);
  ok = ok && WriteDataTrack(library + "Glass Garden.bin", "SLUS_999.41", 60000);
  ok = ok && WriteDataTrack(library + "Quiet Orchard.bin", "SLUS_999.51", 3000);
  std::ofstream notes(library + "Old Notes.iso", std::ios::binary);
  return ok && Append(notes, Bytes(40000, 'n'));
}

// The batch queue as a user runs it: the library and the game converted before added, the
// copy onto the PSP ticked, Start; taken once "Glass Garden" has written 10 MB of its
// package, with a finished game's log shown.
bool TakeQueue(ui::MainWindow& w, const std::string& games, const std::string& library,
               const QString& out) {
  bool taken = false;
  QTimer::singleShot(100, &w, [&] {
    auto* queue = w.findChild<ui::QueueWindow*>();
    if (!queue) return;
    queue->resize(980, 700);
    queue->AddPaths(
        {QString::fromStdString(games + "Moonlit Harbour.cue"), QString::fromStdString(library)});
    queue->findChild<QCheckBox*>(QStringLiteral("chkCopyToPsp"))->setChecked(true);
    QTimer look;
    QObject::connect(&look, &QTimer::timeout, queue, [&] {
      ui::QueueTable* table = queue->table();
      for (int r = 0; r < table->rowCount(); ++r) {
        const QString title = table->item(r, ui::QueueTable::kTitle)->text();
        if (title.startsWith(QLatin1String("Ashen Coast"))) table->selectRow(r);
        const QString progress = table->item(r, ui::QueueTable::kProgress)->text();
        if (taken || title != QLatin1String("Glass Garden") ||
            !progress.endsWith(QLatin1String(" MB written")) ||
            progress.section(' ', -3, -3).toDouble() < 10)
          continue;
        QApplication::processEvents();
        taken = queue->grab().save(out + "/queue.png");
      }
    });
    look.start(40);
    queue->Start();
    queue->close();
  });
  w.findChild<QPushButton*>("cmdBatch")->click();
  return taken;
}

// Answers every window that comes up while the program runs, and takes the ones asked for:
// a progress window once `wanted` says so, the message box that ends a run, the verify
// result.
class Watcher : public QObject {
 public:
  using ProgressTest = std::function<bool(ui::ProgressWindow&)>;
  Watcher(ui::MainWindow& w, QString folder) : w_(w), folder_(std::move(folder)) {
    connect(&timer_, &QTimer::timeout, this, [this] { Look(); });
    timer_.start(40);
  }
  // What the next run takes: the progress window (into `progressFile` when `wanted` first
  // holds), the closing message (into `messageFile`, unless empty).
  void Expect(QString progressFile, ProgressTest wanted, QString messageFile) {
    progressFile_ = std::move(progressFile);
    wanted_ = std::move(wanted);
    messageFile_ = std::move(messageFile);
  }
  std::vector<QString> taken;

 private:
  void Take(QWidget& widget, QString& file) {
    if (!file.isEmpty() && widget.grab().save(folder_ + "/" + file)) taken.push_back(file);
    file.clear();
  }
  void Look() {
    for (ui::ProgressWindow* p : w_.findChildren<ui::ProgressWindow*>()) {
      if (progressFile_.isEmpty() || !p->isVisible() || !wanted_(*p)) continue;
      p->resize(460, p->sizeHint().height());
      Take(*p, progressFile_);
    }
    for (ui::VerifyDialog* v : w_.findChildren<ui::VerifyDialog*>()) {
      if (!v->isVisible()) continue;
      QString file = QStringLiteral("verify.png");
      Take(*v, file);
      v->accept();
    }
    if (auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget())) {
      QApplication::processEvents();
      Take(*box, messageFile_);
      box->accept();
    }
  }
  ui::MainWindow& w_;
  QString folder_, progressFile_, messageFile_;
  ProgressTest wanted_;
  QTimer timer_;
};

bool Save(QWidget& w, const QString& folder, const char* name) {
  w.show();
  for (int i = 0; i < 10; ++i) QApplication::processEvents();
  const QString path = folder + "/" + name;
  const bool ok = w.grab().save(path);
  if (!ok) qWarning("could not write %s", qPrintable(path));
  return ok;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));
  if (argc != 4) {
    qWarning("usage: ebf_screenshots <runtime folder> <output folder> <data folder>");
    return 2;
  }
  const std::string runtime = WithTrailingSep(argv[1]);
  const QString out = QString::fromLocal8Bit(argv[2]);
  const std::string data = WithTrailingSep(argv[3]);
  const std::string ini = data + "ebootforge.ini", games = data + "Games/";
  const std::string pictures = data + "Pictures/", psp = data + "PSP/GAME/";
  const std::string cue = WriteDiscs(games);
  if (cue.empty()) {
    qWarning("could not write the disc images into %s", games.c_str());
    return 1;
  }
  // The program runs from a scratch copy of the runtime tree, so that its Temp folder stays
  // out of the build.
  QTemporaryDir scratchDir;
  const std::string program =
      WithTrailingSep(scratchDir.filePath(QStringLiteral("program")).toStdString());
  for (const char* sub : {"Data", "PSXCust", "Themes"}) {
    std::filesystem::create_directories(program + sub);
    std::filesystem::copy(runtime + sub, program + sub, std::filesystem::copy_options::recursive);
  }

  ui::QtPrompter prompter;
  ui::QtFileDialogs dialogs;
  ui::MainWindow w({program, ini, &prompter, &dialogs});
  // Two folders stand in for a PSP and a memory card plugged in.
  auto volumes = std::make_shared<FixedVolumes>(std::vector<RemovableVolume>{
      {data + "media/PSP", "PSP"}, {data + "media/CARD", "CARD 32GB"}});
  ui::MainWindow::Hooks hooks;
  ui::InstallDialogHooks(hooks, {volumes, {}});
  w.SetHooks(std::move(hooks));
  Watcher watcher(w, out);
  if (!ui::RunStartup(w, cue)) return 1;

  // The user's own pictures for the menu icon and the background; no animation.
  w.SetSlot(ui::MainWindow::kIcon0, true, pictures + "harbour-icon.png");
  w.SetSlot(ui::MainWindow::kIcon1, false, "");
  w.SetSlot(ui::MainWindow::kPic1, true, pictures + "harbour-night.jpg");
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
  w.ToggleCustomisation();

  ui::OptionsDialog options(w.settings(), ini, w.theme(), dialogs, prompter, {});
  ok &= Save(options, out, "options.png");
  options.reject();

  ui::SelectDialog select(w.theme(), prompter);
  select.Load(GameDbPath(program), w.settings().hideNameTags, w.gameId(),
              ui::MainWindowText(w, "txtTitle"));
  ok &= Save(select, out, "select.png");
  select.reject();

  ui::FixSaveDialog fixSave(w.theme(), prompter, ui::MainWindowText(w, "txtTitle"), w.gameId());
  ok &= Save(fixSave, out, "fixsave.png");
  fixSave.reject();

  ui::PreviewInputs previewIn;
  previewIn.programFolder = program;
  for (int i = 0; i < kSlotCount; ++i) {
    const std::string own = i == ui::MainWindow::kIcon0  ? pictures + "harbour-icon.png"
                            : i == ui::MainWindow::kPic1 ? pictures + "harbour-night.jpg"
                                                         : "";
    previewIn.slotFiles[i] = ResolveSlotFile(program, true, own, kSlots[i].assetFileName, false);
  }
  ui::PreviewDialog preview(previewIn, w.theme());
  preview.timer().stop();
  ok &= Save(preview, out, "preview.png");
  for (int i = 0; i < 4; ++i) preview.Tick();
  ok &= Save(preview, out, "preview-fade.png");
  preview.reject();

  const std::string package = psp + ui::MainWindowText(w, "txtTitle");
  ui::DocDialog doc(w.theme(), prompter, dialogs, w.gameId(), package);
  for (int page = 1; page <= 4; ++page)
    doc.AddPage(QString::fromStdString(data + "Scans/harbour-manual-0" + std::to_string(page) +
                                       (page < 3 ? ".png" : ".jpg")),
                false);
  doc.list()->item(2)->setSelected(true);
  ok &= Save(doc, out, "doc.png");
  doc.reject();

  // A conversion, taken once it shows the bytes written, and its closing message.
  watcher.Expect(
      QStringLiteral("progress-run.png"),
      [](ui::ProgressWindow& p) {
        auto* bytes = p.findChild<QLabel*>(QStringLiteral("lblBytes"));
        // In the converter's stage, not the preparation before it.
        return p.windowTitle() == QLatin1String("Converting to EBOOT...") && bytes &&
               p.elapsedSeconds() >= 1 &&
               bytes->text().startsWith(QLatin1String("Bytes written: ")) &&
               bytes->text() != QLatin1String("Bytes written: 0 bytes");
      },
      QStringLiteral("message.png"));
  w.findChild<QSpinBox*>("txtCompress")->setValue(9);
  w.SetOutputText(package);
  w.GoClicked();

  // Verify on the package just made, as the button runs it once the package is loaded: its
  // progress half way, and its result.
  watcher.Expect(
      QStringLiteral("progress.png"),
      [](ui::ProgressWindow& p) {
        auto* bar = p.findChild<ui::ProgressBarFrame*>();
        return p.windowTitle() == QLatin1String("Verifying...") && bar && bar->fraction() >= 0.4 &&
               bar->fraction() <= 0.7;
      },
      "");
  w.ResolveInput(package + "/EBOOT.PBP");
  w.findChild<QPushButton*>("cmdVerify")->click();

  ui::TransferDialog transfer(w.theme(), prompter, *volumes,
                              {package, ui::MainWindowText(w, "txtTitle"), w.gameId(), 1});
  ok &= Save(transfer, out, "transfer.png");
  transfer.reject();

  // A game on three discs: disc 2 chosen, the others found beside it.
  w.ResolveInput(games + "Tidewater (Disc 2).bin");
  w.resize(820, 10);
  ok &= Save(w, out, "disc-set.png");

  {
    // LibCrypt data beside disc 1, a fan translation for disc 2 in the Patches list.
    std::ofstream sbi(games + "Tidewater (Disc 1).sbi", std::ios::binary);
    const char record[] = {'S', 'B', 'I', 0, 0x03, 0x08, 0x05, 1, 0x41,
                           1,   1,   3,   6, 6,    0,    3,    8, 0x15};
    sbi.write(record, sizeof record);
    std::ofstream(games + "Tidewater (Disc 2) English v1.1.ips", std::ios::binary)
        << std::string("PATCH\0\0\x10\0\x01!EOF", 14);
  }
  w.ResolveInput(games + "Tidewater (Disc 2).bin");
  if (auto* patches = w.findChild<ui::PatchList*>("frmPatches")) {
    patches->AddPatch(2, games + "Tidewater (Disc 2) English v1.1.ips");
    ok &= Save(w, out, "patches.png");
    patches->Clear();
  } else {
    qWarning("patches.png was not taken");
    ok = false;
  }

  const std::string library = data + "Library/";
  std::filesystem::create_directories(library);
  ok &= WriteLibrary(library);
  if (!TakeQueue(w, games, library, out)) {
    qWarning("queue.png was not taken");
    ok = false;
  }

  for (const char* file : {"progress.png", "progress-run.png", "message.png", "verify.png"})
    if (std::find(watcher.taken.begin(), watcher.taken.end(), QString::fromLatin1(file)) ==
        watcher.taken.end()) {
      qWarning("%s was not taken", file);
      ok = false;
    }
  return ok ? 0 : 1;
}
