// The bash completion script that the program writes from its own command tree, loaded
// into a real bash and asked what it would offer.
#include <gtest/gtest.h>

#include "support/picture_tools.h"
#include "support/process_run.h"
#include "support/program_tree.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::ShellQuote;

TEST(Completion, OffersCommandsOptionsAndValuesFromTheCommandTree) {
  test::TempDir dir;
  const std::string script = dir / "ebootforge-cli.bash";
  test::Shell(ShellQuote(test::PrivateCli()) + " completion bash >" + ShellQuote(script));
  // What bash offers for the words typed, the last one being completed; one per line.
  const auto Offer = [&](const std::string& words) {
    const std::string program = "source " + ShellQuote(script) + "\nCOMP_WORDS=(" + words +
                                ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n"
                                "_ebootforge_cli\nprintf '%s\\n' \"${COMPREPLY[@]}\"\n";
    return test::Shell("cd " + ShellQuote(dir.path()) + " && bash -c " + ShellQuote(program) +
                       " 2>&1");
  };
  EXPECT_EQ(Offer("ebootforge-cli conv"), "convert\n");
  EXPECT_EQ(Offer("ebootforge-cli doc ''"), "make\nextract\n");
  EXPECT_EQ(Offer("ebootforge-cli convert game.cue --le"), "--level\n");
  EXPECT_EQ(Offer("ebootforge-cli convert game.cue --level ''"), "0\n1\n2\n3\n4\n5\n6\n7\n8\n9\n");
  EXPECT_EQ(Offer("ebootforge-cli extract a.pbp b.bin --toc c"), "ccd\ncue\n");
  EXPECT_EQ(Offer("ebootforge-cli extract a.pbp b.bin --sp"), "--split\n");
  EXPECT_EQ(Offer("ebootforge-cli ver"), "verify\n");
  EXPECT_EQ(Offer("ebootforge-cli verify a.pbp --ag"), "--against\n");
  // The global flags are offered after a subcommand too, nested ones included.
  EXPECT_EQ(Offer("ebootforge-cli info --j"), "--json\n");
  EXPECT_EQ(Offer("ebootforge-cli doc make --i"), "--id\n");
  EXPECT_EQ(Offer("ebootforge-cli doc make --q"), "--quiet\n");
  // An argument of a few values offers them, after an option's value too; others are files.
  EXPECT_EQ(Offer("ebootforge-cli completion ''"), "bash\n");
  EXPECT_EQ(Offer("ebootforge-cli settings --ini my.ini set Sh"), "ShowCust\n");
  EXPECT_EQ(Offer("ebootforge-cli settings unset -q Def"),
            "DefaultImagePath\nDefaultOutputDir\nDefaultOutDirOpt\nDefaultCustDir\nDefGameID\n");
  test::WriteFileText(dir / "Game One.cue", "");
  EXPECT_EQ(Offer("ebootforge-cli convert Ga"), "Game One.cue\n");
  EXPECT_EQ(test::Shell("bash -c " + ShellQuote("source " + ShellQuote(script) +
                                                "\ncomplete -p ebootforge-cli")),
            "complete -o bashdefault -o filenames -F _ebootforge_cli ebootforge-cli\n");
}

}  // namespace
}  // namespace ebf
