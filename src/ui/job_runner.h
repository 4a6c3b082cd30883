#pragma once
// Long work never runs on the GUI thread: a job runs on a worker thread while its progress
// window shows it. What the job reports reaches the window through queued calls; a question
// stops the worker until the user has answered it on the GUI thread; Cancel sets the job's
// token. The caller waits in an event loop of its own, as a modal dialog does, so the
// windows keep answering throughout.

#include <QEventLoop>
#include <QThread>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <utility>

#include "common/cancel.h"
#include "common/questions.h"
#include "ui/progress_window.h"
#include "ui/prompter.h"

namespace ebf::ui {

// Questions from the worker, asked as message boxes over `parent` on the GUI thread.
class WorkerQuestions : public Questions {
 public:
  using DestinationChooser = std::function<std::optional<std::string>(const std::string&)>;
  WorkerQuestions(Prompter& prompter, QWidget* parent, DestinationChooser chooseDestination = {})
      : prompter_(prompter), parent_(parent), chooseDestination_(std::move(chooseDestination)) {}

  bool AskYesNo(const std::string& text, bool defaultNo, MsgIcon icon) override;
  std::optional<std::string> ChooseRebuildDestination(const std::string& source) override;

 private:
  // Runs `ask` on the GUI thread and waits for it.
  void OnGuiThread(const std::function<void()>& ask);

  Prompter& prompter_;
  QWidget* parent_;
  DestinationChooser chooseDestination_;
};

// Runs `work` on a worker thread while the caller waits in an event loop of its own, and
// rethrows what it threw. Whatever the worker queued for the GUI thread before it ended has
// been handled when this returns.
void RunOnWorker(const std::function<void()>& work);

// Runs `job(progress, questions, cancel)` on a worker thread with `window` as its progress
// and its Cancel button wired to the job's token, and returns what the job returned.
template <class Job>
auto RunJob(ProgressWindow& window, Questions& questions, Job job)
    -> decltype(job(std::declval<Progress&>(), questions, std::declval<CancelToken&>())) {
  using Result = decltype(job(window, questions, std::declval<CancelToken&>()));
  CancelToken cancel;
  window.SetCancelToken(&cancel);
  std::optional<Result> result;
  try {
    RunOnWorker([&] { result.emplace(job(window, questions, cancel)); });
  } catch (...) {
    window.SetCancelToken(nullptr);
    throw;
  }
  window.SetCancelToken(nullptr);
  return std::move(*result);
}

}  // namespace ebf::ui
