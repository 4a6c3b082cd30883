#pragma once
// What a long routine tells whoever watches it: the stages it goes through, how far the
// current one is, and lines for a log. How that looks (a caption, a bar, a byte count, a
// line on a terminal) is the watcher's business: the progress window, the terminal and the
// tests' recorder each decide for themselves.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace ebf {

class Progress {
 public:
  virtual ~Progress() = default;

  // A stage begins: `name` as the user reads it ("Adding RAW padding..."; "" for a stage
  // that only groups others), `share` its part of the stage around it (or of the whole
  // run), `workSize` the size in bytes of what it works through when that is worth showing
  // (0: nothing to show).
  void BeginStage(const std::string& name, double share = 1.0, uint64_t workSize = 0);
  // The current stage has done `done` of `total`. A total of 0 means the end cannot be
  // foreseen (a compressed package growing): only `done` can be shown. `done` may pass
  // `total` when the total was an estimate.
  void Advance(uint64_t done, uint64_t total);
  // The current stage ends; `completed` when it did all it had to.
  void EndStage(bool completed);
  // Text for a log, as it stands (it carries its own line breaks).
  virtual void Log(const std::string& /*text*/) {}

  // How much of the whole has been done, 0 to 1.
  double overall() const { return overall_; }
  std::size_t depth() const { return stack_.size(); }

 protected:
  virtual void OnStageBegun(const std::string& /*name*/, uint64_t /*workSize*/) {}
  virtual void OnAdvanced(uint64_t /*done*/, uint64_t /*total*/, double /*overall*/) {}
  virtual void OnStageEnded(const std::string& /*name*/, bool /*completed*/) {}

 private:
  struct Frame {
    std::string name;
    double base = 0;  // overall() when it began
    double span = 1;  // its width in overall()
  };
  std::vector<Frame> stack_;
  double overall_ = 0;
};

// A stage for the length of a scope: begun at once, ended on every way out; Done() ends it
// as completed.
class Stage {
 public:
  Stage(Progress& progress, const std::string& name, double share = 1.0, uint64_t workSize = 0)
      : progress_(progress) {
    progress_.BeginStage(name, share, workSize);
  }
  ~Stage() {
    if (!ended_) progress_.EndStage(false);
  }
  Stage(const Stage&) = delete;
  Stage& operator=(const Stage&) = delete;

  void Advance(uint64_t done, uint64_t total) { progress_.Advance(done, total); }
  void Done() {
    if (!ended_) progress_.EndStage(true);
    ended_ = true;
  }

 private:
  Progress& progress_;
  bool ended_ = false;
};

// Shows nothing: for routines whose caller has nothing to show them on.
class NoProgress : public Progress {};

}  // namespace ebf
