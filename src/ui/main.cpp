// ebootforge: the desktop program. One optional argument: an input file.

#include <QApplication>
#include <QStyleFactory>

#include "app/settings.h"
#include "common/files.h"
#include "common/program_folders.h"
#include "transfer/volumes.h"
#include "ui/dialog_hooks.h"
#include "ui/file_dialogs.h"
#include "ui/main_window.h"
#include "ui/prompter.h"
#include "ui/single_instance.h"
#include "ui/startup_flow.h"

int main(int argc, char** argv) {
  QApplication app(argc, argv);
  QApplication::setApplicationName(QStringLiteral("ebootforge"));
  QApplication::setStyle(QStyleFactory::create(QStringLiteral("Fusion")));

  const ebf::ProgramFolders folders = ebf::LocateOwnFolders(ebf::StemOf(ebf::ExecutablePath()));
  ebf::ui::SingleInstance instance(ebf::ui::InstanceKey(folders.tree));
  if (instance.AskRunningCopy()) return 0;
  instance.Listen();

  ebf::ui::QtPrompter prompter;
  ebf::ui::QtFileDialogs dialogs;
  ebf::ui::MainWindow window({folders, folders.settingsFile, &prompter, &dialogs});
  ebf::ui::MainWindow::Hooks hooks;
  ebf::ui::InstallDialogHooks(
      hooks, {ebf::SystemVolumes(), [](ebf::ui::MainWindow& w, bool) { w.ReloadGameAssets(); }});
  window.SetHooks(std::move(hooks));
  QObject::connect(&instance, &ebf::ui::SingleInstance::Activated, &window,
                   &ebf::ui::MainWindow::BringToFront);

  // The command line is one path; a path with blanks may arrive in several pieces.
  std::string commandLine;
  for (int i = 1; i < argc; ++i) {
    if (i > 1) commandLine += ' ';
    commandLine += argv[i];
  }
  if (!ebf::ui::RunStartup(window, commandLine)) return 1;
  window.show();
  return app.exec();
}
