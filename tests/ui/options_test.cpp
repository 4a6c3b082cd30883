#include <QCheckBox>
#include <QComboBox>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include "app/settings.h"
#include "fakes.h"
#include "ui/options_dialog.h"

using namespace ebf;
using namespace ebf::test;

class OptionsDialogTest : public QObject {
  Q_OBJECT

  struct Fixture {
    TempDir prog;
    TempDir images, out;
    std::string settingsFile;
    Settings settings;
    ui::ThemeContext theme;
    ScriptedPrompter prompter;
    ScriptedDialogs dialogs;
    int themeReloads = 0;

    Fixture() {
      FillProgramFolder(prog);
      prog.MakeDir("Themes/Night");
      prog.MakeDir("Themes/Sketch");  // no style.ini: not a theme
      WriteFileText(prog / "Themes/Night/style.ini", "MAINBGCOL = 000000\n");
      settingsFile = prog / "ebootforge.ini";
      WriteFileText(settingsFile,
                    "LastUsedImage = /games/Some Game.cue\r\n"
                    "DefGameID = SCUS94476\r\nPreviewDelay = 2500\r\nAddISOPadding = 1\r\n"
                    "EBOOT_TOC_Extract = 2\r\nTheme = Night\r\nCompressLevel = 5\r\n");
      settings = LoadSettingsFile(settingsFile, prog.folder()).settings;
      theme.folders = prog.folder();
    }
    std::unique_ptr<ui::OptionsDialog> Open() {
      return std::make_unique<ui::OptionsDialog>(settings, settingsFile, theme, dialogs, prompter,
                                                 [this] { ++themeReloads; });
    }
  };

 private slots:
  void fillsFromSettingsAndListsThemes() {
    Fixture f;
    f.settings.defaultOutDirOpt = 2;
    f.settings.autoTransfer = 1;
    f.settings.imgResMode = 3;
    f.settings.hideNameTags = true;
    f.settings.theme = "NIGHT";  // the list entry is found case-blind
    auto d = f.Open();
    QCOMPARE(d->windowTitle(), QStringLiteral("options"));
    auto* themes = Child<QComboBox>(d.get(), "cboTheme");
    QCOMPARE(themes->count(), 2);
    QCOMPARE(themes->itemText(0), QStringLiteral("Default"));
    QCOMPARE(themes->itemText(1), QStringLiteral("Night"));
    QCOMPARE(themes->currentText(), QStringLiteral("Night"));
    QVERIFY(Child<QRadioButton>(d.get(), "optOutDirAct_2")->isChecked());
    QVERIFY(Child<QRadioButton>(d.get(), "optAutoTransAct_1")->isChecked());
    QCOMPARE(Child<QComboBox>(d.get(), "cboImgRes")->currentIndex(), 3);
    QCOMPARE(Child<QComboBox>(d.get(), "cboImgRes")->count(), 4);
    QVERIFY(Child<QCheckBox>(d.get(), "chkHideTags")->isChecked());
    QVERIFY(!Child<QCheckBox>(d.get(), "chkImgResCentre")->isChecked());
    // OK with the same theme in other letters keeps the user's spelling and reloads nothing.
    QTest::mouseClick(Child<QPushButton>(d.get(), "cmdOK"), Qt::LeftButton);
    QCOMPARE(f.themeReloads, 0);
    QCOMPARE(f.settings.theme, std::string("NIGHT"));
  }

  void okSavesAndKeepsTheFileOnlySettings() {
    Fixture f;
    auto d = f.Open();
    Child<QLineEdit>(d.get(), "txtIn")->setText(QString::fromStdString(f.images.path()));
    Child<QLineEdit>(d.get(), "txtOut")->setText(QString::fromStdString(f.out.path()));
    Child<QCheckBox>(d.get(), "chkCustSearchDest")->setChecked(true);
    Child<QCheckBox>(d.get(), "chkImgResCentre")->setChecked(true);
    Child<QComboBox>(d.get(), "cboImgRes")->setCurrentIndex(2);
    Child<QRadioButton>(d.get(), "optOutDirAct_3")->setChecked(true);
    Child<QRadioButton>(d.get(), "optAutoTransAct_2")->setChecked(true);
    Child<QComboBox>(d.get(), "cboTheme")->setCurrentIndex(0);  // Default
    Child<QLineEdit>(d.get(), "txtResources")->setText(QString::fromStdString(f.images.path()));
    Child<QLineEdit>(d.get(), "txtThumbnails")->setText(QString::fromStdString(f.out.path()));
    QTest::mouseClick(Child<QPushButton>(d.get(), "cmdOK"), Qt::LeftButton);
    QCOMPARE(d->result(), int(QDialog::Accepted));
    QCOMPARE(f.themeReloads, 1);
    QCOMPARE(f.settings.theme, std::string("Default"));

    // Read the rewritten file back as the next start would.
    const SettingsFileContents back = LoadSettingsFile(f.settingsFile, f.prog.folder());
    QCOMPARE(back.lastUsedImage.value_or(""), std::string("/games/Some Game.cue"));
    const Settings& s = back.settings;
    QCOMPARE(s.defaultImagePath, f.images.path());
    QCOMPARE(s.defaultOutputDir, f.out.path());
    QVERIFY(s.useSourceDirAsCust);
    QVERIFY(s.imgResCentre);
    QCOMPARE(s.imgResMode, 2);
    QCOMPARE(s.defaultOutDirOpt, 3);
    QCOMPARE(s.autoTransfer, 2);
    QCOMPARE(s.theme, std::string("Default"));
    QCOMPARE(s.resourceRoot, f.images.path());
    QCOMPARE(s.thumbnailsRoot, f.out.path());
    QCOMPARE(s.nameTemplate, std::string());
    // One folder per game ID is one choice away.
    auto again = f.Open();
    Child<QRadioButton>(again.get(), "optNameTemplate")->setChecked(true);
    QTest::mouseClick(Child<QPushButton>(again.get(), "cmdOK"), Qt::LeftButton);
    QCOMPARE(f.settings.nameTemplate, std::string("%GAMEID%"));
    // Settings the dialog does not show survive at their loaded values.
    QCOMPARE(s.defGameId, std::string("SCUS94476"));
    QCOMPARE(s.previewDelay, 2500L);
    QVERIFY(s.addIsoPadding);
    QCOMPARE(s.ebootTocExtract, 2);
    QCOMPARE(s.compressLevel, std::string("5"));
    QVERIFY(f.prompter.shown.empty());
  }

  void cancelChangesNothing() {
    Fixture f;
    const std::string before = ReadFileText(f.settingsFile);
    const Settings kept = f.settings;
    auto d = f.Open();
    Child<QLineEdit>(d.get(), "txtOut")->setText("/elsewhere");
    Child<QRadioButton>(d.get(), "optAutoTransAct_2")->setChecked(true);
    QTest::mouseClick(Child<QPushButton>(d.get(), "cmdCancel"), Qt::LeftButton);
    QCOMPARE(d->result(), int(QDialog::Rejected));
    QVERIFY(f.settings == kept);
    QCOMPARE(ReadFileText(f.settingsFile), before);
    QCOMPARE(f.themeReloads, 0);
  }

  void browseTitlesAreCrossed() {
    Fixture f;
    auto d = f.Open();
    f.dialogs.results = {"/picked/cust", "", "/picked/out"};
    QTest::mouseClick(Child<QPushButton>(d.get(), "cmdInBrowse"), Qt::LeftButton);
    QTest::mouseClick(Child<QPushButton>(d.get(), "cmdCustBrowse"), Qt::LeftButton);
    QTest::mouseClick(Child<QPushButton>(d.get(), "cmdOutBrowse"), Qt::LeftButton);
    QCOMPARE(f.dialogs.calls.size(), size_t(3));
    QCOMPARE(f.dialogs.calls[0].title, QStringLiteral("Select Default Customize Folder"));
    QCOMPARE(f.dialogs.calls[1].title, QStringLiteral("Select Default Image Folder"));
    QCOMPARE(f.dialogs.calls[2].title, QStringLiteral("Select Default Output Folder"));
    for (const auto& c : f.dialogs.calls) QCOMPARE(c.kind, QStringLiteral("folder"));
    QCOMPARE(Child<QLineEdit>(d.get(), "txtIn")->text(), QStringLiteral("/picked/cust"));
    // A cancelled picker leaves the box as it was.
    QCOMPARE(Child<QLineEdit>(d.get(), "txtCust")->text(), QString());
    QCOMPARE(Child<QLineEdit>(d.get(), "txtOut")->text(), QStringLiteral("/picked/out"));
  }
};

QTEST_MAIN(OptionsDialogTest)
#include "options_test.moc"
