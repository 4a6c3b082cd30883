#include "common/questions.h"

namespace ebf {

std::string UnexpectedErrorText(const std::string& description, long code) {
  return "The following unexpected error occurred!!!\r\n" + description +
         " (Code: " + std::to_string(code) + ")\r\n\r\nContinue regardless?";
}

bool AskContinueAfterError(Questions& questions, const std::string& description, long code) {
  return questions.AskYesNo(UnexpectedErrorText(description, code), true, MsgIcon::Critical);
}

}  // namespace ebf
