#include <QApplication>
#include <QLineEdit>
#include <QStyle>
#include <QTest>

#include "fakes.h"
#include "ui/main_window.h"
#include "ui/options_dialog.h"
#include "ui/progress_window.h"
#include "ui/theme_apply.h"

using namespace ebf;
using namespace ebf::test;

class ThemeApplyTest : public QObject {
  Q_OBJECT
 private slots:
  void coloursReachTheWindows() {
    TempDir prog;
    FillProgramFolder(prog);
    prog.MakeDir("Themes/Red");
    WriteFileText(prog / "Themes/Red/style.ini",
                  "MAINBGCOL = 0000FF\n"  // red, written blue-green-red
                  "MAINFGCOL = 00FF00\n"
                  "MAINBGEDITCOL = FF0000\n"  // blue
                  "MAINFGEDITCOL = 102030\n"
                  "MAINBOXBGCOL = 123\n"  // too short: derived from the button face
                  "MAINTITLE = Red Alert\n"
                  "DIALOGTITEXTCOL = 00FFFF\n"  // yellow
                  "DIALOGTITEXTALPHA = 80\n"
                  "DIALOGTILINECOL = FF00FF\n"
                  "DIALOGTILINEALPHA = FFFF\n"  // more than a byte: fully opaque
                  "DIALOGTILINEHEIGHT = 5\n");
    ScriptedPrompter prompter;
    ScriptedDialogs dialogs;
    ui::MainWindow w({prog.folder(), prog / "ebootforge.ini", &prompter, &dialogs});
    w.settings().theme = "Red";
    w.LoadAndApplyTheme();

    QCOMPARE(w.palette().color(QPalette::Window), QColor(255, 0, 0));
    QCOMPARE(w.palette().color(QPalette::WindowText), QColor(0, 255, 0));
    auto* txtIn = w.findChild<QLineEdit*>("txtIn");
    QCOMPARE(txtIn->palette().color(QPalette::Base), QColor(0, 0, 255));
    QCOMPARE(txtIn->palette().color(QPalette::Text), QColor(0x30, 0x20, 0x10));
    QCOMPARE(w.windowTitle(), QStringLiteral("Red Alert"));

    const ui::WindowColours c = ui::ResolveColours(w.theme().values);
    const QColor face = QApplication::style()->standardPalette().color(QPalette::Button);
    QVERIFY(c.boxBg != face);
    QVERIFY(std::abs(c.boxBg.lightness() - face.lightness()) < 40);

    auto* header = w.findChild<ui::ThemedHeader*>("header");
    QVERIFY(header);
    QCOMPARE(header->title(), QStringLiteral("Red Alert"));
    QCOMPARE(header->textColour(), QColor(255, 255, 0, 0x80));
    QCOMPARE(header->lineColour(), QColor(255, 0, 255, 255));
    QCOMPARE(header->lineHeight(), 5);

    // The dialogs take the same theme.
    ui::ProgressWindow progress(ui::ProgressWindow::Kind::Progress, prompter, w.theme());
    QCOMPARE(progress.palette().color(QPalette::Window), QColor(255, 0, 0));
    ui::OptionsDialog options(w.settings(), prog / "ebootforge.ini", w.theme(), dialogs, prompter,
                              {});
    QCOMPARE(options.palette().color(QPalette::Window), QColor(255, 0, 0));
    QCOMPARE(options.findChild<ui::ThemedHeader*>("header")->lineHeight(), 5);

    // Switching theme replaces every colour; missing ones fall back to the desktop's.
    w.settings().theme = "Default";
    w.LoadAndApplyTheme();
    QCOMPARE(w.palette().color(QPalette::Window), QColor(0x20, 0x20, 0x20));
    QCOMPARE(w.palette().color(QPalette::WindowText),
             QApplication::style()->standardPalette().color(QPalette::ButtonText));
    QCOMPARE(w.windowTitle(), QStringLiteral("Plain"));
    // The title's text colour outlives a theme that does not name it.
    QCOMPARE(header->textColour().rgb(), QColor(255, 255, 0).rgb());
    QCOMPARE(header->lineHeight(), 0);
  }

  void picturesFallBackToDefaultThenPlaceholder() {
    TempDir prog;
    FillProgramFolder(prog);
    prog.MakeDir("Themes/Red");
    WriteFileText(prog / "Themes/Red/style.ini", "MAINBGCOL = 0000FF\n");
    QImage blue(40, 10, QImage::Format_RGB32);
    blue.fill(Qt::blue);
    QVERIFY(blue.save(QString::fromStdString(prog / "Themes/Default/Ti_Options.jpg"), "PNG"));
    QImage green(30, 10, QImage::Format_RGB32);
    green.fill(Qt::green);
    QVERIFY(green.save(QString::fromStdString(prog / "Themes/Red/Ti_Select.jpg"), "PNG"));

    ui::ThemeContext red{{}, prog.folder(), "Red"};
    QCOMPARE(ui::ThemePicture(red, "Ti_Select.jpg").width(), 30);
    QCOMPARE(ui::ThemePicture(red, "Ti_Options.jpg").width(), 40);
    const QPixmap none = ui::ThemePicture(red, "Ti_DocMaker.jpg");
    QCOMPARE(none.size(), ui::PlaceholderPicture().size());
    // A file that is there but not a picture also gets the placeholder.
    WriteFileText(prog / "Themes/Red/BG_SaveID.jpg", "not a picture");
    QCOMPARE(ui::ThemePicture(red, "BG_SaveID.jpg").size(), ui::PlaceholderPicture().size());
  }

  void shippedDefaultThemeIsComplete() {
    // The runtime tree's Default theme has every picture the windows use.
    const std::string runtime = qEnvironmentVariable("EBF_RUNTIME_DIR").toStdString();
    if (runtime.empty()) QSKIP("EBF_RUNTIME_DIR not set");
    ui::ThemeContext shipped{LoadTheme(WithTrailingSep(runtime), "Default"),
                             WithTrailingSep(runtime), "Default"};
    for (const char* name : {"Ti_Main.jpg", "Ti_Options.jpg", "Ti_Select.jpg", "Ti_DocMaker.jpg",
                             "BG_SaveID.jpg", "BG_Transfer.jpg", "Btn_Normal.png", "Btn_Hover.png",
                             "Btn_Pressed.png", "Btn_Accent.png"})
      QVERIFY2(!FindThemePicture(shipped.folders, "Default", name).empty(), name);
    QCOMPARE(ui::ThemePicture(shipped, "Ti_Options.jpg").size(), QSize(1200, 128));
    QVERIFY(shipped.values.mainBg.has_value());
    QVERIFY(shipped.values.dialogTitleLineHeight > 0);
  }
};

QTEST_MAIN(ThemeApplyTest)
#include "theme_test.moc"
