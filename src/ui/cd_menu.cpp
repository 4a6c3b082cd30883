#include "ui/cd_menu.h"

#include <QFileInfo>

#include "disc/rip/rip.h"
#include "ui/file_dialogs.h"
#include "ui/job_runner.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"

namespace ebf::ui {
namespace {

RipOutcome Rip(QWidget* parent, Prompter& prompter, const ThemeContext& theme,
               rip::RipRequest request) {
  ProgressWindow progress(ProgressWindow::Kind::Progress, prompter, theme, parent);
  progress.SetCaption(kRipCaption);
  progress.show();
  WorkerQuestions questions(prompter, &progress);
  rip::RipResult made;
  const Outcome ripped =
      RunJob(progress, questions, [&](Progress& p, Questions&, CancelToken& cancel) {
        Stage stage(p, kRipCaption);
        DiscJobHooks hooks;
        hooks.cancel = &cancel;
        hooks.progress = [&stage](uint64_t done, uint64_t total) { stage.Advance(done, total); };
        return rip::RipToBinCue(request, hooks, &made);
      });
  progress.hide();
  RipOutcome out;
  out.result = ripped;
  if (ripped.succeeded()) out.cuePath = made.cuePath;
  if (ripped.failed()) prompter.Warn(parent, QString::fromStdString(ripped.text()));
  return out;
}

}  // namespace

std::string ChooseDrive(QWidget* parent, Prompter& prompter, const DriveLister& drives) {
  const std::vector<std::string> found = drives ? drives() : rip::ListDrives();
  if (found.empty()) {
    prompter.Warn(parent, QLatin1String(kMsgNoDrive));
    return {};
  }
  return found.front();
}

RipOutcome MakeImageFromDisc(QWidget* parent, Prompter& prompter, FileDialogs& dialogs,
                             const ThemeContext& theme, const std::string& drive,
                             const std::string& startFolder) {
  const QString chosen = dialogs.SaveFile(
      parent, QStringLiteral("Select where to save the disc image"),
      QString::fromStdString(startFolder), QStringLiteral("Disc.cue"), QStringLiteral("cue"),
      {{QStringLiteral("CUE Sheets (*.cue)"), QStringLiteral("*.cue")},
       {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}});
  if (chosen.isEmpty()) return {};
  const QFileInfo target(chosen);
  rip::RipRequest request;
  request.source = drive;
  request.folder = target.absolutePath().toStdString();
  request.name = target.completeBaseName().toStdString();
  // The save dialog has already asked before replacing the sheet.
  request.overwrite = true;
  RipOutcome out = Rip(parent, prompter, theme, request);
  if (out.result.succeeded()) prompter.Inform(parent, QLatin1String(kMsgRipDone));
  return out;
}

RipOutcome RipForConversion(QWidget* parent, Prompter& prompter, const ThemeContext& theme,
                            const std::string& drive, const std::string& folder,
                            const std::string& name) {
  rip::RipRequest request;
  request.source = drive;
  request.folder = folder;
  request.name = name;
  request.overwrite = true;
  return Rip(parent, prompter, theme, request);
}

}  // namespace ebf::ui
