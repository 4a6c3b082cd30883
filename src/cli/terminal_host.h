#pragma once
// Standard error as the command line's progress view, and --yes as its answers. On a
// terminal one live line with a bar; otherwise (a pipe, a log file) plain lines, "NN%" at
// most once a second, never a carriage return or an escape code.

#include <chrono>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

#include "common/progress.h"
#include "common/questions.h"

namespace ebf::cli {

class TerminalProgress : public Progress {
 public:
  using Clock = std::chrono::steady_clock;
  struct View {
    bool terminal = false;                   // draw the live line
    std::ostream* out = nullptr;             // standard error when null
    std::function<Clock::time_point()> now;  // the steady clock when empty
  };
  // The flag is read when used: the command line parser fills it later.
  TerminalProgress(const bool& quiet, View view);

  void Log(const std::string& text) override;
  // Ends the live line.
  void FinishLine();

 protected:
  void OnStageBegun(const std::string& name, uint64_t workSize) override;
  void OnAdvanced(uint64_t done, uint64_t total, double overall) override;
  void OnStageEnded(const std::string& name, bool completed) override;

 private:
  void Redraw(bool force);
  void DrawLiveLine(Clock::time_point now);
  void WritePlainNumber(Clock::time_point now, bool force = false);
  std::ostream& out();

  const bool& quiet_;
  View view_;
  std::string caption_, size_, bytes_;
  double fraction_ = -1;
  bool lineOpen_ = false;
  std::string numberWritten_;
  Clock::time_point start_;
  Clock::time_point lastDraw_{};
  std::optional<Clock::time_point> lastNumberAt_;
};

// Questions are answered Yes by --yes, or refused; the first refused one is kept so that
// the run can say what stopped it. A failed read or write ("Continue regardless?") is never
// answered Yes. The resolver's question (a CUE beside a BIN) only informs: it is logged
// and answered as --yes says.
class TerminalQuestions : public Questions {
 public:
  TerminalQuestions(const bool& assumeYes, TerminalProgress& view)
      : assumeYes_(assumeYes), view_(view) {}
  bool AskYesNo(const std::string& text, bool defaultNo, MsgIcon icon) override;
  // -o names the file a package that must be rebuilt goes to; without it the question is
  // refused and noted.
  std::optional<std::string> ChooseRebuildDestination(const std::string& source) override;

  void SetRebuildDestination(std::string path) { rebuildDestination_ = std::move(path); }
  const std::string& refusedQuestion() const { return refused_; }
  bool destinationMissing() const { return destinationMissing_; }
  void Clear();

 private:
  const bool& assumeYes_;
  TerminalProgress& view_;
  std::string refused_;
  std::string rebuildDestination_;
  bool destinationMissing_ = false;
};

// True when standard error is a terminal.
bool StderrIsTerminal();

// Ctrl+C and termination requests cancel the token instead of killing the process.
void InstallInterruptHandler();

}  // namespace ebf::cli
