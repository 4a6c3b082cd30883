#include "cli/terminal_host.h"

#include <csignal>
#include <cstdio>
#include <iostream>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include "common/cancel.h"
#include "common/text.h"

namespace ebf::cli {
namespace {

constexpr auto kLiveLineEvery = std::chrono::milliseconds(200);
constexpr auto kPlainLineEvery = std::chrono::seconds(1);

int Percent(double fraction) {
  if (fraction < 0) return 0;
  if (fraction > 1) return 100;
  return static_cast<int>(fraction * 100);
}

}  // namespace

TerminalHost::TerminalHost(const bool& assumeYes, const bool& quiet, View view)
    : assumeYes_(assumeYes), quiet_(quiet), view_(std::move(view)) {
  if (!view_.now) view_.now = [] { return Clock::now(); };
  start_ = view_.now();
}

std::ostream& TerminalHost::out() {
  return view_.out ? *view_.out : std::cerr;
}

bool TerminalHost::AskYesNo(const std::string& text, bool /*defaultNo*/, MsgIcon icon) {
  FinishLine();
  // "Continue regardless?" after a failed read or write is never answered Yes for the user:
  // going on past it is how a package or an image gets broken.
  if (icon == MsgIcon::Critical) {
    if (refused_.empty()) refused_ = ReplaceAll(text, "\r\n", "\n");
    return false;
  }
  if (assumeYes_) return true;
  if (refused_.empty()) refused_ = ReplaceAll(text, "\r\n", "\n");
  return false;
}

void TerminalHost::SetCaption(const std::string& caption) {
  caption_ = caption;
  Redraw(true);
}

void TerminalHost::SetFraction(double fraction) {
  fraction_ = fraction;
  Redraw(false);
}

void TerminalHost::SetTotalFraction(double) {}

void TerminalHost::SetSizeText(const std::string& text) {
  size_ = text;
  Redraw(false);
}

void TerminalHost::SetBytesText(const std::string& text) {
  bytes_ = text;
  Redraw(false);
}

void TerminalHost::ShowBar(bool visible) {
  showBar_ = visible;
}

void TerminalHost::ShowBytes(bool visible) {
  showBytes_ = visible;
}

void TerminalHost::Log(const std::string& text) {
  if (quiet_) return;
  // Log text carries its own line breaks, often ahead of the words.
  std::string plain = ReplaceAll(text, "\r\n", "\n");
  while (!plain.empty() && plain.front() == '\n') plain.erase(0, 1);
  plain = ReplaceAll(plain, "\r", "");
  if (plain.empty()) return;
  FinishLine();
  out() << plain;
  if (plain.back() != '\n') out() << "\n";
  out().flush();
}

void TerminalHost::PumpEvents() {
  Redraw(false);
}

void TerminalHost::FinishLine() {
  if (lineOpen_) out() << "\n" << std::flush;
  lineOpen_ = false;
}

void TerminalHost::Redraw(bool force) {
  if (quiet_) return;
  const auto now = view_.now();
  if (!view_.terminal) {
    WritePlainLines(now);
    return;
  }
  if (!force && now - lastDraw_ < kLiveLineEvery) return;
  lastDraw_ = now;
  DrawLiveLine(now);
}

void TerminalHost::WritePlainLines(Clock::time_point now) {
  // A new caption is always worth a line; a number waits for its second.
  if (!caption_.empty() && caption_ != captionWritten_) {
    captionWritten_ = caption_;
    numberWritten_.clear();
    out() << caption_ << "\n" << std::flush;
  }
  std::string number;
  if (showBar_ && fraction_ >= 0)
    number = std::to_string(Percent(fraction_)) + "%";
  else if (showBytes_ && !bytes_.empty())
    number = bytes_;
  if (number.empty() || number == numberWritten_) return;
  if (lastNumberAt_ && now - *lastNumberAt_ < kPlainLineEvery) return;
  numberWritten_ = number;
  lastNumberAt_ = now;
  out() << number << "\n" << std::flush;
}

void TerminalHost::DrawLiveLine(Clock::time_point now) {
  auto secs = std::chrono::duration_cast<std::chrono::seconds>(now - start_).count();
  std::string line = caption_;
  if (fraction_ >= 0) {
    const int width = 30;
    int filled = static_cast<int>(fraction_ * width + 0.5);
    if (filled > width) filled = width;
    if (filled < 0) filled = 0;
    line += " [" + std::string(filled, '#') + std::string(width - filled, '.') + "] " +
            std::to_string(Percent(fraction_)) + "%";
  }
  if (!bytes_.empty())
    line += "  " + bytes_;
  else if (!size_.empty())
    line += "  " + size_;
  line += "  " + std::to_string(secs / 60) + "m " + std::to_string(secs % 60) + "s";
  out() << "\r" << line << "\033[K" << std::flush;
  lineOpen_ = true;
}

bool StderrIsTerminal() {
#ifdef _WIN32
  return _isatty(_fileno(stderr)) != 0;
#else
  return isatty(STDERR_FILENO) != 0;
#endif
}

extern "C" void OnInterrupt(int) {
  CancelRequested = true;
}

void InstallInterruptHandler() {
  std::signal(SIGINT, OnInterrupt);
#ifdef SIGTERM
  std::signal(SIGTERM, OnInterrupt);
#endif
}

}  // namespace ebf::cli
