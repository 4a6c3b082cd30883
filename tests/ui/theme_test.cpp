#include <QStyle>
#include <cmath>

#include "fakes.h"
#include "support/runtime.h"
#include "ui/options_dialog.h"
#include "ui/progress_window.h"
#include "ui/readable_colours.h"
#include "ui/theme_apply.h"

using namespace ebf;
using namespace ebf::test;

class ThemeApplyTest : public QObject {
  Q_OBJECT

 private slots:
  void coloursReachTheWindows() {
    WindowFixture f;
    FillProgramFolder(f.prog);
    f.prog.MakeDir("Themes/Red");
    WriteFileText(f.prog / "Themes/Red/style.ini",
                  "MAINBGCOL = 000080\n"      // dark red, written blue-green-red
                  "MAINFGCOL = 00FF00\n"      // green on it: 7.0:1, taken as it is
                  "MAINBGEDITCOL = 800000\n"  // dark blue
                  "MAINFGEDITCOL = 00FFFF\n"  // yellow on it: 13.8:1
                  "MAINBOXBGCOL = 000060\n"
                  "MAINTITLE = Red Alert\n"
                  "DIALOGTITEXTCOL = 00FFFF\n"  // yellow
                  "DIALOGTITEXTALPHA = FF\n"
                  "DIALOGTILINECOL = FF00FF\n"
                  "DIALOGTILINEALPHA = FFFF\n"  // more than a byte: fully opaque
                  "DIALOGTILINEHEIGHT = 5\n");
    f.Open();
    ui::MainWindow& w = *f.w;
    w.settings().theme = "Red";
    w.LoadAndApplyTheme();

    QCOMPARE(w.palette().color(QPalette::Window), QColor(0x80, 0, 0));
    QCOMPARE(w.palette().color(QPalette::WindowText), QColor(0, 255, 0));
    auto* txtIn = w.findChild<QLineEdit*>("txtIn");
    QCOMPARE(txtIn->palette().color(QPalette::Base), QColor(0, 0, 0x80));
    QCOMPARE(txtIn->palette().color(QPalette::Text), QColor(255, 255, 0));
    QCOMPARE(w.windowTitle(), u"Red Alert"_s);

    // A box colour that is not six digits long is derived from the button face.
    const ui::WindowColours c = ui::ResolveColours(ParseTheme("MAINBOXBGCOL = 123\n"));
    const QColor face = QApplication::style()->standardPalette().color(QPalette::Button);
    QVERIFY(c.boxBg != face);
    QVERIFY(std::abs(c.boxBg.lightness() - face.lightness()) < 40);

    // Yellow on the placeholder's dark blue reads, so the title keeps its colour.
    auto* header = f.Get<ui::ThemedHeader>("header");
    QCOMPARE(header->title(), u"Red Alert"_s);
    QCOMPARE(header->textColour(), QColor(255, 255, 0, 255));
    QCOMPARE(header->lineColour(), QColor(255, 0, 255, 255));
    QCOMPARE(header->lineHeight(), 5);

    // The dialogs take the same theme.
    ui::ProgressWindow progress(ui::ProgressWindow::Kind::Progress, f.prompter, w.theme());
    QCOMPARE(progress.palette().color(QPalette::Window), QColor(0x80, 0, 0));
    ui::OptionsDialog options(w.settings(), f.prog / "ebootforge.ini", w.theme(), f.dialogs,
                              f.prompter, {});
    QCOMPARE(options.palette().color(QPalette::Window), QColor(0x80, 0, 0));
    QCOMPARE(options.findChild<ui::ThemedHeader*>("header")->lineHeight(), 5);

    // Switching theme replaces every colour; missing ones fall back to the desktop's.
    w.settings().theme = "Default";
    w.LoadAndApplyTheme();
    QCOMPARE(w.palette().color(QPalette::Window), QColor(0x20, 0x20, 0x20));
    QCOMPARE(w.windowTitle(), u"Plain"_s);
    // The title's text colour outlives a theme that does not name it.
    QCOMPARE(header->textColour().rgb(), QColor(255, 255, 0).rgb());
    QCOMPARE(header->lineHeight(), 0);
  }

  // Which file stands for a picture is the core's (FindThemePicture); here a file that is
  // missing or not a picture gets the placeholder.
  void themePictures() {
    TempDir prog;
    FillProgramFolder(prog);
    WriteFileText(prog / "Themes/Default/BG_SaveID.jpg", "not a picture");
    const ui::ThemeContext plain{{}, prog.folder(), "Default"};
    for (const char* name : {"Ti_DocMaker.jpg", "BG_SaveID.jpg"})
      QCOMPARE(ui::ThemePicture(plain, name).size(), ui::PlaceholderPicture().size());

    // The runtime tree's Default theme has every picture the windows use.
    const std::string runtime = RuntimeFolder();
    ui::ThemeContext shipped{LoadTheme(runtime, "Default"), runtime, "Default"};
    for (const char* name : {"Ti_Main.jpg", "Ti_Options.jpg", "Ti_Select.jpg", "Ti_DocMaker.jpg",
                             "BG_SaveID.jpg", "BG_Transfer.jpg", "Btn_Normal.png", "Btn_Hover.png",
                             "Btn_Pressed.png", "Btn_Accent.png"})
      QVERIFY2(!FindThemePicture(shipped.folders, "Default", name).empty(), name);
    QCOMPARE(ui::ThemePicture(shipped, "Ti_Options.jpg").size(), QSize(1200, 128));
    QVERIFY(shipped.values.mainBg.has_value());
    QVERIFY(shipped.values.dialogTitleLineHeight > 0);
  }

  // The colour rules that keep theme text legible, on pairs worked out by hand from the
  // WCAG 2 formula.
  void readableColours() {
    QCOMPARE(qRound(ui::ContrastRatio(Qt::black, Qt::white) * 100), 2100);
    QCOMPARE(qRound(ui::ContrastRatio(QColor(0x76, 0x76, 0x76), Qt::white) * 100), 454);
    QCOMPARE(qRound(ui::ContrastRatio(QColor(0x77, 0x77, 0x77), Qt::white) * 100), 448);
    QCOMPARE(ui::ContrastRatio(Qt::red, Qt::red), 1.0);

    // A readable colour moves only as far as needed. Already readable: kept (alpha dropped).
    // readable: kept (alpha dropped).
    QCOMPARE(ui::ReadableOn(QColor(0, 0, 0, 128), {Qt::white}), QColor(Qt::black));
    // #777777 on white misses by a hair; one step of 1/128 towards black gives #767676.
    QCOMPARE(ui::ReadableOn(QColor(0x77, 0x77, 0x77), {Qt::white}), QColor(0x76, 0x76, 0x76));
    // Dark grey on black turns lighter, never darker.
    const QColor lifted = ui::ReadableOn(QColor(0x20, 0x20, 0x20), {Qt::black});
    QVERIFY(lifted.red() > 0x20 && ui::ContrastRatio(lifted, Qt::black) >= 4.5);
    // Against black and white at once only a narrow band of greys reads on both: #808080
    // steps towards black until #767676, which reads 4.54:1 on either.
    QCOMPARE(ui::ReadableOn(QColor(0x80, 0x80, 0x80), {Qt::black, Qt::white}),
             QColor(0x76, 0x76, 0x76));
    // Red and white: white never reads on red (4:1), so towards black, where #161616 is
    // the first to read on red (4.53:1; #171717 gives 4.48:1).
    QCOMPARE(ui::ReadableOn(QColor(0x80, 0x80, 0x80), {Qt::red, Qt::white}),
             QColor(0x16, 0x16, 0x16));

    // White quieted nine tenths of the way to black would be #1A1A1A; on black it stops
    // at #767676, the darkest step that still reads 4.5:1 (#747474 reads 4.49:1).
    QCOMPARE(ui::QuietOn(Qt::white, Qt::black, {Qt::black}, 0.9), QColor(0x76, 0x76, 0x76));
    // A small amount is taken as it is, in steps of 1/128: a tenth is 13 steps,
    // 255 x 115 / 128 = 229.1 -> 229.
    QCOMPARE(ui::QuietOn(Qt::white, Qt::black, {Qt::black}, 0.1), QColor(229, 229, 229));

    // The shades of a picture: what it puts behind a text.
    QImage half(100, 10, QImage::Format_ARGB32);
    half.fill(Qt::black);
    for (int y = 0; y < 10; ++y)
      for (int x = 50; x < 100; ++x) half.setPixel(x, y, qRgb(255, 255, 255));
    ui::PictureShades s = ui::ShadesOf(half, half.rect(), Qt::red);
    QCOMPARE(s.dark, QColor(Qt::black));
    QCOMPARE(s.light, QColor(Qt::white));
    QCOMPARE(s.mean, QColor(128, 128, 128));
    // Only the area asked for counts, and see-through pixels show what lies under them.
    s = ui::ShadesOf(half, QRect(0, 0, 50, 10), Qt::red);
    QCOMPARE(s.light, QColor(Qt::black));
    QImage clear(20, 20, QImage::Format_ARGB32);
    clear.fill(Qt::transparent);
    s = ui::ShadesOf(clear, clear.rect(), Qt::red);
    QCOMPARE(s.dark, QColor(Qt::red));
    QCOMPARE(s.mean, QColor(Qt::red));
  }
};

QTEST_MAIN(ThemeApplyTest)
#include "theme_test.moc"
