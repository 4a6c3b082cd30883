#include "cli/json_out.h"

#include <iostream>
#include <streambuf>

#include "cli/registry.h"

namespace ebf::cli {
namespace {

// Passes everything on to `target` and keeps a copy (or only counts, when `keep` is off).
class TeeBuffer : public std::streambuf {
 public:
  TeeBuffer(std::streambuf* target, bool keep) : target_(target), keep_(keep) {}
  const std::string& kept() const { return kept_; }
  std::size_t count() const { return count_; }

 protected:
  int overflow(int c) override {
    if (c == traits_type::eof()) return traits_type::not_eof(c);
    const char ch = static_cast<char>(c);
    return xsputn(&ch, 1) == 1 ? c : traits_type::eof();
  }
  std::streamsize xsputn(const char* s, std::streamsize n) override {
    count_ += static_cast<std::size_t>(n);
    if (keep_) kept_.append(s, static_cast<std::size_t>(n));
    return target_->sputn(s, n);
  }
  int sync() override { return target_->pubsync(); }

 private:
  std::streambuf* target_;
  bool keep_;
  std::string kept_;
  std::size_t count_ = 0;
};

// The text without the blank lines and blanks around it.
std::string Stripped(const std::string& text) {
  const auto first = text.find_first_not_of(" \t\r\n");
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

}  // namespace

struct JsonErrorReport::Streams {
  std::streambuf* err = std::cerr.rdbuf();
  std::streambuf* out = std::cout.rdbuf();
  TeeBuffer errTee{err, true};
  TeeBuffer outTee{out, false};
  std::ostream progress{err};
};

JsonErrorReport::JsonErrorReport() : streams_(std::make_unique<Streams>()) {}

void JsonErrorReport::Begin() {
  std::cerr.rdbuf(&streams_->errTee);
  std::cout.rdbuf(&streams_->outTee);
}

JsonErrorReport::~JsonErrorReport() {
  std::cerr.rdbuf(streams_->err);
  std::cout.rdbuf(streams_->out);
}

std::ostream& JsonErrorReport::progressStream() {
  return streams_->progress;
}

void JsonErrorReport::Finish(bool json, int exitStatus, const std::string& message) {
  std::cout.flush();
  if (!json || exitStatus == kExitSuccess || streams_->outTee.count() > 0) return;
  PrintJson({{"error", Stripped(message.empty() ? streams_->errTee.kept() : message)},
             {"exitStatus", exitStatus}});
}

void PrintJson(const Json& value, bool oneLine) {
  std::cout << value.dump(oneLine ? -1 : 2, ' ', false, Json::error_handler_t::replace) << "\n";
}

void PrintResult(const CliContext& ctx, const Json& json, const std::string& text) {
  if (ctx.json) {
    PrintJson(json);
    return;
  }
  std::cout << text;
  if (!text.empty() && text.back() != '\n') std::cout << "\n";
}

}  // namespace ebf::cli
