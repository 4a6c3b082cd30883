#include "tarnwick/block_codec.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <cstdio>

#include "support/temp_dir.h"

namespace ebf::tarnwick {
namespace {

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

std::string Hex(const std::array<uint8_t, 16>& d) {
  std::string s;
  char buf[3];
  for (uint8_t b : d) {
    std::snprintf(buf, sizeof buf, "%02x", b);
    s += buf;
  }
  return s;
}

// Sectors of repeated text: compressible at every level.
Bytes TextBlock() {
  Bytes b(kBlockSize);
  const std::string text = "PLAYSTATION sector data, level 3 textures and a score table. ";
  for (size_t i = 0; i < b.size(); ++i) b[i] = static_cast<uint8_t>(text[i % text.size()]);
  return b;
}

TEST(BlockEncoder, DeflatesWhatShrinksAndStoresTheRest) {
  const Bytes text = TextBlock();
  const Bytes noise = test::NoiseBytes(kBlockSize, 7);
  for (int level = 1; level <= 9; ++level) {
    SCOPED_TRACE(level);
    BlockEncoder encoder(level);
    EncodedBlock out;
    encoder.Encode(text, out);
    EXPECT_TRUE(out.deflated);
    EXPECT_LT(out.data.size(), kBlockSize / 10);
    EXPECT_EQ(RawInflate(out.data), text);

    // Noise cannot shrink: stored as it is, never a deflate stream of 37,632 bytes or more.
    encoder.Encode(noise, out);
    EXPECT_FALSE(out.deflated);
    EXPECT_EQ(out.data, noise);

    // The same encoder goes on working after a stored block.
    encoder.Encode(text, out);
    EXPECT_TRUE(out.deflated);
    EXPECT_EQ(RawInflate(out.data), text);
  }
  BlockEncoder store(0);
  EncodedBlock out;
  store.Encode(text, out);
  EXPECT_FALSE(out.deflated);
  EXPECT_EQ(out.data, text);
}

TEST(BlockEncoder, DigestIsSha1OfThePlainBlockWhateverItsForm) {
  // Reference values from an independent SHA-1 implementation.
  Bytes zeros(kBlockSize, 0);
  Bytes counting(kBlockSize);
  for (size_t i = 0; i < counting.size(); ++i) counting[i] = static_cast<uint8_t>(i);
  EXPECT_EQ(Hex(BlockDigest(zeros)), "e06d30ef365c7f60378772288b4e580a");
  EXPECT_EQ(Hex(BlockDigest(counting)), "a72e10176a2496de552ba7e8bdff06c6");

  EncodedBlock deflated, stored;
  BlockEncoder(9).Encode(zeros, deflated);
  BlockEncoder(0).Encode(zeros, stored);
  EXPECT_TRUE(deflated.deflated);
  EXPECT_EQ(Hex(deflated.digest), "e06d30ef365c7f60378772288b4e580a");
  EXPECT_EQ(deflated.digest, stored.digest);
}

TEST(BlockEncoder, RejectsABlockOfTheWrongSize) {
  BlockEncoder encoder(9);
  EncodedBlock out;
  Bytes shortBlock(kBlockSize - 1);
  EXPECT_THROW(encoder.Encode(shortBlock, out), std::invalid_argument);
}

}  // namespace
}  // namespace ebf::tarnwick
