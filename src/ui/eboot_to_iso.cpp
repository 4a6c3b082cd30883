#include "ui/eboot_to_iso.h"

#include <filesystem>

#include "common/files.h"
#include "common/run_lock.h"
#include "engine/patch_run.h"
#include "pbp/disc_table.h"
#include "pbp/extract.h"
#include "ui/file_dialogs.h"
#include "ui/job_runner.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"

namespace ebf::ui {

Outcome EbootToIso(QWidget* parent, Prompter& prompter, FileDialogs& dialogs,
                   const ThemeContext& theme, const std::string& ebootPath, int tocSetting,
                   const std::string& workFolder) {
  const QString chosen = dialogs.SaveFile(
      parent, QStringLiteral("Select where to save the ISO"),
      QString::fromStdString(std::filesystem::path(ebootPath).parent_path().string()), QString(),
      QStringLiteral("iso"),
      {{QStringLiteral("ISO Files (*.iso)"), QStringLiteral("*.iso")},
       {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
  if (chosen.isEmpty()) return Outcome::Declined();
  const std::string output = chosen.toStdString();
  // A package of several discs gives one image a disc, each named after the chosen one.
  const int discs = pbp::PackageDiscCount(ebootPath);
  for (int disc = 1; disc <= discs; ++disc) {
    const std::string image = discs > 1 ? pbp::DiscOutputPath(output, disc) : output;
    // The question is the command line's; a message box breaks lines at "\n".
    const QString question = QString::fromStdString(pbp::CcdOverwriteQuestion(image))
                                 .replace(QStringLiteral("\r\n"), QStringLiteral("\n"));
    if (!question.isEmpty() && !prompter.Ask(parent, question, false)) return Outcome::Declined();
  }

  ProgressWindow progress(ProgressWindow::Kind::Progress, prompter, theme, parent);
  progress.SetCaption("Extracting ISO...");
  progress.show();
  // The temporary files are noted in Temp for the next start, under the run lock.
  RunLock lock;
  std::string notes;
  if (!workFolder.empty()) {
    lock = RunLock(workFolder, RunLockMode::Shared, kRunLockPatience);
    if (!lock.held()) {
      const std::string busy = RunLockBusyMessage(workFolder);
      prompter.Warn(parent, QString::fromStdString(busy));
      return Outcome::Failed(busy);
    }
    notes = TempFolder(workFolder);
  }
  WorkerQuestions questions(prompter, &progress);
  const Outcome result =
      RunJob(progress, questions, [&](Progress& p, Questions& q, CancelToken& cancel) {
        Outcome done = pbp::ExtractEveryDisc(ebootPath, output, tocSetting, p, cancel, notes);
        // Emulators look for a disc's LibCrypt data beside its image, as beside the package.
        for (int disc = 1; done.succeeded() && disc <= discs; ++disc)
          done = CopyPackageSbi(ebootPath, disc,
                                discs > 1 ? pbp::DiscOutputPath(output, disc) : output, q);
        return done;
      });
  progress.hide();
  if (result.succeeded()) {
    prompter.Inform(parent, QLatin1String(kMsgIsoDone));
  } else if (result.failed()) {
    prompter.Warn(parent, QString::fromStdString(result.text()));
  }
  return result;
}

}  // namespace ebf::ui
