#pragma once
// Every message box of the windows goes through a Prompter, so that tests can answer them
// from a script and run without a display.

#include <QString>

#include "common/questions.h"

class QWidget;

namespace ebf::ui {

enum class Buttons { Ok, YesNo };
enum class Answer { Ok, Yes, No };

class Prompter {
 public:
  virtual ~Prompter() = default;
  // `defaultNo` picks No as the default button of a Yes/No box.
  virtual Answer Show(QWidget* parent, MsgIcon icon, const QString& text, Buttons buttons,
                      bool defaultNo) = 0;

  void Warn(QWidget* parent, const QString& text) {
    Show(parent, MsgIcon::Exclamation, text, Buttons::Ok, false);
  }
  void Inform(QWidget* parent, const QString& text) {
    Show(parent, MsgIcon::Information, text, Buttons::Ok, false);
  }
  void Critical(QWidget* parent, const QString& text) {
    Show(parent, MsgIcon::Critical, text, Buttons::Ok, false);
  }
  bool Ask(QWidget* parent, const QString& text, bool defaultNo,
           MsgIcon icon = MsgIcon::Exclamation) {
    return Show(parent, icon, text, Buttons::YesNo, defaultNo) == Answer::Yes;
  }
};

// Questions as message boxes over `parent`, asked on the GUI thread (for what runs there:
// the input resolver, the checks before a run, a package's inspection).
class PrompterQuestions : public Questions {
 public:
  PrompterQuestions(Prompter& prompter, QWidget* parent) : prompter_(prompter), parent_(parent) {}
  bool AskYesNo(const std::string& text, bool defaultNo, MsgIcon icon) override {
    return prompter_.Ask(parent_, QString::fromStdString(text), defaultNo, icon);
  }

 private:
  Prompter& prompter_;
  QWidget* parent_;
};

// Real message boxes, titled with the program's name.
class QtPrompter : public Prompter {
 public:
  Answer Show(QWidget* parent, MsgIcon icon, const QString& text, Buttons buttons,
              bool defaultNo) override;
};

}  // namespace ebf::ui
