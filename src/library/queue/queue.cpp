#include "library/queue/queue.h"

#include <algorithm>
#include <chrono>

#include "common/files.h"

namespace ebf {
namespace {

template <class Rows>
auto FindRow(Rows& rows, int id) {
  return std::find_if(rows.begin(), rows.end(), [id](const QueueRow& r) { return r.id == id; });
}

bool Finished(RowState state) {
  return state == RowState::Failed || state == RowState::Cancelled || state == RowState::Skipped;
}

}  // namespace

std::vector<int> BatchQueue::Add(std::vector<QueueRow> rows) {
  std::lock_guard lock(mutex_);
  std::set<std::string> queued;
  for (const QueueRow& r : rows_) queued.insert(CanonicalPath(r.discs.front()));
  std::vector<int> ids;
  for (QueueRow& row : rows) {
    if (row.discs.empty() || !queued.insert(CanonicalPath(row.discs.front())).second) continue;
    row.id = nextId_++;
    row.state = RowState::Queued;
    ids.push_back(row.id);
    rows_.push_back(std::move(row));
  }
  return ids;
}

bool BatchQueue::Remove(int id) {
  std::lock_guard lock(mutex_);
  auto it = FindRow(rows_, id);
  if (it == rows_.end() || it->state == RowState::Running) return false;
  rows_.erase(it);
  return true;
}

bool BatchQueue::Move(int id, int by) {
  std::lock_guard lock(mutex_);
  auto it = FindRow(rows_, id);
  if (it == rows_.end() || it->state == RowState::Running) return false;
  const auto from = it - rows_.begin();
  const auto to = std::clamp<std::ptrdiff_t>(from + by, 0, std::ssize(rows_) - 1);
  if (to == from) return false;
  QueueRow row = std::move(*it);
  rows_.erase(it);
  rows_.insert(rows_.begin() + to, std::move(row));
  return true;
}

bool BatchQueue::Edit(int id, const std::optional<std::string>& title,
                      const std::optional<std::string>& gameId) {
  std::lock_guard lock(mutex_);
  auto it = FindRow(rows_, id);
  if (it == rows_.end() || it->state != RowState::Queued) return false;
  if (title) {
    it->title = *title;
    it->titleEdited = true;
  }
  if (gameId) {
    it->gameId = *gameId;
    it->idEdited = true;
  }
  return true;
}

bool BatchQueue::Retry(int id) {
  std::lock_guard lock(mutex_);
  auto it = FindRow(rows_, id);
  if (it == rows_.end() || !Finished(it->state)) return false;
  it->state = RowState::Queued;
  it->skip = SkipReason::None;
  it->reason.clear();
  return true;
}

std::vector<QueueRow> BatchQueue::Rows() const {
  std::lock_guard lock(mutex_);
  return rows_;
}

std::optional<QueueRow> BatchQueue::Row(int id) const {
  std::lock_guard lock(mutex_);
  auto it = FindRow(rows_, id);
  if (it == rows_.end()) return std::nullopt;
  return *it;
}

QueueSummary BatchQueue::Summary() const {
  std::lock_guard lock(mutex_);
  QueueSummary s;
  s.seconds = seconds_;
  for (const QueueRow& r : rows_) {
    switch (r.state) {
      case RowState::Done:
        ++s.done;
        if (r.sourceBytes > r.packageBytes) s.bytesSaved += r.sourceBytes - r.packageBytes;
        break;
      case RowState::Failed:
        ++s.failed;
        break;
      case RowState::Skipped:
        ++s.skipped;
        break;
      case RowState::Cancelled:
        ++s.cancelled;
        break;
      case RowState::Queued:
      case RowState::Running:
        ++s.queued;
        break;
    }
  }
  return s;
}

uint64_t BatchQueue::QueuedBytes() const {
  std::lock_guard lock(mutex_);
  uint64_t bytes = 0;
  for (const QueueRow& r : rows_)
    if (r.state == RowState::Queued) bytes += r.sourceBytes;
  return bytes;
}

std::optional<QueueRow> BatchQueue::TakeNext(std::set<std::string>& taken) {
  std::lock_guard lock(mutex_);
  auto it = std::find_if(rows_.begin(), rows_.end(),
                         [](const QueueRow& r) { return r.state == RowState::Queued; });
  if (it == rows_.end()) return std::nullopt;
  it->state = RowState::Running;
  // Folders that other games took: this game's gets " (2)" and so on.
  taken.clear();
  for (const QueueRow& r : rows_)
    if (r.id != it->id && !r.output.empty()) taken.insert(r.output);
  return *it;
}

void BatchQueue::Store(const QueueRow& row, double seconds) {
  std::lock_guard lock(mutex_);
  seconds_ += seconds;
  // A running row is never removed nor edited; only its place may have changed.
  if (auto it = FindRow(rows_, row.id); it != rows_.end()) *it = row;
}

void BatchQueue::Run(const QueueSetup& setup, QueueObserver& observer, Questions& questions,
                     CancelToken& cancel) {
  using Clock = std::chrono::steady_clock;
  stopAfter_ = false;
  std::size_t count = 0, number = 0;
  for (const QueueRow& r : Rows()) count += r.state == RowState::Queued;
  // One finder for the whole run, so that every folder of pictures is read once.
  PictureFinder pictures(PictureFoldersOf(setup.settings));
  std::set<std::string> taken;
  while (!stopAfter_ && !cancel.Take()) {
    std::optional<QueueRow> row = TakeNext(taken);
    if (!row) break;
    const auto start = Clock::now();
    Progress& progress = observer.ProgressFor(*row);
    ++number;
    observer.RowStarted(*row, number, std::max(count, number));
    const RowRun run = RunRow(*row, taken, setup, pictures, progress, questions, cancel);
    Store(*row, std::chrono::duration<double>(Clock::now() - start).count());
    observer.RowFinished(*row, run);
    if (row->state == RowState::Cancelled) break;
  }
}

}  // namespace ebf
