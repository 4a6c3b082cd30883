#include "ui/job_runner.h"

#include <QCoreApplication>
#include <QWidget>
#include <exception>

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

void RunOnWorker(const std::function<void()>& work) {
  std::exception_ptr failure;
  QEventLoop loop;
  std::thread worker([&] {
    try {
      work();
    } catch (...) {
      failure = std::current_exception();
    }
    // Queued behind everything the work queued, so that all of it is handled first.
    QMetaObject::invokeMethod(
        &loop, [&loop] { loop.quit(); }, Qt::QueuedConnection);
  });
  loop.exec();
  worker.join();
  if (failure) std::rethrow_exception(failure);
}

}  // namespace ebf::ui
