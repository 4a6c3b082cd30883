// The command line's progress view and its answers: what reaches standard error on a
// terminal and in a log, and which questions --yes answers.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/terminal_host.h"
#include "disc/resolver.h"

namespace ebf::cli {
namespace {

using namespace std::chrono_literals;

struct Fixture {
  bool yes = false, quiet = false;
  std::ostringstream out;
  TerminalProgress::Clock::time_point now{};
  TerminalProgress Make(bool terminal) {
    return TerminalProgress(quiet, {terminal, &out, [this] { return now; }});
  }
};

TEST(TerminalProgress, PlainLinesInALogAtMostOncePerSecondAndALiveLineOnATerminal) {
  Fixture f;
  TerminalProgress p = f.Make(false);
  p.BeginStage("Padding ISO...");
  p.Advance(0, 100);
  f.now += 400ms;
  p.Advance(25, 100);  // too soon after 0%
  f.now += 600ms;
  p.Advance(25, 100);  // a second after 0%: the 25% is due
  f.now += 1500ms;
  p.Advance(25, 100);  // unchanged: no line
  f.now += 100ms;
  p.Advance(999, 1000);
  f.now += 100ms;
  p.Advance(1000, 1000);  // too soon again: the stage's end writes it, the last figure
  p.EndStage(true);
  // A compressed package shows bytes written instead of a bar.
  p.BeginStage("Converting to EBOOT...", 1.0, 23520);
  f.now += 2s;
  p.Advance(1572864, 0);
  f.now += 300ms;
  p.Advance(2097152, 0);
  p.EndStage(false);  // a stage that did not finish says no "Done"
  p.FinishLine();
  EXPECT_EQ(f.out.str(),
            "  Padding ISO... \n0%\n25%\n99%\n100%\nDone\n  Converting to EBOOT... \n"
            "Bytes written: 1.5 MB\n");

  // A live line only on a terminal.
  Fixture t;
  TerminalProgress live = t.Make(true);
  live.BeginStage("Padding ISO...");
  t.now += 65s;
  live.Advance(50, 100);
  live.FinishLine();
  std::string text = t.out.str();
  EXPECT_EQ(text.substr(text.rfind('\r')),
            "\rPadding ISO... [###############...............] 50%  1m 5s\033[K\n");
  // The bytes written, or the size of what is worked through, beside the clock.
  live.BeginStage("Converting to EBOOT...", 1.0, 1572864);
  t.now += 1s;
  live.Advance(0, 0);
  live.FinishLine();
  text = t.out.str();
  EXPECT_EQ(text.substr(text.rfind('\r')),
            "\rConverting to EBOOT...  Bytes written: 0 bytes  1m 6s\033[K\n");
}

TEST(TerminalQuestions, QuietShowsNothingAndQuestionsNeedYes) {
  Fixture f;
  f.quiet = true;
  TerminalProgress p = f.Make(false);
  TerminalQuestions q(f.yes, p);
  p.BeginStage("Padding ISO...");
  p.Advance(50, 100);
  p.Log("Converting game.iso\n");
  EXPECT_FALSE(q.AskYesNo("Overwrite?\r\nReally?", true, MsgIcon::Exclamation));
  EXPECT_EQ(q.refusedQuestion(), "Overwrite?\nReally?");
  f.yes = true;  // read when asked, as the parser fills it after the view is made
  EXPECT_TRUE(q.AskYesNo("Again?", true, MsgIcon::Exclamation));
  // A failed write is never answered Yes; the first refusal is the one kept.
  EXPECT_FALSE(q.AskYesNo("Continue regardless?", true, MsgIcon::Critical));
  EXPECT_EQ(q.refusedQuestion(), "Overwrite?\nReally?");
  q.Clear();
  EXPECT_FALSE(q.AskYesNo("Continue regardless?", true, MsgIcon::Critical));
  EXPECT_EQ(q.refusedQuestion(), "Continue regardless?");
  EXPECT_EQ(f.out.str(), "");
}

// The resolver's question only informs, and -o names the file a rebuild goes into.
TEST(TerminalQuestions, TheResolversQuestionAndTheRebuildsFile) {
  Fixture f;
  TerminalProgress p = f.Make(false);
  TerminalQuestions q(f.yes, p);
  EXPECT_FALSE(q.AskYesNo(kBinHasCueQuestion, false, MsgIcon::Exclamation));
  f.yes = true;
  EXPECT_TRUE(q.AskYesNo(kBinHasCueQuestion, false, MsgIcon::Exclamation));
  EXPECT_EQ(q.refusedQuestion(), "");
  EXPECT_EQ(f.out.str(),
            std::string(kBinHasCueQuestion) + " -> No\n" + kBinHasCueQuestion + " -> Yes\n");
  // Without -o there is no file to rebuild into, and the run can say so.
  EXPECT_EQ(q.ChooseRebuildDestination("/games/EBOOT.PBP"), std::nullopt);
  EXPECT_TRUE(q.destinationMissing());
  q.Clear();
  q.SetRebuildDestination("/games/NEW.PBP");
  EXPECT_EQ(q.ChooseRebuildDestination("/games/EBOOT.PBP"),
            std::optional<std::string>("/games/NEW.PBP"));
  EXPECT_FALSE(q.destinationMissing());
}

}  // namespace
}  // namespace ebf::cli
