#include "common/outcome.h"

namespace ebf {

Outcome Outcome::Within(std::string_view context) const {
  if (kind_ != OutcomeKind::Failed) return *this;
  return Failed(std::string(context) + ": " + text_);
}

std::string Describe(const Outcome& outcome) {
  switch (outcome.kind()) {
    case OutcomeKind::Success:
      return "Success";
    case OutcomeKind::Cancelled:
      return "Cancelled";
    case OutcomeKind::Declined:
      return "Declined";
    case OutcomeKind::Failed:
      break;
  }
  return "Failed: " + outcome.text();
}

}  // namespace ebf
