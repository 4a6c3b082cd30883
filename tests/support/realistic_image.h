#pragma once
// A disc image that compresses like a real one: runs of zero, text-like, code-like,
// picture-like and random mode 2 sectors (with real EDC/ECC) and some CD audio. Written
// in 8 MB pieces, so it may be as large as a real disc.

#include <cstdint>
#include <string>

namespace ebf::test {

// Writes `bytes` (rounded down to whole 2,352-byte sectors); returns the size written.
uint64_t WriteRealisticImage(const std::string& path, uint64_t bytes);

}  // namespace ebf::test
