#include <QApplication>
#include <QClipboard>
#include <QComboBox>
#include <QLineEdit>
#include <QTest>

#include "fakes.h"
#include "ui/fix_save_dialog.h"
#include "ui/id_key_filter.h"

using namespace ebf;
using namespace ebf::test;

class FixSaveDialogTest : public QObject {
  Q_OBJECT

  ui::ThemeContext theme_;
  ScriptedPrompter prompter_;

 private slots:
  void opensWithTheCurrentValues() {
    ui::FixSaveDialog d(theme_, prompter_, "MY SAVE", "SLUS01234");
    QCOMPARE(Child<QLineEdit>(&d, "txtSave")->text(), QStringLiteral("MY SAVE"));
    QCOMPARE(Child<QComboBox>(&d, "cboID")->currentText(), QStringLiteral("SLUS"));
    QCOMPARE(Child<QLineEdit>(&d, "txtID")->text(), QStringLiteral("01234"));
    auto* combo = Child<QComboBox>(&d, "cboID");
    QCOMPARE(combo->count(), 12);
    QCOMPARE(combo->itemText(5), QStringLiteral("SLPS"));
    QCOMPARE(combo->itemText(9), QStringLiteral("SLPS"));
    QCOMPARE(combo->itemText(11), QStringLiteral("ESPM"));

    ui::FixSaveDialog blank(theme_, prompter_, "MY SAVE", "");
    QCOMPARE(Child<QComboBox>(&blank, "cboID")->currentText(), QString());
    QCOMPARE(Child<QLineEdit>(&blank, "txtID")->text(), QString());
  }

  void keyFilterKeepsDigitsAndColon() {
    QVERIFY(ui::IdKeyFilter::Accepts('0') && ui::IdKeyFilter::Accepts('9'));
    QVERIFY(ui::IdKeyFilter::Accepts(':') && !ui::IdKeyFilter::Accepts(';'));
    QVERIFY(!ui::IdKeyFilter::Accepts('/') && !ui::IdKeyFilter::Accepts('a'));
    QVERIFY(ui::IdKeyFilter::Accepts(8) && ui::IdKeyFilter::Accepts(3) &&
            ui::IdKeyFilter::Accepts(22));

    ui::FixSaveDialog d(theme_, prompter_, "S", "");
    d.show();
    auto* id = Child<QLineEdit>(&d, "txtID");
    QTest::keyClicks(id, QStringLiteral("1a:3 b45x"));
    QCOMPARE(id->text(), QStringLiteral("1:345"));
    QTest::keyClick(id, Qt::Key_Backspace);
    QCOMPARE(id->text(), QStringLiteral("1:34"));
    // A paste is not filtered.
    QApplication::clipboard()->setText(QStringLiteral("z"));
    QTest::keyClick(id, Qt::Key_V, Qt::ControlModifier);
    QCOMPARE(id->text(), QStringLiteral("1:34z"));
  }

  void okChecksAndHandsBack() {
    ScriptedPrompter p;
    ui::FixSaveDialog d(theme_, p, "", "SLUS0123");
    d.OkClicked();
    QCOMPARE(p.last(), QLatin1String(ui::kMsgEnterSaveName));
    Child<QLineEdit>(&d, "txtSave")->setText(QStringLiteral("New save"));
    d.OkClicked();  // four digits
    QCOMPARE(p.last(), QLatin1String(ui::kMsgEnterValidId));
    QCOMPARE(p.shown.back().icon, MsgIcon::Exclamation);
    Child<QLineEdit>(&d, "txtID")->setText(QStringLiteral("1:345"));
    Child<QComboBox>(&d, "cboID")->setEditText(QStringLiteral("abc"));
    d.OkClicked();
    QCOMPARE(p.shown.size(), size_t(3));
    QCOMPARE(d.result(), int(QDialog::Rejected));
    // The prefix is not judged here; the conversion's checks refuse it later.
    Child<QComboBox>(&d, "cboID")->setEditText(QStringLiteral("abcd"));
    d.OkClicked();
    QCOMPARE(p.shown.size(), size_t(3));
    QCOMPARE(d.result(), int(QDialog::Accepted));
    QCOMPARE(d.gameId(), std::string("abcd1:345"));
    QCOMPARE(d.saveName(), std::string("New save"));
  }
};

QTEST_MAIN(FixSaveDialogTest)
#include "fix_save_test.moc"
