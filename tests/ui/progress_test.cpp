#include <QApplication>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTest>

#include "common/cancel.h"
#include "fakes.h"
#include "ui/progress_window.h"

using ebf::CancelNeedsConfirm;
using ebf::CancelRequested;
using ebf::test::ScriptedPrompter;
using ebf::ui::ProgressWindow;
using ebf::ui::ThemeContext;

class ProgressWindowTest : public QObject {
  Q_OBJECT
 private slots:
  void init() {
    CancelRequested = false;
    CancelNeedsConfirm = false;
  }

  void elapsedText() {
    QCOMPARE(ProgressWindow::ElapsedText(0), QStringLiteral("Time Elapsed: 0m 0s"));
    QCOMPARE(ProgressWindow::ElapsedText(125), QStringLiteral("Time Elapsed: 2m 5s"));
    QCOMPARE(ProgressWindow::ElapsedText(3600), QStringLiteral("Time Elapsed: 60m 0s"));
    QCOMPARE(ProgressWindow::ElapsedText(3661), QStringLiteral("Time Elapsed: 61m 1s"));

    ScriptedPrompter prompter;
    ProgressWindow w(ProgressWindow::Kind::Progress, prompter, ThemeContext{});
    auto* time = w.findChild<QLabel*>("lblTime");
    QVERIFY(time);
    QCOMPARE(time->text(), QStringLiteral("0s"));
    for (int i = 0; i < 65; ++i) w.Tick();
    QCOMPARE(time->text(), QStringLiteral("Time Elapsed: 1m 5s"));
    w.Reset();
    w.Tick();
    QCOMPARE(time->text(), QStringLiteral("Time Elapsed: 0m 1s"));
  }

  void timerCountsWhileShown() {
    ScriptedPrompter prompter;
    ProgressWindow w(ProgressWindow::Kind::Progress, prompter, ThemeContext{});
    w.show();
    QTRY_VERIFY_WITH_TIMEOUT(w.elapsedSeconds() >= 1, 3000);
    QVERIFY(w.findChild<QLabel*>("lblTime")->text().startsWith("Time Elapsed: 0m "));
  }

  void cancelWithoutConfirmation() {
    ScriptedPrompter prompter;
    ProgressWindow w(ProgressWindow::Kind::Progress, prompter, ThemeContext{});
    auto* cancel = w.findChild<QPushButton*>("cmdCancel");
    QVERIFY(cancel);
    QCOMPARE(cancel->text(), QStringLiteral("Cancel"));
    QTest::mouseClick(cancel, Qt::LeftButton);
    QTest::mouseClick(cancel, Qt::LeftButton);
    QVERIFY(prompter.shown.empty());
    // Two clicks leave one request; the routine takes it and it is gone.
    QVERIFY(ebf::TakeCancelRequest());
    QVERIFY(!ebf::TakeCancelRequest());
  }

  void cancelAsksWhileTheUsersFileIsRewritten() {
    ScriptedPrompter prompter;
    CancelNeedsConfirm = true;
    ProgressWindow w(ProgressWindow::Kind::Progress, prompter, ThemeContext{});
    // Loading the window clears the confirmation flag.
    QVERIFY(!CancelNeedsConfirm);

    ebf::CancelConfirmGuard guard;
    prompter.answers = {false, true};
    auto* cancel = w.findChild<QPushButton*>("cmdCancel");
    QTest::mouseClick(cancel, Qt::LeftButton);
    QVERIFY(!CancelRequested);
    QCOMPARE(prompter.shown.size(), size_t(1));
    QCOMPARE(prompter.shown[0].text,
             QStringLiteral("WARNING: cancelling this process may cause problems, such as ending "
                            "up with corrupt files - are you sure you wish to do this?"));
    QVERIFY(prompter.shown[0].defaultNo);
    QVERIFY(prompter.shown[0].icon == ebf::MsgIcon::Exclamation);
    QVERIFY(prompter.shown[0].buttons == ebf::ui::Buttons::YesNo);
    QTest::mouseClick(cancel, Qt::LeftButton);
    QVERIFY(CancelRequested);
  }

  void cannotBeClosed() {
    ScriptedPrompter prompter;
    ProgressWindow w(ProgressWindow::Kind::Progress, prompter, ThemeContext{});
    QVERIFY(!(w.windowFlags() & Qt::WindowCloseButtonHint));
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    QVERIFY(!w.close());
    QTest::keyClick(&w, Qt::Key_Escape);
    QTest::keyClick(&w, Qt::Key_F4, Qt::AltModifier);
    QApplication::processEvents();
    QVERIFY(w.isVisible());
    QVERIFY(!CancelRequested);
  }

  void hostDrivesTheControls() {
    ScriptedPrompter prompter;
    ProgressWindow w(ProgressWindow::Kind::Progress, prompter, ThemeContext{});
    ebf::Host& host = w;
    w.resize(500, w.sizeHint().height());
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    QCOMPARE(w.windowTitle(), QStringLiteral("Processing..."));
    host.SetCaption("Converting to EBOOT...");
    QCOMPARE(w.windowTitle(), QStringLiteral("Converting to EBOOT..."));
    host.SetSizeText("Image Size: 1.5 MB");
    QCOMPARE(w.findChild<QLabel*>("lblOrigSize")->text(), QStringLiteral("Image Size: 1.5 MB"));
    host.SetBytesText("Bytes written: 12 KB");
    QCOMPARE(w.findChild<QLabel*>("lblBytes")->text(), QStringLiteral("Bytes written: 12 KB"));
    host.ShowBytes(false);
    QVERIFY(w.findChild<QLabel*>("lblBytes")->isHidden());

    auto* frame = w.findChild<ebf::ui::ProgressBarFrame*>("frame");
    auto* fill = w.findChild<QWidget*>("imgFill");
    QVERIFY(frame && fill);
    QCOMPARE(fill->width(), 0);
    host.SetFraction(0.25);
    QCOMPARE(fill->width(), qRound(frame->width() * 0.25));
    host.SetFraction(1.0);
    QCOMPARE(fill->width(), frame->width());
    host.SetFraction(3.0);  // never past the frame
    QCOMPARE(fill->width(), frame->width());
    host.ShowBar(false);
    QVERIFY(frame->isHidden());

    prompter.answers = {false};
    QVERIFY(!host.AskYesNo("Overwrite?", true, ebf::MsgIcon::Exclamation));
    QCOMPARE(prompter.last(), QStringLiteral("Overwrite?"));
    QVERIFY(prompter.shown.back().defaultNo);
    // The progress window has no log; the lines go nowhere and nothing breaks.
    host.Log("ignored");
    QVERIFY(!w.findChild<QPlainTextEdit*>("txtLog"));
  }

  void logWindowHasItsExtraControls() {
    ScriptedPrompter prompter;
    ProgressWindow w(ProgressWindow::Kind::Log, prompter, ThemeContext{});
    QCOMPARE(w.objectName(), QStringLiteral("frmLog"));
    for (const char* name : {"lblErr", "lblTotProg", "lblCurProg", "imgTotal", "shpTotal",
                             "imgFill", "cmdCancel", "lblTime", "lblOrigSize", "lblBytes"})
      QVERIFY2(w.findChild<QWidget*>(name), name);
    QCOMPARE(w.findChild<QLabel*>("lblErr")->text(), QStringLiteral("Errors:"));
    ebf::Host& host = w;
    // Text goes in as it stands: a stage's words and its "Done" share one line.
    host.Log("first line");
    host.Log("\r\n  Extracting ISO... ");
    host.Log("Done");
    QCOMPARE(w.findChild<QPlainTextEdit*>("txtLog")->toPlainText(),
             QStringLiteral("first line\n  Extracting ISO... Done"));
    w.resize(600, 400);
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    host.SetTotalFraction(0.5);
    auto* total = w.findChild<ebf::ui::ProgressBarFrame*>("shpTotal");
    QCOMPARE(w.findChild<QWidget*>("imgTotal")->width(), qRound(total->width() * 0.5));
  }
};

QTEST_MAIN(ProgressWindowTest)
#include "progress_test.moc"
