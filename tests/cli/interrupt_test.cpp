// Ctrl+C in a terminal reaches the whole process group: the program and the converter it
// started. The run is a cancel: exit 2, no package of the run, the image untouched, Temp/
// empty.
#include <gtest/gtest.h>

#include <filesystem>

#include "common/files.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

TEST(CliInterrupt, CtrlCToTheGroupDuringAConversionCancelsCleanly) {
  TempDir root;
  const std::string cli = test::PrivateProgram(root, "ebootforge-cli");
  TempDir work;
  const Bytes image = test::NoiseBytes(40u << 20, 31);
  test::WriteFileBytes(work / "game.bin", image);
  work.MakeDir("out");
  test::WriteFileText(work / "out/EBOOT.PBP", "an older package");
  for (const char* sig : {"INT", "TERM"}) {
    // setsid makes the program the leader of a group of its own, as a terminal's job is.
    const std::string script = work / "stop.sh";
    test::WriteFileText(
        script, "cd '" + work.path() + "' || exit 9\nsetsid '" + cli +
                    "' convert game.bin -o out --title T --id SLUS00001 --level 9 --yes --quiet "
                    ">/dev/null 2>&1 & pid=$!; n=0\n"
                    "while [ ! -s out/EBOOT.PBP.part ] && [ $n -lt 4000 ]; do sleep 0.005; "
                    "n=$((n+1)); done\n"
                    "kill -" +
                    std::string(sig) + " -- -$pid; wait $pid; echo $?\n");
    const std::string status = test::Shell("bash '" + script + "'");
    EXPECT_EQ(status, "2\n") << sig;
    EXPECT_TRUE(test::ReadFileText(work / "out/EBOOT.PBP") == "an older package") << sig;
    EXPECT_FALSE(FileExists(work / "out/EBOOT.PBP.part")) << sig;
    EXPECT_FALSE(FileExists(work / "out/tarnwick.exe")) << sig;
    EXPECT_TRUE(test::ReadFileBytes(work / "game.bin") == image) << sig;
    EXPECT_TRUE(std::filesystem::is_empty(root / "Temp")) << sig;
  }
}

}  // namespace
}  // namespace ebf
