#include <QTest>

#include "assets/slots.h"
#include "fakes.h"
#include "imaging/png_writer.h"
#include "ui/preview_dialog.h"

using namespace ebf;
using namespace ebf::test;

namespace {

struct Colour {
  int r, g, b;
};

void WriteSolidPng(const std::string& path, int w, int h, Colour c) {
  Surface s(w, h);
  s.FillRect(0, 0, w, h, c.r, c.g, c.b);
  if (!WritePngFromDrawingContext(s, path, w, h)) qFatal("could not write %s", path.c_str());
}

Colour At(const Surface& s, int x, int y) {
  const uint8_t* p = s.Row(y) + x * 4;
  return {p[2], p[1], p[0]};
}

bool Is(Colour a, Colour b) {
  return a.r == b.r && a.g == b.g && a.b == b.b;
}

constexpr Colour kBack{100, 100, 100}, kHighlight{250, 250, 0}, kDefIcon{0, 250, 250},
    kPic0{250, 0, 0}, kPic1{0, 0, 250}, kBoot{0, 250, 0}, kIcon{250, 0, 250};

}  // namespace

class PreviewTest : public QObject {
  Q_OBJECT

  struct Fixture {
    TempDir prog, art;
    ui::PreviewInputs in;
    Fixture() {
      prog.MakeDir("Data");
      WriteSolidPng(prog / "Data/back.png", 480, 272, kBack);
      WriteSolidPng(prog / "Data/highlight.png", 200, 100, kHighlight);
      WriteSolidPng(prog / "Data/deficon.png", 144, 80, kDefIcon);
      WriteSolidPng(art / "pic0.png", 310, 180, kPic0);
      WriteSolidPng(art / "pic1.png", 480, 272, kPic1);
      WriteSolidPng(art / "boot.png", 480, 272, kBoot);
      WriteSolidPng(art / "icon0.png", 144, 80, kIcon);
      in.programFolder = prog.folder();
      in.slotFiles = {art / "icon0.png", "", art / "pic0.png",
                      art / "pic1.png",  "", art / "boot.png"};
      in.holdMs = 1500;
    }
  };

 private slots:
  void layersAreDrawnInPlace() {
    Fixture f;
    const ui::PreviewLayers l = ui::DrawPreviewLayers(f.in);
    QVERIFY(Is(At(l.base, 0, 0), kBack));
    QVERIFY(Is(At(l.background, 240, 136), kPic1));
    QVERIFY(Is(At(l.gameboot, 479, 271), kBoot));
    // A 310 x 180 PIC0 sits at (165, 87), its corner 5 pixels inside the screen's.
    const Surface& m = l.menu;
    QVERIFY(Is(At(m, 400, 87), kPic0));
    QVERIFY(Is(At(m, 400, 86), kPic1));
    QVERIFY(Is(At(m, 474, 266), kPic0));
    QVERIFY(Is(At(m, 475, 266), kPic1));
    QVERIFY(Is(At(m, 474, 267), kPic1));
    QVERIFY(Is(At(m, 165, 190), kPic0));  // below the highlight (86..185)
    QVERIFY(Is(At(m, 164, 190), kPic1));
    QVERIFY(Is(At(m, 214, 185), kHighlight));
    QVERIFY(Is(At(m, 215, 185), kPic0));
    // The highlight at (15, 86) goes over PIC0; the icon at (24, 96) over both.
    QVERIFY(Is(At(m, 15, 86), kHighlight));
    QVERIFY(Is(At(m, 14, 86), kPic1));
    QVERIFY(Is(At(m, 24, 96), kIcon));
    QVERIFY(Is(At(m, 167, 175), kIcon));
    QVERIFY(Is(At(m, 168, 176), kHighlight));

    // An unticked icon is the empty "null" file: the stock icon stands in. Without a
    // background the base shows through.
    f.in.slotFiles[0] = ResolveSlotFile(f.prog.folder(), false, "", "ICON0.PNG", false);
    f.in.slotFiles[3] = "";
    const ui::PreviewLayers plain = ui::DrawPreviewLayers(f.in);
    QVERIFY(Is(At(plain.menu, 24, 96), kDefIcon));
    QVERIFY(Is(At(plain.menu, 300, 20), kBack));
  }

  void fadeSequence() {
    Fixture f;
    ui::PreviewDialog d(f.in, {});
    QCOMPARE(d.interval(), 1500);
    QVERIFY(d.timer().isActive());
    QCOMPARE(d.alpha(), 0);
    QVERIFY(!d.animating());
    QCOMPARE(&d.shown(), &d.layers().menu);

    d.Tick();  // end of the hold: the fade starts at the next tick
    QCOMPARE(d.interval(), 60);
    QVERIFY(!d.animating());
    QList<int> alphas;
    for (int i = 0; i < 7; ++i) {
      d.Tick();
      QVERIFY(d.animating());
      alphas << d.alpha();
      if (i == 0) {
        // Mostly the boot picture, a little background.
        const Colour c = At(d.shown(), 240, 136);
        QVERIFY(c.g > 180 && c.b > 0 && c.b < 60);
      }
      QCOMPARE(d.interval(), i < 6 ? 60 : 1500);
    }
    QCOMPARE(alphas, (QList<int>{40, 80, 120, 160, 200, 240, 255}));
    QVERIFY(Is(At(d.shown(), 240, 136), kPic1));  // the background alone

    d.Tick();  // after holding the background, back to the menu
    QCOMPARE(d.alpha(), 0);
    QVERIFY(!d.animating());
    QCOMPARE(&d.shown(), &d.layers().menu);
    QCOMPARE(d.interval(), 1500);
    d.Tick();
    QCOMPARE(d.interval(), 60);
  }
};

QTEST_MAIN(PreviewTest)
#include "preview_test.moc"
