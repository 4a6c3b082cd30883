#include "ui/progress_window.h"

#include <QCloseEvent>
#include <QCoreApplication>
#include <QGridLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPainter>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTextCursor>
#include <QThread>
#include <QVBoxLayout>
#include <cmath>

#include "common/files.h"
#include "ui/prompter.h"

namespace ebf::ui {

ProgressBarFrame::ProgressBarFrame(const QString& fillName, QWidget* parent) : QWidget(parent) {
  setObjectName(fillName == QLatin1String("imgTotal") ? QStringLiteral("shpTotal")
                                                      : QStringLiteral("frame"));
  setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
  fill_ = new QWidget(this);
  fill_->setObjectName(fillName);
  fill_->setAttribute(Qt::WA_TransparentForMouseEvents);
  fill_->setAutoFillBackground(false);
  fill_->resize(0, height());
}

void ProgressBarFrame::SetFraction(double fraction) {
  fraction_ = std::clamp(fraction, 0.0, 1.0);
  fill_->setGeometry(0, 0, fillWidth(), height());
  update();
}

int ProgressBarFrame::fillWidth() const {
  return static_cast<int>(std::lround(width() * fraction_));
}

void ProgressBarFrame::resizeEvent(QResizeEvent*) {
  SetFraction(fraction_);
}

void ProgressBarFrame::paintEvent(QPaintEvent*) {
  QPainter p(this);
  p.setRenderHint(QPainter::Antialiasing);
  const QRectF r = QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5);
  const double radius = r.height() / 2;
  // The window's own palette: the theme sets it there.
  const QPalette& pal = window()->palette();
  p.setPen(QPen(pal.color(QPalette::Mid), 1));
  p.setBrush(pal.color(QPalette::Base));
  p.drawRoundedRect(r, radius, radius);
  if (fillWidth() > 0) {
    const QColor accent = pal.color(QPalette::Highlight);
    QLinearGradient g(r.topLeft(), r.bottomLeft());
    g.setColorAt(0, accent.lighter(125));
    g.setColorAt(1, accent);
    p.setPen(Qt::NoPen);
    p.setBrush(g);
    p.setClipRect(QRectF(0, 0, fillWidth(), height()));
    p.drawRoundedRect(r, radius, radius);
  }
}

ProgressWindow::ProgressWindow(Kind kind, Prompter& prompter, const ThemeContext& theme,
                               QWidget* parent)
    : QDialog(parent), kind_(kind), prompter_(prompter) {
  setObjectName(kind == Kind::Log ? QStringLiteral("frmLog") : QStringLiteral("frmProgress"));
  setWindowTitle(QStringLiteral("Processing..."));
  // No close button in the title bar; Alt+F4 and Escape are refused below.
  setWindowFlags(Qt::Dialog | Qt::CustomizeWindowHint | Qt::WindowTitleHint);

  auto* outer = new QVBoxLayout(this);
  outer->setContentsMargins(0, 0, 0, 0);
  outer->setSpacing(0);
  header_ = new ThemedHeader(QStringLiteral("Ti_Main.jpg"), windowTitle(), this);
  outer->addWidget(header_);
  auto* layout = new QVBoxLayout;
  layout->setContentsMargins(18, 16, 18, 16);
  layout->setSpacing(10);
  outer->addLayout(layout);

  if (kind == Kind::Log) {
    auto* lblErr = new QLabel(QStringLiteral("Errors:"), this);
    lblErr->setObjectName(QStringLiteral("lblErr"));
    txtLog_ = new QPlainTextEdit(this);
    txtLog_->setObjectName(QStringLiteral("txtLog"));
    txtLog_->setReadOnly(true);
    txtLog_->setMinimumHeight(140);
    layout->addWidget(lblErr);
    layout->addWidget(txtLog_, 1);
    auto* lblTotProg = new QLabel(QStringLiteral("Progress:"), this);
    lblTotProg->setObjectName(QStringLiteral("lblTotProg"));
    total_ = new ProgressBarFrame(QStringLiteral("imgTotal"), this);
    layout->addWidget(lblTotProg);
    layout->addWidget(total_);
    auto* lblCurProg = new QLabel(QStringLiteral("Progress:"), this);
    lblCurProg->setObjectName(QStringLiteral("lblCurProg"));
    layout->addWidget(lblCurProg);
  }

  bar_ = new ProgressBarFrame(QStringLiteral("imgFill"), this);
  layout->addWidget(bar_);

  auto* grid = new QGridLayout;
  grid->setHorizontalSpacing(16);
  lblOrigSize_ = new QLabel(QStringLiteral("Size:"), this);
  lblOrigSize_->setObjectName(QStringLiteral("lblOrigSize"));
  lblBytes_ = new QLabel(QStringLiteral("bytes"), this);
  lblBytes_->setObjectName(QStringLiteral("lblBytes"));
  lblTime_ = new QLabel(QStringLiteral("0s"), this);
  lblTime_->setObjectName(QStringLiteral("lblTime"));
  lblTime_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  grid->addWidget(lblOrigSize_, 0, 0);
  grid->addWidget(lblBytes_, 1, 0);
  grid->addWidget(lblTime_, 0, 1);
  grid->setColumnStretch(0, 1);
  layout->addLayout(grid);

  auto* buttons = new QHBoxLayout;
  buttons->addStretch(1);
  cmdCancel_ = new QPushButton(QStringLiteral("Cancel"), this);
  cmdCancel_->setObjectName(QStringLiteral("cmdCancel"));
  cmdCancel_->setAutoDefault(false);
  buttons->addWidget(cmdCancel_);
  layout->addLayout(buttons);
  connect(cmdCancel_, &QPushButton::clicked, this, &ProgressWindow::CancelClicked);

  timer_.setInterval(1000);
  connect(&timer_, &QTimer::timeout, this, &ProgressWindow::Tick);

  setMinimumWidth(kind == Kind::Log ? 520 : 440);
  ApplyTheme(this, theme, WindowKind::Dialog);
  Reset();
}

QString ProgressWindow::ElapsedText(long seconds) {
  return QStringLiteral("Time Elapsed: %1m %2s").arg(seconds / 60).arg(seconds % 60);
}

void ProgressWindow::Reset() {
  bar_->SetFraction(0);
  if (total_) total_->SetFraction(0);
  elapsed_ = 0;
}

void ProgressWindow::showEvent(QShowEvent* event) {
  QDialog::showEvent(event);
  if (!timer_.isActive()) timer_.start();
}

void ProgressWindow::Tick() {
  ++elapsed_;
  lblTime_->setText(ElapsedText(elapsed_));
}

void ProgressWindow::CancelClicked() {
  if (!cancel_) return;
  // While the user's own file is being rewritten, a cancel is only made once confirmed.
  if (cancel_->NeedsConfirm() && !prompter_.Ask(this, QString::fromLatin1(kMsgCancelWarning), true))
    return;
  cancel_->Request();
}

void ProgressWindow::closeEvent(QCloseEvent* event) {
  event->ignore();
}

void ProgressWindow::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) {
    event->ignore();
    return;
  }
  QDialog::keyPressEvent(event);
}

void ProgressWindow::reject() {}

template <class F>
void ProgressWindow::OnGuiThread(F show) {
  if (QThread::currentThread() == thread())
    show();
  else
    QMetaObject::invokeMethod(this, std::move(show), Qt::QueuedConnection);
}

void ProgressWindow::SetCaption(const std::string& caption) {
  setWindowTitle(QString::fromStdString(caption));
  header_->SetTitle(windowTitle());
}

void ProgressWindow::OnStageBegun(const std::string& name, uint64_t workSize) {
  if (name.empty()) return;
  OnGuiThread([this, name, workSize] {
    if (kind_ == Kind::Log) {
      // A stage's words and its "Done" share a line.
      const QString text = txtLog_->toPlainText();
      AppendLog(
          (text.isEmpty() || text.endsWith(QLatin1Char('\n')) ? QString() : QStringLiteral("\n")) +
          QStringLiteral("  ") + QString::fromStdString(name) + QLatin1Char(' '));
    } else {
      SetCaption(name);
    }
    if (workSize > 0)
      lblOrigSize_->setText(QStringLiteral("Image Size: ") +
                            QString::fromStdString(FormatSize(workSize)));
  });
}

void ProgressWindow::OnAdvanced(uint64_t done, uint64_t total, double overall) {
  OnGuiThread([this, done, total, overall] {
    // A total that cannot be foreseen (a compressed package growing) shows the bytes written
    // instead of a bar.
    bar_->setVisible(total > 0);
    lblBytes_->setVisible(total == 0);
    if (total > 0)
      bar_->SetFraction(static_cast<double>(done) / static_cast<double>(total));
    else
      lblBytes_->setText(QStringLiteral("Bytes written: ") +
                         QString::fromStdString(FormatSize(done)));
    if (total_) total_->SetFraction(overall);
  });
}

void ProgressWindow::OnStageEnded(const std::string& name, bool completed) {
  if (name.empty()) return;
  OnGuiThread([this, completed] {
    if (kind_ == Kind::Log && completed) AppendLog(QStringLiteral("Done"));
    bar_->setVisible(true);
    lblBytes_->setVisible(false);
  });
}

void ProgressWindow::Log(const std::string& text) {
  OnGuiThread([this, text] {
    AppendLog(QString::fromStdString(text).replace(QStringLiteral("\r\n"), QStringLiteral("\n")));
  });
}

void ProgressWindow::AppendLog(const QString& text) {
  // Routines write their own line breaks, so text is added as it stands, not as a
  // paragraph of its own.
  if (!txtLog_) return;
  QTextCursor end = txtLog_->textCursor();
  end.movePosition(QTextCursor::End);
  end.insertText(text);
  txtLog_->setTextCursor(end);
  txtLog_->ensureCursorVisible();
}

}  // namespace ebf::ui
