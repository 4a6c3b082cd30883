// Writes Data/DOCHead.dat, the 136-byte header every DOCUMENT.DAT starts from: magic,
// version twice, room for the game ID, the 99-page table flag, zero padding, the table's
// start marker and a page count of 0 (the game ID and count are patched per file).

#include <array>
#include <cstdint>
#include <cstdio>

namespace {

constexpr std::size_t kHeaderSize = 136;

void Put32(std::array<uint8_t, kHeaderSize>& h, std::size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) h[at + i] = static_cast<uint8_t>(v >> (8 * i));
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: make_dochead OUTPUT\n");
    return 2;
  }
  std::array<uint8_t, kHeaderSize> h{};
  h[0] = 'D', h[1] = 'O', h[2] = 'C', h[3] = ' ';
  Put32(h, 4, 0x00010000);  // version: bytes 00 00 01 00
  Put32(h, 8, 0x00010000);  // the same again
  // 12..27: game ID (9 characters, then NULs), patched per file.
  Put32(h, 28, 0);  // table size flag: room for 99 pages
  // 32..127 stay zero; readers refuse a plain file with anything at 96..127.
  Put32(h, 128, 0xFFFFFFFF);  // page table start marker
  Put32(h, 132, 0);           // page count, patched per file
  std::FILE* f = std::fopen(argv[1], "wb");
  if (!f) return 1;
  const bool ok = std::fwrite(h.data(), 1, h.size(), f) == h.size();
  return (std::fclose(f) == 0 && ok) ? 0 : 1;
}
