#pragma once
// A Host that remembers everything a routine told it and answers questions from a script.

#include <deque>
#include <functional>
#include <string>
#include <vector>

#include "common/host.h"

namespace ebf::test {

class RecordingHost : public Host {
 public:
  struct Question {
    std::string text;
    bool defaultNo;
    MsgIcon icon;
  };

  // Answers given in order; when they run out, `defaultAnswer` is used.
  std::deque<bool> answers;
  bool defaultAnswer = true;

  std::vector<Question> questions;
  std::vector<std::string> captions, sizeTexts, bytesTexts, logLines;
  std::vector<double> fractions, totalFractions;
  int pumps = 0;
  // Called on every PumpEvents with the running count (a test sets CancelRequested here).
  std::function<void(int)> onPump;

  bool AskYesNo(const std::string& text, bool defaultNo, MsgIcon icon) override {
    questions.push_back({text, defaultNo, icon});
    if (answers.empty()) return defaultAnswer;
    bool a = answers.front();
    answers.pop_front();
    return a;
  }
  void SetCaption(const std::string& c) override { captions.push_back(c); }
  void SetFraction(double f) override { fractions.push_back(f); }
  void SetTotalFraction(double f) override { totalFractions.push_back(f); }
  void SetSizeText(const std::string& t) override { sizeTexts.push_back(t); }
  void SetBytesText(const std::string& t) override { bytesTexts.push_back(t); }
  void Log(const std::string& line) override { logLines.push_back(line); }
  void PumpEvents() override {
    ++pumps;
    if (onPump) onPump(pumps);
  }
};

}  // namespace ebf::test
