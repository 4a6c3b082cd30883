#pragma once
// An ECM (format 1) encoder for tests, written from the format description: Mode 1 sectors
// become type 1 items, Mode 2 sectors 16 literal bytes then a type 2 (Form 1) or type 3
// (Form 2) item, and everything that does not fit the sector models stays literal.

#include <cstdint>

#include "common/bytes.h"

namespace ebf::test {

struct EcmCounts {
  uint64_t literalBytes = 0, mode1 = 0, form1 = 0, form2 = 0, records = 0;
};

Bytes EncodeEcm(const Bytes& original, EcmCounts* counts = nullptr);

}  // namespace ebf::test
