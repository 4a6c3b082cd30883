// Plausibility tests of slot files, with every message.

#include <gtest/gtest.h>

#include "assets/validate.h"
#include "common/bytes.h"
#include "support/outcome_print.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

// A PNG-looking header of the given size (only the fields the test reads are real).
Bytes PngHeader(uint32_t width, uint32_t height, std::size_t length = 33) {
  Bytes b = {0x89, 'P', 'N', 'G', 0x0D, 0x0A, 0x1A, 0x0A, 0, 0, 0, 13, 'I', 'H', 'D', 'R'};
  b.resize(std::max<std::size_t>(length, 24), 0);
  StoreBe32(&b[16], width);
  StoreBe32(&b[20], height);
  b.resize(length);
  return b;
}

Outcome Check(const std::string& path, int slot) {
  const SlotInfo& s = kSlots[slot];
  return ValidateCustomFile(path, s.minimumLength, s.messageName, s.signature, s.maximumWidth,
                            s.maximumHeight);
}

TEST(ValidateCustomFile, LengthSignatureAndSize) {
  TempDir dir;
  const std::string f = dir / "f";
  EXPECT_EQ(Check("", kSlotIcon0), Outcome::Success());
  EXPECT_EQ(Check(dir / "missing.png", kSlotPic1),
            Outcome::Failed("The PIC1.PNG file is WAY too small to be valid."));
  const std::string icon0Big =
      "The dimensions for ICON0.PNG are too big - make sure the PNG file is 144x80 or less.";
  // Only the first four signature bytes count: a damaged PNG tail passes.
  Bytes damaged = PngHeader(100, 100);
  damaged[5] = 0;
  Bytes wav = {'R', 'I', 'F', 'F', 36, 0, 0, 0, 'W', 'A', 'V', 'E'};
  wav.resize(44, 0);
  struct Row {
    Bytes file;
    int slot;
    std::string failure;  // "" for none
  };
  for (const Row& r : std::vector<Row>{
           {PngHeader(10, 10, 23), kSlotIcon0, "The ICON0.PNG file is WAY too small to be valid."},
           {{0xFF, 0xD8, 0xFF, 0xE0, 0, 0x10, 'J', 'F', 'I', 'F', 0, 0, 0,
             0,    0,    0,    0,    0, 0,    0,   0,   0,   0,   0, 0, 0},
            kSlotIcon0,
            "The selected ICON0.PNG file is not valid! (invalid signature)"},
           {PngHeader(144, 81), kSlotIcon0, icon0Big},
           {PngHeader(145, 10), kSlotIcon0, icon0Big},
           {PngHeader(144, 80), kSlotIcon0, ""},
           {PngHeader(481, 272), kSlotGameboot,
            "The dimensions for Gameboot PNG are too big - make sure the PNG file is 480x272 or "
            "less."},
           {PngHeader(480, 273), kSlotPic0,
            "The dimensions for PIC0.PNG are too big - make sure the PNG file is 480x272 or less."},
           {damaged, kSlotPic1, ""},
           {{'P', 'S', 'M', 'F', 0, 0, 0, 0}, kSlotIcon1, ""},
           {{'P', 'S', 'M', 'F', 0, 0, 0},
            kSlotIcon1,
            "The ICON1.PMF file is WAY too small to be valid."},
           {wav, kSlotSnd0, ""},
           {wav, kSlotIcon1, "The selected ICON1.PMF file is not valid! (invalid signature)"}}) {
    test::WriteFileBytes(f, r.file);
    EXPECT_EQ(Check(f, r.slot), r.failure.empty() ? Outcome::Success() : Outcome::Failed(r.failure))
        << r.failure;
  }
}

TEST(ValidateCustomFile, OneSidedLimits) {
  TempDir dir;
  const std::string f = dir / "f";
  // Width limit only.
  test::WriteFileBytes(f, PngHeader(200, 5000));
  EXPECT_EQ(
      ValidateCustomFile(f, 24, "X", kPngSignature4, 199, 0),
      Outcome::Failed(
          "The dimensions for X are too big - make sure the PNG file is 199 pixels wide or less."));
  EXPECT_EQ(ValidateCustomFile(f, 24, "X", kPngSignature4, 200, 0), Outcome::Success());
  // Height limit only: read from offset 4, the words " pixels high" are never added.
  Bytes b = PngHeader(1, 1);
  StoreBe32(&b[4], 273);
  test::WriteFileBytes(f, b);
  EXPECT_EQ(
      ValidateCustomFile(f, 24, "Y", kPngSignature4, 0, 272),
      Outcome::Failed("The dimensions for Y are too big - make sure the PNG file is 272 or less."));
  StoreBe32(&b[4], 272);
  StoreBe32(&b[20], 9999);  // the real IHDR height is not looked at
  test::WriteFileBytes(f, b);
  EXPECT_EQ(ValidateCustomFile(f, 24, "Y", kPngSignature4, 0, 272), Outcome::Success());
}

TEST(ValidateSlot, OnlyUserSuppliedFilesAreTested) {
  TempDir dir;
  const std::string empty = dir / "null";
  test::WriteFileBytes(empty, {});
  const std::string jpeg = dir / "photo.jpg";
  test::WriteFileText(jpeg, "user file");
  const std::string tiny = dir / "C_ICON0.png";
  test::WriteFileBytes(tiny, {0x89, 'P', 'N', 'G'});
  const SlotInfo& icon0 = kSlots[kSlotIcon0];
  // Unticked ("null"), blank (default or original) and missing files pass untested.
  EXPECT_EQ(ValidateSlot(icon0, false, jpeg, empty), Outcome::Success());
  EXPECT_EQ(ValidateSlot(icon0, true, "", empty), Outcome::Success());
  EXPECT_EQ(ValidateSlot(kSlots[kSlotSnd0], true, "  ", empty), Outcome::Success());
  EXPECT_EQ(ValidateSlot(icon0, true, dir / "gone.png", empty), Outcome::Success());
  // The user's file is tested in its converted form.
  EXPECT_EQ(ValidateSlot(icon0, true, jpeg, tiny),
            Outcome::Failed("The ICON0.PNG file is WAY too small to be valid."));
  EXPECT_EQ(ValidateSlot(kSlots[kSlotIcon1], true, jpeg, jpeg),
            Outcome::Failed("The selected ICON1.PMF file is not valid! (invalid signature)"));
}

}  // namespace
}  // namespace ebf
