// Line splitting through the fixed buffer: every kind of line end, ends that straddle a
// buffer refill, and lines longer than the limit.
#include "disc/line_reader.h"

#include <gtest/gtest.h>

#include "common/text.h"
#include "support/temp_dir.h"

namespace ebf::test {
namespace {

std::vector<std::string> ReadAll(const std::string& path, std::size_t maxLine,
                                 std::vector<bool>* cut = nullptr) {
  File f(path, File::Mode::Read);
  LineReader reader(f, maxLine);
  std::vector<std::string> lines;
  std::string line;
  while (reader.Next(line)) {
    lines.push_back(line);
    if (cut) cut->push_back(reader.lastTooLong());
  }
  return lines;
}

TEST(LineReader, SplitsAsTheTextHelperDoes) {
  TempDir dir;
  std::string path = dir / "t.txt";
  const char* ends[] = {"\r\n", "\n", "\r", "\r\n\r\n", "\n\r"};
  // Line lengths chosen so that line ends fall on and around the 64 KB refill.
  for (std::size_t shift = 65530; shift < 65540; ++shift) {
    std::string text(shift, 'a');
    for (int i = 0; i < 40; ++i)
      text += ends[i % 5] + std::string(static_cast<std::size_t>(i), 'b');
    WriteFileText(path, text);
    std::vector<std::string> expected = SplitLines(text);
    while (!expected.empty() && expected.back().empty()) expected.pop_back();
    EXPECT_EQ(ReadAll(path, 1 << 20), expected) << shift;
  }
  WriteFileText(path, "");
  EXPECT_TRUE(ReadAll(path, 10).empty());
  WriteFileText(path, "\r\n");
  EXPECT_EQ(ReadAll(path, 10), std::vector<std::string>{""});
}

TEST(LineReader, LongLinesAreCutAndFlagged) {
  TempDir dir;
  std::string path = dir / "t.txt";
  WriteFileText(path, std::string(200000, 'x') + "\nshort\n" + std::string(11, 'y'));
  std::vector<bool> cut;
  auto lines = ReadAll(path, 10, &cut);
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0], std::string(10, 'x'));
  EXPECT_EQ(lines[1], "short");
  EXPECT_EQ(lines[2], std::string(10, 'y'));
  EXPECT_EQ(cut, (std::vector<bool>{true, false, true}));
}

}  // namespace
}  // namespace ebf::test
