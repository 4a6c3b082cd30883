#include "cli/terminal_host.h"

#include <csignal>
#include <cstdio>
#include <iostream>

#include "common/cancel.h"
#include "common/text.h"

namespace ebf::cli {

bool TerminalHost::AskYesNo(const std::string& text, bool /*defaultNo*/, MsgIcon /*icon*/) {
  FinishLine();
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

void TerminalHost::Log(const std::string& text) {
  // Log text carries its own line breaks, often ahead of the words.
  std::string plain = ReplaceAll(text, "\r\n", "\n");
  while (!plain.empty() && plain.front() == '\n') plain.erase(0, 1);
  if (plain.empty()) return;
  FinishLine();
  std::cerr << plain;
  if (plain.back() != '\n') std::cerr << "\n";
}

void TerminalHost::PumpEvents() {
  Redraw(false);
}

void TerminalHost::FinishLine() {
  if (lineOpen_) std::cerr << "\n";
  lineOpen_ = false;
}

void TerminalHost::Redraw(bool force) {
  auto now = std::chrono::steady_clock::now();
  if (!force && now - lastDraw_ < std::chrono::milliseconds(200)) return;
  lastDraw_ = now;
  auto secs = std::chrono::duration_cast<std::chrono::seconds>(now - start_).count();
  std::string line = caption_;
  if (fraction_ >= 0) {
    const int width = 30;
    int filled = static_cast<int>(fraction_ * width + 0.5);
    if (filled > width) filled = width;
    if (filled < 0) filled = 0;
    line += " [" + std::string(filled, '#') + std::string(width - filled, '.') + "] " +
            std::to_string(static_cast<int>(fraction_ * 100)) + "%";
  }
  if (!bytes_.empty())
    line += "  " + bytes_;
  else if (!size_.empty())
    line += "  " + size_;
  line += "  " + std::to_string(secs / 60) + "m " + std::to_string(secs % 60) + "s";
  std::cerr << "\r" << line << "\033[K" << std::flush;
  lineOpen_ = true;
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
