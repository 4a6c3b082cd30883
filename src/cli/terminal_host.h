#pragma once
// Standard error as a progress view: on a terminal one live line with a bar; otherwise
// (a pipe, a log file) plain lines, "NN%" at most once a second, never a carriage return
// or an escape code. Questions are answered by --yes (or refused); Ctrl+C becomes a
// cancel request.

#include <chrono>
#include <functional>
#include <iosfwd>
#include <optional>
#include <string>

#include "common/host.h"

namespace ebf::cli {

class TerminalHost : public Host {
 public:
  using Clock = std::chrono::steady_clock;
  struct View {
    bool terminal = false;                   // draw the live line
    std::ostream* out = nullptr;             // standard error when null
    std::function<Clock::time_point()> now;  // the steady clock when empty
  };
  // The flags are read when used: they are filled by the command line parser later.
  TerminalHost(const bool& assumeYes, const bool& quiet, View view);

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

  // The question that stopped the run when --yes was not given.
  const std::string& refusedQuestion() const { return refused_; }
  void ClearRefusedQuestion() { refused_.clear(); }
  // Ends the live line.
  void FinishLine();

 private:
  void Redraw(bool force);
  void DrawLiveLine(Clock::time_point now);
  void WritePlainLines(Clock::time_point now);
  std::ostream& out();

  const bool& assumeYes_;
  const bool& quiet_;
  View view_;
  std::string refused_;
  std::string caption_, size_, bytes_;
  double fraction_ = -1;
  bool showBar_ = true, showBytes_ = false;
  bool lineOpen_ = false;
  std::string captionWritten_, numberWritten_;  // the last plain lines
  Clock::time_point start_;
  Clock::time_point lastDraw_{};
  std::optional<Clock::time_point> lastNumberAt_;
};

// True when standard error is a terminal.
bool StderrIsTerminal();

// Ctrl+C sets the program's cancel request instead of killing the process.
void InstallInterruptHandler();

}  // namespace ebf::cli
