// Deterministic damage to real pictures on every test run (the fuzzers go further): any
// result must be either a refusal or a consistent picture within the size limits.

#include <gtest/gtest.h>

#include <random>

#include "common/bytes.h"
#include "imaging/picture.h"
#include "support/picture_tools.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

TEST(Mutation, DamagedPicturesNeverBreakTheReaders) {
  ASSERT_TRUE(test::Installed("convert"));
  test::TempDir dir;
  const std::string source = dir / "s.pam";
  test::WritePam(source, test::GradientPicture(19, 13, true));
  const std::vector<std::pair<std::string, std::string>> seeds = {
      {"bmp3:a.bmp", "-alpha off"},
      {"bmp3:b.bmp", "-alpha off -colors 12 -compress RLE -type palette"},
      {"bmp3:c.bmp", "-alpha off -colors 12 -compress none"},
      {"bmp:d.bmp", ""},
      {"bmp2:e.bmp", "-alpha off -type palette"},
      {"ico:f.ico", "-define icon:auto-resize=16,32"},
      {"cur:g.cur", ""},
      {"gif:h.gif", "-interlace GIF"},
      {"png:i.png", ""},
      {"jpg:j.jpg", "-alpha off"},
  };
  std::mt19937 random(20240601);
  for (const auto& [target, options] : seeds) {
    SCOPED_TRACE(target);
    const std::string path = test::MakeWithImageMagick(source, target, options, dir.folder());
    ASSERT_FALSE(path.empty());
    const Bytes original = test::ReadFileBytes(path);
    Picture picture;
    ASSERT_TRUE(DecodePicture(original, picture));
    for (int round = 0; round < 400; ++round) {
      Bytes damaged = original;
      const int edits = 1 + static_cast<int>(random() % 4);
      for (int e = 0; e < edits; ++e) {
        // Headers are where lies hurt: aim half the edits at the first 64 bytes.
        const std::size_t limit =
            (random() & 1) ? std::min<std::size_t>(64, damaged.size()) : damaged.size();
        const std::size_t at = random() % limit;
        switch (random() % 3) {
          case 0:
            damaged[at] ^= static_cast<uint8_t>(1u << (random() % 8));
            break;
          case 1:
            damaged[at] = (random() & 1) ? 0xFF : 0x00;
            break;
          default:
            damaged.resize(at + 1);
            break;
        }
      }
      if (DecodePicture(damaged, picture)) {
        ASSERT_GE(picture.width, 1);
        ASSERT_LE(picture.width, kMaxPictureSide);
        ASSERT_LE(picture.height, kMaxPictureSide);
        ASSERT_EQ(picture.bgra.size(),
                  static_cast<std::size_t>(picture.width) * picture.height * 4);
      } else {
        ASSERT_TRUE(picture.empty());
        ASSERT_TRUE(picture.bgra.empty());
      }
    }
  }
}

}  // namespace
}  // namespace ebf
