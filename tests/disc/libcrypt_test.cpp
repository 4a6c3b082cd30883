// LibCrypt data as users bring them: an .sbi, and the .sub of a CloneCD set (Q of every
// sector, CRC-16 checked), both made here for one protected disc.
#include <gtest/gtest.h>

#include <algorithm>

#include "disc/libcrypt.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

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

uint8_t Bcd(uint32_t v) {
  return static_cast<uint8_t>((v / 10) << 4 | (v % 10));
}

// Minute, second and frame of absolute sector `s`, in BCD.
Bytes Msf(uint32_t s) {
  return {Bcd(s / 4500), Bcd(s / 75 % 60), Bcd(s % 75)};
}

// Q0-Q9 of absolute sector `s` on a one-track data disc.
Bytes NormalQ(uint32_t s) {
  Bytes q = {0x41, 1, 1};
  Append(q, Msf(s - 150));
  q.push_back(0);
  Append(q, Msf(s));
  return q;
}

// What the protection writes: the relative position moved, as the drive would never report.
Bytes ModifiedQ(uint32_t s) {
  Bytes q = NormalQ(s);
  q[5] ^= 0x01;
  q[9] ^= 0x10;
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
  for (uint32_t s : modified) {
    Append(expected, Msf(s));
    expected.push_back(1);
    Append(expected, ModifiedQ(s));
  }
  // The user's .sbi also lists the backup set on minute 9, which the protection never reads.
  Bytes sbi = expected;
  Append(sbi, {0x09, 0x08, 0x05, 1});
  Append(sbi, ModifiedQ(9 * 4500 + 8 * 75 + 5));
  test::WriteFileBytes(dir / "game.sbi", sbi);

  // The .sub: every sector's Q with its CRC, the protected ones with the CRC of the Q they
  // replaced, and a scratch (a broken CRC) where the protection does not look.
  Bytes sub(96 * (16172 - 150 + 20));
  for (uint32_t lba = 0; lba < sub.size() / 96; ++lba) {
    const uint32_t s = lba + 150;
    const bool changed = std::count(modified.begin(), modified.end(), s) > 0;
    const Bytes q = changed ? ModifiedQ(s) : NormalQ(s);
    const Bytes good = NormalQ(s);
    uint16_t crc = Crc16(good.data(), 10);
    if (lba == 1000) crc ^= 0x0100;
    std::copy(q.begin(), q.end(), sub.begin() + lba * 96 + 12);
    sub[lba * 96 + 22] = static_cast<uint8_t>(crc >> 8);
    sub[lba * 96 + 23] = static_cast<uint8_t>(crc);
  }
  test::WriteFileBytes(dir / "game.sub", sub);

  for (const char* name : {"game.sbi", "game.sub"}) {
    SCOPED_TRACE(name);
    SubchannelData data;
    ASSERT_EQ(ReadSubchannelFile(dir / name, data), "");
    EXPECT_TRUE(HasLibCrypt(data));
    EXPECT_EQ(LibCryptKey(data), 0xAA55);
    EXPECT_EQ(LibCryptKeyText(LibCryptKey(data)), "0xAA55");
    EXPECT_TRUE(SbiBytes(data) == expected);
  }
}

}  // namespace
}  // namespace ebf
