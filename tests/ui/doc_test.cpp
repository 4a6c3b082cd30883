#include <QComboBox>
#include <QLineEdit>
#include <QListWidget>
#include <QTest>

#include "common/bytes.h"
#include "docmaker/document_dat.h"
#include "fakes.h"
#include "imaging/png_writer.h"
#include "support/runtime.h"
#include "ui/doc_dialog.h"
#include "ui/fix_save_dialog.h"

using namespace ebf;
using namespace ebf::test;

class DocDialogTest : public QObject {
  Q_OBJECT

  struct Fixture {
    TempDir prog, pages, out;
    ui::ThemeContext theme;
    ScriptedPrompter prompter;
    ScriptedDialogs dialogs;
    Fixture() {
      FillProgramFolder(prog);
      theme.folders = prog.folder();
    }
    std::unique_ptr<ui::DocDialog> Open(const std::string& gameId = "SLUS01234") {
      return std::make_unique<ui::DocDialog>(theme, prompter, dialogs, gameId, out.folder());
    }
  };

  static QStringList Selected(QListWidget* l) {
    QStringList s;
    for (int i = 0; i < l->count(); ++i)
      if (l->item(i)->isSelected()) s << l->item(i)->text();
    return s;
  }

 private slots:
  void opensWithIdAndOutput() {
    Fixture f;
    auto d = f.Open();
    QCOMPARE(Child<QComboBox>(d.get(), "cboID")->currentText(), QStringLiteral("SLUS"));
    QCOMPARE(Child<QLineEdit>(d.get(), "txtID")->text(), QStringLiteral("01234"));
    QCOMPARE(Child<QLineEdit>(d.get(), "txtOut")->text(),
             QString::fromStdString(f.out / "DOCUMENT.DAT"));
    auto odd = f.Open("SLUS0123");
    QCOMPARE(Child<QLineEdit>(odd.get(), "txtID")->text(), QString());
  }

  void movesAndRemovesSelectedBlocks() {
    Fixture f;
    auto d = f.Open();
    QListWidget* l = d->list();
    for (const char* p : {"a", "b", "c", "d", "e", "f"}) d->AddPage(QLatin1String(p), false);
    for (int i : {2, 3, 4}) l->item(i)->setSelected(true);  // lines 3 to 5
    d->MoveUp();
    d->MoveUp();
    QCOMPARE(d->pages(), (QStringList{"c", "d", "e", "a", "b", "f"}));
    QCOMPARE(Selected(l), (QStringList{"c", "d", "e"}));
    d->MoveUp();  // the first line is selected: nothing moves
    QCOMPARE(d->pages(), (QStringList{"c", "d", "e", "a", "b", "f"}));

    // Keys on the list: Alt+Down moves, Delete removes, Ctrl+Delete empties.
    l->clearSelection();
    l->item(4)->setSelected(true);
    QTest::keyClick(l, Qt::Key_Down, Qt::AltModifier);
    QCOMPARE(d->pages(), (QStringList{"c", "d", "e", "a", "f", "b"}));
    d->MoveDown();  // the last line is selected
    QCOMPARE(d->pages().last(), QStringLiteral("b"));
    l->item(0)->setSelected(true);
    QTest::keyClick(l, Qt::Key_Delete);
    QCOMPARE(d->pages(), (QStringList{"d", "e", "a", "f"}));
    QTest::keyClick(l, Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(Selected(l).size(), 4);
    QTest::keyClick(l, Qt::Key_Delete, Qt::ControlModifier);
    QCOMPARE(l->count(), 0);
  }

  void addsFoldersAndDrops() {
    Fixture f;
    f.pages.MakeDir("sub");
    for (const char* n : {"one.png", "two.JPEG", "notes.txt", "sub/deep.png"})
      WriteFileText(f.pages / n, "x");
    auto d = f.Open();
    f.dialogs.results = {QString::fromStdString(f.pages.folder())};
    d->AddDirClicked();
    QCOMPARE(f.dialogs.calls.back().title, QStringLiteral("Select Directory to Add"));
    QStringList got = d->pages();
    got.sort();
    QCOMPARE(got, (QStringList{QString::fromStdString(f.pages / "one.png"),
                               QString::fromStdString(f.pages / "two.JPEG")}));
    QVERIFY(Selected(d->list()).isEmpty());

    d->list()->clear();
    d->DropPaths({QString::fromStdString(f.pages / "sub"),
                  QString::fromStdString(f.pages / "notes.txt"),
                  QString::fromStdString(f.pages / "one.png")});
    QCOMPARE(d->pages(), (QStringList{QString::fromStdString(f.pages / "sub/deep.png"),
                                      QString::fromStdString(f.pages / "one.png")}));
    QCOMPARE(Selected(d->list()), QStringList{QString::fromStdString(f.pages / "one.png")});
  }

  // The file's layout is the core's (docmaker tests); here the checks, the questions and
  // the messages on the way to it, and the pages back out.
  void writesAfterTheChecksAndExtracts() {
    Fixture f;
    auto d = f.Open();
    d->OkClicked();
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgNothingToConvert));
    const std::string png = f.pages / "page.png";
    QVERIFY(WritePngFromDrawingContext(Surface(16, 16), png, 16, 16));
    for (int i = 0; i < 101; ++i) d->AddPage(QString::fromStdString(png), false);
    const std::string dat = f.out / "DOCUMENT.DAT";
    f.prompter.answers = {false};
    d->OkClicked();  // No to the page warning
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgTooManyPages));
    QVERIFY(f.prompter.shown.back().defaultNo);
    QVERIFY(!FileExists(dat));
    d->OkClicked();  // Yes, but there is no template
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgDocHeadMissing));
    QVERIFY(CopyFileTo(RuntimeFolder() + "Data/DOCHead.dat", f.prog / "Data/DOCHead.dat"));
    Child<QLineEdit>(d.get(), "txtID")->setText(QStringLiteral("0123"));
    d->OkClicked();
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgEnterValidId));
    QVERIFY(!FileExists(dat));
    Child<QLineEdit>(d.get(), "txtID")->setText(QStringLiteral("12:45"));
    d->OkClicked();
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgDocDone));
    QCOMPARE(f.prompter.shown.back().icon, MsgIcon::Information);
    const Bytes bytes = ReadFileBytes(dat);
    QVERIFY(bytes.size() > 136 + 101 * 128);
    QCOMPARE(LoadLe32(bytes.data() + 132), 101u);
    QCOMPARE(std::string(bytes.begin() + 12, bytes.begin() + 21), std::string("SLUS12:45"));

    TempDir pagesOut;
    f.dialogs.calls.clear();
    f.dialogs.results = {QString::fromStdString(dat), QString::fromStdString(pagesOut.folder())};
    d->ExtractClicked();
    QCOMPARE(f.dialogs.calls[0].title, QStringLiteral("Select a DOCUMENT.DAT file"));
    QCOMPARE(f.dialogs.calls[1].title, QStringLiteral("Select Output Directory"));
    QCOMPARE(f.prompter.last(), QLatin1String(ui::kMsgDocExtracted));
    QCOMPARE(ReadFileBytes(pagesOut / DocumentPageFileName(0, 101)), ReadFileBytes(png));
    QVERIFY(FileExists(pagesOut / DocumentPageFileName(100, 101)));
    QVERIFY(!FileExists(pagesOut / DocumentPageFileName(101, 101)));
  }
};

QTEST_MAIN(DocDialogTest)
#include "doc_test.moc"
