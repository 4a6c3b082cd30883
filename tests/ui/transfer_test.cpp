#include <QComboBox>
#include <QPushButton>
#include <QTest>

#include "fakes.h"
#include "transfer/psp_copy.h"
#include "transfer/volumes.h"
#include "ui/dialog_hooks.h"
#include "ui/transfer_dialog.h"

using namespace ebf;
using namespace ebf::test;

class TransferTest : public QObject {
  Q_OBJECT

  struct Fixture {
    TempDir psp, source;
    ui::ThemeContext theme;
    ScriptedPrompter prompter;
    FixedVolumes volumes;
    Fixture() : volumes({{psp.path(), "  PSP STICK "}}) {
      WriteFileText(source / "EBOOT.PBP", "new package");
    }
    std::unique_ptr<ui::TransferDialog> Open(const std::string& title, int autoTransfer,
                                             VolumeSource* v = nullptr) {
      return std::make_unique<ui::TransferDialog>(
          theme, prompter, v ? *v : volumes,
          ui::TransferRequest{source.folder(), title, "SLUS01234", autoTransfer});
    }
  };

 private slots:
  void listsVolumesAndEnablesOk() {
    Fixture f;
    auto d = f.Open("Game", 1);
    auto* drives = d->findChild<QComboBox*>("cboDrive");
    QCOMPARE(drives->count(), 1);
    QCOMPARE(drives->currentText(), QString::fromStdString("[" + f.psp.path() + "] PSP STICK"));
    QVERIFY(d->findChild<QPushButton*>("cmdOK")->isEnabled());

    FixedVolumes none({});
    auto empty = f.Open("Game", 1, &none);
    QCOMPARE(empty->drives()->count(), 0);
    QVERIFY(!empty->findChild<QPushButton*>("cmdOK")->isEnabled());
  }

  void copiesByTitleOrId() {
    Fixture f;
    const std::string title = "A Rather Long Game Title That Goes On";  // 37 characters
    auto byTitle = f.Open(title, 1);
    byTitle->OkClicked();
    QCOMPARE(byTitle->result(), int(QDialog::Accepted));
    const std::string titled = f.psp.path() + "/PSP/GAME/A Rather Long Game Title That G";
    QCOMPARE(byTitle->target(), titled);
    QCOMPARE(ReadFileText(titled + "/EBOOT.PBP"), std::string("new package"));
    QVERIFY(f.prompter.shown.empty());

    f.Open(title, 2)->OkClicked();
    QCOMPARE(ReadFileText(f.psp.path() + "/PSP/GAME/SLUS01234/EBOOT.PBP"),
             std::string("new package"));

    // A package already there: the question reaches the user, and No keeps it.
    WriteFileText(f.source / "EBOOT.PBP", "newer package");
    f.prompter.answers = {false};
    f.Open(title, 2)->OkClicked();
    QCOMPARE(f.prompter.shown.size(), size_t(1));
    QCOMPARE(ReadFileText(f.psp.path() + "/PSP/GAME/SLUS01234/EBOOT.PBP"),
             std::string("new package"));
  }

  void folderThatCannotBeMadeKeepsTheDialogOpen() {
    Fixture f;
    WriteFileText(f.psp / "PSP", "a file where the folder should be");
    auto d = f.Open("Game", 1);
    d->show();
    d->OkClicked();
    QCOMPARE(f.prompter.last(), QLatin1String(kMsgCouldNotCreateFolders));
    QCOMPARE(f.prompter.shown.back().icon, MsgIcon::Critical);
    QVERIFY(d->isVisible());
  }

  void hooksKnowThePspGameFolder() {
    Fixture f;
    ui::MainWindow::Hooks hooks;
    ui::InstallDialogHooks(hooks, {std::make_shared<FixedVolumes>(f.volumes), {}});
    QVERIFY(hooks.selectGame && hooks.customGame && hooks.openDocMaker && hooks.openPreview &&
            hooks.openTransfer && hooks.ebootToIso);
    const std::string game = f.psp.path() + "/PSP/GAME/MYGAME";
    // The rule is the core's (PspGameFolder); here only that the hook asks the volumes.
    QVERIFY(hooks.isOnPspGameFolder(game));
    QVERIFY(!hooks.isOnPspGameFolder("/elsewhere/PSP/GAME/MYGAME"));
  }
};

QTEST_MAIN(TransferTest)
#include "transfer_test.moc"
