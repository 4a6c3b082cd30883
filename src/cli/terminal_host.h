#pragma once
// The terminal as a progress view: one live line on stderr, questions answered by the
// --yes switch (or refused), Ctrl+C turned into a cancel request.

#include <chrono>
#include <string>

#include "common/host.h"

namespace ebf::cli {

class TerminalHost : public Host {
 public:
  explicit TerminalHost(const bool& assumeYes) : assumeYes_(assumeYes) {}
  bool AskYesNo(const std::string& text, bool defaultNo, MsgIcon icon) override;
  void SetCaption(const std::string& caption) override;
  void SetFraction(double fraction) override;
  void SetTotalFraction(double fraction) override;
  void SetSizeText(const std::string& text) override;
  void SetBytesText(const std::string& text) override;
  void Log(const std::string& line) override;
  void PumpEvents() override;

  // The question that stopped the run when --yes was not given.
  const std::string& refusedQuestion() const { return refused_; }
  void ClearRefusedQuestion() { refused_.clear(); }
  void FinishLine();

 private:
  void Redraw(bool force);
  const bool& assumeYes_;
  std::string refused_;
  std::string caption_, size_, bytes_;
  double fraction_ = -1;
  bool lineOpen_ = false;
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
  std::chrono::steady_clock::time_point lastDraw_{};
};

// Ctrl+C sets the program's cancel request instead of killing the process.
void InstallInterruptHandler();

}  // namespace ebf::cli
