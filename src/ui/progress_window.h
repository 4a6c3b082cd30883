#pragma once
// frmProgress and frmLog: the windows that show a run. They implement the Host seam that
// the long routines talk to, count the elapsed time, cannot be closed from the title bar,
// and turn Cancel into the program-wide cancel request.

#include <QDialog>
#include <QTimer>
#include <string>

#include "common/host.h"
#include "ui/theme_apply.h"

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace ebf::ui {

class Prompter;

// The bar: a frame whose width is the 100 % mark and a fill (imgFill) sized to the fraction.
class ProgressBarFrame : public QWidget {
  Q_OBJECT
 public:
  ProgressBarFrame(const QString& fillName, QWidget* parent = nullptr);
  void SetFraction(double fraction);
  double fraction() const { return fraction_; }
  int fillWidth() const;
  QSize sizeHint() const override { return QSize(320, 14); }

 protected:
  void paintEvent(QPaintEvent*) override;
  void resizeEvent(QResizeEvent*) override;

 private:
  QWidget* fill_;
  double fraction_ = 0;
};

class ProgressWindow : public QDialog, public Host {
  Q_OBJECT
 public:
  enum class Kind { Progress, Log };
  ProgressWindow(Kind kind, Prompter& prompter, const ThemeContext& theme,
                 QWidget* parent = nullptr);

  // "Time Elapsed: 2m 5s" (minutes are not carried into hours).
  static QString ElapsedText(long seconds);

  // Host
  bool AskYesNo(const std::string& text, bool defaultNo, MsgIcon icon) override;
  void SetCaption(const std::string& caption) override;
  void SetFraction(double fraction) override;
  void SetTotalFraction(double fraction) override;
  void SetSizeText(const std::string& text) override;
  void SetBytesText(const std::string& text) override;
  void ShowBar(bool visible) override;
  void ShowBytes(bool visible) override;
  void Log(const std::string& line) override;
  void PumpEvents() override;

  // One tick of the elapsed-time timer (the timer calls it every second).
  void Tick();
  long elapsedSeconds() const { return elapsed_; }
  // Starts the run's display afresh: bar empty, counter zero, no confirmation pending.
  void Reset();

 public slots:
  void CancelClicked();

 protected:
  void closeEvent(QCloseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void reject() override;
  void showEvent(QShowEvent* event) override;

 private:
  Kind kind_;
  Prompter& prompter_;
  QTimer timer_;
  long elapsed_ = 0;
  QLabel* lblOrigSize_;
  QLabel* lblBytes_;
  QLabel* lblTime_;
  ThemedHeader* header_;
  ProgressBarFrame* bar_;
  QPushButton* cmdCancel_;
  QPlainTextEdit* txtLog_ = nullptr;
  ProgressBarFrame* total_ = nullptr;
};

}  // namespace ebf::ui
