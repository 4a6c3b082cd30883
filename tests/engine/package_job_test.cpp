// A package given as input, as the windows run it: the new files a user puts in its slots
// are tested as a new package's are, before the choice between patching in place and
// rebuilding, so that neither way takes what a new package would refuse.
#include <gtest/gtest.h>

#include <filesystem>

#include "assets/slots.h"
#include "common/files.h"
#include "engine/conversion.h"
#include "pbp/inspect.h"
#include "support/conversion_job.h"
#include "support/pbp_writer.h"
#include "support/picture_tools.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using namespace test;

struct PackageRun : ConversionJob {
  std::string eboot;

  PackageRun() {
    std::filesystem::remove(progFolder + "Data" + kSep + "tarnwick.exe");
    eboot = work / "EBOOT.PBP";
    PackageRecipe recipe;
    recipe.image = Bytes(kTestBlockSize, 0x44);
    WritePbp(eboot, recipe);
    RunRecorder inspectHost;
    EXPECT_EQ(pbp::InspectEboot(eboot, progFolder + "Temp" + kSep, inspectHost).message, "");
    job.input = eboot;
    job.output.clear();
    job.saveName = "Test Save";
    job.packageInspected = true;
    host.destination = work / "rebuilt.pbp";
  }
  // The user's file in one slot, as the window hands it over.
  void Put(int slot, const std::string& file) { job.assets[slot] = {true, file}; }
};

TEST(PackageJob, ARebuildRefusesWhatANewPackageRefusesBeforeAskingOrWriting) {
  TempDir pics;
  ASSERT_TRUE(DrawWithImageMagick("-size 481x272 xc:blue", pics / "w.png"));
  ASSERT_TRUE(DrawWithImageMagick("-size 60x40 xc:green", "JPEG:" + (pics / "ICON0.PNG")));
  WriteFileText(pics / "seven.pmf", "PSMF123");
  // The slot, the file put in it, and the refusal.
  const std::tuple<int, std::string, std::string> cases[] = {
      {kSlotPic1, pics / "w.png",
       "The dimensions for PIC1.PNG are too big - make sure the PNG file is 480x272 or less."},
      {kSlotIcon1, pics / "seven.pmf", "The ICON1.PMF file is WAY too small to be valid."},
      {kSlotIcon0, pics / "ICON0.PNG",
       "The selected ICON0.PNG file is not valid! (invalid signature)"},
  };
  for (const auto& [slot, file, message] : cases) {
    PackageRun run;
    const Bytes before = ReadFileBytes(run.eboot);
    run.Put(slot, file);
    EXPECT_EQ(run.Go(), Outcome::Failed(message));
    EXPECT_EQ(std::tuple(run.host.questions.size(), run.host.destinationsAsked,
                         FileExists(run.work / "rebuilt.pbp")),
              std::tuple(0u, 0, false));
    EXPECT_EQ(ReadFileBytes(run.eboot), before);
  }

  // A picture a new package takes, too large for the room: asked, then rebuilt.
  PackageRun run;
  const Bytes before = ReadFileBytes(run.eboot);
  ASSERT_TRUE(DrawWithImageMagick("-size 480x272 gradient:red-blue", pics / "ok.png"));
  run.Put(kSlotPic1, pics / "ok.png");
  const ConversionResult result = run.Run();
  EXPECT_EQ(std::tuple(result.outcome, run.host.questions.size(), run.host.destinationsAsked,
                       result.rebuilt, result.package),
            std::tuple(Outcome::Success(), 1u, 1, true, run.work / "rebuilt.pbp"));
  EXPECT_EQ(ReadFileBytes(run.eboot), before);  // the source is never altered
}

}  // namespace
}  // namespace ebf
