// The block encoder, the block digests and the pipeline that runs them in order over an
// image, as the converter uses them.
#include "tarnwick/block_codec.h"
#include "pbp/block_digest.h"
#include "tarnwick/block_pipeline.h"

#include <gtest/gtest.h>
#include <libdeflate.h>
#include <zlib.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "support/temp_dir.h"

namespace ebf::tarnwick {
namespace {

using pbp::BlockDigest;
using pbp::BlockDigestValue;
using pbp::BlockHasher;

Bytes RawInflate(const Bytes& in) {
  Bytes out(kBlockSize * 2);
  z_stream z{};
  EXPECT_EQ(inflateInit2(&z, -15), Z_OK);
  z.next_in = const_cast<uint8_t*>(in.data());
  z.avail_in = static_cast<uInt>(in.size());
  z.next_out = out.data();
  z.avail_out = static_cast<uInt>(out.size());
  EXPECT_EQ(inflate(&z, Z_FINISH), Z_STREAM_END);
  out.resize(z.total_out);
  inflateEnd(&z);
  return out;
}

// Encodes one block on its own and returns its stored bytes.
Bytes Stored(BlockEncoder& encoder, const Bytes& plain) {
  Bytes out;
  StoredForm form = encoder.Append(plain, out);
  EXPECT_EQ(out.size(), form.size);
  return out;
}

// A stored-mode stream of 37,637 bytes.
Bytes StoredStream(const Bytes& plain) {
  Bytes s(5 + plain.size());
  std::copy(plain.begin(), plain.end(), s.begin() + 5);
  s[0] = 0x01, s[2] = 0x93, s[3] = 0xFF, s[4] = 0x6C;  // final, stored; LEN, NLEN
  return s;
}

TEST(BlockEncoder, EveryBlockIsACompleteDeflateStreamAtEveryLevel) {
  // Sectors of repeated text: compressible at every level.
  Bytes text(kBlockSize);
  const std::string words = "PLAYSTATION sector data, level 3 textures and a score table. ";
  for (size_t i = 0; i < text.size(); ++i) text[i] = static_cast<uint8_t>(words[i % words.size()]);
  const Bytes noise = test::NoiseBytes(kBlockSize, 7);
  for (int level = 1; level <= 9; ++level) {
    SCOPED_TRACE(level);
    BlockEncoder encoder(level);
    Bytes out = Stored(encoder, text);
    EXPECT_LT(out.size(), kBlockSize / 10);
    EXPECT_EQ(RawInflate(out), text);

    // Noise cannot shrink: the stream is kept, a little longer than the block, and is
    // never 37,632 bytes long (the size readers take for a raw block).
    out = Stored(encoder, noise);
    EXPECT_GT(out.size(), kBlockSize);
    EXPECT_LE(out.size(), 0xFFFFu);
    EXPECT_EQ(RawInflate(out), noise);

    // The same encoder goes on working after it, appending after what the buffer holds.
    Bytes run = {0xAA, 0xBB};
    StoredForm form = encoder.Append(text, run);
    ASSERT_EQ(run.size(), 2 + form.size);
    EXPECT_EQ(run[0], 0xAA);
    EXPECT_EQ(RawInflate(Bytes(run.begin() + 2, run.end())), text);
  }
  Bytes out, shortBlock(kBlockSize - 1);
  EXPECT_THROW(BlockEncoder(9).Append(shortBlock, out), std::invalid_argument);
  // Level 0: every block a stored-mode stream, 37,637 bytes, inflatable.
  BlockEncoder store(0);
  for (const Bytes* plain : {&std::as_const(text), &noise}) {
    const Bytes out = Stored(store, *plain);
    EXPECT_EQ(out, StoredStream(*plain));
    EXPECT_EQ(RawInflate(out), *plain);
  }
}

TEST(BlockEncoder, AStreamOfExactlyABlocksLengthIsStoredInstead) {
  // Noise behind a run of zeros: somewhere near 50 zeros, libdeflate's stream is exactly
  // 37,632 bytes long. Found with libdeflate itself at each level's setting.
  for (int level = 1; level <= 9; ++level) {
    SCOPED_TRACE(level);
    libdeflate_compressor* c = libdeflate_alloc_compressor(LibdeflateLevelFor(level));
    Bytes plain, stream(kBlockSize * 2);
    bool found = false;
    for (int zeros = 0; zeros < 200 && !found; ++zeros) {
      plain = test::NoiseBytes(kBlockSize, 11);
      std::fill(plain.begin(), plain.begin() + zeros, 0);
      found = libdeflate_deflate_compress(c, plain.data(), plain.size(), stream.data(),
                                          stream.size()) == kBlockSize;
    }
    libdeflate_free_compressor(c);
    ASSERT_TRUE(found);
    BlockEncoder encoder(level);
    EXPECT_EQ(Stored(encoder, plain), StoredStream(plain));
  }
}

TEST(BlockDigest, IsSha1OfEachPlainBlockWhetherHashedAloneOrInARun) {
  // Reference values from an independent SHA-1 implementation.
  Bytes zeros(kBlockSize, 0);
  Bytes counting(kBlockSize);
  for (size_t i = 0; i < counting.size(); ++i) counting[i] = static_cast<uint8_t>(i);
  // clang-format off
  EXPECT_EQ(BlockDigest(zeros), (BlockDigestValue{0xe0, 0x6d, 0x30, 0xef, 0x36, 0x5c, 0x7f, 0x60, 0x37, 0x87, 0x72, 0x28, 0x8b, 0x4e, 0x58, 0x0a}));
  EXPECT_EQ(BlockDigest(counting), (BlockDigestValue{0xa7, 0x2e, 0x10, 0x17, 0x6a, 0x24, 0x96, 0xde, 0x55, 0x2b, 0xa7, 0xe8, 0xbd, 0xff, 0x06, 0xc6}));
  // clang-format on

  // Runs shorter than, as long as and longer than the hashing lanes, each block different,
  // hashed twice by the same hasher.
  BlockHasher hasher;
  for (size_t count : {size_t{1}, size_t{3}, size_t{16}, size_t{21}}) {
    SCOPED_TRACE(count);
    Bytes run;
    for (size_t i = 0; i < count; ++i) {
      Bytes block = i % 4 == 0 ? zeros : test::NoiseBytes(kBlockSize, static_cast<uint32_t>(i));
      run.insert(run.end(), block.begin(), block.end());
    }
    for (int pass = 0; pass < 2; ++pass) {
      std::vector<BlockDigestValue> digests(count);
      hasher.Digest(run, digests);
      for (size_t i = 0; i < count; ++i)
        EXPECT_EQ(digests[i], BlockDigest(std::span(run).subspan(i * kBlockSize, kBlockSize)))
            << "block " << i;
    }
  }
  std::vector<BlockDigestValue> one(1);
  EXPECT_THROW(hasher.Digest(std::span(zeros).first(kBlockSize - 1), one), std::invalid_argument);
}

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
