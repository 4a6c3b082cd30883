#include "common/mapped_view.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <utility>

#include "support/temp_dir.h"

namespace ebf {
namespace {

TEST(FileMapper, ViewsShowTheFileAtAnyOffsetAndOutliveTheirMover) {
  test::TempDir dir;
  const Bytes content = test::NoiseBytes(300000, 5);
  test::WriteFileBytes(dir / "image.bin", content);

  FileMapper mapper;
  EXPECT_FALSE(mapper.Map(0, 16));  // not open yet
  ASSERT_TRUE(mapper.Open(dir / "image.bin"));
  // Offsets on and off page and mapping-granularity boundaries, up to the last byte.
  for (auto [offset, length] : {std::pair<uint64_t, size_t>{0, 300000},
                                {1, 10},
                                {4095, 2},
                                {65536, 37632},
                                {70001, 200000},
                                {299999, 1}}) {
    SCOPED_TRACE(offset);
    MappedView view = mapper.Map(offset, length);
    ASSERT_TRUE(view);
    ASSERT_EQ(view.bytes().size(), length);
    EXPECT_TRUE(std::equal(view.bytes().begin(), view.bytes().end(), content.begin() + offset));
  }
  EXPECT_FALSE(mapper.Map(10, 0));

  // A moved view keeps the mapping; the mapper may close first.
  MappedView first = mapper.Map(1000, 64);
  MappedView moved = std::move(first);
  mapper.Close();
  EXPECT_FALSE(first);
  ASSERT_TRUE(moved);
  EXPECT_EQ(moved.bytes()[0], content[1000]);
  moved.Reset();
  EXPECT_FALSE(moved);
  EXPECT_TRUE(moved.bytes().empty());

  EXPECT_FALSE(mapper.Open(dir / "missing.bin"));
  EXPECT_FALSE(mapper.IsOpen());
}

}  // namespace
}  // namespace ebf
