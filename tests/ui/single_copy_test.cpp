#include <QLocalSocket>
#include <QProcess>

#include "fakes.h"
#include "ui/single_instance.h"

using namespace ebf;
using namespace ebf::test;

// The real program, copied into a program folder of its own: a second start finds the
// first through the local socket and ends at once, leaving the first running.
class SingleCopyTest : public QObject {
  Q_OBJECT
 private slots:
  void secondStartEndsAndLeavesTheFirst() {
    const QString exe = qEnvironmentVariable("EBF_GUI_EXE");
    if (exe.isEmpty()) QSKIP("EBF_GUI_EXE not set");
    TempDir prog;
    FillProgramFolder(prog);
    namespace fs = std::filesystem;
    const fs::path copy = fs::path(prog.path()) / "ebootforge";
    fs::copy_file(exe.toStdString(), copy);
    const std::string folder = WithTrailingSep(fs::canonical(prog.path()).string());

    // Both copies inherit the test's offscreen platform.
    QProcess first;
    first.start(Q(copy.string()), {});
    QVERIFY(first.waitForStarted(10000));
    const QString key = ui::InstanceKey(folder);
    auto listening = [&] {
      QLocalSocket probe;
      probe.connectToServer(key);
      return probe.waitForConnected(100);
    };
    QTRY_VERIFY2_WITH_TIMEOUT(listening(), "the first copy never opened its socket", 20000);

    QProcess second;
    second.start(Q(copy.string()), {});
    QVERIFY(second.waitForFinished(10000));
    QCOMPARE(second.exitStatus(), QProcess::NormalExit);
    QCOMPARE(second.exitCode(), 0);
    QCOMPARE(first.state(), QProcess::Running);
    // Nothing was written beside the program by either copy.
    QVERIFY(!FileExists(prog / "ebootforge.ini"));

    first.kill();
    QVERIFY(first.waitForFinished(10000));
  }
};

QTEST_GUILESS_MAIN(SingleCopyTest)
#include "single_copy_test.moc"
