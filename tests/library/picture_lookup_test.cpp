// Pictures for every game from the user's own folders, as a planned job takes them: which
// file each slot gets, and which picture stops the job.
#include <gtest/gtest.h>

#include "common/bytes.h"
#include "common/files.h"
#include "common/text.h"
#include "imaging/png_writer.h"
#include "library/picture_lookup.h"
#include "support/conversion_job.h"
#include "support/disc_builder.h"

namespace ebf {
namespace {

using namespace test;

// "png WxH" writes a PNG of that size; anything else is written as it is.
void Make(const TempDir& dir, const std::string& relative, const std::string& what) {
  const std::string path = dir / relative;
  MakeFolders(FolderOf(path));
  int w = 0, h = 0;
  if (std::sscanf(what.c_str(), "png %dx%d", &w, &h) == 2)
    ASSERT_TRUE(WritePngFromDrawingContext(Surface(w, h), path, w, h)) << path;
  else
    WriteFileText(path, what);
}

const std::string kRiff = "RIFF" + std::string(28, '\0');

TEST(FoundPictures, EachSlotGetsTheFirstFileFoundAndRefusalsNameIt) {
  const std::string boxarts = "thumbs/Sony - PlayStation/Named_Boxarts/";
  const std::string res = "resource folder ", thumbs = "thumbnails ";
  // What the row shows; the files under the job's work folder (path, what); the image in img/;
  // the user's ICON0 or ""; the refusal ("" when the job is planned; the folder's path goes
  // in front); each slot's file: "default" or "<source> <file>".
  // clang-format off
  const std::tuple<const char*, std::vector<std::pair<std::string, std::string>>, std::string,
                   std::string, std::string, std::array<std::string, kSlotCount>> rows[] = {
      {"case-blind folders and names, a file beside the image, the rest default",
       {{"res/slus-00594/Icon0.PNG", "png 144x80"},
        {"res/metal gear (usa)/PIC1.png", "png 480x272"},
        {"img/Metal Gear (USA) (Disc 1).SND0.AT3", kRiff},
        {boxarts + "Metal Gear (USA) (Disc 1).png", "png 300x400"}},
       "Metal Gear (USA) (Disc 1).bin", "", "",
       {res + "res/slus-00594/Icon0.PNG", "default", "default",
        res + "res/metal gear (usa)/PIC1.png", res + "img/Metal Gear (USA) (Disc 1).SND0.AT3",
        "default"}},
      {"thumbnails under RetroArch's names, the last cut at its bracket, drawn to size",
       {{boxarts + "tom _ jerry_ fists (usa).png", "png 600x800"},
        {"thumbs/Sony - PlayStation/Named_Snaps/Tom _ Jerry_ Fists.png", "png 640x480"}},
       "Tom & Jerry: Fists (USA).bin", "", "",
       {thumbs + boxarts + "tom _ jerry_ fists (usa).png", "default", "default",
        thumbs + "thumbs/Sony - PlayStation/Named_Snaps/Tom _ Jerry_ Fists.png", "default",
        "default"}},
      {"the user's own choice wins",
       {{"res/SLUS00594/ICON0.png", "png 144x80"}, {"mine.png", "png 100x50"}}, "Game.bin",
       "mine.png", "", {"chosen mine.png", "default", "default", "default", "default", "default"}},
      {"a resource picture the slot refuses", {{"res/SLUS00594/ICON0.png", "png 200x100"}},
       "Game.bin", "", "res/SLUS00594/ICON0.png (from resource folder): The dimensions for "
       "ICON0.PNG are too big - make sure the PNG file is 144x80 or less.", {}},
      {"a thumbnail that is no picture", {{"thumbs/Named_Boxarts/Game.png", "not a picture"}},
       "Game.bin", "", "thumbs/Named_Boxarts/Game.png (from thumbnails): The ICON0.PNG file is "
       "WAY too small to be valid.", {}},
  };
  // clang-format on
  for (const auto& [shows, files, image, icon0, refusal, slots] : rows) {
    SCOPED_TRACE(shows);
    ConversionJob job;
    const std::string root = job.work.path() + "/";
    for (const auto& [file, what] : files) Make(job.work, file, what);
    job.work.MakeDir("img");
    job.job.input = job.work / ("img/" + image);
    WriteFileBytes(job.job.input, BuildDiscImage(GameDisc("SLUS_005.94"), SectorLayout::Mode2Raw));
    job.job.resolve = true;
    if (!icon0.empty()) job.job.assets[kSlotIcon0].text = root + icon0;
    job.settings.resourceRoot = job.work / "res";
    job.settings.thumbnailsRoot = job.work / "thumbs";

    const Planned planned = job.Plan();
    if (!refusal.empty()) {
      EXPECT_EQ(planned.outcome, Outcome::Failed(root + refusal));
      continue;
    }
    ASSERT_TRUE(planned.plan) << Describe(planned.outcome);
    for (int i = 0; i < kSlotCount; ++i) {
      const Slot& slot = planned.plan->assets[i];
      std::string seen = "default";
      if (slot.source != SlotSource::Chosen)
        seen = std::string(SlotSourceCaption(slot.source)).substr(5) + " " +
               slot.text.substr(root.size());
      else if (!slot.text.empty())
        seen = "chosen " + slot.text.substr(root.size());
      EXPECT_EQ(seen, slots[i]) << kSlots[i].assetFileName;
      if (seen == "default") {
        EXPECT_TRUE(EqualsCaseBlind(FileNameOf(slot.path), kSlots[i].assetFileName)) << slot.path;
      } else if (slot.source == SlotSource::Thumbnails) {
        // A thumbnail goes in drawn to the slot's size; other files as they are.
        const Bytes png = ReadFileBytes(slot.path);
        ASSERT_GE(png.size(), 24u);
        EXPECT_EQ(std::pair(LoadBe32(&png[16]), LoadBe32(&png[20])),
                  i == kSlotIcon0 ? std::pair(144u, 80u) : std::pair(480u, 272u));
      } else {
        EXPECT_EQ(slot.path, slot.text);
      }
    }
  }
}

}  // namespace
}  // namespace ebf
