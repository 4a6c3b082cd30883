#pragma once
// CD sector sizes and addresses: the one place every part of the program takes them from.

#include <array>
#include <cstdint>

namespace ebf {

inline constexpr uint32_t kIsoSectorSize = 2048;  // the user data of a data sector (an .iso)
inline constexpr uint32_t kRawSectorSize = 2352;  // a whole sector as a drive reads it raw
inline constexpr uint32_t kSubchannelSize = 96;
inline constexpr uint32_t kRawSubSectorSize = kRawSectorSize + kSubchannelSize;  // 2448

inline constexpr uint32_t kFramesPerSecond = 75;  // a frame is one sector
inline constexpr uint32_t kSecondsPerMinute = 60;
inline constexpr uint32_t kFramesPerMinute = kFramesPerSecond * kSecondsPerMinute;  // 4500
// Track 1's INDEX 01 lies at 00:02:00; image sector 0 is that sector.
inline constexpr uint32_t kLeadInSectors = 2 * kFramesPerSecond;  // 150

inline constexpr uint8_t BcdByte(uint32_t n) {
  return static_cast<uint8_t>((n / 10) * 16 + n % 10);
}

// A count of frames as BCD minute, second, frame; minutes stop at 99, the most BCD holds.
inline constexpr std::array<uint8_t, 3> BcdMsf(uint32_t frames) {
  const uint32_t minutes = frames / kFramesPerMinute;
  return {BcdByte(minutes > 99 ? 99 : minutes), BcdByte(frames / kFramesPerSecond % 60),
          BcdByte(frames % kFramesPerSecond)};
}

// "mm:ss:ff" of a count of frames, as sheets write times.
inline std::array<char, 9> MsfText(uint32_t frames) {
  const uint32_t m = frames / kFramesPerMinute, s = frames / kFramesPerSecond % 60,
                 f = frames % kFramesPerSecond;
  return {static_cast<char>('0' + m / 10 % 10), static_cast<char>('0' + m % 10), ':',
          static_cast<char>('0' + s / 10),      static_cast<char>('0' + s % 10), ':',
          static_cast<char>('0' + f / 10),      static_cast<char>('0' + f % 10), '\0'};
}

}  // namespace ebf
