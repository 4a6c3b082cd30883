// What the program reads from a package: its parts taken apart into Temp, and its
// description.
#include "pbp/inspect.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "common/files.h"
#include "pbp/extract.h"
#include "pbp/info.h"
#include "pbp/psar.h"
#include "support/pbp_writer.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf::pbp {
namespace {

using namespace test;

// The smallest package the inspection opens: all sections empty, DATA.PSAR at 40.
Bytes TinyPackage(uint64_t size) {
  Bytes b(size, 0);
  StoreLe32(b.data(), 0x50425000);
  for (int i = 0; i < 8; ++i) StoreLe32(b.data() + 8 + 4 * i, 40);
  std::string magic = "PSISOIMG0000";
  std::copy(magic.begin(), magic.end(), b.begin() + 40);
  StoreLe32(b.data() + 40 + 12, 0x4000);
  StoreLe32(b.data() + 40 + 0x4000 + 16, 0x50);
  StoreLe32(b.data() + 40 + 0x4000 + 20, 16);
  return b;
}

TEST(InspectEboot, TakesThePackageApartDescribesItAndRefusesDamage) {
  TempDir dir;
  PackageRecipe recipe;
  recipe.title = "Caf\xE9 Racer";  // ANSI in the package
  recipe.discId = "SLES01234";
  recipe.saveName = "Caf\xE9 Save";
  recipe.icon0 = NoiseBytes(1234, 1);
  recipe.pic0 = NoiseBytes(32767, 2);  // exactly 32,767: the copy takes PIC1's first byte
  recipe.pic1 = NoiseBytes(100, 3);
  recipe.dataPsp = NoiseBytes(5000, 4);
  recipe.bootPng = NoiseBytes(3000, 5);
  recipe.tail = NoiseBytes(500, 6);
  recipe.image = NoiseBytes(kBlockSize * 2, 7);
  WritePbp(dir / "EBOOT.PBP", recipe);

  RunRecorder host;
  const std::string temp = dir.folder() + "Temp/";
  Inspection r = InspectEboot(dir / "EBOOT.PBP", temp, host);
  EXPECT_EQ(r.message + "|" + r.title + "|" + r.gameId + "|" + r.saveName,
            "|Caf\xC3\xA9 Racer|SLES01234|Caf\xC3\xA9 Save");

  EXPECT_EQ(ReadFileBytes(temp + "PARAM.SFO"), MakeSfo(recipe.title, recipe.discId));
  Bytes pic0 = recipe.pic0;
  pic0.push_back(recipe.pic1[0]);
  // START.DAT stops one byte before the end of the file.
  const Bytes start(recipe.tail.begin(), recipe.tail.end() - 1);
  const Bytes none, *files[] = {&recipe.icon0, &pic0, &recipe.pic1,    &recipe.dataPsp,
                                &none,         &none, &recipe.bootPng, &start};
  const char* names[] = {"ICON0.PNG", "PIC0.PNG", "PIC1.PNG",     "BASE.PSP",
                         "ICON1.PMF", "SND0.AT3", "Gameboot.png", "START.DAT"};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(ReadFileBytes(temp + names[i]), *files[i]) << names[i];
  EXPECT_TRUE(host.questions.empty());

  // The Extract buttons copy from Temp; a missing Temp file does nothing.
  const std::string saved = dir / "saved.png";
  ASSERT_TRUE(SaveTempAsset(temp, kAssetExtractDialogs[0].tempFile, saved));
  EXPECT_EQ(ReadFileBytes(saved), recipe.bootPng);
  std::filesystem::remove(temp + "PIC1.PNG");
  EXPECT_FALSE(SaveTempAsset(temp, kAssetExtractDialogs[4].tempFile, dir / "pic1.png"));
  EXPECT_FALSE(FileExists(dir / "pic1.png"));

  // Size and magic checks; damage leaves Temp alone.
  std::filesystem::remove_all(temp);
  const std::string pbp = dir / "EBOOT.PBP";

  WriteFileBytes(pbp, TinyPackage(20495));
  EXPECT_EQ(InspectEboot(pbp, temp, host).message, kEbootTooSmall);
  EXPECT_FALSE(FileExists(temp));
  EXPECT_EQ(InspectEboot(dir / "missing.pbp", temp, host).message, kEbootTooSmall);

  Bytes tiny = TinyPackage(20496);
  tiny[1] = 'Q';  // the container's magic is not checked
  WriteFileBytes(pbp, tiny);
  r = InspectEboot(pbp, temp, host);
  EXPECT_EQ(r.message + r.title, "");
  EXPECT_EQ(std::tuple(FileSize(temp + "Gameboot.png"), FileSize(temp + "START.DAT"),
                       FileSize(temp + "PARAM.SFO")),
            std::tuple(16u, 20496u - (40 + 0x4000 + 80 + 16) - 1, 0u));
  // A wrong disc-image magic, and DATA.PSAR too close to the end for its magic.
  tiny[40 + 7] = 'H';
  for (uint32_t psar : {40u, 20490u}) {
    StoreLe32(tiny.data() + 36, psar);
    WriteFileBytes(pbp, tiny);
    EXPECT_EQ(InspectEboot(pbp, temp, host).message, kEbootNotValid) << psar;
  }

  // Damaged packages leave Temp alone.
  std::filesystem::remove_all(temp);
  PackageRecipe damaged;
  damaged.image = NoiseBytes(1000, 1);
  PbpWritten w = WritePbp(pbp, damaged);
  const Bytes good = ReadFileBytes(pbp);

  // Where, what is written there, and what the refusal mentions.
  const std::tuple<uint64_t, uint32_t, const char*> cases[] = {
      {12, 0xFFFFFF00u, "ICON0.PNG"},                   // section offset past the end
      {w.psar + 12, 0x7FFFFFF0u, "start data"},         // start data past the end
      {w.startData + 20, 0xFFFFFFF0u, "boot picture"},  // a boot picture of 4 GB
      {w.startData + 20, static_cast<uint32_t>(w.fileSize - w.startData - 79), "boot picture"},
  };
  for (const auto& [at, value, mentions] : cases) {
    Bytes bad = good;
    StoreLe32(&bad[at], value);
    WriteFileBytes(pbp, bad);
    const std::string said = InspectEboot(pbp, temp, host).message;
    EXPECT_TRUE(said.find(mentions) != std::string::npos && said.find(pbp) != std::string::npos)
        << said;
    EXPECT_FALSE(FileExists(temp)) << mentions;
  }
  // A boot picture that ends exactly at the end of the file is fine.
  Bytes exact = good;
  StoreLe32(&exact[w.startData + 20], static_cast<uint32_t>(w.fileSize - w.startData - 80));
  WriteFileBytes(pbp, exact);
  EXPECT_EQ(InspectEboot(pbp, temp, host).message, "");
  EXPECT_EQ(FileSize(temp + "START.DAT"), 0u);

  // The package information: sections, blocks and tracks described, refusals as the inspection's.
  PackageRecipe described;
  described.title = "Info Game";
  described.discId = "SLPS01111";
  described.saveName = "Info Save";
  described.icon0 = NoiseBytes(321, 1);
  described.dataPsp = NoiseBytes(77, 2);
  Bytes image(kBlockSize * 5, 0x11);
  Bytes noise = NoiseBytes(kBlockSize, 3);
  std::copy(noise.begin(), noise.end(), image.begin() + 2 * kBlockSize);  // stays stored
  described.image = image;
  described.holeBeforeBlock = {2};
  // A data track and two audio tracks, the last at 01:02:03 absolute.
  described.toc = MakeToc({{0x41, 0}, {0x01, 40}, {0x01, 4653 - 150}}, 80);
  PbpWritten dw = WritePbp(dir / "EBOOT.PBP", described);

  EbootInfo info;
  ASSERT_EQ(ReadEbootInfo(dir / "EBOOT.PBP", info), "");
  EXPECT_EQ(info.title + "|" + info.gameId + "|" + info.saveName, "Info Game|SLPS01111|Info Save");
  for (int i = 0; i < kSectionCount; ++i) EXPECT_EQ(info.header.offsets[i], dw.offsets[i]);
  const auto& size = info.sectionSizes;
  EXPECT_EQ(std::tuple(size[kParamSfo], size[kIcon0], size[kIcon1], size[kDataPsp], size[kDataPsar],
                       info.fileSize, info.bootPngSize),
            std::tuple(944u, 321u, 0u, 77u, dw.fileSize - dw.psar, dw.fileSize,
                       described.bootPng.size()));
  EXPECT_EQ(std::tuple(info.blocks, info.compressedBlocks), std::tuple(uint64_t{5}, uint64_t{4}));
  std::vector<std::string> tracks;  // number, data or audio, start
  for (const TrackInfo& t : info.tracks)
    tracks.push_back(std::to_string(t.number) + (t.data ? " data " : " audio ") +
                     FormatMsf(t.minute, t.second, t.frame));
  EXPECT_EQ(tracks,
            (std::vector<std::string>{"1 data 00:02:00", "2 audio 00:02:40", "3 audio 01:02:03"}));

  EXPECT_EQ(ReadEbootInfo(dir / "none.pbp", info), kNoSuchFile);
  for (auto [size, said] : {std::pair{20495, kEbootTooSmall}, {20496, kEbootNotValid}}) {
    WriteFileBytes(dir / "small.pbp", Bytes(size, 0));
    EXPECT_EQ(ReadEbootInfo(dir / "small.pbp", info), said);
  }

  // It opens what the inspection opens, and refuses in its words.
  PackageRecipe cutGame;
  cutGame.title = "Cut Game";
  cutGame.image = Bytes(kBlockSize * 3, 0x5A);
  PbpWritten wf = WritePbp(dir / "full.pbp", cutGame);
  const Bytes full = ReadFileBytes(dir / "full.pbp");
  // Cut after the disc-image header, the start-data block moved up behind it.
  Bytes cut(full.begin(), full.begin() + static_cast<std::ptrdiff_t>(wf.psar + 0x6000));
  cut.insert(cut.end(), full.begin() + static_cast<std::ptrdiff_t>(wf.startData), full.end());
  StoreLe32(&cut[wf.psar + 12], 0x6000);
  WriteFileBytes(dir / "cut.pbp", cut);
  ASSERT_EQ(InspectEboot(dir / "cut.pbp", dir.MakeDir("t") + "/", host).message, "");

  ASSERT_EQ(ReadEbootInfo(dir / "cut.pbp", info), "");
  EXPECT_EQ(
      std::tuple(info.title, info.bootPngSize, info.startData, info.blocks, info.tracks.size()),
      std::tuple("Cut Game", cutGame.bootPng.size(), wf.psar + 0x6000, 0u, 0u));
  EXPECT_EQ(info.discImageProblem, "The EBOOT \"" + (dir / "cut.pbp") +
                                       "\" is cut short: its disc image index ends at byte " +
                                       std::to_string(wf.psar + 0x100000) +
                                       ", beyond the end of the file (" +
                                       std::to_string(cut.size()) + " bytes).");

  // A section offset past the end: refused by both, in the same words.
  Bytes bad = full;
  StoreLe32(&bad[8 + 4 * 3], 0x7FFFFFF0);  // PIC0
  WriteFileBytes(dir / "bad.pbp", bad);
  const std::string refusal = "The EBOOT \"" + (dir / "bad.pbp") +
                              "\" is damaged: the offset of PIC0.PNG (2147483632) lies beyond the "
                              "end of the file (" +
                              std::to_string(bad.size()) + " bytes).";
  EXPECT_EQ(ReadEbootInfo(dir / "bad.pbp", info), refusal);
  EXPECT_EQ(InspectEboot(dir / "bad.pbp", dir / "t/", host).message, refusal);
  // A whole package reads its disc image with no problem noted.
  ASSERT_EQ(ReadEbootInfo(dir / "full.pbp", info), "");
  EXPECT_EQ(std::tuple(info.discImageProblem, info.blocks), std::tuple(std::string(), uint64_t{3}));
}

}  // namespace
}  // namespace ebf::pbp
