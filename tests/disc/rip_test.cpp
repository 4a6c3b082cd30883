// Ripping through libcdio, with a BIN/CUE opened as the drive (no machine here has one):
// Redump-style files and sheet, audio through paranoia, nothing left on cancel or failure.
#include <gtest/gtest.h>

#include <filesystem>
#include <tuple>

#include <algorithm>
#include "disc/libcrypt.h"
#include "disc/rip/rip.h"
#include "support/cd_sets.h"
#include "support/outcome_print.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using ebf::Bytes;

// The mixed set joined into one file, with a one-file sheet that libcdio reads as a disc.
Bytes WriteDriveImage(const test::TempDir& dir, std::string* cue) {
  test::CdSet set = test::WriteMixedSet(dir.MakeDir("set"));
  test::WriteFileBytes(dir / "drive.bin", set.disc);
  *cue = dir / "drive.cue";
  test::WriteFileText(*cue,
                      "FILE \"drive.bin\" BINARY\n  TRACK 01 MODE2/2352\n    INDEX 01 00:00:00\n"
                      "  TRACK 02 AUDIO\n    INDEX 00 00:04:00\n    INDEX 01 00:06:00\n"
                      "  TRACK 03 AUDIO\n    INDEX 00 00:08:70\n    INDEX 01 00:09:70\n");
  return set.disc;
}

Bytes Slice(const Bytes& disc, uint32_t from, uint32_t to) {
  return Bytes(disc.begin() + std::size_t{from} * 2352, disc.begin() + std::size_t{to} * 2352);
}

std::vector<std::string> FolderEntries(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& e : std::filesystem::directory_iterator(folder))
    names.push_back(e.path().filename().string());
  std::sort(names.begin(), names.end());
  return names;
}

TEST(Rip, TrackFilesAreNamedAsRedumpNamesThem) {
  EXPECT_EQ(rip::TrackFileName("Game", 1, 1) + rip::TrackFileName("Game", 2, 3) +
                rip::TrackFileName("Game", 2, 12) + rip::TrackFileName("Game", 12, 12),
            "Game.binGame (Track 2).binGame (Track 02).binGame (Track 12).bin");
}

TEST(Rip, ADiscBecomesOneFilePerTrackWithItsPregapOrLeavesNothing) {
  test::TempDir dir;
  std::string cue;
  const Bytes disc = WriteDriveImage(dir, &cue);
  uint64_t last = 0, total = 0;
  int reports = 0;
  DiscJobHooks hooks;
  hooks.progress = [&](uint64_t done, uint64_t all) { last = done, total = all, ++reports; };
  rip::RipRequest request{cue, dir / "out", "Game (USA)"};
  rip::RipResult result;
  ASSERT_EQ(rip::RipToBinCue(request, hooks, &result), Outcome::Success());
  EXPECT_EQ(result.cuePath, dir / "out/Game (USA).cue");
  EXPECT_EQ(FolderEntries(dir / "out"),
            (std::vector<std::string>{"Game (USA) (Track 1).bin", "Game (USA) (Track 2).bin",
                                      "Game (USA) (Track 3).bin", "Game (USA).cue"}));
  for (const auto& [n, from, to] : {std::tuple{'1', 0, 300}, {'2', 300, 670}, {'3', 670, 875}})
    EXPECT_TRUE(test::ReadFileBytes(dir / "out/Game (USA) (Track " + n + ").bin") ==
                Slice(disc, from, to))
        << n;
  EXPECT_EQ(test::ReadFileText(dir / "out/Game (USA).cue"),
            "FILE \"Game (USA) (Track 1).bin\" BINARY\r\n  TRACK 01 MODE2/2352\r\n"
            "    INDEX 01 00:00:00\r\nFILE \"Game (USA) (Track 2).bin\" BINARY\r\n"
            "  TRACK 02 AUDIO\r\n    INDEX 00 00:00:00\r\n    INDEX 01 00:02:00\r\n"
            "FILE \"Game (USA) (Track 3).bin\" BINARY\r\n  TRACK 03 AUDIO\r\n"
            "    INDEX 00 00:00:00\r\n    INDEX 01 00:01:00\r\n");
  EXPECT_EQ(std::make_tuple(last, total, reports > 3), std::make_tuple(875u, 875u, true));

  // The set is there now: a second rip refuses to replace it, and leaves it as it was.
  EXPECT_EQ(rip::RipToBinCue(request, {}),
            Outcome::Failed("\"" + (dir / "out/Game (USA) (Track 1).bin") + "\" already exists."));
  EXPECT_TRUE(test::ReadFileBytes(dir / "out/Game (USA) (Track 3).bin") == Slice(disc, 670, 875));
  request.overwrite = true;
  EXPECT_EQ(rip::RipToBinCue(request, {}), Outcome::Success());

  // Cancelled in the middle of the second track: nothing is left behind.
  CancelToken cancel;
  hooks.cancel = &cancel;
  hooks.progress = [&](uint64_t done, uint64_t) { done > 400 ? cancel.Request() : void(); };
  EXPECT_EQ(rip::RipToBinCue({cue, dir / "cancelled", "Game"}, hooks), Outcome::Cancelled());
  EXPECT_TRUE(FolderEntries(dir / "cancelled").empty());
  // Nor when there is no disc.
  EXPECT_EQ(rip::RipToBinCue({dir / "missing.cue", dir / "out2", "Game"}, {}),
            Outcome::Failed("No disc could be read in \"" + (dir / "missing.cue") + "\"."));
  EXPECT_FALSE(std::filesystem::exists(dir / "out2"));
  // Nor when the image shrinks under the sheet: reading the last track fails part way.
  std::filesystem::resize_file(dir / "drive.bin", 700 * 2352);
  const Outcome ripped = rip::RipToBinCue({cue, dir / "out3", "Game"}, {});
  EXPECT_TRUE(ripped.failed());
  EXPECT_TRUE(!std::filesystem::exists(dir / "out3") || FolderEntries(dir / "out3").empty())
      << ripped.text();
}

// LibCrypt data as users bring them: an .sbi, and the .sub of a CloneCD set (Q of every
// sector, CRC-16 checked), both made here for one protected disc.
using test::Append;

// CRC-16/GSM of the tests' own (polynomial 0x1021, initial 0, inverted).
uint16_t Crc16(const uint8_t* p, std::size_t n) {
  uint16_t crc = 0;
  for (std::size_t i = 0; i < n; ++i)
    for (int bit = 7; bit >= 0; --bit) {
      const bool top = ((crc >> 15) ^ (p[i] >> bit)) & 1;
      crc = static_cast<uint16_t>((crc << 1) ^ (top ? 0x1021 : 0));
    }
  return static_cast<uint16_t>(~crc);
}

// Minute, second and frame of absolute sector `s`, in BCD.
Bytes Msf(uint32_t s) {
  auto bcd = [](uint32_t v) { return static_cast<uint8_t>((v / 10) << 4 | (v % 10)); };
  return {bcd(s / 4500), bcd(s / 75 % 60), bcd(s % 75)};
}

// Q0-Q9 of absolute sector `s` on a one-track data disc, or what the protection writes there
// (`modified`): the relative position moved, as the drive would never report.
Bytes Q(uint32_t s, bool modified = false) {
  Bytes q = {0x41, 1, 1};
  Append(q, Msf(s - 150));
  q.push_back(0);
  Append(q, Msf(s));
  if (modified) q[5] ^= 0x01, q[9] ^= 0x10;
  return q;
}

TEST(LibCrypt, AnSbiAndACloneCdSubOfOneDiscGiveOneKeyAndOneSbi) {
  ASSERT_EQ(Crc16(reinterpret_cast<const uint8_t*>("123456789"), 9), 0xCE3C);
  test::TempDir dir;
  // Bits 15, 13, 11, 9, 6, 4, 2, 0: sectors 0, 2, 4, 6, 9, 11, 13, 15 of the list, each with
  // its partner five sectors on.
  const std::vector<uint32_t> bits = {14105, 14485, 14649, 15056, 15312, 15628, 16031, 16167};
  std::vector<uint32_t> modified;
  for (uint32_t s : bits) modified.insert(modified.end(), {s, s + 5});
  std::sort(modified.begin(), modified.end());

  Bytes expected = {'S', 'B', 'I', 0};
  for (uint32_t s : modified)
    Append(expected, Msf(s)), expected.push_back(1), Append(expected, Q(s, true));
  // The user's .sbi also lists the backup set on minute 9, which the protection never reads.
  Bytes sbi = expected;
  Append(sbi, {0x09, 0x08, 0x05, 1}), Append(sbi, Q(9 * 4500 + 8 * 75 + 5, true));
  test::WriteFileBytes(dir / "game.sbi", sbi);

  // The .sub: every sector's Q with its CRC, the protected ones with the CRC of the Q they
  // replaced, and a scratch (a broken CRC) where the protection does not look.
  Bytes sub(96 * (16172 - 150 + 20));
  for (uint32_t lba = 0; lba < sub.size() / 96; ++lba) {
    const uint32_t s = lba + 150;
    const Bytes q = Q(s, std::count(modified.begin(), modified.end(), s) > 0), good = Q(s);
    std::copy(q.begin(), q.end(), sub.begin() + lba * 96 + 12);
    const int crc = Crc16(good.data(), 10) ^ (lba == 1000 ? 0x0100 : 0);
    sub[lba * 96 + 22] = static_cast<uint8_t>(crc >> 8), sub[lba * 96 + 23] = crc & 0xFF;
  }
  test::WriteFileBytes(dir / "game.sub", sub);

  for (const char* name : {"game.sbi", "game.sub"}) {
    SCOPED_TRACE(name);
    SubchannelData data;
    ASSERT_EQ(ReadSubchannelFile(dir / name, data), "");
    EXPECT_EQ(std::make_pair(HasLibCrypt(data), LibCryptKeyText(LibCryptKey(data))),
              std::make_pair(true, std::string("0xAA55")));
    EXPECT_TRUE(SbiBytes(data) == expected);
  }
}

}  // namespace
}  // namespace ebf
