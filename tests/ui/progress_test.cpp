#include <atomic>
#include <chrono>
#include <thread>

#include "common/cancel.h"
#include "common/outcome.h"
#include "fakes.h"
#include "support/outcome_print.h"
#include "ui/job_runner.h"
#include "ui/progress_window.h"

using ebf::CancelToken;
using ebf::Outcome;
using namespace Qt::StringLiterals;
using ebf::test::Child;
using ebf::test::GapWatch;
using ebf::test::ScriptedPrompter;
using ebf::ui::ProgressWindow;
using ebf::ui::ThemeContext;

class ProgressWindowTest : public QObject {
  Q_OBJECT
 private slots:
  // The clock, Cancel (which asks nothing while no user's file is being rewritten: the
  // question asked while one is is aJobRunsBesideTheWindow's), the stages on the controls;
  // and the window cannot be closed.
  void clockCancelStagesAndTheLogWindow() {
    for (auto [seconds, text] : {std::pair{0, "0m 0s"}, {125, "2m 5s"}, {3661, "61m 1s"}})
      QCOMPARE(ProgressWindow::ElapsedText(seconds), u"Time Elapsed: "_s + text);
    ScriptedPrompter prompter;
    ProgressWindow w(ProgressWindow::Kind::Progress, prompter, ThemeContext{});
    auto* time = w.findChild<QLabel*>("lblTime");
    QCOMPARE(time->text(), u"0s"_s);
    for (int i = 0; i < 65; ++i) w.Tick();
    QCOMPARE(time->text(), u"Time Elapsed: 1m 5s"_s);
    w.Reset();
    w.Tick();
    QCOMPARE(time->text(), u"Time Elapsed: 0m 1s"_s);

    auto* cancel = w.findChild<QPushButton*>("cmdCancel");
    QCOMPARE(cancel->text(), u"Cancel"_s);
    QTest::mouseClick(cancel, Qt::LeftButton);  // no job: nothing to stop
    CancelToken token;
    w.SetCancelToken(&token);
    QTest::mouseClick(cancel, Qt::LeftButton);
    QTest::mouseClick(cancel, Qt::LeftButton);
    QVERIFY(prompter.shown.empty());
    QVERIFY(token.Take());
    QVERIFY(!token.Take());  // two clicks, one request

    ebf::Progress& progress = w;
    w.resize(500, w.sizeHint().height());
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    // It cannot be closed: neither by its frame nor by keys.
    QVERIFY(!(w.windowFlags() & Qt::WindowCloseButtonHint));
    QVERIFY(!w.close());
    QTest::keyClick(&w, Qt::Key_Escape);
    QTest::keyClick(&w, Qt::Key_F4, Qt::AltModifier);
    QApplication::processEvents();
    QVERIFY(w.isVisible());
    QCOMPARE(w.windowTitle(), u"Processing..."_s);
    auto* frame = Child<ebf::ui::ProgressBarFrame>(&w, "frame");
    auto* fill = Child<QWidget>(&w, "imgFill");
    auto* bytes = Child<QLabel>(&w, "lblBytes");

    // A stage names the window; a known total fills the bar (never past the frame).
    progress.BeginStage("Adding RAW padding...");
    QCOMPARE(w.windowTitle(), u"Adding RAW padding..."_s);
    QCOMPARE(fill->width(), 0);
    progress.Advance(25, 100);
    QCOMPARE(fill->width(), qRound(frame->width() * 0.25));
    progress.Advance(300, 100);
    QCOMPARE(fill->width(), frame->width());
    progress.EndStage(true);

    // A compressed package: the size of the image, and the bytes written instead of a bar.
    progress.BeginStage("Converting to EBOOT...", 1.0, 1572864);
    QCOMPARE(w.windowTitle(), u"Converting to EBOOT..."_s);
    QCOMPARE(w.findChild<QLabel*>("lblOrigSize")->text(), u"Image Size: 1.5 MB"_s);
    progress.Advance(12288, 0);
    QCOMPARE(bytes->text(), u"Bytes written: 12 KB"_s);
    QVERIFY(frame->isHidden() && !bytes->isHidden());
    progress.EndStage(true);
    QVERIFY(!frame->isHidden() && bytes->isHidden());
    // The progress window has no log; the lines go nowhere and nothing breaks.
    progress.Log("ignored");
    QVERIFY(!w.findChild<QPlainTextEdit*>("txtLog"));
    // Shown, the window keeps the time itself.
    QTRY_VERIFY_WITH_TIMEOUT(w.elapsedSeconds() >= 2, 3000);
    QVERIFY(time->text().startsWith("Time Elapsed: 0m "));

    // The log window: its extra controls, and the stages in its log.
    ProgressWindow log(ProgressWindow::Kind::Log, prompter, ThemeContext{});
    QCOMPARE(log.findChild<QLabel*>("lblErr")->text(), u"Errors:"_s);
    ebf::Progress& logged = log;
    // A stage's words and its "Done" share one line; text is added as it stands.
    logged.Log("first line");
    logged.BeginStage("", 1.0);
    logged.BeginStage("Extracting ISO...", 0.5);
    logged.EndStage(true);
    logged.BeginStage("Converting to EBOOT...", 0.5);
    log.resize(600, 400);
    log.show();
    QVERIFY(QTest::qWaitForWindowExposed(&log));
    // Half the run is behind: the total bar says so while the stage's own bar starts again.
    logged.Advance(0, 10);
    auto* total = log.findChild<ebf::ui::ProgressBarFrame*>("shpTotal");
    QCOMPARE(log.findChild<QWidget*>("imgTotal")->width(), qRound(total->width() * 0.5));
    logged.Advance(5, 10);
    QCOMPARE(log.findChild<QWidget*>("imgTotal")->width(), qRound(total->width() * 0.75));
    logged.EndStage(false);
    logged.EndStage(true);
    QCOMPARE(log.findChild<QPlainTextEdit*>("txtLog")->toPlainText(),
             u"first line\n  Extracting ISO... Done\n  Converting to EBOOT... "_s);
  }

  // A job on its worker thread: the window answers at once, its stages arrive queued, a
  // question waits for the user, and Cancel (confirmed while the user's file is at stake)
  // stops it.
  void aJobRunsBesideTheWindow() {
    ScriptedPrompter prompter;
    ProgressWindow w(ProgressWindow::Kind::Progress, prompter, ThemeContext{});
    w.show();
    QVERIFY(QTest::qWaitForWindowExposed(&w));
    ebf::ui::WorkerQuestions questions(prompter, &w);
    prompter.answers = {true, false, true};  // the job's question, then the two cancels

    GapWatch gaps;
    qint64 cancelledAt = 0;
    // Cancel twice: the first is not confirmed, the second is.
    QTimer::singleShot(300, &w, [&] {
      QTest::mouseClick(w.findChild<QPushButton*>("cmdCancel"), Qt::LeftButton);
    });
    QTimer::singleShot(600, &w, [&] {
      cancelledAt = gaps.clock.elapsed();
      QTest::mouseClick(w.findChild<QPushButton*>("cmdCancel"), Qt::LeftButton);
    });
    std::atomic<bool> onWorker{false};
    const Outcome result = ebf::ui::RunJob(
        w, questions, [&](ebf::Progress& p, ebf::Questions& q, CancelToken& cancel) {
          onWorker = QThread::currentThread() != w.thread();
          if (!q.AskYesNo("Begin?", false)) return Outcome::Declined();
          ebf::Stage stage(p, "Rewriting your image...");
          CancelToken::ConfirmScope confirm(cancel);
          // Busy for far longer than the test waits, unless cancelled.
          for (int i = 0; i < 3000; ++i) {
            if (cancel.Take()) return Outcome::Cancelled();
            stage.Advance(static_cast<uint64_t>(i), 3000);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
          }
          stage.Done();
          return Outcome::Success();
        });
    const qint64 endedAt = gaps.clock.elapsed(), worstGap = gaps.Worst();
    QCOMPARE(result, Outcome::Cancelled());
    QVERIFY(onWorker);
    QCOMPARE(prompter.shown.size(), size_t(3));
    QCOMPARE(prompter.shown[0].text, u"Begin?"_s);
    for (std::size_t i : {1, 2}) {
      QCOMPARE(prompter.shown[i].text,
               u"WARNING: cancelling this process may cause problems, such as "
               "ending up with corrupt files - are you sure you wish to do this?"_s);
      QVERIFY(prompter.shown[i].defaultNo);
      QVERIFY(prompter.shown[i].icon == ebf::MsgIcon::Exclamation);
      QVERIFY(prompter.shown[i].buttons == ebf::ui::Buttons::YesNo);
    }
    QCOMPARE(w.windowTitle(), u"Rewriting your image..."_s);
    QVERIFY2(worstGap < 100, qPrintable(u"worst gap %1 ms"_s.arg(worstGap)));
    QVERIFY2(endedAt - cancelledAt < 1000,
             qPrintable(u"stopped %1 ms after Cancel"_s.arg(endedAt - cancelledAt)));
  }
};

QTEST_MAIN(ProgressWindowTest)
#include "progress_test.moc"
