#include "common/async_writer.h"

namespace ebf {

AsyncWriter::AsyncWriter(File& out, std::size_t chunkSize) : out_(out), chunk_(chunkSize) {
  filling_.reserve(chunk_);
  writing_.reserve(chunk_);
  worker_ = std::thread([this] { Run(); });
}

AsyncWriter::~AsyncWriter() {
  Flush();
  {
    std::lock_guard<std::mutex> lock(m_);
    stop_ = true;
  }
  cv_.notify_all();
  worker_.join();
}

void AsyncWriter::Run() {
  std::unique_lock<std::mutex> lock(m_);
  for (;;) {
    cv_.wait(lock, [this] { return busy_ || stop_; });
    if (busy_) {
      lock.unlock();
      bool ok = out_.Write(writing_);
      lock.lock();
      if (!ok && error_.empty())
        error_ = out_.LastError().empty() ? "Write failed" : out_.LastError();
      writing_.clear();
      busy_ = false;
      cv_.notify_all();
    } else if (stop_) {
      return;
    }
  }
}

void AsyncWriter::HandOver() {
  std::unique_lock<std::mutex> lock(m_);
  cv_.wait(lock, [this] { return !busy_; });
  if (filling_.empty()) return;
  filling_.swap(writing_);
  busy_ = true;
  cv_.notify_all();
}

bool AsyncWriter::Write(std::span<const uint8_t> data) {
  while (!data.empty()) {
    std::size_t n = std::min(data.size(), chunk_ - filling_.size());
    filling_.insert(filling_.end(), data.begin(), data.begin() + static_cast<std::ptrdiff_t>(n));
    data = data.subspan(n);
    if (filling_.size() == chunk_) HandOver();
  }
  std::lock_guard<std::mutex> lock(m_);
  return error_.empty();
}

bool AsyncWriter::Flush() {
  HandOver();
  std::unique_lock<std::mutex> lock(m_);
  cv_.wait(lock, [this] { return !busy_; });
  // The worker is idle, so the file's own buffer can be pushed out from here.
  if (!out_.Flush() && error_.empty())
    error_ = out_.LastError().empty() ? "Write failed" : out_.LastError();
  return error_.empty();
}

std::string AsyncWriter::TakeError() {
  std::lock_guard<std::mutex> lock(m_);
  std::string e;
  e.swap(error_);
  return e;
}

}  // namespace ebf
