#pragma once
// What a run told its watcher, remembered, and its questions answered from a script; with
// the run's cancel token at hand.

#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/cancel.h"
#include "common/progress.h"
#include "common/questions.h"
#include "support/outcome_print.h"

namespace ebf::test {

class RunRecorder : public Progress, public Questions {
 public:
  struct Question {
    std::string text;
    bool defaultNo;
    MsgIcon icon;
  };

  // Answers given in order; when they run out, `defaultAnswer` is used.
  std::deque<bool> answers;
  bool defaultAnswer = true;
  // What ChooseRebuildDestination answers.
  std::optional<std::string> destination;

  std::vector<Question> questions;
  std::vector<std::string> stages;     // named stages, as they began
  std::vector<std::string> completed;  // named stages that ended having done their work
  std::vector<uint64_t> workSizes;     // of the named stages that gave one
  std::vector<std::pair<uint64_t, uint64_t>> amounts;  // done, total
  std::vector<double> overalls;
  std::vector<std::string> logLines;
  int destinationsAsked = 0;
  // Called on every Advance with the running count (a test cancels here).
  std::function<void(int)> onAdvance;
  CancelToken cancel;

  bool AskYesNo(const std::string& text, bool defaultNo, MsgIcon icon) override {
    questions.push_back({text, defaultNo, icon});
    if (answers.empty()) return defaultAnswer;
    bool a = answers.front();
    answers.pop_front();
    return a;
  }
  std::optional<std::string> ChooseRebuildDestination(const std::string&) override {
    ++destinationsAsked;
    return destination;
  }
  void Log(const std::string& line) override { logLines.push_back(line); }

 protected:
  void OnStageBegun(const std::string& name, uint64_t workSize) override {
    if (name.empty()) return;
    stages.push_back(name);
    if (workSize) workSizes.push_back(workSize);
  }
  void OnAdvanced(uint64_t done, uint64_t total, double overall) override {
    amounts.emplace_back(done, total);
    overalls.push_back(overall);
    if (onAdvance) onAdvance(static_cast<int>(amounts.size()));
  }
  void OnStageEnded(const std::string& name, bool done) override {
    if (!name.empty() && done) completed.push_back(name);
  }
};

// Shows nothing and answers every question with its default button: for benchmarks.
struct QuietRun : NoProgress, DefaultAnswers {
  CancelToken cancel;
};

}  // namespace ebf::test
