#pragma once
// Scripted stand-ins for message boxes and file pickers, and a program folder with the
// files that start-up asks for, so that the windows run headless; with the controls the
// window tests look at.

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QElapsedTimer>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTest>
#include <QTimer>
#include <QUrl>
#include <deque>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "common/files.h"
#include "support/fake_program.h"
#include "support/temp_dir.h"
#include "ui/file_dialogs.h"
#include "ui/main_window.h"
#include "ui/prompter.h"
#include "ui/widgets.h"

namespace ebf::test {

using namespace Qt::StringLiterals;
using ui::Q;

class ScriptedPrompter : public ui::Prompter {
 public:
  struct Shown {
    MsgIcon icon;
    QString text;
    ui::Buttons buttons;
    bool defaultNo;
  };
  std::vector<Shown> shown;
  std::deque<bool> answers;  // for Yes/No boxes; Yes when they run out

  ui::Answer Show(QWidget*, MsgIcon icon, const QString& text, ui::Buttons buttons,
                  bool defaultNo) override {
    shown.push_back({icon, text, buttons, defaultNo});
    if (buttons == ui::Buttons::Ok) return ui::Answer::Ok;
    const bool yes = answers.empty() || answers.front();
    if (!answers.empty()) answers.pop_front();
    return yes ? ui::Answer::Yes : ui::Answer::No;
  }
  QString last() const { return shown.empty() ? QString() : shown.back().text; }
};

class ScriptedDialogs : public ui::FileDialogs {
 public:
  struct Call {
    QString kind, title, startAt, proposedName, extension;
    ui::FileFilters filters;
  };
  std::vector<Call> calls;
  std::deque<QString> results;  // "" when they run out (the user cancelled)

  QString OpenFile(QWidget*, const QString& title, const QString& startAt,
                   const ui::FileFilters& filters) override {
    return Record({"open", title, startAt, {}, {}, filters});
  }
  QString SaveFile(QWidget*, const QString& title, const QString& startAt,
                   const QString& proposedName, const QString& extension,
                   const ui::FileFilters& filters) override {
    return Record({"save", title, startAt, proposedName, extension, filters});
  }
  QString PickFolder(QWidget*, const QString& title, const QString& startAt) override {
    return Record({"folder", title, startAt, {}, {}, {}});
  }

 private:
  QString Record(Call call) {
    calls.push_back(std::move(call));
    if (results.empty()) return {};
    QString r = results.front();
    results.pop_front();
    return r;
  }
};

// The control of a window by its object name; a missing one ends the test run.
template <class T>
T* Child(QWidget* w, const char* name) {
  T* c = w->findChild<T*>(name);
  if (!c) qFatal("no control %s", name);
  return c;
}

// A program folder with the converter, template, loader, default assets and the Default
// theme in place (the files are stand-ins; the windows only test that they exist).
inline void FillProgramFolder(const TempDir& dir) {
  dir.MakeDir("Data");
  dir.MakeDir("PSXCust/Default");
  dir.MakeDir("Themes/Default");
  for (const char* f :
       {"Data/tarnwick.exe", "Data/BASE.PBP", "Data/DATA.PSP", "PSXCust/Default/ICON0.PNG",
        "PSXCust/Default/ICON1.PMF", "PSXCust/Default/PIC0.PNG", "PSXCust/Default/PIC1.PNG",
        "PSXCust/Default/SND0.AT3", "PSXCust/Default/Gameboot.png"})
    WriteFileText(dir / f, "x");
  WriteFileText(dir / "Themes/Default/style.ini", "MAINBGCOL = 202020\nMAINTITLE = Plain\n");
}

// Puts `converter` (the stand-in by default) in the program folder's place of the real one.
inline void UseConverter(const TempDir& prog, const std::string& converter = FakeConverterPath()) {
  std::filesystem::copy_file(converter, prog / "Data/tarnwick.exe",
                             std::filesystem::copy_options::overwrite_existing);
}

// The main window over a program folder of its own, with scripted boxes and pickers.
struct WindowFixture {
  TempDir prog, work;
  ScriptedPrompter prompter;
  ScriptedDialogs dialogs;
  std::unique_ptr<ui::MainWindow> w;

  void Open(ui::MainWindow::Hooks hooks = {}) {
    w = std::make_unique<ui::MainWindow>(
        ui::MainWindow::Services{prog.folder(), prog / "ebootforge.ini", &prompter, &dialogs},
        std::move(hooks));
  }
  template <class T>
  T* Get(const char* name) {
    return Child<T>(w.get(), name);
  }
  QString Text(const char* name) { return Get<QLineEdit>(name)->text(); }
  void Click(const char* name) { QTest::mouseClick(Get<QPushButton>(name), Qt::LeftButton); }
};

// How long the GUI thread went without answering: the worst gap between the ticks of a
// 10 ms timer, from the start up to Worst().
class GapWatch {
 public:
  GapWatch() {
    clock.start();
    QObject::connect(&tick_, &QTimer::timeout, [this] { Worst(); });
    tick_.start(10);
  }
  qint64 Worst() {
    worst_ = std::max(worst_, clock.elapsed() - last_);
    last_ = clock.elapsed();
    return worst_;
  }
  QElapsedTimer clock;

 private:
  QTimer tick_;
  qint64 last_ = 0, worst_ = 0;
};

}  // namespace ebf::test
