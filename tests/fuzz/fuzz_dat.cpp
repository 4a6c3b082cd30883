// libFuzzer target: the XML DAT reader of verify --dat and the lookup of a disc's tracks in
// what it read. The input is written to a file, as the reader reads files.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "engine/dat_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  // One scratch file a process, removed when the fuzzer ends.
  static const struct Scratch {
    std::string path = "/tmp/ebf-fuzz-dat-" + std::to_string(getpid()) + ".dat";
    ~Scratch() { std::remove(path.c_str()); }
  } scratch;
  if (std::FILE* f = std::fopen(scratch.path.c_str(), "wb")) {
    std::fwrite(data, 1, size, f);
    std::fclose(f);
  }
  std::vector<ebf::DatGame> games;
  if (!ebf::ReadDatFile(scratch.path, games).empty()) return 0;
  // A data track and an audio track, as verify gives their figures.
  const std::vector<ebf::TrackFigures> tracks = {
      {705600, "1a2b3c4d", "00112233445566778899aabbccddeeff",
       "00112233445566778899aabbccddeeff00112233"},
      {882000, "deadbeef", "", ""}};
  ebf::LookUpTracks(games, tracks);
  ebf::LookUpTracks(games, {});
  return 0;
}
