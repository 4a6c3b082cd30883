#include "pbp/patch.h"

#include <gtest/gtest.h>

#include "common/cancel.h"
#include "common/files.h"
#include "pbp/container.h"
#include "pbp/extract.h"
#include "pbp/inspect.h"
#include "pbp/rebuild.h"
#include "pbp/toc.h"
#include "support/eboot_jobs.h"
#include "support/pbp_writer.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf::pbp {
namespace {

using namespace test;

// A package on disk, inspected into Temp, and a job with new assets in `assets/`.
struct Fixture {
  TempDir dir;
  std::string pbp = dir / "EBOOT.PBP";
  std::string program = dir.folder();
  std::string temp = dir.folder() + "Temp/";
  PackageRecipe recipe;
  PbpWritten written;
  EbootJob job;
  RunRecorder host;

  explicit Fixture(std::size_t tailSize = 300) {
    recipe.icon0 = NoiseBytes(3000, 1);
    recipe.pic0 = NoiseBytes(2000, 2);
    recipe.snd0 = NoiseBytes(1000, 3);
    recipe.dataPsp = NoiseBytes(700, 4);
    recipe.bootPng = NoiseBytes(900, 5);
    recipe.tail = NoiseBytes(tailSize, 6);
    recipe.image = Bytes(kBlockSize * 3 + 5000, 0x5A);  // compressible sectors, some noise
    const Bytes noise = NoiseBytes(20000, 8);
    std::copy(noise.begin(), noise.end(), recipe.image.begin() + 40000);
    written = WritePbp(pbp, recipe);
    EXPECT_EQ(InspectEboot(pbp, temp, host).message, "");
    job = NewAssetsJob(dir.MakeDir("assets"));
  }
  std::string Asset(const std::string& name, std::size_t size, uint32_t seed) {
    std::string p = dir.MakeDir("assets") + "/" + name;
    WriteFileBytes(p, NoiseBytes(size, seed));
    return p;
  }
  Outcome Update() { return UpdateEboot(pbp, temp, program, job, host, host, host.cancel).outcome; }
  Outcome Rebuild(const std::string& dest) {
    return ReconstructEboot(pbp, dest, temp, program, job, host, host.cancel);
  }
  // The package at `path` inspected into `into` carries the job's title, ID and save name.
  void ExpectNewJob(const std::string& path, const std::string& into) {
    const Inspection r = InspectEboot(path, into, host);
    EXPECT_EQ(r.message + "|" + r.title + "|" + r.gameId + "|" + r.saveName,
              "|New Title|SCES98765|New Save");
  }
  Bytes Image(const std::string& pbpPath) {
    RunRecorder h;
    std::string out = dir / "image.bin";
    EXPECT_EQ(ExtractDiscImage(pbpPath, out, false, kTocNone, h, h.cancel), Outcome::Success());
    return ReadFileBytes(out);
  }
};

TEST(PatchEboot, InPlaceOrRebuiltAskedOrCancelledAndTheCopysOvershoot) {
  Fixture fx;
  const Bytes image = fx.Image(fx.pbp);
  // A table as ISO.TOC holds it: lead entries, then two tracks with bytes 3-5 = bytes 7-9.
  TocArea toc{};
  const uint8_t entries[5][10] = {{0x41, 0, 0xA0, 0, 0, 0, 0, 0x01, 0x20, 0},
                                  {0x01, 0, 0xA1, 0, 0, 0, 0, 0x02, 0, 0},
                                  {0x01, 0, 0xA2, 0x07, 0x07, 0x07, 0, 0x30, 0x00, 0x00},
                                  {0x41, 0, 0x01, 0x00, 0x02, 0x00, 0, 0x00, 0x02, 0x00},
                                  {0x01, 0, 0x02, 0x12, 0x01, 0x05, 0, 0x12, 0x01, 0x05}};
  for (int i = 0; i < 5; ++i) std::copy(entries[i], entries[i] + 10, toc.begin() + 10 * i);
  fx.job.toc = toc;
  // Room: the old icon0 + pic0 + snd0 took 6000 bytes; the new five take exactly 6000.
  Room room;
  ASSERT_EQ(MeasureRoom(fx.pbp, fx.temp, fx.job, room), "");
  EXPECT_EQ(std::tuple(room.assets, room.room), std::tuple(6000, 6000));
  ASSERT_EQ(fx.Update(), Outcome::Success());
  EXPECT_TRUE(fx.host.questions.empty());

  const Bytes after = ReadFileBytes(fx.pbp);
  // The tail came out shorter: the file grows by exactly one byte.
  EXPECT_EQ(after.size(), fx.written.fileSize + 1);
  EXPECT_EQ(after.back(), 0);
  EXPECT_EQ(std::tuple(LoadLe32(&after[36]), LoadLe32(&after[8 + 4 * kIcon0]),
                       LoadLe32(&after[8 + 4 * kPic0]), LoadLe32(&after[8 + 4 * kDataPsp])),
            std::tuple(fx.written.psar, 40u + 944, 40u + 944 + 2500, 40u + 944 + 6000));
  EXPECT_EQ(std::string(after.begin() + fx.written.psar + 0x401,
                        after.begin() + fx.written.psar + 0x401 + 10),
            "SCES_98765");
  // The package carries the tracks' bytes 3-5 two seconds before bytes 7-9 (00:02:00 ->
  // 00:00:00, 12:01:05 -> 11:59:05); the lead entries and the rest as the job gave them.
  TocArea packed = toc;
  const uint8_t audio[2][3] = {{0x00, 0x00, 0x00}, {0x11, 0x59, 0x05}};
  for (int t = 0; t < 2; ++t) std::copy(audio[t], audio[t] + 3, packed.begin() + 30 + 10 * t + 3);
  EXPECT_EQ(Bytes(after.begin() + fx.written.psar + 0x800,
                  after.begin() + fx.written.psar + 0x800 + 1020),
            Bytes(packed.begin(), packed.end()));

  fx.ExpectNewJob(fx.pbp, fx.temp);
  EXPECT_EQ(ReadFileBytes(fx.temp + "ICON0.PNG"), ReadFileBytes(fx.job.icon0));
  EXPECT_EQ(ReadFileBytes(fx.temp + "PIC1.PNG"), ReadFileBytes(fx.job.pic1));
  EXPECT_EQ(ReadFileBytes(fx.temp + "Gameboot.png"), ReadFileBytes(fx.job.gameboot));
  EXPECT_EQ(ReadFileBytes(fx.temp + "BASE.PSP"), fx.recipe.dataPsp);
  EXPECT_EQ(fx.Image(fx.pbp), image);

  // Smaller assets: the gap before DATA.PSAR is zero-filled; each patch adds one byte.
  fx.job.icon0 = fx.Asset("small.png", 10, 21);
  ASSERT_EQ(fx.Update(), Outcome::Success());
  const Bytes again = ReadFileBytes(fx.pbp);
  const uint64_t baseEnd = 40 + 944 + 10 + 3500 + 700;
  EXPECT_EQ(std::tuple(again.size(), LoadLe32(&again[36])),
            std::tuple(after.size() + 1, fx.written.psar));
  EXPECT_EQ(Bytes(again.begin() + baseEnd, again.begin() + fx.written.psar),
            Bytes(fx.written.psar - baseEnd, 0));
  EXPECT_EQ(fx.Image(fx.pbp), image);

  // Larger assets ask, and rebuild into a new file or cancel.
  Fixture big;
  const Bytes bigImage = big.Image(big.pbp);
  const Bytes original = ReadFileBytes(big.pbp);
  big.job.pic1 = big.Asset("pic1.png", 1001, 14);  // one byte more than the room
  WriteFileBytes(big.program + "null", {});

  // No ends the job; the package is untouched.
  big.host.answers = {false};
  EXPECT_EQ(big.Update(), Outcome::Declined());
  ASSERT_EQ(big.host.questions.size(), 1u);
  EXPECT_EQ(std::tuple(big.host.questions[0].text, big.host.questions[0].icon),
            std::tuple(std::string(kRebuildQuestion), MsgIcon::Exclamation));
  big.host.answers.clear();  // yes, then the dialog cancelled, or the source itself chosen
  EXPECT_EQ(big.Update(), Outcome::Declined());
  EXPECT_EQ(big.host.destinationsAsked, 1);
  big.host.destination = big.pbp;
  EXPECT_EQ(big.Update(), Outcome::Failed(kSameFileMessage));
  EXPECT_EQ(ReadFileBytes(big.pbp), original);

  // The same file under another spelling of its path is refused too: nothing may
  // delete the source.
  const std::string other = big.dir.path() + "/./EBOOT.PBP";
  EXPECT_EQ(big.Rebuild(other), Outcome::Failed(kSameFileMessage));
  EXPECT_EQ(ReadFileBytes(big.pbp), original);

  const std::string dest = big.dir / "rebuilt/EBOOT.PBP";
  big.dir.MakeDir("rebuilt");
  big.host.destination = dest;
  std::vector<std::string> noted;
  const PackageUpdate made =
      UpdateEboot(big.pbp, big.temp, big.program, big.job, big.host, big.host, big.host.cancel,
                  [&](const std::string& partial) {
                    noted.push_back(partial);
                    return std::string();
                  });
  ASSERT_EQ(std::tuple(made.outcome, made.rebuiltTo), std::tuple(Outcome::Success(), dest));
  // Told the temporary name before writing it, so that a crash can be cleaned up after.
  EXPECT_EQ(noted, std::vector<std::string>{dest + ".part"});
  EXPECT_EQ(ReadFileBytes(big.pbp), original);
  EXPECT_FALSE(FileExists(big.program + "null"));
  EXPECT_EQ(big.host.stages.back() + "|" + big.host.completed.back(),
            "Reconstructing EBOOT...|Reconstructing EBOOT...");

  const std::string temp2 = big.dir.folder() + "Temp2/";
  // The boot picture and START.DAT after the disc are the rebuild test of a set of discs.
  big.ExpectNewJob(dest, temp2);
  EXPECT_EQ(ReadFileBytes(temp2 + "PIC1.PNG"), ReadFileBytes(big.job.pic1));
  EXPECT_EQ(big.Image(dest), bigImage);
  const Bytes rebuilt = ReadFileBytes(dest);
  EXPECT_EQ(LoadLe32(&rebuilt[0]), 0x50425000u);
  EXPECT_EQ(LoadLe32(&rebuilt[8 + 4 * kIcon1]), LoadLe32(&rebuilt[8 + 4 * kPic0]));  // empty ICON1

  // A cancelled rebuild deletes its destination.
  Fixture third;
  const Bytes before = ReadFileBytes(third.pbp);
  const std::string cancelled = third.dir / "new.pbp";
  int pumps = 0;
  third.host.onAdvance = [&](int n) {
    pumps = n;
    third.host.cancel.Request();
  };
  EXPECT_EQ(third.Rebuild(cancelled), Outcome::Cancelled());
  EXPECT_EQ(pumps, 1);
  EXPECT_FALSE(third.host.cancel.Requested() || FileExists(cancelled));
  EXPECT_EQ(ReadFileBytes(third.pbp), before);

  // A missing asset is named before anything is written.
  third.job.snd0 = third.dir / "assets/none.at3";
  for (const Outcome& r : {third.Rebuild(cancelled), third.Update()})
    EXPECT_NE(r.text().find("none.at3"), std::string::npos) << r.text();
  EXPECT_FALSE(FileExists(cancelled));
  EXPECT_EQ(ReadFileBytes(third.pbp), before);

  // The copy up to the boot picture shrinks its last read by the section-copy rule, so when
  // exactly 32,767 bytes remain it takes one byte more. Only an empty gameboot and START.DAT
  // leave that byte visible at the end of the new package.
  Fixture over(40000);
  const uint64_t s = over.written.startData, p = over.written.psar;
  // A header size that makes S + H - P one byte short of a multiple of 32 KB.
  uint64_t h = (32767 - (s - p) % 32768) % 32768;
  if (h < 24) h += 32768;
  ASSERT_LE(s + h + 1, over.written.fileSize) << "the fixture's tail must reach past S + H";
  {
    File f(over.pbp, File::Mode::ReadWrite);
    ASSERT_TRUE(WriteLe32At(f, s + 16, static_cast<uint32_t>(h)));
  }
  const Bytes source = ReadFileBytes(over.pbp);
  over.job.gameboot = over.Asset("empty.png", 0, 1);
  WriteFileBytes(over.temp + "START.DAT", {});
  const std::string overDest = over.dir / "new.pbp";
  ASSERT_EQ(over.Rebuild(overDest), Outcome::Success());
  const Bytes overRebuilt = ReadFileBytes(overDest);
  const uint64_t newP = LoadLe32(&overRebuilt[36]);
  ASSERT_EQ(overRebuilt.size(), newP + (s - p) + h + 1);
  EXPECT_EQ(overRebuilt.back(), source[s + h]);
  EXPECT_EQ(ReadFileBytes(over.pbp), source);

  // The job's fields: padding, cutting and checks.
  const auto text = [](const Bytes& b) { return std::string(b.begin(), b.end()); };
  EXPECT_EQ(text(UnderscoredIdField("SLUS00594")), "SLUS_00594");
  EXPECT_EQ(text(UnderscoredIdField("AB")), std::string("AB_\0\0\0\0\0\0\0", 10));
  EXPECT_EQ(text(UnderscoredIdField("SLUS0059412")), "SLUS_00594");
  Bytes save(128, 0);
  save[0] = 'J', save[1] = 0xE9;  // in ANSI
  EXPECT_EQ(SaveNameField("J\xC3\xA9"), save);
  EXPECT_EQ(SaveNameField(std::string(200, 'z')), Bytes(128, 'z'));

  TempDir dir;
  WriteFileBytes(dir / "a.pbp", Bytes(39, 0));
  EXPECT_EQ(CheckEbootForJob(dir / "a.pbp"), kEbootTooSmall);
  // 40 bytes pass the size test (not the inspection's 20,496), then the magic decides.
  WriteFileBytes(dir / "a.pbp", Bytes(40, 0));
  EXPECT_EQ(CheckEbootForJob(dir / "a.pbp"), kEbootNotValid);
}

}  // namespace
}  // namespace ebf::pbp
