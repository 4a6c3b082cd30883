#pragma once
// The questions a long routine may have to ask in the middle of its work. The window shows
// them as message boxes, the command line answers them from --yes, the tests from a script.

#include <optional>
#include <string>

namespace ebf {

enum class MsgIcon { Exclamation, Critical, Information };

class Questions {
 public:
  virtual ~Questions() = default;
  // A Yes/No question; true for Yes. `defaultNo` makes No the default button.
  virtual bool AskYesNo(const std::string& text, bool defaultNo,
                        MsgIcon icon = MsgIcon::Exclamation) = 0;
  // The file a package that must be rebuilt is written to; nothing when the user gives up.
  virtual std::optional<std::string> ChooseRebuildDestination(const std::string& /*source*/) {
    return std::nullopt;
  }
};

// Answers every question with its default button.
class DefaultAnswers : public Questions {
 public:
  bool AskYesNo(const std::string&, bool defaultNo, MsgIcon) override { return !defaultNo; }
};

// The program's question after an unexpected failure in the middle of a copy:
// "The following unexpected error occurred!!!" ... "Continue regardless?".
std::string UnexpectedErrorText(const std::string& description, long code);
// Asks it (Yes/No, critical icon, No by default). True means carry on.
bool AskContinueAfterError(Questions& questions, const std::string& description, long code);

}  // namespace ebf
