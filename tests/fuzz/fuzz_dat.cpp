// libFuzzer target: the XML DAT reader of verify --dat and the lookup of a disc's tracks in
// what it read. The input is written to a file, as the reader reads files.

#include <vector>

#include "engine/dat_file.h"
#include "scratch_file.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  static const ebf::fuzz::ScratchFile scratch("input.dat");
  std::vector<ebf::DatGame> games;
  if (!ebf::ReadDatFile(scratch.Write(data, size), games).empty()) return 0;
  // A data track and an audio track, as verify gives their figures.
  const std::vector<ebf::TrackFigures> tracks = {
      {705600, "1a2b3c4d", "00112233445566778899aabbccddeeff",
       "00112233445566778899aabbccddeeff00112233"},
      {882000, "deadbeef", "", ""}};
  ebf::LookUpTracks(games, tracks);
  ebf::LookUpTracks(games, {});
  return 0;
}
