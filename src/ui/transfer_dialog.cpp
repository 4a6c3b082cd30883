#include "ui/transfer_dialog.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

#include "common/text.h"
#include "transfer/psp_copy.h"
#include "transfer/volumes.h"
#include "ui/job_runner.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"

namespace ebf::ui {

TransferDialog::TransferDialog(const ThemeContext& theme, Prompter& prompter, VolumeSource& volumes,
                               TransferRequest request, QWidget* parent)
    : BackdropDialog(theme, "BG_Transfer.jpg", parent),
      theme_(theme),
      prompter_(prompter),
      volumes_(volumes),
      request_(std::move(request)) {
  setObjectName(QStringLiteral("frmTransfer"));
  setWindowTitle(QStringLiteral("transfer to PSP"));
  auto* intro = new QLabel(
      QStringLiteral("Connect the PSP in USB mode (or insert its memory stick), then choose "
                     "its drive. The game goes into PSP/GAME/%1.")
          .arg(QString::fromStdString(request_.autoTransfer == 1 ? LeftChars(request_.title, 31)
                                                                 : request_.gameId)),
      this);
  intro->setWordWrap(true);
  intro->setTextFormat(Qt::PlainText);
  cboDrive_ = new QComboBox(this);
  cboDrive_->setObjectName(QStringLiteral("cboDrive"));
  cboDrive_->setMinimumWidth(300);
  auto* refresh = new QPushButton(QStringLiteral("&Refresh"), this);
  refresh->setObjectName(QStringLiteral("cmdRefresh"));
  refresh->setAutoDefault(false);
  auto* driveRow = new QHBoxLayout;
  driveRow->addWidget(cboDrive_, 1);
  driveRow->addWidget(refresh);

  cmdOK_ = new QPushButton(QStringLiteral("Copy"), this);
  cmdOK_->setObjectName(QStringLiteral("cmdOK"));
  cmdOK_->setDefault(true);
  cmdOK_->setProperty("accent", true);
  auto* cancel = new QPushButton(QStringLiteral("Cancel"), this);
  cancel->setObjectName(QStringLiteral("cmdCancel"));
  cancel->setAutoDefault(false);
  connect(refresh, &QPushButton::clicked, this, &TransferDialog::Refresh);
  connect(cmdOK_, &QPushButton::clicked, this, &TransferDialog::OkClicked);
  connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  buttons->addWidget(cmdOK_);
  buttons->addWidget(cancel);

  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(18, 16, 18, 14);
  outer->setSpacing(12);
  outer->addWidget(intro);
  outer->addLayout(driveRow);
  outer->addStretch(1);
  outer->addLayout(buttons);
  ApplyTheme(this, theme, WindowKind::Dialog);
  Refresh();
}

void FillDriveList(QComboBox* drives, VolumeSource& volumes) {
  const QString previous = drives->currentText();
  drives->clear();
  for (const RemovableVolume& v : volumes.List())
    drives->addItem(QString::fromStdString(VolumeEntryText(v)));
  drives->setCurrentIndex(drives->findText(previous));
  if (drives->currentIndex() < 0 && drives->count() > 0) drives->setCurrentIndex(0);
}

void TransferDialog::Refresh() {
  FillDriveList(cboDrive_, volumes_);
  cmdOK_->setEnabled(cboDrive_->count() > 0);
}

void TransferDialog::OkClicked() {
  const std::string root = VolumeRootFromEntry(cboDrive_->currentText().toStdString());
  if (root.empty()) return;
  const std::string target =
      PspGameFolder(root, request_.title, request_.gameId, request_.autoTransfer);
  ProgressWindow progress(ProgressWindow::Kind::Progress, prompter_, theme_, this);
  progress.SetCaption("Copying to the PSP...");
  progress.show();
  WorkerQuestions questions(prompter_, &progress);
  const std::string source = request_.sourceFolder;
  const Outcome result =
      RunJob(progress, questions, [&](Progress& p, Questions& q, CancelToken& cancel) {
        return CopyEbootToPsp(source, target, p, q, cancel);
      });
  progress.hide();
  if (result.failed() && result.text() == kMsgCouldNotCreateFolders) {
    prompter_.Critical(this, QLatin1String(kMsgCouldNotCreateFolders));
    return;
  }
  if (result.failed()) prompter_.Warn(this, QString::fromStdString(result.text()));
  target_ = target;
  accept();
}

}  // namespace ebf::ui
