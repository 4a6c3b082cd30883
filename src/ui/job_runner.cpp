#include "ui/job_runner.h"

#include <QCoreApplication>
#include <QWidget>

namespace ebf::ui {

void WorkerQuestions::OnGuiThread(const std::function<void()>& ask) {
  QObject* gui = QCoreApplication::instance();
  if (QThread::currentThread() == gui->thread())
    ask();
  else
    QMetaObject::invokeMethod(gui, ask, Qt::BlockingQueuedConnection);
}

bool WorkerQuestions::AskYesNo(const std::string& text, bool defaultNo, MsgIcon icon) {
  bool yes = false;
  OnGuiThread([&] { yes = prompter_.Ask(parent_, QString::fromStdString(text), defaultNo, icon); });
  return yes;
}

std::optional<std::string> WorkerQuestions::ChooseRebuildDestination(const std::string& source) {
  if (!chooseDestination_) return std::nullopt;
  std::optional<std::string> chosen;
  OnGuiThread([&] { chosen = chooseDestination_(source); });
  return chosen;
}

}  // namespace ebf::ui
