// The batch queue's work on a worker thread: the search of the folders added, and the run
// of the queue, whose every row reports to the window through queued calls.
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QSpinBox>
#include <chrono>

#include "common/files.h"
#include "common/text.h"
#include "engine/plan.h"
#include "transfer/volumes.h"
#include "ui/job_runner.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"
#include "ui/queue_table.h"
#include "ui/queue_window.h"
#include "ui/widgets.h"

namespace ebf::ui {
namespace {

using Clock = std::chrono::steady_clock;
constexpr auto kShowEvery = std::chrono::milliseconds(100);

// Runs `show` on the window's thread, after what was queued before it.
template <class F>
void Post(QObject* window, F show) {
  QMetaObject::invokeMethod(window, std::move(show), Qt::QueuedConnection);
}

}  // namespace

// The window's side of a run, on the worker thread: the running row's progress (its bar at
// most ten times a second, and every log line), the rows' events, and answers to the
// questions a run may ask, given without asking the user: Yes (as --yes answers them), but
// never to go on after a failed read or write. Every answer goes into the row's log.
class QueueWindow::Bridge : public QueueObserver, public Questions {
 public:
  explicit Bridge(QueueWindow& window) : window_(window) {}

  Progress& ProgressFor(const QueueRow& row) override {
    progress_ = std::make_unique<RowProgress>(window_, row.id);
    return *progress_;
  }
  void RowStarted(const QueueRow& row, std::size_t number, std::size_t count) override {
    Post(&window_, [w = &window_, row, number, count] {
      w->lblSummary_->setText(QStringLiteral("Game %1 of %2").arg(number).arg(count));
      w->OnRowStarted(row);
    });
  }
  void RowFinished(const QueueRow& row, const RowRun& run) override {
    QString printed = Q(ReplaceAll(run.result.converterOutput, "\r\n", "\n"));
    // A failure's message holds the converter's output already.
    if (row.state == RowState::Failed) printed.clear();
    Post(&window_, [w = &window_, row, printed] {
      if (!printed.isEmpty())
        w->AppendLog(row.id, printed.endsWith('\n') ? printed : printed + '\n');
      w->OnRowFinished(row);
    });
  }
  bool AskYesNo(const std::string& text, bool, MsgIcon icon) override {
    const bool yes = icon != MsgIcon::Critical;
    if (progress_)
      progress_->Log(ReplaceAll(text, "\r\n", "\n") + (yes ? " -> Yes\n" : " -> No\n"));
    return yes;
  }

 private:
  class RowProgress : public Progress {
   public:
    RowProgress(QueueWindow& window, int id) : window_(window), id_(id) {}
    void Log(const std::string& text) override {
      Post(&window_, [w = &window_, id = id_, t = Q(ReplaceAll(text, "\r\n", "\n"))] {
        w->AppendLog(id, t);
      });
    }

   protected:
    // The stage and how far it is, as the progress window shows a single run: a bar when
    // the end is known, the bytes written when it is not (a compressed package growing).
    void OnStageBegun(const std::string& name, uint64_t) override {
      if (name.empty()) return;
      stage_ = Q(name);
      Show(0, 0, true);
    }
    void OnAdvanced(uint64_t done, uint64_t total, double) override { Show(done, total, false); }

   private:
    void Show(uint64_t done, uint64_t total, bool now) {
      const auto at = Clock::now();
      if (!now && at - shown_ < kShowEvery) return;
      shown_ = at;
      const double fraction = total ? static_cast<double>(done) / static_cast<double>(total) : -1;
      const QString text =
          total  ? QStringLiteral("%1%  %2").arg(static_cast<int>(fraction * 100)).arg(stage_)
          : done ? QStringLiteral("%1  %2 written").arg(stage_, Q(FormatSize(done)))
                 : stage_;
      Post(&window_, [w = &window_, id = id_, fraction, text] {
        w->table_->ShowProgress(id, fraction, text);
      });
    }
    QueueWindow& window_;
    int id_;
    QString stage_;
    Clock::time_point shown_{};
  };

  QueueWindow& window_;
  std::unique_ptr<RowProgress> progress_;
};

bool QueueWindow::SetupFromControls(QueueSetup& setup) {
  const std::string output = S(txtOut_->text().trimmed());
  if (output.empty()) {
    services_.prompter->Warn(this, QLatin1String(kMsgNoOutput));
    return false;
  }
  if (!MakeFolders(output) || !IsDirectory(output)) {
    services_.prompter->Warn(this, QLatin1String(kMsgOutputInvalid));
    return false;
  }
  setup.settings = QueueSettings(services_.settings, output);
  setup.folders = services_.folders;
  setup.job.level = txtCompress_->value();
  setup.job.palFixScreen = chkPalScreen_->isChecked();
  setup.job.palFixGraphics = chkPalGfx_->isChecked();
  setup.job.missingDiscs = MissingDiscs::Refuse;
  setup.existing =
      cboExisting_->currentIndex() == 1 ? ExistingPackage::Replace : ExistingPackage::Skip;
  if (!chkCopy_->isChecked()) return true;
  setup.pspRoot = VolumeRootFromEntry(S(cboDrive_->currentText()));
  if (setup.pspRoot.empty()) {
    services_.prompter->Warn(
        this, QStringLiteral("Connect the PSP and choose its drive, or untick the copy."));
    return false;
  }
  // Room for every package the run may copy, said before anything is made.
  const std::string room = CheckPspRoom(setup.pspRoot, queue_.QueuedBytes(), services_.freeSpace);
  return room.empty() ||
         services_.prompter->Ask(this, Q(room) + QStringLiteral("\r\n\r\nStart anyway?"), true);
}

void QueueWindow::Start() {
  if (running() || scanning() || queue_.Summary().queued == 0) return;
  QueueSetup setup;
  if (!SetupFromControls(setup)) return;
  CancelToken cancel;
  cancel_ = &cancel;
  UpdateControls();
  Bridge bridge(*this);
  RunOnWorker([&] { queue_.Run(setup, bridge, bridge, cancel); });
  cancel_ = nullptr;
  ShowAllRows();
  if (closeWhenDone_) close();
}

void QueueWindow::StopNow() {
  if (!cancel_) return;
  // While the user's own image is being rewritten (a PAL fix), only once confirmed.
  if (cancel_->NeedsConfirm() &&
      !services_.prompter->Ask(this, QLatin1String(kMsgCancelWarning), true))
    return;
  queue_.StopAfterCurrent();
  cancel_->Request();
}

void QueueWindow::StopAfterThis() {
  if (!running()) return;
  queue_.StopAfterCurrent();
  cmdStopAfter_->setEnabled(false);
  lblSummary_->setText(QStringLiteral("Stopping after this game..."));
}

void QueueWindow::OnRowStarted(const QueueRow& row) {
  table_->ShowRow(row);
  table_->ShowProgress(row.id, -1, QStringLiteral("Starting..."));
  if (!logs_.value(row.id).isEmpty()) AppendLog(row.id, QStringLiteral("\n"));
  UpdateControls();
  emit rowStarted(row.id);
}

void QueueWindow::OnRowFinished(const QueueRow& row) {
  table_->ShowRow(row);
  QString said = QLatin1String(RowStateName(row.state));
  if (!row.reason.empty()) said += QStringLiteral(": ") + Q(row.reason);
  for (const std::string& warning : row.warnings)
    said += QStringLiteral("\nWarning: ") + Q(warning);
  if (!row.copiedTo.empty()) said += QStringLiteral("\nCopied to ") + Q(row.copiedTo);
  AppendLog(row.id, said + QStringLiteral("\n"));
  UpdateControls();
}

void QueueWindow::AddPaths(const QStringList& paths) {
  if (running() || scanning() || paths.isEmpty()) return;
  std::vector<std::string> given;
  for (const QString& p : paths) given.push_back(S(p));
  CancelToken cancel;
  scanCancel_ = &cancel;
  lblScan_->setText(QStringLiteral("Looking for disc images..."));
  UpdateControls();
  std::vector<QueueRow> rows;
  std::size_t images = 0;
  RunOnWorker([&] {
    Clock::time_point shown{};
    auto say = [&](QString text, bool now) {
      if (!now && Clock::now() - shown < kShowEvery) return;
      shown = Clock::now();
      Post(this, [this, text] { lblScan_->setText(text); });
    };
    DiscSearch search{&cancel, [&](std::size_t found) {
                        say(QStringLiteral("Looking for disc images: %1 found").arg(found), false);
                      }};
    const std::vector<std::string> found = FindDiscImages(given, search);
    images = found.size();
    const std::vector<FoundGame> games = GamesAmong(found, false);
    for (std::size_t i = 0; i < games.size() && !cancel.Requested(); ++i) {
      say(QStringLiteral("Reading the games: %1 of %2").arg(i + 1).arg(games.size()), i == 0);
      QueueRow row = RowFor(games[i]);
      IdentifyRow(row, services_.settings, services_.folders);
      rows.push_back(std::move(row));
    }
  });
  const bool cancelled = cancel.Requested();
  scanCancel_ = nullptr;
  if (!cancelled) queue_.Add(std::move(rows));
  ShowAllRows();
  if (closeWhenDone_) {
    close();
    return;
  }
  if (!cancelled && images == 0)
    services_.prompter->Inform(this, QStringLiteral("No disc images found."));
}

void QueueWindow::CancelScan() {
  if (scanCancel_) scanCancel_->Request();
}

}  // namespace ebf::ui
