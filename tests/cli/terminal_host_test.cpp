// The command line's progress view: what reaches standard error on a terminal and in a log.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/terminal_host.h"

namespace ebf::cli {
namespace {

using namespace std::chrono_literals;

struct Fixture {
  bool yes = false, quiet = false;
  std::ostringstream out;
  TerminalHost::Clock::time_point now{};
  TerminalHost Make(bool terminal) {
    return TerminalHost(yes, quiet, {terminal, &out, [this] { return now; }});
  }
};

TEST(TerminalHost, PlainLinesInALogAtMostOncePerSecond) {
  Fixture f;
  TerminalHost host = f.Make(false);
  host.SetCaption("Padding ISO...");
  host.SetFraction(0.0);
  f.now += 400ms;
  host.SetFraction(0.25);  // too soon after 0%
  host.PumpEvents();
  f.now += 600ms;
  host.PumpEvents();  // a second after 0%: the 25% is due
  f.now += 1500ms;
  host.SetFraction(0.25);  // unchanged: no line
  f.now += 100ms;
  host.SetFraction(0.999);
  f.now += 100ms;
  host.SetFraction(1.0);  // too soon again, and never caught up: the next stage starts
  host.Log("\r\n  Converting to EBOOT... ");
  // A compressed package shows bytes written instead of a bar.
  host.ShowBar(false);
  host.ShowBytes(true);
  f.now += 2s;
  host.SetBytesText("Bytes written: 1.5 MB");
  host.SetCaption("Converting to EBOOT...");
  f.now += 300ms;
  host.SetBytesText("Bytes written: 2.0 MB");
  host.FinishLine();
  EXPECT_EQ(f.out.str(),
            "Padding ISO...\n0%\n25%\n99%\n  Converting to EBOOT... \n"
            "Bytes written: 1.5 MB\nConverting to EBOOT...\n");
}

TEST(TerminalHost, LiveLineOnlyOnATerminal) {
  Fixture f;
  TerminalHost host = f.Make(true);
  host.SetCaption("Padding ISO...");
  f.now += 65s;
  host.SetFraction(0.5);
  host.FinishLine();
  const std::string text = f.out.str();
  EXPECT_EQ(text.substr(text.rfind('\r')),
            "\rPadding ISO... [###############...............] 50%  1m 5s\033[K\n");
}

TEST(TerminalHost, QuietShowsNothingAndQuestionsNeedYes) {
  Fixture f;
  f.quiet = true;
  TerminalHost host = f.Make(false);
  host.SetCaption("Padding ISO...");
  host.SetFraction(0.5);
  host.Log("Converting game.iso\n");
  EXPECT_FALSE(host.AskYesNo("Overwrite?\r\nReally?", true, MsgIcon::Exclamation));
  EXPECT_EQ(host.refusedQuestion(), "Overwrite?\nReally?");
  f.yes = true;  // read when asked, as the parser fills it after the host is made
  EXPECT_TRUE(host.AskYesNo("Again?", true, MsgIcon::Exclamation));
  EXPECT_EQ(f.out.str(), "");
}

}  // namespace
}  // namespace ebf::cli
