#include "common/async_writer.h"

#include <gtest/gtest.h>

#include "common/files.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::NoiseBytes;
using test::ReadFileBytes;
using test::TempDir;

TEST(AsyncWriter, KeepsOrderAcrossChunksAndReportsFailures) {
  TempDir dir;
  const Bytes data = NoiseBytes(100000, 9);
  {
    File out(dir / "out.bin", File::Mode::Write);
    AsyncWriter w(out, 4096);
    // Pieces of odd sizes that straddle chunk boundaries.
    std::size_t at = 0, step = 1;
    while (at < data.size()) {
      std::size_t n = std::min(step, data.size() - at);
      ASSERT_TRUE(w.Write(std::span<const uint8_t>(data.data() + at, n)));
      at += n;
      step = step * 3 % 9001 + 1;
    }
    ASSERT_TRUE(w.Flush());
    EXPECT_EQ(ReadFileBytes(dir / "out.bin"), data);
    // What is written after a flush and never flushed again still lands on destruction.
    ASSERT_TRUE(w.Write(std::span<const uint8_t>(data.data(), 10)));
  }
  EXPECT_EQ(FileSize(dir / "out.bin"), data.size() + 10);

  if (!FileExists("/dev/full")) GTEST_SKIP() << "no /dev/full to fail writes on";
  File full("/dev/full", File::Mode::Write);
  ASSERT_TRUE(full);
  AsyncWriter w(full, 4096);
  w.Write(data);
  EXPECT_FALSE(w.Flush());
  EXPECT_NE(w.TakeError(), "");
  EXPECT_EQ(w.TakeError(), "");  // taken once
}

}  // namespace
}  // namespace ebf
