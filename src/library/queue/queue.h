#pragma once
// The queue of a whole library: one row per game, run one after the other through
// PlanConversion and RunConversion. The window and the command line's `batch` are two faces
// of it: each fills it, watches its rows through a QueueObserver and shows them its own way.
// Rows may be edited, removed and reordered from another thread while the queue runs;
// the row that is running is left alone.

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "app/settings.h"
#include "common/cancel.h"
#include "common/program_folders.h"
#include "common/progress.h"
#include "common/questions.h"
#include "engine/conversion.h"
#include "engine/plan.h"
#include "library/queue/disc_search.h"

namespace ebf {

enum class RowState { Queued, Running, Done, Failed, Skipped, Cancelled };
enum class SkipReason { None, Exists, DiscMissing, NotADisc };

// "Queued", "Running", "Done", "Failed", "Skipped", "Cancelled".
const char* RowStateName(RowState state);
// "exists", "disc missing", "not a disc"; "" for None.
const char* SkipReasonName(SkipReason reason);

// What a run does with a game whose folder already holds an EBOOT.PBP (on the PSP too).
enum class ExistingPackage { Skip, Replace };

struct QueueRow {
  int id = 0;  // the row's own for the queue's life
  std::vector<std::string> discs;
  bool wholeGame = false;
  std::string problem;  // found when the games were told apart (a playlist that cannot be read)
  // As the main window finds them (the game list, the image), or as the user typed them.
  std::string title, gameId, region;
  bool titleEdited = false, idEdited = false, identified = false;
  uint64_t sourceBytes = 0;
  RowState state = RowState::Queued;
  SkipReason skip = SkipReason::None;
  std::string reason;  // why it failed, was skipped or was cancelled: the program's words
  std::vector<std::string> warnings;
  std::string output;  // the folder its package goes to, once planned
  std::string package, copiedTo;
  uint64_t packageBytes = 0;
  double seconds = 0;
};

// A new row for a game found on disk, named after its first disc until it is identified.
QueueRow RowFor(const FoundGame& game);
// Title, ID, region and size, found as the main window finds them.
void IdentifyRow(QueueRow& row, const Settings& settings, const ProgramFolders& folders);

// The settings a queue runs with: every package into a folder of its own under
// `outputFolder`, named as the settings name it (by the title when they would name none).
Settings QueueSettings(Settings settings, const std::string& outputFolder);

// What a run is given once, before it starts.
struct QueueSetup {
  Settings settings;  // as QueueSettings gives them
  ProgramFolders folders;
  // What every row's job starts from: level, PAL fixes (given to PAL games only), assets,
  // what a game with a disc missing does. The queue fills in the discs and the names.
  JobInput job;
  ExistingPackage existing = ExistingPackage::Skip;
  std::string pspRoot;  // the volume each package made is copied onto; "" for none
};

// How a row's run went, beyond what the row keeps: for a face that says more.
struct RowRun {
  std::optional<Planned> planned;  // when the row got as far as its plan
  ConversionResult result;         // a refused plan's outcome when it was refused
  std::string refusedQuestion;     // the first question answered No
};

class QueueObserver {
 public:
  virtual ~QueueObserver() = default;
  // Where the row's run reports; asked once per row, on the thread that runs the queue.
  virtual Progress& ProgressFor(const QueueRow& row) = 0;
  // `number` of `count` in this run (both from 1).
  virtual void RowStarted(const QueueRow& /*row*/, std::size_t /*number*/, std::size_t /*count*/) {}
  virtual void RowFinished(const QueueRow& /*row*/, const RowRun& /*run*/) {}
};

struct QueueSummary {
  std::size_t done = 0, failed = 0, skipped = 0, cancelled = 0, queued = 0;
  double seconds = 0;       // the runs' own time
  uint64_t bytesSaved = 0;  // the sources' size less the packages' size, of the games done
};

class BatchQueue {
 public:
  // Rows whose first disc is in the queue already are left out; returns the ids given.
  std::vector<int> Add(std::vector<QueueRow> rows);
  // Each false when the row is not there or not in a state that allows it: a running row
  // is never removed or moved; only queued rows are edited; failed, cancelled and skipped
  // rows go back into the queue.
  bool Remove(int id);
  bool Move(int id, int by);
  bool Edit(int id, const std::optional<std::string>& title,
            const std::optional<std::string>& gameId);
  bool Retry(int id);

  std::vector<QueueRow> Rows() const;
  std::optional<QueueRow> Row(int id) const;
  QueueSummary Summary() const;
  // The sources' size of the rows still to run: what their packages may take at most.
  uint64_t QueuedBytes() const;

  // Runs the queued rows in order until none is left. A cancel stops the running row (it
  // becomes Cancelled) and the run; StopAfterCurrent lets the running row end first. One
  // row's failure never stops the others.
  void Run(const QueueSetup& setup, QueueObserver& observer, Questions& questions,
           CancelToken& cancel);
  void StopAfterCurrent() { stopAfter_ = true; }

 private:
  std::optional<QueueRow> TakeNext(std::set<std::string>& taken);
  void Store(const QueueRow& row, double seconds);

  mutable std::mutex mutex_;
  std::vector<QueueRow> rows_;
  int nextId_ = 1;
  double seconds_ = 0;
  std::atomic<bool> stopAfter_{false};
};

// One row through its checks, its plan, its run and the copy onto the PSP; the row gets its
// state. `taken`: the output folders other rows took.
RowRun RunRow(QueueRow& row, const std::set<std::string>& taken, const QueueSetup& setup,
              PictureFinder& pictures, Progress& progress, Questions& questions,
              CancelToken& cancel);

}  // namespace ebf
