#include "ui/startup_flow.h"

#include "app/settings.h"
#include "app/startup.h"
#include "common/files.h"
#include "engine/recovery.h"
#include "ui/main_window.h"
#include "ui/prompter.h"

namespace ebf::ui {

bool RunStartup(MainWindow& window, const std::string& commandLine) {
  const ProgramFolders& folders = window.folders();
  for (const std::string& message : {CheckConverterPresent(folders), CheckRequiredFiles(folders)}) {
    if (!message.empty()) {
      window.prompter().Critical(nullptr, QString::fromStdString(message));
      return false;
    }
  }
  // A PAL fix or a patch that a crash left on a user's file is put back before anything
  // else.
  for (const RecoveryNote& recovered : RecoverInterruptedWork(folders)) {
    const QString text = QString::fromStdString(recovered.text);
    if (recovered.problem)
      window.prompter().Warn(nullptr, text);
    else
      window.prompter().Inform(nullptr, text);
  }

  const std::string fromCommandLine = CommandLineInput(commandLine);
  if (!fromCommandLine.empty()) window.ResolveInput(fromCommandLine);

  Settings defaults;
  defaults.theme = "Default";
  SettingsFileContents loaded = LoadSettingsFile(window.settingsFile(), folders, defaults);
  window.settings() = loaded.settings;
  window.ShowSettings();
  // The last input comes back only when the command line named none.
  if (fromCommandLine.empty() && loaded.lastUsedImage && FileExists(*loaded.lastUsedImage) &&
      !IsDirectory(*loaded.lastUsedImage))
    window.ResolveInput(*loaded.lastUsedImage);

  window.LoadAndApplyTheme();
  // The panel starts folded; the toggle brings it to the state the file keeps.
  if (window.customisationShown() != window.settings().showCust) window.ToggleCustomisation();
  return true;
}

}  // namespace ebf::ui
