// The batch queue's window: its layout, the rows' buttons and the closing rules. The runs
// on the worker thread are in queue_run.cpp.
#include "ui/queue_window.h"

#include <QCheckBox>
#include <QCloseEvent>
#include <QComboBox>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QSpinBox>
#include <QSplitter>
#include <QVBoxLayout>

#include "common/text.h"
#include "library/queue/report.h"
#include "transfer/volumes.h"
#include "ui/file_dialogs.h"
#include "ui/prompter.h"
#include "ui/queue_table.h"
#include "ui/transfer_dialog.h"
#include "ui/widgets.h"

namespace ebf::ui {
namespace {

constexpr const char* kStillRunning =
    "The queue is still running. Stop the game being converted and close the window?";

const FileFilters kImageFilters = {
    {QStringLiteral("Disc Images (*.cue;*.iso;*.bin;*.img;*.ccd;*.mdf;*.chd;*.ecm;*.m3u)"),
     QStringLiteral("*.cue;*.iso;*.bin;*.img;*.ccd;*.mdf;*.chd;*.ecm;*.m3u")},
    {QStringLiteral("All Files (*.*)"), QStringLiteral("*.*")}};

}  // namespace

QueueWindow::QueueWindow(Services services, QWidget* parent)
    : QDialog(parent), services_(std::move(services)) {
  setObjectName(QStringLiteral("frmQueue"));
  setWindowTitle(QStringLiteral("Batch queue"));
  setWindowFlags(Qt::Window | Qt::WindowMinMaxButtonsHint | Qt::WindowCloseButtonHint);
  setAcceptDrops(true);
  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->setSpacing(0);
  auto* header =
      new ThemedHeader(QStringLiteral("Ti_Main.jpg"), QStringLiteral("batch queue"), this);
  header->SetSubtitle(QStringLiteral("A whole library in one run: one row per game"));
  outer->addWidget(header);

  auto* body = new QVBoxLayout;
  body->setContentsMargins(14, 10, 14, 12);
  body->setSpacing(8);
  outer->addLayout(body, 1);
  body->addWidget(BuildToolBar());
  table_ = new QueueTable(this);
  table_->setAcceptDrops(false);
  txtLog_ = new QPlainTextEdit(this);
  txtLog_->setObjectName(QStringLiteral("txtLog"));
  txtLog_->setReadOnly(true);
  txtLog_->setPlaceholderText(QStringLiteral("Click a row to see its log."));
  auto* split = new QSplitter(Qt::Vertical, this);
  split->addWidget(table_);
  split->addWidget(txtLog_);
  split->setStretchFactor(0, 3);
  split->setStretchFactor(1, 1);
  body->addWidget(split, 1);
  body->addWidget(BuildChoices());
  body->addWidget(BuildButtonBar());

  connect(table_, &QueueTable::edited, this,
          [this](int id, std::optional<std::string> title, std::optional<std::string> gameId) {
            queue_.Edit(id, title, gameId);
            if (auto row = queue_.Row(id)) table_->ShowRow(*row);
          });
  connect(table_, &QTableWidget::itemSelectionChanged, this, [this] {
    ShowLogOfSelection();
    UpdateControls();
  });
  ApplyTheme(this, services_.theme, WindowKind::Dialog);
  resize(940, 660);
  UpdateControls();
}

QueueWindow::~QueueWindow() = default;

QWidget* QueueWindow::BuildToolBar() {
  auto* bar = new QWidget(this);
  auto* row = new QHBoxLayout(bar);
  row->setContentsMargins(0, 0, 0, 0);
  row->setSpacing(8);
  cmdAddFiles_ = Button(QStringLiteral("Add &files..."), "cmdAddFiles", bar);
  cmdAddFolder_ = Button(QStringLiteral("Add f&older..."), "cmdAddFolder", bar);
  lblScan_ = new QLabel(bar);
  lblScan_->setObjectName(QStringLiteral("lblScan"));
  lblScan_->setProperty("role", QStringLiteral("info"));
  cmdScanCancel_ = Button(QStringLiteral("Cancel"), "cmdScanCancel", bar);
  cmdScanCancel_->setVisible(false);
  cmdUp_ = Button(QStringLiteral("Move &up"), "cmdUp", bar);
  cmdDown_ = Button(QStringLiteral("Move &down"), "cmdDown", bar);
  cmdRemove_ = Button(QStringLiteral("&Remove"), "cmdRemove", bar);
  cmdRetry_ = Button(QStringLiteral("Run a&gain"), "cmdRetry", bar);
  cmdRetry_->setToolTip(
      QStringLiteral("Put the failed, cancelled or skipped rows chosen back "
                     "into the queue"));
  connect(cmdAddFiles_, &QPushButton::clicked, this, &QueueWindow::AddFiles);
  connect(cmdAddFolder_, &QPushButton::clicked, this, &QueueWindow::AddFolder);
  connect(cmdScanCancel_, &QPushButton::clicked, this, &QueueWindow::CancelScan);
  connect(cmdUp_, &QPushButton::clicked, this, [this] { MoveSelected(-1); });
  connect(cmdDown_, &QPushButton::clicked, this, [this] { MoveSelected(1); });
  connect(cmdRemove_, &QPushButton::clicked, this, &QueueWindow::RemoveSelected);
  connect(cmdRetry_, &QPushButton::clicked, this, &QueueWindow::RetrySelected);
  row->addWidget(cmdAddFiles_);
  row->addWidget(cmdAddFolder_);
  row->addWidget(lblScan_, 1);
  row->addWidget(cmdScanCancel_);
  for (QPushButton* b : {cmdUp_, cmdDown_, cmdRemove_, cmdRetry_}) row->addWidget(b);
  return bar;
}

QWidget* QueueWindow::BuildChoices() {
  boxChoices_ = new QGroupBox(QStringLiteral("For every game of the run"), this);
  auto* grid = new QGridLayout(boxChoices_);
  grid->setContentsMargins(4, 0, 4, 2);
  grid->setHorizontalSpacing(8);
  grid->setVerticalSpacing(6);
  const Settings& s = services_.settings;

  txtOut_ = new QLineEdit(Q(s.defaultOutputDir), boxChoices_);
  txtOut_->setObjectName(QStringLiteral("txtOut"));
  txtOut_->setPlaceholderText(QStringLiteral("Folder that receives a folder for each game"));
  auto* browse = Button(QStringLiteral("B&rowse..."), "cmdOutBrowse", boxChoices_);
  connect(browse, &QPushButton::clicked, this, [this] {
    const QString folder = services_.dialogs->PickFolder(
        this, QStringLiteral("Select Output Folder"), txtOut_->text());
    if (!folder.isEmpty()) txtOut_->setText(folder);
  });
  grid->addWidget(new QLabel(QStringLiteral("Output:"), boxChoices_), 0, 0);
  grid->addWidget(txtOut_, 0, 1, 1, 4);
  grid->addWidget(browse, 0, 5);

  cboExisting_ = new QComboBox(boxChoices_);
  cboExisting_->setObjectName(QStringLiteral("cboExisting"));
  cboExisting_->addItems({QStringLiteral("skip the game"), QStringLiteral("replace it")});
  txtCompress_ = new QSpinBox(boxChoices_);
  txtCompress_->setObjectName(QStringLiteral("txtCompress"));
  txtCompress_->setRange(0, 9);
  txtCompress_->setValue(std::clamp(ValInt(s.compressLevel), 0, 9));
  txtCompress_->setToolTip(QStringLiteral("0 = none, 1 = fastest, 9 = smallest"));
  grid->addWidget(new QLabel(QStringLiteral("EBOOT.PBP already there:"), boxChoices_), 1, 0);
  grid->addWidget(cboExisting_, 1, 1);
  grid->addWidget(new QLabel(QStringLiteral("Compression:"), boxChoices_), 1, 2);
  grid->addWidget(txtCompress_, 1, 3);

  chkPalScreen_ = new QCheckBox(QStringLiteral("PAL -> NTSC &screen fix"), boxChoices_);
  chkPalScreen_->setObjectName(QStringLiteral("chkPAL2NTSCScr"));
  chkPalGfx_ = new QCheckBox(QStringLiteral("PAL -> NTSC &graphics fix"), boxChoices_);
  chkPalGfx_->setObjectName(QStringLiteral("chkPAL2NTSCGFX"));
  auto* pal = new QHBoxLayout;
  pal->addWidget(chkPalScreen_);
  pal->addWidget(chkPalGfx_);
  pal->addSpacing(12);
  auto* palNote = new QLabel(QStringLiteral("(PAL games only)"), boxChoices_);
  palNote->setProperty("role", QStringLiteral("info"));
  pal->addWidget(palNote);
  pal->addStretch(1);
  grid->addWidget(new QLabel(QStringLiteral("Fixes:"), boxChoices_), 2, 0);
  grid->addLayout(pal, 2, 1, 1, 5);

  chkCopy_ = new QCheckBox(QStringLiteral("&Copy each package to the PSP:"), boxChoices_);
  chkCopy_->setObjectName(QStringLiteral("chkCopyToPsp"));
  cboDrive_ = new QComboBox(boxChoices_);
  cboDrive_->setObjectName(QStringLiteral("cboDrive"));
  cboDrive_->setMinimumWidth(260);
  auto* refresh = Button(QStringLiteral("Re&fresh"), "cmdRefresh", boxChoices_);
  connect(refresh, &QPushButton::clicked, this, [this] {
    if (services_.volumes) FillDriveList(cboDrive_, *services_.volumes);
    UpdateControls();
  });
  connect(chkCopy_, &QCheckBox::toggled, this, [this] { UpdateControls(); });
  if (services_.volumes) FillDriveList(cboDrive_, *services_.volumes);
  auto* copy = new QHBoxLayout;
  copy->addWidget(chkCopy_);
  copy->addWidget(cboDrive_, 1);
  copy->addWidget(refresh);
  grid->addLayout(copy, 3, 0, 1, 6);
  grid->setColumnStretch(4, 1);
  return boxChoices_;
}

QWidget* QueueWindow::BuildButtonBar() {
  auto* bar = new QWidget(this);
  auto* row = new QHBoxLayout(bar);
  row->setContentsMargins(0, 4, 0, 0);
  row->setSpacing(8);
  lblSummary_ = new QLabel(bar);
  lblSummary_->setObjectName(QStringLiteral("lblSummary"));
  lblSummary_->setTextInteractionFlags(Qt::TextSelectableByMouse);
  cmdReport_ = Button(QStringLiteral("Save re&port..."), "cmdReport", bar);
  cmdStopAfter_ = Button(QStringLiteral("Stop &after this one"), "cmdStopAfter", bar);
  cmdStopNow_ = Button(QStringLiteral("Stop &now"), "cmdStopNow", bar);
  cmdStart_ = Button(QStringLiteral("&Start"), "cmdStart", bar);
  cmdStart_->setProperty("accent", true);
  cmdStart_->setMinimumWidth(110);
  cmdClose_ = Button(QStringLiteral("Close"), "cmdClose", bar);
  connect(cmdReport_, &QPushButton::clicked, this, &QueueWindow::SaveReport);
  connect(cmdStopAfter_, &QPushButton::clicked, this, &QueueWindow::StopAfterThis);
  connect(cmdStopNow_, &QPushButton::clicked, this, &QueueWindow::StopNow);
  connect(cmdStart_, &QPushButton::clicked, this, &QueueWindow::Start);
  connect(cmdClose_, &QPushButton::clicked, this, &QueueWindow::close);
  row->addWidget(lblSummary_, 1);
  for (QPushButton* b : {cmdReport_, cmdStopAfter_, cmdStopNow_, cmdStart_, cmdClose_})
    row->addWidget(b);
  return bar;
}

void QueueWindow::UpdateControls() {
  const bool busy = running() || scanning();
  const QueueSummary summary = queue_.Summary();
  bool anyFinished = false, anyMovable = false;
  for (int id : table_->SelectedIds())
    if (auto row = queue_.Row(id)) {
      anyMovable |= row->state != RowState::Running;
      anyFinished |= row->state == RowState::Failed || row->state == RowState::Skipped ||
                     row->state == RowState::Cancelled;
    }
  cmdAddFiles_->setEnabled(!busy);
  cmdAddFolder_->setEnabled(!busy);
  cmdScanCancel_->setVisible(scanning());
  lblScan_->setVisible(scanning());
  cmdUp_->setEnabled(anyMovable && !scanning());
  cmdDown_->setEnabled(anyMovable && !scanning());
  cmdRemove_->setEnabled(anyMovable && !scanning());
  cmdRetry_->setEnabled(anyFinished && !scanning());
  boxChoices_->setEnabled(!busy);
  cboDrive_->setEnabled(chkCopy_->isChecked());
  chkCopy_->setEnabled(services_.volumes != nullptr);
  cmdStart_->setEnabled(!busy && summary.queued > 0);
  cmdStopNow_->setEnabled(running());
  cmdStopAfter_->setEnabled(running());
  cmdReport_->setEnabled(!scanning() && !queue_.Rows().empty());
  if (!busy) lblSummary_->setText(Q(SummaryLine(summary)));
}

void QueueWindow::ShowAllRows() {
  table_->ShowRows(queue_.Rows());
  UpdateControls();
}

void QueueWindow::ShowLogOfSelection() {
  const std::vector<int> ids = table_->SelectedIds();
  txtLog_->setPlainText(ids.size() == 1 ? logs_.value(ids.front()) : QString());
  txtLog_->moveCursor(QTextCursor::End);
}

void QueueWindow::AppendLog(int id, const QString& text) {
  QString& log = logs_[id];
  log += text;
  const std::vector<int> ids = table_->SelectedIds();
  if (ids.size() == 1 && ids.front() == id) {
    txtLog_->moveCursor(QTextCursor::End);
    txtLog_->insertPlainText(text);
  }
}

void QueueWindow::AddFiles() {
  const QStringList files =
      services_.dialogs->OpenFiles(this, QStringLiteral("Select the disc images to add"),
                                   Q(services_.settings.defaultImagePath), kImageFilters);
  if (!files.isEmpty()) AddPaths(files);
}

void QueueWindow::AddFolder() {
  const QString folder = services_.dialogs->PickFolder(
      this, QStringLiteral("Select a folder of games"), Q(services_.settings.defaultImagePath));
  if (!folder.isEmpty()) AddPaths({folder});
}

void QueueWindow::RemoveSelected() {
  for (int id : table_->SelectedIds())
    if (queue_.Remove(id)) logs_.remove(id);
  ShowAllRows();
}

void QueueWindow::MoveSelected(int by) {
  std::vector<int> ids = table_->SelectedIds();
  // Moved one by one from the end they go towards, so that they keep their order.
  std::sort(ids.begin(), ids.end(), [&](int a, int b) {
    return by < 0 ? table_->TableRowOf(a) < table_->TableRowOf(b)
                  : table_->TableRowOf(a) > table_->TableRowOf(b);
  });
  for (int id : ids) queue_.Move(id, by);
  ShowAllRows();
}

void QueueWindow::RetrySelected() {
  for (int id : table_->SelectedIds())
    if (queue_.Retry(id)) AppendLog(id, QStringLiteral("\nQueued again.\n"));
  ShowAllRows();
}

void QueueWindow::SaveReport() {
  const QString path = services_.dialogs->SaveFile(
      this, QStringLiteral("Save the queue's report"), txtOut_->text(),
      QStringLiteral("report.csv"), QStringLiteral("csv"),
      {{QStringLiteral("CSV Files (*.csv)"), QStringLiteral("*.csv")},
       {QStringLiteral("JSON Files (*.json)"), QStringLiteral("*.json")}});
  if (path.isEmpty()) return;
  if (std::string why = WriteQueueReport(S(path), queue_.Rows(), queue_.Summary()); !why.empty())
    services_.prompter->Warn(this, Q(why));
}

void QueueWindow::closeEvent(QCloseEvent* event) {
  if (!running() && !scanning()) {
    QDialog::closeEvent(event);
    return;
  }
  // The window closes once the worker has stopped.
  event->ignore();
  if (scanning()) {
    closeWhenDone_ = true;
    CancelScan();
    return;
  }
  if (!services_.prompter->Ask(this, QLatin1String(kStillRunning), true)) return;
  closeWhenDone_ = true;
  StopNow();
}

void QueueWindow::reject() {
  // Escape and the title bar's close go the same way as Close.
  if (running() || scanning())
    close();
  else
    QDialog::reject();
}

void QueueWindow::dragEnterEvent(QDragEnterEvent* event) {
  if (event->mimeData()->hasUrls() && !running() && !scanning()) event->acceptProposedAction();
}

void QueueWindow::dropEvent(QDropEvent* event) {
  const QStringList paths = DroppedFiles(event->mimeData());
  if (paths.isEmpty()) return;
  event->acceptProposedAction();
  AddPaths(paths);
}

}  // namespace ebf::ui
