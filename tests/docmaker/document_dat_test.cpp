// DOCUMENT.DAT written from mixed pages and taken apart again.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <tuple>

#include "common/bytes.h"
#include "common/files.h"
#include "docmaker/document_dat.h"
#include "imaging/dib.h"
#include "imaging/png_writer.h"
#include "support/picture_tools.h"
#include "support/recording_host.h"
#include "support/runtime.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

class DocumentDat : public ::testing::Test {
 protected:
  void SetUp() override {
    program_ = dir_.MakeDir("program");
    dir_.MakeDir("program/Data");
    ASSERT_TRUE(CopyFileTo(test::RuntimeFolder() + "Data" + kSep + "DOCHead.dat",
                           dir_ / "program/Data/DOCHead.dat"));
  }
  std::string Png(const std::string& name, int width, int height) {
    Surface s(width, height);
    s.FillRect(0, 0, width / 2, height, 200, 30, 40);
    EXPECT_TRUE(WritePngFromDrawingContext(s, dir_ / name, width, height));
    return dir_ / name;
  }
  DocResult Write(const std::string& out, const std::vector<std::string>& pages) {
    return WriteDocumentDat(program_, out, "SLUS", "00001", pages, host_, host_.cancel);
  }
  test::TempDir dir_;
  std::string program_;
  test::RunRecorder host_;
};

TEST_F(DocumentDat, MixedPagesRoundTrip) {
  const std::string jpeg = dir_ / "page.jpg";
  ASSERT_TRUE(test::DrawWithImageMagick("-size 300x200 gradient:red-blue", jpeg));
  const std::string first = Png("first.png", 480, 272);
  const std::string last = Png("last.png", 100, 900);  // height is not checked
  Bytes thirtyOne = test::ReadFileBytes(first);
  thirtyOne.resize(31);
  test::WriteFileBytes(dir_ / "p30.png", Bytes(thirtyOne.begin(), thirtyOne.end() - 1));
  test::WriteFileBytes(dir_ / "p31.png", thirtyOne);
  const std::vector<std::string> pages = {
      first,           jpeg, Png("wide.png", 481, 10), dir_ / "gone.png", last, dir_ / "p30.png",
      dir_ / "p31.png"};
  const std::string out = dir_ / "DOCUMENT.DAT";
  DocResult r = Write(out, pages);
  ASSERT_EQ(std::tie(r.outcome, r.pagesStored), std::make_tuple(Outcome::Success(), 4u));

  const Bytes dat = test::ReadFileBytes(out);
  ASSERT_GE(dat.size(), 144u + 128 * 7);
  Bytes head(132, 0);  // "DOC ", two versions, the id, zeros (room for 99 pages), an end mark
  std::memcpy(head.data(), "DOC \0\0\1\0\0\0\1\0SLUS00001", 21);
  StoreLe32(&head[128], 0xFFFFFFFFu);
  EXPECT_EQ(Bytes(dat.begin(), dat.begin() + 132), head);
  EXPECT_EQ(LoadLe32(&dat[132]), 7u);
  EXPECT_EQ(Bytes(dat.begin() + 136 + 128 * 7, dat.begin() + 144 + 128 * 7), Bytes(8, 0));

  // Extraction gives the stored pages back byte for byte; one digit of count, four zeros.
  DocResult x = ExtractDocumentDat(out, dir_.MakeDir("pages"), host_, host_.cancel);
  ASSERT_EQ(std::tie(x.outcome, x.pagesStored), std::make_tuple(Outcome::Success(), 4u));
  const std::vector<bool> stored = {true, true, false, false, true, false, true};
  uint64_t expectedOffset = 144 + 128 * 7;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    SCOPED_TRACE(i);
    const uint8_t* rec = &dat[136 + 128 * i];
    EXPECT_EQ(std::count(rec + 4, rec + 12, 0) + std::count(rec + 16, rec + 128, 0), 120);
    const uint32_t offset = LoadLe32(rec), size = LoadLe32(rec + 12);
    const std::string extracted = dir_ / ("pages/0000" + std::to_string(i) + ".png");
    EXPECT_EQ(std::make_tuple(offset, size == 0, FileExists(extracted)),
              std::make_tuple(stored[i] ? expectedOffset : 0u, !stored[i], bool(stored[i])));
    if (!stored[i]) continue;
    ASSERT_LE(uint64_t{offset} + size, dat.size());
    const Bytes page(dat.begin() + offset, dat.begin() + offset + size);
    EXPECT_EQ(test::ReadFileBytes(extracted), page);
    if (i == 1) {
      // The JPEG is stored as a PNG of its own size.
      c32bppDIB back;
      ASSERT_TRUE(back.LoadPictureBytes(page));
      EXPECT_EQ(SniffPictureFormat(page), PictureFormat::Png);
      EXPECT_EQ(std::pair(back.Width(), back.Height()), std::pair(300, 200));
    } else {
      EXPECT_EQ(page, test::ReadFileBytes(pages[i]));
    }
    expectedOffset += size;
  }
  EXPECT_EQ(dat.size(), expectedOffset);
}

TEST_F(DocumentDat, LongerTemplateCancelAndMissingTemplate) {
  const std::string page = Png("p.png", 480, 20), out = dir_ / "one.dat";
  const Bytes png = test::ReadFileBytes(page);
  Bytes longTemplate = test::ReadFileBytes(dir_ / "program/Data/DOCHead.dat");
  longTemplate.resize(4000, 0xEE);
  test::WriteFileBytes(dir_ / "program/Data/DOCHead.dat", longTemplate);
  ASSERT_EQ(Write(out, {page}).outcome, Outcome::Success());
  const Bytes dat = test::ReadFileBytes(out);
  ASSERT_EQ(dat.size(), 4000u);  // the file is not cut
  EXPECT_EQ(Bytes(dat.begin() + 272, dat.begin() + 272 + png.size()), png);
  EXPECT_EQ(dat[272 + png.size()], 0xEE);
  EXPECT_EQ(dat[140], 0);  // the table and gap overwrite the template

  host_.cancel.Request();  // a cancelled run removes its file and takes the request
  EXPECT_EQ(Write(out, {page}).outcome, Outcome::Cancelled());
  EXPECT_FALSE(FileExists(out) || host_.cancel.Requested());
  DeleteFileIfExists(dir_ / "program/Data/DOCHead.dat");
  EXPECT_EQ(Write(out, {page}).outcome, Outcome::Failed("DOCHead.dat file missing!"));
  EXPECT_FALSE(FileExists(out));
}

TEST(DocumentPageFileName, PaddingFollowsTheCount) {
  const std::vector<std::tuple<uint32_t, uint32_t, std::string>> rows = {
      {0, 12, "0000.png"},  {9, 12, "0009.png"},    {10, 12, "00010.png"}, {0, 100, "0000.png"},
      {0, 10, "00000.png"}, {99, 100, "00099.png"}, {3, 5, "00003.png"},   {7, 123456, "7.png"}};
  for (const auto& [index, count, name] : rows) EXPECT_EQ(DocumentPageFileName(index, count), name);
}
TEST_F(DocumentDat, LyingTablesGiveShortPagesNotCrashes) {
  Bytes dat(136 + 128 * 2, 0);
  StoreLe32(&dat[132], 1000000);  // far more records than the file holds
  StoreLe32(&dat[136], 100);      // page 0 runs past the end: short
  StoreLe32(&dat[148], 5000);
  StoreLe32(&dat[136 + 128], 0xFFFFFF00u);  // page 1 starts beyond the end: empty
  StoreLe32(&dat[136 + 128 + 12], 10);
  test::WriteFileBytes(dir_ / "bad.dat", dat);
  test::WriteFileBytes(dir_ / "short.dat", Bytes(100, 0));
  DocResult r = ExtractDocumentDat(dir_ / "bad.dat", dir_.MakeDir("out"), host_, host_.cancel);
  EXPECT_EQ(std::make_tuple(r.outcome, r.pagesStored, FileSize(dir_ / "out/0.png"),
                            FileSize(dir_ / "out/1.png")),
            std::make_tuple(Outcome::Success(), 2u, dat.size() - 100, uint64_t{0}));
  for (const char* name : {"short.dat", "none.dat"})
    EXPECT_EQ(ExtractDocumentDat(dir_ / name, dir_ / "out", host_, host_.cancel).outcome.kind(),
              OutcomeKind::Failed);
}

}  // namespace
}  // namespace ebf
