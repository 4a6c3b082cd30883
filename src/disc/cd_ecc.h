#pragma once
// The error detection and correction codes of a raw 2,352-byte CD-ROM sector: the EDC
// (a reflected CRC-32) and the two Reed-Solomon parity blocks P and Q. Image readers that
// store sectors without them (ECM, CHD) rebuild them from here.

#include <cstddef>
#include <cstdint>

#include "common/cd_sector.h"

namespace ebf {

inline constexpr std::size_t kEccPOffset = 0x81C;  // 172 bytes of P parity
inline constexpr std::size_t kEccQOffset = 0x8C8;  // 104 bytes of Q parity

// The sync pattern that opens every data sector: 00, ten FF, 00.
extern const uint8_t kSectorSync[12];

// EDC of `n` bytes, continued from `edc` (start with 0).
uint32_t CdEdc(const uint8_t* data, std::size_t n, uint32_t edc = 0);

// Writes P then Q parity into a raw sector. With zeroAddress (mode 2) the four header
// bytes count as zero while the parity is computed; they are left as they are.
void CdComputeEcc(uint8_t* sector, bool zeroAddress);

// True when the sector's P and Q parity match its contents (same zeroAddress rule).
bool CdEccMatches(const uint8_t* sector, bool zeroAddress);

}  // namespace ebf
