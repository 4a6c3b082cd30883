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
  void missingConverterEndsWithItsMessage() {
    Fixture f;
    FillProgramFolder(f.prog);
    std::remove((f.prog / "Data/tarnwick.exe").c_str());
    QVERIFY(!ui::RunStartup(f.Make(), ""));
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(f.prompter.last(), QString::fromStdString(ConverterMissingMessage()));
    QVERIFY(f.prompter.shown[0].icon == MsgIcon::Critical);
    QVERIFY(f.prompter.shown[0].buttons == ui::Buttons::Ok);
    QVERIFY(!FileExists(f.prog / "ebootforge.ini"));
  }

  void missingRequiredFileEndsWithItsMessage() {
    for (const char* gone : {"Data/BASE.PBP", "Data/DATA.PSP", "PSXCust/Default/SND0.AT3",
                             "PSXCust/Default/Gameboot.png"}) {
      Fixture f;
      FillProgramFolder(f.prog);
      std::remove((f.prog / gone).c_str());
      QVERIFY2(!ui::RunStartup(f.Make(), ""), gone);
      QCOMPARE(f.prompter.shown.size(), size_t(1));
      QCOMPARE(f.prompter.last(), QString::fromStdString(MissingFilesMessage()));
      QVERIFY(f.prompter.shown[0].icon == MsgIcon::Critical);
      QVERIFY(f.resolved.empty());
    }
  }

  void settingsThemeAndPanelComeBack() {
    Fixture f;
    FillProgramFolder(f.prog);
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
    QCOMPARE(w.findChild<QPushButton*>("cmdCustShowHide")->text(),
             QStringLiteral("    Customize the EBOOT (-)"));
    QCOMPARE(w.theme().name, std::string("Night"));
    QCOMPARE(w.windowTitle(), QStringLiteral("Night Owl"));
  }

  void commandLineBeatsTheLastImage() {
    Fixture f;
    FillProgramFolder(f.prog);
    const std::string last = f.prog / "last.iso";
    const std::string given = f.prog / "given game.cue";
    WriteFileText(last, "a");
    WriteFileText(given, "b");
    WriteFileText(f.prog / "ebootforge.ini", "LastUsedImage = " + last + "\r\nShowCust = 0\r\n");
    ui::MainWindow& w = f.Make();
    QVERIFY(ui::RunStartup(w, "\"" + given + "\""));
    QCOMPARE(f.resolved, std::vector<std::string>{given});
    QVERIFY(!w.customisationShown());
    QCOMPARE(w.findChild<QPushButton*>("cmdCustShowHide")->text(),
             QStringLiteral("    Customize the EBOOT (+)"));

    // A command line naming nothing that exists falls back to the last image; a vanished
    // last image is skipped without a word.
    Fixture g;
    FillProgramFolder(g.prog);
    WriteFileText(g.prog / "ebootforge.ini", "LastUsedImage = " + (g.prog / "gone.bin") + "\r\n");
    QVERIFY(ui::RunStartup(g.Make(), g.prog / "nothing.iso"));
    QVERIFY(g.resolved.empty());
    QVERIFY(g.prompter.shown.empty());
    QCOMPARE(g.window->theme().name, std::string("Default"));
    QCOMPARE(g.window->windowTitle(), QStringLiteral("Plain"));
  }

  void whatADeadRunLeftIsPutBackAndSaid() {
    Fixture f;
    FillProgramFolder(f.prog);
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
    FillProgramFolder(g.prog);
    g.prog.MakeDir("Temp");
    const std::string gone = g.prog / "gone.bin";
    WriteFileText(g.prog / "Temp/PALFIX.UNDO", gone + "\n8 00000011 00000000\n");
    QVERIFY(ui::RunStartup(g.Make(), ""));
    QCOMPARE(g.prompter.shown.size(), size_t(1));
    QVERIFY(g.prompter.last().startsWith(
        QString::fromStdString("The PAL fix on " + gone + " could not be undone: ")));
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
    QCOMPARE(ui::InstanceKey("/opt/a/"), ui::InstanceKey("/opt/a/"));
  }

  void theRaisedWindowComesBack() {
    Fixture f;
    FillProgramFolder(f.prog);
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
