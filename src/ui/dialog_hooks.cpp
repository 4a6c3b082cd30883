#include "ui/dialog_hooks.h"

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <algorithm>

#include "assets/slots.h"
#include "common/files.h"
#include "disc/game_db.h"
#include "transfer/psp_copy.h"
#include "transfer/volumes.h"
#include "ui/doc_dialog.h"
#include "ui/eboot_to_iso.h"
#include "ui/fix_save_dialog.h"
#include "ui/preview_dialog.h"
#include "ui/queue_window.h"
#include "ui/select_dialog.h"
#include "ui/slot_table.h"
#include "ui/transfer_dialog.h"
#include "ui/verify_dialog.h"

namespace ebf::ui {
namespace {

void LoadAssets(MainWindow& window, const DialogServices& services, bool secondPass) {
  if (services.loadAssets) services.loadAssets(window, secondPass);
}

}  // namespace

std::string MainWindowText(MainWindow& window, const char* controlName) {
  const QString name = QLatin1String(controlName);
  if (auto* edit = window.findChild<QLineEdit*>(name)) return edit->text().toStdString();
  if (auto* label = window.findChild<QLabel*>(name)) return label->text().toStdString();
  return "";
}

void SelectGame(MainWindow& window, const DialogServices& services) {
  SelectDialog dialog(window.theme(), window.prompter(), &window);
  if (!dialog.Load(GameDbPath(window.folders().tree), window.settings().hideNameTags,
                   window.gameId(), MainWindowText(window, "txtTitle")))
    return;
  if (dialog.exec() != QDialog::Accepted) return;
  const GameDbEntry& e = dialog.chosen();
  window.SetTitleText(dialog.titleText().toStdString());
  window.SetRegion(e.region);
  window.SetGameIdentity(e.saveName, e.discId);
  LoadAssets(window, services, false);
  window.SetGameIdentity(e.saveName, e.packageId);
  if (e.packageId != e.discId) LoadAssets(window, services, true);
}

void CustomGame(MainWindow& window, const DialogServices& services) {
  FixSaveDialog dialog(window.theme(), window.prompter(), window.saveName(), window.gameId(),
                       &window);
  if (dialog.exec() != QDialog::Accepted) return;
  window.SetGameIdentity(dialog.saveName(), dialog.gameId());
  LoadAssets(window, services, false);
}

void OpenDocMaker(MainWindow& window) {
  DocDialog dialog(window.theme(), window.prompter(), window.dialogs(), window.gameId(),
                   MainWindowText(window, "txtOut"), &window);
  dialog.exec();
}

void OpenPreview(MainWindow& window) {
  PreviewInputs in;
  in.programFolder = window.folders().tree;
  const bool eboot = window.packageLoaded();
  for (int i = 0; i < kSlotCount; ++i) {
    const QString key = QLatin1String(ui::SlotAt(i).key);
    auto* check = window.findChild<QCheckBox*>(QStringLiteral("chkCust") + key);
    auto* text = window.findChild<QLineEdit*>(QStringLiteral("txtCust") + key);
    in.slotFiles[static_cast<std::size_t>(i)] = ResolveSlotFile(
        window.folders(), check ? check->isChecked() : true,
        text ? text->text().toStdString() : std::string(), kSlots[i].assetFileName, eboot);
  }
  const Settings& s = window.settings();
  in.resizeMode = s.imgResMode;
  in.centre = s.imgResCentre;
  in.holdMs = static_cast<int>(std::clamp<long>(s.previewDelay, 0, 600000));
  PreviewDialog dialog(in, window.theme(), &window);
  dialog.exec();
}

void OpenTransfer(MainWindow& window, const DialogServices& services,
                  const std::string& outputFolder) {
  if (!services.volumes) return;
  TransferRequest request{outputFolder, MainWindowText(window, "txtTitle"), window.gameId(),
                          window.settings().autoTransfer};
  TransferDialog dialog(window.theme(), window.prompter(), *services.volumes, request, &window);
  dialog.exec();
}

void OpenBatch(MainWindow& window, const DialogServices& services) {
  window.TakeSettingsFromControls();
  QueueWindow queue({window.folders(),
                     window.settings(),
                     window.theme(),
                     &window.prompter(),
                     &window.dialogs(),
                     services.volumes,
                     {}},
                    &window);
  queue.exec();
}

void InstallDialogHooks(MainWindow::Hooks& hooks, DialogServices services) {
  auto shared = std::make_shared<DialogServices>(std::move(services));
  hooks.selectGame = [shared](MainWindow& w) { SelectGame(w, *shared); };
  hooks.customGame = [shared](MainWindow& w) { CustomGame(w, *shared); };
  hooks.openDocMaker = [](MainWindow& w) { OpenDocMaker(w); };
  hooks.openPreview = [](MainWindow& w) { OpenPreview(w); };
  hooks.openTransfer = [shared](MainWindow& w, const std::string& folder) {
    OpenTransfer(w, *shared, folder);
  };
  hooks.ebootToIso = [](MainWindow& w) {
    EbootToIso(&w, w.prompter(), w.dialogs(), w.theme(), MainWindowText(w, "txtIn"),
               w.settings().ebootTocExtract, w.folders().work);
  };
  hooks.verifyPackage = [](MainWindow& w) {
    VerifyLoadedPackage(&w, w.prompter(), w.theme(), MainWindowText(w, "txtIn"));
  };
  hooks.openBatch = [shared](MainWindow& w) { OpenBatch(w, *shared); };
  hooks.isOnPspGameFolder = [shared](const std::string& folder) {
    return shared->volumes && IsOnPspGameFolder(folder, *shared->volumes);
  };
}

}  // namespace ebf::ui
