#include "disc/cd_ecc.h"

#include <array>
#include <cstring>

namespace ebf {
namespace {

constexpr std::size_t kRegion = 2236;  // header through P parity, from offset 0x00C
constexpr std::size_t kPVectors = 86, kPLength = 24;
constexpr std::size_t kQVectors = 52, kQLength = 43;

struct Tables {
  // edc[0] is the byte-at-a-time table; edc[k] runs a byte through k more zero bytes, so
  // that eight bytes are taken at once.
  std::array<std::array<uint32_t, 256>, 8> edc{};
  std::array<uint8_t, 256> div3{};
  // Region index of byte k of Q vector j, at k * 52 + j.
  std::array<uint16_t, kQVectors * kQLength> q{};

  constexpr Tables() {
    for (uint32_t i = 0; i < 256; ++i) {
      uint32_t e = i;
      for (int k = 0; k < 8; ++k) e = (e >> 1) ^ ((e & 1) ? 0xD8018001u : 0u);
      edc[0][i] = e;
      // GF(2^8) with x^8+x^4+x^3+x^2+1.
      uint32_t m = (i << 1) ^ ((i & 0x80) ? 0x11Du : 0u);
      div3[(i ^ m) & 0xFF] = static_cast<uint8_t>(i);
    }
    for (std::size_t k = 1; k < 8; ++k)
      for (std::size_t i = 0; i < 256; ++i)
        edc[k][i] = (edc[k - 1][i] >> 8) ^ edc[0][edc[k - 1][i] & 0xFF];
    for (std::size_t j = 0; j < kQVectors; ++j) {
      std::size_t index = (j >> 1) * 86 + (j & 1);
      for (std::size_t k = 0; k < kQLength; ++k) {
        q[k * kQVectors + j] = static_cast<uint16_t>(index);
        index = (index + 88) % kRegion;
      }
    }
  }
};

constexpr Tables kTables;

// Multiplication by x in GF(2^8), without a table so that it runs on many lanes at once.
inline uint8_t Mul2(uint8_t v) {
  return static_cast<uint8_t>((v << 1) ^ ((v & 0x80) ? 0x1D : 0));
}

// Every vector is worked on at once, a byte of each per step: the steps of one vector
// depend on each other, those of different vectors do not.
template <std::size_t Vectors>
void Finish(const uint8_t (&a)[Vectors], const uint8_t (&b)[Vectors], uint8_t* out) {
  for (std::size_t j = 0; j < Vectors; ++j) {
    const uint8_t first = kTables.div3[Mul2(a[j]) ^ b[j]];
    out[j] = first;
    out[j + Vectors] = first ^ b[j];
  }
}

// P parity: 86 vectors of 24 bytes, a column of the region each.
void ComputeP(const uint8_t* region, uint8_t* p) {
  uint8_t a[kPVectors] = {}, b[kPVectors] = {};
  for (std::size_t k = 0; k < kPLength; ++k) {
    const uint8_t* row = region + kPVectors * k;
    for (std::size_t j = 0; j < kPVectors; ++j) {
      a[j] = Mul2(a[j] ^ row[j]);
      b[j] ^= row[j];
    }
  }
  Finish(a, b, p);
}

// Q parity: 52 diagonals of 43 bytes, P included.
void ComputeQ(const uint8_t* region, uint8_t* q) {
  uint8_t a[kQVectors] = {}, b[kQVectors] = {};
  for (std::size_t k = 0; k < kQLength; ++k) {
    const uint16_t* index = &kTables.q[k * kQVectors];
    for (std::size_t j = 0; j < kQVectors; ++j) {
      const uint8_t x = region[index[j]];
      a[j] = Mul2(a[j] ^ x);
      b[j] ^= x;
    }
  }
  Finish(a, b, q);
}

}  // namespace

const uint8_t kSectorSync[12] = {0x00, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF,
                                 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0x00};

uint32_t CdEdc(const uint8_t* data, std::size_t n, uint32_t edc) {
  const auto& t = kTables.edc;
  for (; n >= 8; n -= 8, data += 8) {
    const uint32_t lo = edc ^ (uint32_t{data[0]} | uint32_t{data[1]} << 8 |
                               uint32_t{data[2]} << 16 | uint32_t{data[3]} << 24);
    edc = t[7][lo & 0xFF] ^ t[6][(lo >> 8) & 0xFF] ^ t[5][(lo >> 16) & 0xFF] ^ t[4][lo >> 24] ^
          t[3][data[4]] ^ t[2][data[5]] ^ t[1][data[6]] ^ t[0][data[7]];
  }
  for (; n > 0; --n, ++data) edc = (edc >> 8) ^ t[0][(edc ^ *data) & 0xFF];
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
  uint8_t copy[kRawSectorSize];
  std::memcpy(copy, sector, kRawSectorSize);
  CdComputeEcc(copy, zeroAddress);
  return std::memcmp(copy + kEccPOffset, sector + kEccPOffset, 276) == 0;
}

}  // namespace ebf
