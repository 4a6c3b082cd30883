#include "disc/cd_ecc.h"

#include <array>
#include <cstring>

namespace ebf {
namespace {

constexpr std::size_t kRegion = 2236;  // header through P parity, from offset 0x00C
constexpr std::size_t kPVectors = 86, kPLength = 24;
constexpr std::size_t kQVectors = 52, kQLength = 43;

struct Tables {
  std::array<uint32_t, 256> edc{};
  std::array<uint8_t, 256> mul2{};
  std::array<uint8_t, 256> div3{};
  std::array<uint16_t, kQVectors * kQLength> q{};  // region index of each Q vector's bytes

  constexpr Tables() {
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t e = i;
      for (int k = 0; k < 8; ++k) e = (e >> 1) ^ ((e & 1) ? 0xD8018001u : 0u);
      edc[i] = e;
      // GF(2^8) with x^8+x^4+x^3+x^2+1.
      uint32_t m = (i << 1) ^ ((i & 0x80) ? 0x11Du : 0u);
      mul2[i] = static_cast<uint8_t>(m);
      div3[(i ^ m) & 0xFF] = static_cast<uint8_t>(i);
    }
    for (std::size_t j = 0; j < kQVectors; ++j) {
      std::size_t index = (j >> 1) * 86 + (j & 1);
      for (std::size_t k = 0; k < kQLength; ++k) {
        q[j * kQLength + k] = static_cast<uint16_t>(index);
        index = (index + 88) % kRegion;
      }
    }
  }
};

constexpr Tables kTables;

// The two parity bytes of one vector.
inline void Parity(uint8_t a, uint8_t b, uint8_t& first, uint8_t& second) {
  a = kTables.div3[kTables.mul2[a] ^ b];
  first = a;
  second = a ^ b;
}

// P parity: 86 vectors of 24 bytes, a column of the region each.
void ComputeP(const uint8_t* region, uint8_t* p) {
  for (std::size_t j = 0; j < kPVectors; ++j) {
    uint8_t a = 0, b = 0;
    for (std::size_t k = 0; k < kPLength; ++k) {
      uint8_t x = region[j + kPVectors * k];
      a = kTables.mul2[a ^ x];
      b ^= x;
    }
    Parity(a, b, p[j], p[j + kPVectors]);
  }
}

// Q parity: 52 diagonals of 43 bytes, P included.
void ComputeQ(const uint8_t* region, uint8_t* q) {
  for (std::size_t j = 0; j < kQVectors; ++j) {
    const uint16_t* index = &kTables.q[j * kQLength];
    uint8_t a = 0, b = 0;
    for (std::size_t k = 0; k < kQLength; ++k) {
      uint8_t x = region[index[k]];
      a = kTables.mul2[a ^ x];
      b ^= x;
    }
    Parity(a, b, q[j], q[j + kQVectors]);
  }
}

}  // namespace

const uint8_t kSectorSync[12] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};

uint32_t CdEdc(const uint8_t* data, std::size_t n, uint32_t edc) {
  for (std::size_t i = 0; i < n; ++i) edc = (edc >> 8) ^ kTables.edc[(edc ^ data[i]) & 0xFF];
  return edc;
}

void CdComputeEcc(uint8_t* sector, bool zeroAddress) {
  uint8_t header[4];
  std::memcpy(header, sector + 12, 4);
  if (zeroAddress) std::memset(sector + 12, 0, 4);
  // P lies inside the region Q covers, so P is written before Q is computed.
  ComputeP(sector + 12, sector + kEccPOffset);
  ComputeQ(sector + 12, sector + kEccQOffset);
  std::memcpy(sector + 12, header, 4);
}

bool CdEccMatches(const uint8_t* sector, bool zeroAddress) {
  uint8_t copy[kRawSectorBytes];
  std::memcpy(copy, sector, kRawSectorBytes);
  CdComputeEcc(copy, zeroAddress);
  return std::memcmp(copy + kEccPOffset, sector + kEccPOffset, 276) == 0;
}

}  // namespace ebf
