#pragma once
// The batch queue: a whole library converted in one run. Games come from files, folders
// (searched on a worker thread) or a drop; each becomes a row. The choices for the whole
// run are made once before it; the queue then runs on a worker thread, one game at a time,
// while the window shows each row's state and progress and keeps every row's log.

#include <QDialog>
#include <QHash>
#include <memory>
#include <string>

#include "app/settings.h"
#include "common/cancel.h"
#include "common/program_folders.h"
#include "library/queue/queue.h"
#include "transfer/psp_copy.h"
#include "ui/theme_apply.h"

class QCheckBox;
class QComboBox;
class QGroupBox;
class QLabel;
class QLineEdit;
class QPlainTextEdit;
class QPushButton;
class QSpinBox;

namespace ebf {
class VolumeSource;
}

namespace ebf::ui {

class FileDialogs;
class Prompter;
class QueueTable;

class QueueWindow : public QDialog {
  Q_OBJECT
 public:
  struct Services {
    ProgramFolders folders;
    Settings settings;
    ThemeContext theme;
    Prompter* prompter = nullptr;
    FileDialogs* dialogs = nullptr;
    std::shared_ptr<VolumeSource> volumes;  // none: no copy to a PSP is offered
    VolumeFreeSpace freeSpace;              // the volume's own when empty
  };
  explicit QueueWindow(Services services, QWidget* parent = nullptr);
  ~QueueWindow() override;

  BatchQueue& queue() { return queue_; }
  bool running() const { return cancel_ != nullptr; }
  bool scanning() const { return scanCancel_ != nullptr; }
  QueueTable* table() const { return table_; }
  // The log of a row: the converter's output and the queue's messages.
  QString LogOf(int id) const { return logs_.value(id); }

  // The handlers of the buttons, public so that the tests drive them as a click does.
  void AddFiles();
  void AddFolder();
  // Files and folders (searched recursively) become rows; the search runs on a worker
  // thread and can be cancelled. Dropped files come here too.
  void AddPaths(const QStringList& paths);
  void CancelScan();
  // Runs every queued row; returns when the run has ended.
  void Start();
  void StopNow();
  void StopAfterThis();
  void RemoveSelected();
  void MoveSelected(int by);
  void RetrySelected();
  void SaveReport();

 signals:
  // A row began to run (after the table shows it running).
  void rowStarted(int id);

 protected:
  void closeEvent(QCloseEvent* event) override;
  void reject() override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  class Bridge;
  QWidget* BuildToolBar();
  QWidget* BuildChoices();
  QWidget* BuildButtonBar();
  void UpdateControls();
  void ShowAllRows();
  void ShowLogOfSelection();
  void AppendLog(int id, const QString& text);
  // From the worker, on the GUI thread.
  void OnRowStarted(const QueueRow& row);
  void OnRowFinished(const QueueRow& row);
  // The run's choices from the controls; false (after saying why) when it cannot start.
  bool SetupFromControls(QueueSetup& setup);

  Services services_;
  BatchQueue queue_;
  QHash<int, QString> logs_;
  CancelToken* cancel_ = nullptr;      // while the queue runs
  CancelToken* scanCancel_ = nullptr;  // while a search runs
  bool closeWhenDone_ = false;

  QueueTable* table_ = nullptr;
  QPlainTextEdit* txtLog_ = nullptr;
  QLabel *lblScan_ = nullptr, *lblSummary_ = nullptr;
  QPushButton *cmdAddFiles_ = nullptr, *cmdAddFolder_ = nullptr, *cmdScanCancel_ = nullptr;
  QPushButton *cmdUp_ = nullptr, *cmdDown_ = nullptr, *cmdRemove_ = nullptr, *cmdRetry_ = nullptr;
  QGroupBox* boxChoices_ = nullptr;
  QLineEdit* txtOut_ = nullptr;
  QComboBox *cboExisting_ = nullptr, *cboDrive_ = nullptr;
  QSpinBox* txtCompress_ = nullptr;
  QCheckBox *chkPalScreen_ = nullptr, *chkPalGfx_ = nullptr, *chkCopy_ = nullptr;
  QPushButton *cmdStart_ = nullptr, *cmdStopNow_ = nullptr, *cmdStopAfter_ = nullptr,
              *cmdReport_ = nullptr, *cmdClose_ = nullptr;
};

}  // namespace ebf::ui
