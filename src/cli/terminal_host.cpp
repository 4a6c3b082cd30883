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
#include "common/files.h"
#include "common/text.h"
#include "disc/resolver.h"
#include "engine/patch_plan.h"

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

TerminalProgress::TerminalProgress(const bool& quiet, View view)
    : quiet_(quiet), view_(std::move(view)) {
  if (!view_.now) view_.now = [] { return Clock::now(); };
  start_ = view_.now();
}

std::ostream& TerminalProgress::out() {
  return view_.out ? *view_.out : std::cerr;
}

void TerminalProgress::OnStageBegun(const std::string& name, uint64_t workSize) {
  if (name.empty()) return;
  caption_ = name;
  size_ = workSize ? "Image Size: " + FormatSize(workSize) : std::string();
  bytes_.clear();
  fraction_ = -1;
  numberWritten_.clear();
  Log("  " + name + " ");
}

void TerminalProgress::OnAdvanced(uint64_t done, uint64_t total, double /*overall*/) {
  if (total > 0) {
    fraction_ = static_cast<double>(done) / static_cast<double>(total);
    bytes_.clear();
  } else {
    // Nothing to measure against: what has been written so far is all there is to show.
    fraction_ = -1;
    bytes_ = "Bytes written: " + FormatSize(done);
  }
  Redraw(false);
}

void TerminalProgress::OnStageEnded(const std::string& name, bool completed) {
  if (name.empty()) return;
  // The last figure stands in the log even when it came within a second of the one before.
  if (completed && !quiet_ && !view_.terminal) WritePlainNumber(view_.now(), true);
  if (completed) Log("Done");
  caption_.clear();
  size_.clear();
  bytes_.clear();
  fraction_ = -1;
}

void TerminalProgress::Log(const std::string& text) {
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

void TerminalProgress::FinishLine() {
  if (lineOpen_) out() << "\n" << std::flush;
  lineOpen_ = false;
}

void TerminalProgress::Redraw(bool force) {
  if (quiet_) return;
  const auto now = view_.now();
  if (!view_.terminal) {
    WritePlainNumber(now);
    return;
  }
  if (!force && now - lastDraw_ < kLiveLineEvery) return;
  lastDraw_ = now;
  DrawLiveLine(now);
}

void TerminalProgress::WritePlainNumber(Clock::time_point now, bool force) {
  // The stage's own line has been written; a number waits for its second.
  std::string number;
  if (fraction_ >= 0)
    number = std::to_string(Percent(fraction_)) + "%";
  else
    number = bytes_;
  if (number.empty() || number == numberWritten_) return;
  if (!force && lastNumberAt_ && now - *lastNumberAt_ < kPlainLineEvery) return;
  numberWritten_ = number;
  lastNumberAt_ = now;
  out() << number << "\n" << std::flush;
}

void TerminalProgress::DrawLiveLine(Clock::time_point now) {
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

bool TerminalQuestions::AskYesNo(const std::string& text, bool /*defaultNo*/, MsgIcon icon) {
  view_.FinishLine();
  if (text == kBinHasCueQuestion || text.rfind(kBesidePatchHead, 0) == 0) {
    view_.Log(ReplaceAll(text, "\r\n", "\n") + (assumeYes_ ? " -> Yes\n" : " -> No\n"));
    return assumeYes_;
  }
  // "Continue regardless?" after a failed read or write is never answered Yes for the user:
  // going on past it is how a package or an image gets broken.
  if (icon != MsgIcon::Critical && assumeYes_) return true;
  if (refused_.empty()) refused_ = ReplaceAll(text, "\r\n", "\n");
  return false;
}

std::optional<std::string> TerminalQuestions::ChooseRebuildDestination(const std::string&) {
  if (rebuildDestination_.empty()) {
    destinationMissing_ = true;
    return std::nullopt;
  }
  return rebuildDestination_;
}

void TerminalQuestions::Clear() {
  refused_.clear();
  rebuildDestination_.clear();
  destinationMissing_ = false;
}

bool StderrIsTerminal() {
#ifdef _WIN32
  return _isatty(_fileno(stderr)) != 0;
#else
  return isatty(STDERR_FILENO) != 0;
#endif
}

extern "C" void OnInterrupt(int) {
  CancelToken::SignalArrived();
}

void InstallInterruptHandler() {
  std::signal(SIGINT, OnInterrupt);
#ifdef SIGTERM
  std::signal(SIGTERM, OnInterrupt);
#endif
}

}  // namespace ebf::cli
