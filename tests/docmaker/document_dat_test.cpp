// DOCUMENT.DAT written from mixed pages and taken apart again.

#include <gtest/gtest.h>

#include <filesystem>

#include "common/bytes.h"
#include "common/cancel.h"
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

using test::TempDir;

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
    const std::string path = dir_ / name;
    EXPECT_TRUE(WritePngFromDrawingContext(s, path, width, height));
    return path;
  }
  TempDir dir_;
  std::string program_;
  test::RunRecorder host_;
};

TEST_F(DocumentDat, ShippedTemplateHoldsTheReaderHeader) {
  const Bytes t = test::ReadFileBytes(test::RuntimeFolder() + "Data/DOCHead.dat");
  ASSERT_EQ(t.size(), 136u);
  EXPECT_EQ(std::string(t.begin(), t.begin() + 4), "DOC ");
  EXPECT_EQ(LoadLe32(&t[4]), 0x00010000u);
  EXPECT_EQ(LoadLe32(&t[8]), 0x00010000u);
  EXPECT_EQ(LoadLe32(&t[28]), 0u);  // room for 99 pages
  for (std::size_t i = 12; i < 128; ++i) EXPECT_EQ(t[i], 0) << i;
  EXPECT_EQ(LoadLe32(&t[128]), 0xFFFFFFFFu);
}

TEST_F(DocumentDat, MixedPagesRoundTrip) {
  const std::string jpeg = dir_ / "page.jpg";
  ASSERT_TRUE(test::DrawWithImageMagick("-size 300x200 gradient:red-blue", jpeg));
  const std::string first = Png("first.png", 480, 272);
  const std::string wide = Png("wide.png", 481, 10);
  const std::string last = Png("last.png", 100, 900);  // height is not checked
  Bytes thirty = test::ReadFileBytes(first);
  thirty.resize(30);
  Bytes thirtyOne = test::ReadFileBytes(first);
  thirtyOne.resize(31);
  test::WriteFileBytes(dir_ / "p30.png", thirty);
  test::WriteFileBytes(dir_ / "p31.png", thirtyOne);
  const std::vector<std::string> pages = {
      first, jpeg, wide, dir_ / "gone.png", last, dir_ / "p30.png", dir_ / "p31.png"};
  const std::string out = dir_ / "DOCUMENT.DAT";
  DocResult r = WriteDocumentDat(program_, out, "SLUS", "00001", pages, host_, host_.cancel);
  ASSERT_EQ(r.outcome, Outcome::Success());
  EXPECT_EQ(r.pagesStored, 4u);

  const Bytes dat = test::ReadFileBytes(out);
  ASSERT_GE(dat.size(), 144u + 128 * 7);
  EXPECT_EQ(std::string(dat.begin(), dat.begin() + 4), "DOC ");
  EXPECT_EQ(std::string(dat.begin() + 12, dat.begin() + 21), "SLUS00001");
  EXPECT_EQ(LoadLe32(&dat[132]), 7u);
  for (std::size_t i = 0; i < 8; ++i) EXPECT_EQ(dat[136 + 128 * 7 + i], 0);

  const std::vector<bool> stored = {true, true, false, false, true, false, true};
  uint64_t expectedOffset = 144 + 128 * 7;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    SCOPED_TRACE(i);
    const uint8_t* rec = &dat[136 + 128 * i];
    for (std::size_t k = 4; k < 128; ++k) {
      if (k < 12 || k >= 16) {
        EXPECT_EQ(rec[k], 0) << k;
      }
    }
    const uint32_t offset = LoadLe32(rec), size = LoadLe32(rec + 12);
    if (!stored[i]) {
      EXPECT_EQ(offset, 0u);
      EXPECT_EQ(size, 0u);
      continue;
    }
    EXPECT_EQ(offset, expectedOffset);
    ASSERT_LE(uint64_t{offset} + size, dat.size());
    const Bytes page(dat.begin() + offset, dat.begin() + offset + size);
    if (i == 1) {
      // The JPEG is stored as a PNG of its own size.
      c32bppDIB back;
      ASSERT_TRUE(back.LoadPictureBytes(page));
      EXPECT_EQ(SniffPictureFormat(page), PictureFormat::Png);
      EXPECT_EQ(back.Width(), 300);
      EXPECT_EQ(back.Height(), 200);
    } else {
      EXPECT_EQ(page, test::ReadFileBytes(pages[i]));
    }
    expectedOffset += size;
  }
  EXPECT_EQ(dat.size(), expectedOffset);

  // Extraction gives the stored pages back byte for byte; one digit of count, four zeros.
  const std::string folder = dir_.MakeDir("pages");
  DocResult x = ExtractDocumentDat(out, folder, host_, host_.cancel);
  ASSERT_EQ(x.outcome, Outcome::Success());
  EXPECT_EQ(x.pagesStored, 4u);
  EXPECT_EQ(test::ReadFileBytes(dir_ / "pages/00000.png"), test::ReadFileBytes(first));
  EXPECT_EQ(test::ReadFileBytes(dir_ / "pages/00004.png"), test::ReadFileBytes(last));
  EXPECT_EQ(test::ReadFileBytes(dir_ / "pages/00006.png"), thirtyOne);
  EXPECT_TRUE(FileExists(dir_ / "pages/00001.png"));
  EXPECT_FALSE(FileExists(dir_ / "pages/00002.png"));
  EXPECT_FALSE(FileExists(dir_ / "pages/00003.png"));
}

TEST_F(DocumentDat, OnePageLayoutAndLongTemplate) {
  const std::string page = Png("p.png", 480, 20);
  const Bytes png = test::ReadFileBytes(page);
  const std::string out = dir_ / "one.dat";
  ASSERT_EQ(WriteDocumentDat(program_, out, "SCES", "12345", {page}, host_, host_.cancel).outcome,
            Outcome::Success());
  const Bytes dat = test::ReadFileBytes(out);
  EXPECT_EQ(dat.size(), 272 + png.size());
  EXPECT_EQ(LoadLe32(&dat[136]), 272u);
  EXPECT_EQ(LoadLe32(&dat[148]), png.size());
  EXPECT_EQ(Bytes(dat.begin() + 272, dat.end()), png);

  // A longer template keeps its bytes beyond the data; the file is not cut.
  Bytes longTemplate = test::ReadFileBytes(dir_ / "program/Data/DOCHead.dat");
  longTemplate.resize(4000, 0xEE);
  test::WriteFileBytes(dir_ / "program/Data/DOCHead.dat", longTemplate);
  ASSERT_EQ(WriteDocumentDat(program_, out, "SCES", "12345", {page}, host_, host_.cancel).outcome,
            Outcome::Success());
  const Bytes padded = test::ReadFileBytes(out);
  ASSERT_EQ(padded.size(), 4000u);
  EXPECT_EQ(Bytes(padded.begin() + 272, padded.begin() + 272 + png.size()), png);
  EXPECT_EQ(padded[272 + png.size()], 0xEE);
  EXPECT_EQ(padded[140], 0);  // the table and gap overwrite the template
}

TEST_F(DocumentDat, MissingTemplateAndCancel) {
  const std::string page = Png("p.png", 10, 10);
  const std::string out = dir_ / "x.dat";
  host_.cancel.Request();
  DocResult cancelled =
      WriteDocumentDat(program_, out, "SLES", "00002", {page}, host_, host_.cancel);
  EXPECT_EQ(cancelled.outcome, Outcome::Cancelled());
  EXPECT_FALSE(FileExists(out));
  EXPECT_FALSE(host_.cancel.Requested());

  std::filesystem::remove(dir_ / "program/Data/DOCHead.dat");
  DocResult missing = WriteDocumentDat(program_, out, "SLES", "00002", {page}, host_, host_.cancel);
  EXPECT_EQ(missing.outcome, Outcome::Failed("DOCHead.dat file missing!"));
  EXPECT_FALSE(FileExists(out));
}

TEST(DocumentPageFileName, PaddingFollowsTheCount) {
  EXPECT_EQ(DocumentPageFileName(0, 12), "0000.png");
  EXPECT_EQ(DocumentPageFileName(9, 12), "0009.png");
  EXPECT_EQ(DocumentPageFileName(10, 12), "00010.png");
  EXPECT_EQ(DocumentPageFileName(0, 100), "0000.png");
  EXPECT_EQ(DocumentPageFileName(0, 10), "00000.png");
  EXPECT_EQ(DocumentPageFileName(99, 100), "00099.png");
  EXPECT_EQ(DocumentPageFileName(3, 5), "00003.png");
  EXPECT_EQ(DocumentPageFileName(7, 123456), "7.png");
}

TEST(ExtractDocumentDat, LyingTablesGiveShortPagesNotCrashes) {
  TempDir dir;
  Bytes dat(136 + 128 * 2, 0);
  StoreLe32(&dat[132], 1000000);  // far more records than the file holds
  StoreLe32(&dat[136], 100);      // page 0 runs past the end: short
  StoreLe32(&dat[148], 5000);
  StoreLe32(&dat[136 + 128], 0xFFFFFF00u);  // page 1 starts beyond the end: empty
  StoreLe32(&dat[136 + 128 + 12], 10);
  test::WriteFileBytes(dir / "bad.dat", dat);
  const std::string folder = dir.MakeDir("out");
  test::RunRecorder host;
  DocResult r = ExtractDocumentDat(dir / "bad.dat", folder, host, host.cancel);
  EXPECT_EQ(r.outcome, Outcome::Success());
  EXPECT_EQ(r.pagesStored, 2u);
  EXPECT_EQ(test::ReadFileBytes(dir / "out/0.png").size(), dat.size() - 100);
  EXPECT_EQ(FileSize(dir / "out/1.png").value_or(99), 0u);

  test::WriteFileBytes(dir / "short.dat", Bytes(100, 0));
  EXPECT_EQ(ExtractDocumentDat(dir / "short.dat", folder, host, host.cancel).outcome.kind(),
            OutcomeKind::Failed);
  EXPECT_EQ(ExtractDocumentDat(dir / "none.dat", folder, host, host.cancel).outcome.kind(),
            OutcomeKind::Failed);
}

}  // namespace
}  // namespace ebf
