#include "tarnwick/block_pipeline.h"

#include <gtest/gtest.h>

#include "support/temp_dir.h"

namespace ebf::tarnwick {
namespace {

using pbp::BlockDigest;
using pbp::BlockDigestValue;
using pbp::BlockHasher;

// Blocks that differ from each other, some compressible and some not, and a tail that
// ends part-way through a sector.
Bytes MixedImage(uint32_t blocks, uint32_t tail) {
  Bytes image;
  for (uint32_t b = 0; b < blocks; ++b) {
    Bytes block = b % 3 == 1 ? test::NoiseBytes(kBlockSize, b) : Bytes(kBlockSize, 0);
    if (b % 3 != 1) std::fill(block.begin(), block.begin() + 64 + b, static_cast<uint8_t>(b));
    image.insert(image.end(), block.begin(), block.end());
  }
  test::Append(image, test::NoiseBytes(tail, 99));
  return image;
}

TEST(BlockPipeline, HandsOverEveryBlockInOrderWithZeroFillPastTheEnd) {
  test::TempDir dir;
  const Bytes image = MixedImage(39, 1000);
  test::WriteFileBytes(dir / "image.bin", image);
  const uint32_t count = 41;  // 39 full blocks, the partial one, one wholly past the end

  for (auto [level, threads] : {std::pair{6, 1u}, {6, 2u}, {6, 7u}, {0, 1u}, {0, 3u}}) {
    SCOPED_TRACE(testing::Message() << "level " << level << ", " << threads << " threads");
    BlockSource source{dir / "image.bin", image.size(), count};
    std::vector<uint32_t> order;
    BlockEncoder reference(level);
    PipelineResult r = EncodeBlocksInOrder(source, level, threads, [&](const EncodedRun& run) {
      EXPECT_LE(run.blocks.size(), kRunBlocks);
      // What the writer gets: the pieces of the run one after another.
      std::vector<std::span<const uint8_t>> pieces;
      run.Pieces(pieces);
      Bytes written;
      for (auto piece : pieces) written.insert(written.end(), piece.begin(), piece.end());
      size_t at = 0;
      for (uint32_t k = 0; k < run.blocks.size(); ++k) {
        const uint32_t i = run.first + k;
        order.push_back(i);
        Bytes plain(kBlockSize, 0);
        size_t from = size_t{i} * kBlockSize;
        if (from < image.size())
          std::copy(image.begin() + from, image.begin() + std::min(image.size(), from + kBlockSize),
                    plain.begin());
        Bytes expected;
        StoredForm form = reference.Append(plain, expected);
        const EncodedBlockInfo& got = run.blocks[k];
        EXPECT_EQ(got.form.size, form.size) << "block " << i;
        EXPECT_EQ(got.digest, BlockDigest(plain)) << "block " << i;
        EXPECT_TRUE(at + form.size <= written.size() &&
                    std::equal(expected.begin(), expected.end(), written.begin() + at))
            << "block " << i;
        at += got.form.size;
      }
      EXPECT_EQ(at, written.size());
      return true;
    });
    EXPECT_EQ(std::tie(r.ok, r.error), std::make_tuple(true, ""));
    ASSERT_EQ(order.size(), count);
    for (uint32_t i = 0; i < count; ++i) EXPECT_EQ(order[i], i);
  }
}

TEST(BlockPipeline, StopsOnRequestAndOnReadFailure) {
  test::TempDir dir;
  const Bytes image = MixedImage(40, 0);
  test::WriteFileBytes(dir / "image.bin", image);

  // The sink says stop: nothing more is handed over, and that is no read error.
  BlockSource source{dir / "image.bin", image.size(), 40};
  uint32_t seen = 0;
  PipelineResult stopped =
      EncodeBlocksInOrder(source, 9, 2, [&](const EncodedRun&) { return ++seen < 2; });
  EXPECT_EQ(std::tie(stopped.ok, stopped.error, seen), std::make_tuple(false, "", 2u));

  // The file is shorter than the caller was told: the blocks before the gap come through,
  // then the run fails with a message naming the image.
  BlockSource tooLong{dir / "image.bin", image.size() + 3 * kBlockSize, 43};
  uint32_t delivered = 0;
  PipelineResult failed = EncodeBlocksInOrder(tooLong, 1, 2, [&](const EncodedRun& run) {
    delivered += static_cast<uint32_t>(run.blocks.size());
    return true;
  });
  EXPECT_FALSE(failed.ok);
  EXPECT_NE(failed.error.find("image.bin"), std::string::npos);
  EXPECT_LE(delivered, 2 * kRunBlocks);

  BlockSource missing{dir / "missing.bin", kBlockSize, 1};
  PipelineResult none = EncodeBlocksInOrder(missing, 9, 2, [&](const EncodedRun&) {
    ADD_FAILURE() << "no block expected";
    return true;
  });
  EXPECT_FALSE(none.ok);
  EXPECT_NE(none.error.find("Cannot read the image"), std::string::npos);
}

}  // namespace
}  // namespace ebf::tarnwick
