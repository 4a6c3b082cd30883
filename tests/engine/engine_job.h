#pragma once
// A conversion in a private program folder that checks it left nothing behind, and its
// package read back as the emulators' readers that inflate every block read it.
#include <gtest/gtest.h>

#include <filesystem>
#include <set>
#include <string>

#include "support/conversion_job.h"
#include "support/inflating_reader.h"

namespace ebf::test {

using Names = std::set<std::string>;

// The names in a folder; none when there is no folder.
inline Names Entries(const std::string& folder) {
  Names names;
  const auto path = std::filesystem::u8path(folder);
  if (!std::filesystem::is_directory(path)) return names;
  for (const auto& e : std::filesystem::directory_iterator(path)) {
    const auto name = e.path().filename().u8string();
    names.insert(std::string(name.begin(), name.end()));
  }
  return names;
}

struct EngineJob : ConversionJob {
  explicit EngineJob(int level = 9, bool fakeConverter = false) : ConversionJob(fakeConverter) {
    tempBefore = Entries(progFolder + "Temp");
    job.level = level;
  }
  // Nothing of the run stays behind but the package: the output folder holds EBOOT.PBP or
  // nothing (no EBOOT.PBP.part, ISO.TOC or staged file), Temp what it held before the run.
  void ExpectCleanedUp() const {
    const Names out = Entries(work / "out");
    EXPECT_TRUE(out.empty() || out == Names{"EBOOT.PBP"}) << testing::PrintToString(out);
    Names temp = Entries(progFolder + "Temp");
    temp.erase("fake_args.txt");  // the stand-in converter's record of what it was given
    EXPECT_EQ(temp, tempBefore);
  }
  // `bytes` written to the work folder as `name`: the job's input.
  void Input(const std::string& name, const Bytes& bytes) {
    WriteFileBytes(work / name, bytes);
    job.input = work / name;
  }
  Names tempBefore;  // taken again by a test that puts files there before the run
};

struct ReadBack {
  std::string tracks;  // "1 data 0, 2 audio 300": number, kind and first sector of each
  uint32_t sectors = 0;
  Bytes disc;
};

// Disc `disc` of a package as the readers serve it; each track's audio position is its start.
inline ReadBack ReadPackage(const std::string& eboot, int disc = 1) {
  InflatingReader reader(eboot, disc);
  EXPECT_EQ(reader.error(), "");
  ReadBack r;
  for (const auto& t : reader.tracks()) {
    r.tracks += (r.tracks.empty() ? "" : ", ") + std::to_string(t.number) +
                (t.audio ? " audio " : " data ") + std::to_string(t.start);
    EXPECT_EQ(t.audioPosition, t.start) << t.number;
  }
  r.sectors = reader.discSectors();
  EXPECT_EQ(reader.ReadSectors(0, r.sectors, r.disc), "");
  return r;
}

}  // namespace ebf::test
