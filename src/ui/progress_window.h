#pragma once
// frmProgress and frmLog: the windows that show a run. They are the run's Progress (what
// it reports may arrive from the job's worker thread), count the elapsed time, cannot be
// closed from the title bar, and turn Cancel into a request on the run's cancel token.

#include <QDialog>
#include <QTimer>
#include <string>

#include "common/cancel.h"
#include "common/progress.h"
#include "common/questions.h"
#include "ui/theme_apply.h"

class QLabel;
class QPlainTextEdit;
class QPushButton;

namespace ebf::ui {

class Prompter;

// Asked before a cancel while the user's own file is being rewritten.
inline constexpr const char* kMsgCancelWarning =
    "WARNING: cancelling this process may cause problems, such as ending up with corrupt files "
    "- are you sure you wish to do this?";

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

class ProgressWindow : public QDialog, public Progress {
  Q_OBJECT
 public:
  enum class Kind { Progress, Log };
  ProgressWindow(Kind kind, Prompter& prompter, const ThemeContext& theme,
                 QWidget* parent = nullptr);

  // "Time Elapsed: 2m 5s" (minutes are not carried into hours).
  static QString ElapsedText(long seconds);

  // Progress
  void Log(const std::string& text) override;

  // The caption a run starts with, before any stage of its own names one.
  void SetCaption(const std::string& caption);
  // The token Cancel requests while a job runs (none: Cancel does nothing).
  void SetCancelToken(CancelToken* token) { cancel_ = token; }

  // One tick of the elapsed-time timer (the timer calls it every second).
  void Tick();
  long elapsedSeconds() const { return elapsed_; }
  // Starts the run's display afresh: bar empty, counter zero, no confirmation pending.
  void Reset();

 public slots:
  void CancelClicked();

 protected:
  void OnStageBegun(const std::string& name, uint64_t workSize) override;
  void OnAdvanced(uint64_t done, uint64_t total, double overall) override;
  void OnStageEnded(const std::string& name, bool completed) override;
  void closeEvent(QCloseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  void reject() override;
  void showEvent(QShowEvent* event) override;

 private:
  // Runs `show` now on the window's own thread, or queues it there from a job's worker.
  template <class F>
  void OnGuiThread(F show);
  void AppendLog(const QString& text);

  Kind kind_;
  Prompter& prompter_;
  CancelToken* cancel_ = nullptr;
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
