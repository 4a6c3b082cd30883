#pragma once
// Connects the main window's game, documentation, preview and transfer buttons to their
// dialogs. The entry point installs these beside the resolver and conversion hooks.

#include <functional>
#include <memory>
#include <string>

#include "ui/main_window.h"

namespace ebf {
class VolumeSource;
}

namespace ebf::ui {

struct DialogServices {
  // Removable volumes for the transfer (SystemVolumes() in the program).
  std::shared_ptr<VolumeSource> volumes;
  // The asset loader run for the current game ID; `secondPass` for the package ID that
  // follows the disc ID. Empty: the slots are left as they are.
  std::function<void(MainWindow&, bool secondPass)> loadAssets;
};

void InstallDialogHooks(MainWindow::Hooks& hooks, DialogServices services);

// The handlers the hooks run, open for tests.
void SelectGame(MainWindow& window, const DialogServices& services);
void CustomGame(MainWindow& window, const DialogServices& services);
void OpenDocMaker(MainWindow& window);
void OpenPreview(MainWindow& window);
void OpenTransfer(MainWindow& window, const DialogServices& services,
                  const std::string& outputFolder);
void OpenBatch(MainWindow& window, const DialogServices& services);

// The control's text in the main window, by its control name ("txtTitle", "txtOut"...).
std::string MainWindowText(MainWindow& window, const char* controlName);

}  // namespace ebf::ui
