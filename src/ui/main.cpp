// ebootforge: the desktop program. One optional argument: an input file.

#include <QApplication>
#include <QStyleFactory>
#include <cstdio>
#include <cstring>

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

namespace {

constexpr const char* kHelp =
    "Usage: ebootforge [FILE]\n"
    "Turns PlayStation disc images (ISO, BIN+CUE, IMG+CCD, MDF) into EBOOT.PBP packages for a\n"
    "PSP with custom firmware, and edits packages already made.\n"
    "\n"
    "  FILE       a disc image or EBOOT.PBP to load; without it, the last one used\n"
    "  --help     show this help and end\n"
    "  --version  show the version and end\n"
    "\n"
    "ebootforge-cli does the same from a terminal or a script.\n";

// --help and --version answer without a window (for the manual page and for package
// checks); a file of that name in the working folder is still taken as the input.
bool AnsweredWithoutWindow(int argc, char** argv) {
  if (argc != 2 || ebf::FileExists(argv[1])) return false;
  if (std::strcmp(argv[1], "--help") == 0) {
    std::fputs(kHelp, stdout);
    return true;
  }
  if (std::strcmp(argv[1], "--version") == 0) {
    std::printf("ebootforge %s\n", EBF_VERSION);
    return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (AnsweredWithoutWindow(argc, argv)) return 0;
  QApplication app(argc, argv);
  QApplication::setApplicationName(QStringLiteral("ebootforge"));
  // Lets the desktop match the window to its installed entry and icon.
  QGuiApplication::setDesktopFileName(QStringLiteral("io.github.ebootforge.ebootforge"));
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
