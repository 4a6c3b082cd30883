#include "ui/verify_dialog.h"

#include <QFileInfo>
#include <QFontDatabase>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTableWidget>
#include <QVBoxLayout>

#include "ui/job_runner.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"

namespace ebf::ui {
namespace {

QString Q(const std::string& s) {
  return QString::fromStdString(s);
}

}  // namespace

QString VerifyVerdictText(const VerifyReport& report) {
  if (report.ok())
    return QStringLiteral("Verified: every block reads and everything checked agrees.");
  const std::size_t n = report.problems.size() + (report.againstChecked && !report.againstEqual) +
                        (report.datChecked && !report.datMatched);
  return QStringLiteral("Not verified: %1 problem%2 found.").arg(n).arg(n == 1 ? "" : "s");
}

VerifyDialog::VerifyDialog(const ThemeContext& theme, const std::string& packagePath,
                           const VerifyReport& report, QWidget* parent)
    : QDialog(parent) {
  setObjectName(QStringLiteral("frmVerify"));
  setWindowTitle(QStringLiteral("Verify %1").arg(QFileInfo(Q(packagePath)).fileName()));

  verdict_ = new QLabel(VerifyVerdictText(report), this);
  verdict_->setObjectName(QStringLiteral("lblVerdict"));
  QFont bold = verdict_->font();
  bold.setBold(true);
  verdict_->setFont(bold);
  auto* digests = new QLabel(
      QStringLiteral("%1 blocks read; %2.").arg(report.blocks).arg(Q(DigestCheckText(report))),
      this);
  digests->setObjectName(QStringLiteral("lblDigests"));
  digests->setProperty("role", QStringLiteral("info"));
  digests->setWordWrap(true);

  table_ = new QTableWidget(static_cast<int>(report.tracks.size()), 6, this);
  table_->setObjectName(QStringLiteral("tblTracks"));
  table_->setHorizontalHeaderLabels({QStringLiteral("Track"), QStringLiteral("Type"),
                                     QStringLiteral("Size"), QStringLiteral("CRC32"),
                                     QStringLiteral("MD5"), QStringLiteral("SHA-1")});
  table_->verticalHeader()->hide();
  table_->setEditTriggers(QAbstractItemView::NoEditTriggers);
  table_->setSelectionBehavior(QAbstractItemView::SelectRows);
  const QFont mono = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  for (int r = 0; r < static_cast<int>(report.tracks.size()); ++r) {
    const VerifiedTrack& t = report.tracks[static_cast<std::size_t>(r)];
    // With several discs a track is named by its disc too: "2.1".
    const QString number = report.discs > 1 ? QStringLiteral("%1.%2").arg(t.disc).arg(t.number)
                                            : QString::number(t.number);
    const QString cells[] = {number,
                             t.audio ? QStringLiteral("audio") : QStringLiteral("data"),
                             QString::number(t.size),
                             Q(t.crc32),
                             Q(t.md5),
                             Q(t.sha1)};
    for (int c = 0; c < 6; ++c) {
      auto* item = new QTableWidgetItem(cells[c]);
      if (c == 0 || c == 2) item->setTextAlignment(Qt::AlignRight | Qt::AlignVCenter);
      if (c >= 3) item->setFont(mono);
      table_->setItem(r, c, item);
    }
  }
  table_->resizeColumnsToContents();
  table_->horizontalHeader()->setStretchLastSection(true);
  int height = table_->horizontalHeader()->sizeHint().height() + 4;
  for (int r = 0; r < table_->rowCount(); ++r) height += table_->rowHeight(r);
  table_->setMinimumHeight(std::min(height, 320));
  table_->setMaximumHeight(std::max(height, 120));

  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(18, 16, 18, 14);
  outer->setSpacing(10);
  outer->addWidget(verdict_);
  outer->addWidget(digests);
  outer->addWidget(table_, 1);
  std::vector<std::string> notes = report.problems;
  if (report.againstChecked)
    notes.insert(notes.begin(), "Against the source: " + report.againstText);
  if (report.datChecked) notes.insert(notes.begin(), "DAT: " + report.datText);
  if (!notes.empty()) {
    auto* list = new QPlainTextEdit(this);
    list->setObjectName(QStringLiteral("txtProblems"));
    list->setReadOnly(true);
    for (const std::string& n : notes) list->appendPlainText(Q(n));
    // As tall as its lines, up to six; more scroll.
    const int lines = static_cast<int>(std::min<std::size_t>(notes.size(), 6));
    list->setFixedHeight(lines * list->fontMetrics().lineSpacing() + 18);
    outer->addWidget(list);
  }
  auto* row = new QHBoxLayout;
  row->addStretch(1);
  auto* close = new QPushButton(QStringLiteral("Close"), this);
  close->setObjectName(QStringLiteral("cmdClose"));
  close->setDefault(true);
  connect(close, &QPushButton::clicked, this, &QDialog::accept);
  row->addWidget(close);
  outer->addLayout(row);
  resize(std::max(table_->horizontalHeader()->length() + 60, 560), sizeHint().height());
  ApplyTheme(this, theme, WindowKind::Dialog);
}

void VerifyLoadedPackage(QWidget* parent, Prompter& prompter, const ThemeContext& theme,
                         const std::string& packagePath) {
  VerifyReport report;
  {
    ProgressWindow progress(ProgressWindow::Kind::Progress, prompter, theme, parent);
    progress.SetCaption("Verifying...");
    progress.show();
    WorkerQuestions questions(prompter, &progress);
    report = RunJob(progress, questions, [&](Progress& p, Questions&, CancelToken& cancel) {
      return VerifyPackage(packagePath, {}, p, cancel);
    });
    progress.hide();
  }
  if (report.cancelled) return;
  if (!report.error.empty()) {
    prompter.Warn(parent, Q(report.error));
    return;
  }
  VerifyDialog dialog(theme, packagePath, report, parent);
  dialog.exec();
}

}  // namespace ebf::ui
