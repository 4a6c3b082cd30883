#include "tarnwick/fault_guard.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "common/files.h"
#include "common/mapped_view.h"
#include "support/temp_dir.h"

namespace ebf::tarnwick {
namespace {

#ifndef _WIN32  // Windows does not let a mapped file be cut short at all

// Reads a mapped page of an image that has been cut short, as happens when another program
// truncates the image during a conversion.
void ReadPastTheCut(const std::string& image, const std::string& output) {
  InstallReadFaultGuard(output, "Cannot read the image: it changed");
  test::WriteFileBytes(output, Bytes(100, 1));
  FileMapper mapper;
  if (!mapper.Open(image)) return;
  MappedView view = mapper.Map(0, 3 * 4096);
  if (!view) return;
  std::filesystem::resize_file(std::filesystem::u8path(image), 0);
  volatile uint8_t byte = view.bytes()[2 * 4096 + 5];
  (void)byte;
}

TEST(ReadFaultGuardDeathTest, AFileCutShortUnderAMappingFailsCleanly) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  test::TempDir dir;
  const std::string image = dir / "image.bin";
  const std::string output = dir / "EBOOT.PBP";
  test::WriteFileBytes(image, test::NoiseBytes(3 * 4096, 1));
  EXPECT_EXIT(ReadPastTheCut(image, output), testing::ExitedWithCode(1),
              "Cannot read the image: it changed");
  EXPECT_FALSE(FileExists(output));
}

#endif

}  // namespace
}  // namespace ebf::tarnwick
