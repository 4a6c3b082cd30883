// The colour rules that keep theme text legible, on pairs worked out by hand from the
// WCAG 2 formula.
#include <QTest>

#include "ui/readable_colours.h"

using namespace ebf::ui;

class ReadableColoursTest : public QObject {
  Q_OBJECT
 private slots:
  void contrastOfKnownPairs() {
    QCOMPARE(qRound(ContrastRatio(Qt::black, Qt::white) * 100), 2100);
    QCOMPARE(qRound(ContrastRatio(QColor(0x76, 0x76, 0x76), Qt::white) * 100), 454);
    QCOMPARE(qRound(ContrastRatio(QColor(0x77, 0x77, 0x77), Qt::white) * 100), 448);
    QCOMPARE(ContrastRatio(Qt::red, Qt::red), 1.0);
  }

  void readableMovesOnlyAsFarAsNeeded() {
    // Already readable: kept (alpha dropped).
    QCOMPARE(ReadableOn(QColor(0, 0, 0, 128), {Qt::white}), QColor(Qt::black));
    // #777777 on white misses by a hair; one step of 1/128 towards black gives #767676.
    QCOMPARE(ReadableOn(QColor(0x77, 0x77, 0x77), {Qt::white}), QColor(0x76, 0x76, 0x76));
    // Dark grey on black turns lighter, never darker.
    const QColor lifted = ReadableOn(QColor(0x20, 0x20, 0x20), {Qt::black});
    QVERIFY(lifted.red() > 0x20 && ContrastRatio(lifted, Qt::black) >= 4.5);
    // Against black and white at once only a narrow band of greys reads on both: #808080
    // steps towards black until #767676, which reads 4.54:1 on either.
    QCOMPARE(ReadableOn(QColor(0x80, 0x80, 0x80), {Qt::black, Qt::white}),
             QColor(0x76, 0x76, 0x76));
    // Red and white: white never reads on red (4:1), so towards black, where #161616 is
    // the first to read on red (4.53:1; #171717 gives 4.48:1).
    QCOMPARE(ReadableOn(QColor(0x80, 0x80, 0x80), {Qt::red, Qt::white}), QColor(0x16, 0x16, 0x16));
  }

  void quietStopsAtTheRatio() {
    // White quieted nine tenths of the way to black would be #1A1A1A; on black it stops
    // at #767676, the darkest step that still reads 4.5:1 (#747474 reads 4.49:1).
    QCOMPARE(QuietOn(Qt::white, Qt::black, {Qt::black}, 0.9), QColor(0x76, 0x76, 0x76));
    // A small amount is taken as it is, in steps of 1/128: a tenth is 13 steps,
    // 255 x 115 / 128 = 229.1 -> 229.
    QCOMPARE(QuietOn(Qt::white, Qt::black, {Qt::black}, 0.1), QColor(229, 229, 229));
  }

  void shadesOfAPicture() {
    QImage half(100, 10, QImage::Format_ARGB32);
    half.fill(Qt::black);
    for (int y = 0; y < 10; ++y)
      for (int x = 50; x < 100; ++x) half.setPixel(x, y, qRgb(255, 255, 255));
    PictureShades s = ShadesOf(half, half.rect(), Qt::red);
    QCOMPARE(s.dark, QColor(Qt::black));
    QCOMPARE(s.light, QColor(Qt::white));
    QCOMPARE(s.mean, QColor(128, 128, 128));
    // Only the area asked for counts, and see-through pixels show what lies under them.
    s = ShadesOf(half, QRect(0, 0, 50, 10), Qt::red);
    QCOMPARE(s.light, QColor(Qt::black));
    QImage clear(20, 20, QImage::Format_ARGB32);
    clear.fill(Qt::transparent);
    s = ShadesOf(clear, clear.rect(), Qt::red);
    QCOMPARE(s.dark, QColor(Qt::red));
    QCOMPARE(s.mean, QColor(Qt::red));
  }
};

QTEST_MAIN(ReadableColoursTest)
#include "readable_colours_test.moc"
