#pragma once
// How a long routine ended, and the words the user is shown for it. The window turns an
// Outcome into its message box, the command line into its exit code; nothing is told by an
// empty string.

#include <string>
#include <string_view>

namespace ebf {

enum class OutcomeKind {
  Success,    // "Success."
  Cancelled,  // "Cancelled.": the user stopped the run
  Declined,   // the user said No to a question; nothing more is shown
  Failed,     // the text says what went wrong, in the program's own words
};

class Outcome {
 public:
  static Outcome Success() { return {OutcomeKind::Success, "Success."}; }
  static Outcome Cancelled() { return {OutcomeKind::Cancelled, "Cancelled."}; }
  static Outcome Declined() { return {OutcomeKind::Declined, {}}; }
  static Outcome Failed(std::string message) { return {OutcomeKind::Failed, std::move(message)}; }

  OutcomeKind kind() const { return kind_; }
  const std::string& text() const { return text_; }
  bool succeeded() const { return kind_ == OutcomeKind::Success; }
  bool failed() const { return kind_ == OutcomeKind::Failed; }

  // A failure told with where it happened in front ("while joining Track 2: ..."); any
  // other outcome is returned as it is.
  Outcome Within(std::string_view context) const;

  bool operator==(const Outcome&) const = default;

 private:
  Outcome(OutcomeKind kind, std::string text) : kind_(kind), text_(std::move(text)) {}
  OutcomeKind kind_;
  std::string text_;
};

// For test failure messages: "Failed: <text>".
std::string Describe(const Outcome& outcome);

}  // namespace ebf
