#pragma once
// A CHD v5 writer for tests, from the format description: it takes an uncompressed CHD
// made by chdman and stores the same data again with the codecs chdman cannot write here
// (cdzs and zstd; the Debian chdman predates them), as raw hunks and as self references,
// under a Huffman-coded map that uses run lengths. Digests and metadata are kept, so the
// result is the same disc.

#include <cstdint>

#include "common/bytes.h"

namespace ebf::test {

struct RecompressOptions {
  // Give this hunk a wrong CRC in the map (the map's own CRC still matches); -1 for none.
  int wrongCrcHunk = -1;
  // A compressed CHD of the same disc whose digests are copied (chdman leaves them zero in
  // uncompressed files); none when empty.
  Bytes digestsFrom;
};

struct RecompressCounts {
  uint32_t cdzs = 0, zstd = 0, raw = 0, self = 0, runs = 0, eccStripped = 0;
};

Bytes RecompressChd(const Bytes& plainChd, const RecompressOptions& options = {},
                    RecompressCounts* counts = nullptr);

}  // namespace ebf::test
