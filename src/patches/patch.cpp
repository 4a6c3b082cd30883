#include "patches/patch.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <optional>
#include <thread>

#include "common/files.h"
#include "patches/formats.h"

namespace ebf::patches {
namespace {

// The result under its temporary name, removed on every way out but success.
class PartialFile {
 public:
  explicit PartialFile(std::string path) : path_(std::move(path)) { DeleteFileIfExists(path_); }
  ~PartialFile() {
    if (!kept_) DeleteFileIfExists(path_);
  }
  PartialFile(const PartialFile&) = delete;
  PartialFile& operator=(const PartialFile&) = delete;
  const std::string& path() const { return path_; }
  // Gives the finished file its name.
  Outcome RenameTo(const std::string& target) {
    std::string why;
    if (!RenameReplacing(path_, target, &why))
      return Outcome::Failed("The patched image could not be named " + target + " (" + why + ")");
    kept_ = true;
    return Outcome::Success();
  }

 private:
  std::string path_;
  bool kept_ = false;
};

// Copies the image on a second thread for a patch that changes the copy record by record:
// each change waits only until the bytes it touches are copied, so the records go on while
// the copy is made instead of after it.
class BackgroundCopy {
 public:
  BackgroundCopy(const std::string& from, const std::string& to)
      : thread_([this, from, to] { Run(from, to); }) {}
  ~BackgroundCopy() {
    stop_ = true;
    thread_.join();
  }
  BackgroundCopy(const BackgroundCopy&) = delete;
  BackgroundCopy& operator=(const BackgroundCopy&) = delete;

  // Waits until the copy's first `end` bytes are in it (UINT64_MAX: all), showing how far the
  // copy is. False when it failed or was cancelled (outcome()).
  bool WaitFor(uint64_t end, Stage& stage, CancelToken& cancel) {
    if (opened_.load(std::memory_order_acquire) && end <= done_.load(std::memory_order_acquire))
      return true;
    std::unique_lock lock(m_);
    while (!finished_ && !(opened_.load() && end <= done_.load())) {
      stage.Advance(done_.load(), total_);
      cv_.wait_for(lock, std::chrono::milliseconds(50));
      if (cancel.Take()) stop_ = true;
    }
    return !finished_ || outcome_.succeeded();
  }
  bool Failed() {
    std::lock_guard lock(m_);
    return finished_ && !outcome_.succeeded();
  }
  Outcome outcome() {
    std::lock_guard lock(m_);
    return outcome_;
  }

 private:
  void Run(const std::string& from, const std::string& to) {
    Outcome copied = CopyImage(from, to, [&](uint64_t done, uint64_t total) {
      {
        std::lock_guard lock(m_);
        total_ = total;
        done_.store(done, std::memory_order_release);
        opened_.store(true, std::memory_order_release);
      }
      cv_.notify_all();
      return !stop_;
    });
    {
      std::lock_guard lock(m_);
      outcome_ = copied;
      finished_ = true;
    }
    cv_.notify_all();
  }

  std::mutex m_;
  std::condition_variable cv_;
  std::atomic<uint64_t> done_{0};
  std::atomic<bool> opened_{false}, stop_{false};
  uint64_t total_ = 0;
  bool finished_ = false;
  Outcome outcome_ = Outcome::Success();
  std::thread thread_;  // last: it starts once everything above is made
};

}  // namespace

Outcome Patch::Damaged(const std::string& detail) const {
  return Outcome::Failed("The patch \"" + FileNameOf(path_) + "\" is damaged: " + detail + ".");
}

Outcome Patch::NotForThisImage(const std::string& check) const {
  return Outcome::Failed("The patch \"" + FileNameOf(path_) +
                         "\" was made for another version of the disc: " + check +
                         ". Nothing was written.");
}

Outcome Patch::IoFailed(const std::string& detail) const {
  return Outcome::Failed("The patch \"" + FileNameOf(path_) + "\" could not be applied: " + detail);
}

OpenedPatch OpenPatch(const std::string& path) {
  if (std::string refused = NotAFileMessage(path); !refused.empty())
    return {Outcome::Failed(refused), nullptr};
  File file(path, File::Mode::Read);
  if (!file)
    return {Outcome::Failed("The patch \"" + path + "\" could not be read: " + file.LastError()),
            nullptr};
  uint8_t head[5] = {};
  const std::size_t n = file.Read(head);
  file.Close();
  if (n >= 3 && std::memcmp(head, "PPF", 3) == 0) return OpenPpf(path);
  if (n >= 5 && std::memcmp(head, "PATCH", 5) == 0) return OpenIps(path);
  if (n >= 4 && std::memcmp(head, "BPS1", 4) == 0) return OpenBps(path);
  if (n >= 3 && head[0] == 0xD6 && head[1] == 0xC3 && head[2] == 0xC4) return OpenVcdiff(path);
  return {Outcome::Failed("\"" + FileNameOf(path) +
                          "\" is not a patch this program reads (PPF, IPS, BPS, or VCDIFF as "
                          "xdelta3 makes it)."),
          nullptr};
}

std::string ApplyingCaption(const Patch& patch) {
  return "Applying " + FileNameOf(patch.path()) + "...";
}

Outcome ApplyPatchFile(Patch& patch, const std::string& source, const std::string& target,
                       Progress& progress, CancelToken& cancel, uint64_t limit) {
  Stage stage(progress, ApplyingCaption(patch));
  SourceImage image;
  if (!image.Open(source))
    return Outcome::Failed("The disc image " + source + " could not be read: " + image.error());
  if (Outcome fits = patch.Check(image, cancel); !fits.succeeded()) return fits;

  const bool inPlace = patch.ChangesInPlace();
  const bool scratch = target == source;
  std::optional<PartialFile> partial;
  if (!(inPlace && scratch)) partial.emplace(target + ".part");
  const std::string& writing = partial ? partial->path() : target;

  TargetImage out(limit);
  Stage apply(progress, "");
  // The copy's progress is the run's: the records' own would run ahead of it.
  NoProgress recordsProgress;
  std::optional<BackgroundCopy> copy;
  if (inPlace && !scratch) {
    copy.emplace(source, writing);
    if (!copy->WaitFor(0, apply, cancel)) return copy->outcome();
  }
  if (inPlace) {
    if (!out.OpenInPlace(writing))
      return Outcome::Failed("The patched image " + writing +
                             " could not be opened: " + out.error());
    if (copy)
      out.WaitForCopy(image.size(),
                      [&](uint64_t end) { return copy->WaitFor(end, apply, cancel); });
  } else if (!out.Create(writing)) {
    return Outcome::Failed("The patched image " + writing +
                           " could not be written: " + out.error());
  }
  Outcome applied = patch.Apply(image, out, copy ? recordsProgress : progress, cancel);
  // A copy that stopped says why, before the records that could not wait for it; one that
  // goes on after the records failed is stopped.
  if (copy && (applied.succeeded() ? !copy->WaitFor(UINT64_MAX, apply, cancel) : copy->Failed()))
    applied = copy->outcome();
  const bool finished = out.Finish();
  if (!applied.succeeded()) return applied;
  if (!finished)
    return Outcome::Failed("The patched image " + writing +
                           " could not be written: " + out.error());
  apply.Done();
  image.Close();
  if (partial) {
    if (Outcome named = partial->RenameTo(target); !named.succeeded()) return named;
  }
  stage.Done();
  return Outcome::Success();
}

}  // namespace ebf::patches
