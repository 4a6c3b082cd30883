#include <QApplication>
#include <QCheckBox>
#include <QLineEdit>
#include <QPushButton>
#include <QSignalSpy>
#include <QSpinBox>
#include <QTest>
#include <QUuid>

#include "fakes.h"
#include "support/messages.h"
#include "ui/main_window.h"
#include "ui/single_instance.h"
#include "ui/startup_flow.h"

using namespace ebf;
using namespace ebf::test;

class StartupTest : public QObject {
  Q_OBJECT

  struct Fixture {
    TempDir prog;
    ScriptedPrompter prompter;
    ScriptedDialogs dialogs;
    std::vector<std::string> resolved;
    std::unique_ptr<ui::MainWindow> window;
    Fixture() { FillProgramFolder(prog); }

    ui::MainWindow& Make() {
      ui::MainWindow::Hooks hooks;
      hooks.resolveInput = [this](ui::MainWindow& w, const std::string& path) {
        resolved.push_back(path);
        w.SetInputText(path);
      };
      window = std::make_unique<ui::MainWindow>(
          ui::MainWindow::Services{prog.folder(), prog / "ebootforge.ini", &prompter, &dialogs},
          hooks);
      return *window;
    }
  };

 private slots:
  // Which files are required is the core's (app/settings tests); a missing one ends the
  // start with its message, before anything is written or opened.
  void aMissingFileEndsWithItsMessage() {
    for (const auto& [gone, message] :
         {std::pair{"Data/tarnwick.exe", ConverterMissingMessage()},
          std::pair{"PSXCust/Default/Gameboot.png", MissingFilesMessage()}}) {
      Fixture f;
      std::remove((f.prog / gone).c_str());
      QVERIFY2(!ui::RunStartup(f.Make(), ""), gone);
      QCOMPARE(f.prompter.shown.size(), size_t(1));
      QCOMPARE(f.prompter.last(), QString::fromStdString(message));
      QVERIFY(f.prompter.shown[0].icon == MsgIcon::Critical);
      QVERIFY(f.prompter.shown[0].buttons == ui::Buttons::Ok);
      QVERIFY(f.resolved.empty());
      QVERIFY(!FileExists(f.prog / "ebootforge.ini"));
    }
  }

  void settingsThemeAndPanelComeBack() {
    Fixture f;
    const std::string out = f.prog.MakeDir("out");
    const std::string last = f.prog / "last game.bin";
    WriteFileText(last, "image");
    f.prog.MakeDir("Themes/Night");
    WriteFileText(f.prog / "Themes/Night/style.ini", "MAINTITLE = Night Owl\n");
    WriteFileText(f.prog / "ebootforge.ini", "LastUsedImage = " + last +
                                                 "\r\nDefaultOutputDir = " + out +
                                                 "\r\nShowCust = 1\r\nCompressLevel = 4\r\n"
                                                 "Theme = Night\r\n");
    ui::MainWindow& w = f.Make();
    QVERIFY(!w.customisationShown());
    QVERIFY(ui::RunStartup(w, ""));
    QVERIFY(f.prompter.shown.empty());
    QCOMPARE(f.resolved, std::vector<std::string>{last});
    QCOMPARE(w.findChild<QLineEdit*>("txtOut")->text(), QString::fromStdString(out));
    QCOMPARE(w.findChild<QSpinBox*>("txtCompress")->value(), 4);
    QVERIFY(w.customisationShown());
    QCOMPARE(w.theme().name, std::string("Night"));
    QCOMPARE(w.windowTitle(), QStringLiteral("Night Owl"));
  }

  void commandLineBeatsTheLastImage() {
    Fixture f;
    const std::string last = f.prog / "last.iso";
    const std::string given = f.prog / "given game.cue";
    WriteFileText(last, "a");
    WriteFileText(given, "b");
    WriteFileText(f.prog / "ebootforge.ini", "LastUsedImage = " + last + "\r\nShowCust = 0\r\n");
    ui::MainWindow& w = f.Make();
    QVERIFY(ui::RunStartup(w, "\"" + given + "\""));
    QCOMPARE(f.resolved, std::vector<std::string>{given});
    QVERIFY(!w.customisationShown());

    // A command line naming nothing that exists falls back to the last image; a vanished
    // last image is skipped without a word.
    Fixture g;
    WriteFileText(g.prog / "ebootforge.ini", "LastUsedImage = " + (g.prog / "gone.bin") + "\r\n");
    QVERIFY(ui::RunStartup(g.Make(), g.prog / "nothing.iso"));
    QVERIFY(g.resolved.empty());
    QVERIFY(g.prompter.shown.empty());
    QCOMPARE(g.window->theme().name, std::string("Default"));
    QCOMPARE(g.window->windowTitle(), QStringLiteral("Plain"));
  }

  void whatADeadRunLeftIsPutBackAndSaid() {
    Fixture f;
    f.prog.MakeDir("Temp");
    // A PAL fix a killed conversion left on the user's image: put back, and said so.
    const std::string image = f.prog / "game.bin";
    Bytes original = NoiseBytes(64, 3);
    // The words the fix replaced at 8: 0x00000011 and 0 (little-endian in the file).
    const Bytes words = {0x11, 0, 0, 0, 0, 0, 0, 0};
    std::copy(words.begin(), words.end(), original.begin() + 8);
    Bytes patched = original;
    patched[8] = 0x00;
    WriteFileBytes(image, patched);
    WriteFileText(f.prog / "Temp/PALFIX.UNDO", image + "\n8 00000011 00000000\n");
    QVERIFY(ui::RunStartup(f.Make(), ""));
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(f.prompter.last(),
             QString::fromStdString("An interrupted PAL -> NTSC fix on " + image +
                                    " was found and undone; the image is as "
                                    "it was before."));
    QVERIFY(f.prompter.shown[0].icon == MsgIcon::Information);
    QCOMPARE(ReadFileBytes(image), original);

    // A fix that cannot be put back is a warning.
    Fixture g;
    g.prog.MakeDir("Temp");
    WriteFileText(g.prog / "Temp/PALFIX.UNDO", (g.prog / "gone.bin") + "\n8 00000011 00000000\n");
    QVERIFY(ui::RunStartup(g.Make(), ""));
    QCOMPARE(g.prompter.shown.size(), size_t(1));
    QVERIFY(g.prompter.last().contains(QStringLiteral(" could not be undone: ")));
    QVERIFY(g.prompter.shown[0].icon == MsgIcon::Exclamation);
  }

  void secondCopyBringsTheFirstToTheFront() {
    const QString key = QStringLiteral("ebf-test-") + QUuid::createUuid().toString(QUuid::Id128);
    ui::SingleInstance first(key);
    QVERIFY(!first.AskRunningCopy(200));  // nobody runs yet
    QVERIFY(first.Listen());
    QSignalSpy raised(&first, &ui::SingleInstance::Activated);
    ui::SingleInstance second(key);
    QVERIFY(second.AskRunningCopy());
    QVERIFY(raised.wait(3000));
    QCOMPARE(raised.count(), 1);

    // The key differs by program folder, so copies installed apart do not meet.
    QVERIFY(ui::InstanceKey("/opt/a/") != ui::InstanceKey("/opt/b/"));
  }

  void theRaisedWindowComesBack() {
    Fixture f;
    ui::MainWindow& w = f.Make();
    QVERIFY(ui::RunStartup(w, ""));
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    w.showMinimized();
    w.hide();
    w.BringToFront();
    QVERIFY(w.isVisible());
    QVERIFY(!w.isMinimized());
  }
};

QTEST_MAIN(StartupTest)
#include "startup_test.moc"
