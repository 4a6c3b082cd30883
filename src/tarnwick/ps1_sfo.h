#pragma once
// A PARAM.SFO of the PS1-classic layout: nine keys in alphabetical order with fixed slot
// sizes, 944 bytes in all, which puts TITLE's length at 152, DISC_ID at 264 and TITLE at 816.

#include <cstdint>
#include <string>

#include "common/bytes.h"

namespace ebf::tarnwick {

inline constexpr size_t kPs1SfoSize = 944;

struct Ps1SfoValues {
  std::string title;   // UTF-8, stored as pbp::SfoTitle gives it (at most 127 bytes)
  std::string discId;  // "SLUS00594", at most 15
  std::string discVersion = "1.00";
  std::string license;  // at most 511
  std::string systemVersion = "3.01";
  uint32_t parentalLevel = 1;  // 1 = all ages
  uint32_t region = 0x8000;
};

Bytes BuildPs1Sfo(const Ps1SfoValues& values);

}  // namespace ebf::tarnwick
