#pragma once
// Writes a stream of bytes to an open file on a second thread, so that the file system's
// copying overlaps the caller's work. The caller fills one buffer while the other is
// written; only file writes run on the worker, everything else stays on the caller's
// thread.

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "common/file_io.h"

namespace ebf {

class AsyncWriter {
 public:
  AsyncWriter(File& out, std::size_t chunkSize);
  ~AsyncWriter();  // writes what is pending, then stops the worker
  AsyncWriter(const AsyncWriter&) = delete;
  AsyncWriter& operator=(const AsyncWriter&) = delete;

  // Queues bytes; a full chunk is handed to the worker. False when an earlier write
  // failed (see TakeError); the failed bytes are lost, later ones are still written.
  bool Write(std::span<const uint8_t> data);
  // Hands over what is queued and waits until everything is in the file. False as Write.
  bool Flush();
  // The description of the first failure since the last call, "" when there was none.
  std::string TakeError();

 private:
  void Run();
  void HandOver();  // waits for the worker to be idle, then gives it the filled buffer

  File& out_;
  std::size_t chunk_;
  std::vector<uint8_t> filling_, writing_;
  std::mutex m_;
  std::condition_variable cv_;
  bool busy_ = false, stop_ = false;
  std::string error_;
  std::thread worker_;
};

}  // namespace ebf
