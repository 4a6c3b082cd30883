#pragma once
// What a long routine needs from whoever shows it: questions asked mid-work and a
// progress view. The GUI's progress and log windows, the terminal and the tests' recorder
// implement it. Routines never show a message of their own; they return a result string.

#include <string>

namespace ebf {

enum class MsgIcon { Exclamation, Critical, Information };

class Host {
 public:
  virtual ~Host() = default;

  // Yes/No question. Returns true for Yes.
  virtual bool AskYesNo(const std::string& text, bool defaultNo,
                        MsgIcon icon = MsgIcon::Exclamation) = 0;

  // Progress view. All optional; the defaults do nothing.
  virtual void SetCaption(const std::string& /*caption*/) {}
  virtual void SetFraction(double /*fraction 0..1 of the current stage*/) {}
  virtual void SetTotalFraction(double /*fraction 0..1 of the whole run (log view)*/) {}
  virtual void SetSizeText(const std::string& /*"Image Size: ..."*/) {}
  virtual void SetBytesText(const std::string& /*"Bytes written: ..."*/) {}
  virtual void ShowBar(bool /*visible*/) {}
  virtual void ShowBytes(bool /*visible*/) {}
  // Appends text to the log view as it stands (callers put in their own line breaks).
  virtual void Log(const std::string& /*text*/) {}
  // Lets the user interface breathe at the routine's fixed points.
  virtual void PumpEvents() {}
};

// A host that answers every question with its default button and shows nothing.
class QuietHost : public Host {
 public:
  bool AskYesNo(const std::string&, bool defaultNo, MsgIcon) override { return !defaultNo; }
};

// The program's common prompt for an unexpected failure in the middle of a copy:
// "The following unexpected error occurred!!!" ... "Continue regardless?".
std::string UnexpectedErrorText(const std::string& description, long code);
// Asks it (Yes/No, critical icon, No by default). True means carry on.
bool AskContinueAfterError(Host& host, const std::string& description, long code);

}  // namespace ebf
