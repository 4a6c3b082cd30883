// The work folder's run lock between processes: runs share it, a start that puts things
// right needs it alone, and it ends with the process that held it, however that ends.
#include "common/run_lock.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#endif

#include <chrono>
#include <utility>

#include "common/files.h"
#include "support/process_run.h"
#include "support/temp_dir.h"

#ifndef _WIN32
extern char** environ;
#endif

namespace ebf {
namespace {

using test::TempDir;

#ifndef _WIN32

// Another process that tries to take the lock (forked while this one holds nothing, so that
// it starts with none of its holds); with `stay` it keeps what it got until it is killed.
class OtherProcess {
 public:
  OtherProcess(const std::string& work, RunLockMode mode, bool stay) {
    int fds[2];
    if (pipe(fds) != 0) return;
    if ((pid_ = fork()) == 0) {
      RunLock lock(work, mode);
      const char c = lock.held() ? 'y' : 'n';
      if (write(fds[1], &c, 1) != 1) _exit(3);
      while (stay) pause();
      _exit(0);
    }
    close(fds[1]);
    char c = 0;
    got_ = read(fds[0], &c, 1) == 1 && c == 'y';
    close(fds[0]);
    if (!stay) waitpid(std::exchange(pid_, -1), nullptr, 0);
  }
  ~OtherProcess() { Kill(); }
  bool got() const { return got_; }
  // As `kill -9` does: no clean-up runs in that process.
  void Kill() {
    if (pid_ <= 0) return;
    kill(pid_, SIGKILL);
    waitpid(std::exchange(pid_, -1), nullptr, 0);
  }

 private:
  pid_t pid_ = -1;
  bool got_ = false;
};

// Whether a process of another program gets the lock at once: util-linux's flock(1), an
// independent witness of the system's lock.
bool OtherGets(const std::string& work, RunLockMode mode) {
  test::ProcessResult r =
      test::RunProcess("/usr/bin/flock",
                       {"--nonblock", mode == RunLockMode::Exclusive ? "--exclusive" : "--shared",
                        work + "/RUN.LOCK", "true"},
                       {});
  EXPECT_TRUE(r.started) << "flock(1) (util-linux) is needed as a witness";
  EXPECT_TRUE(r.exitCode == 0 || r.exitCode == 1) << r.output;
  return r.started && r.exitCode == 0;
}

TEST(RunLock, RunsShareItAndAStartNeedsItAlone) {
  TempDir work;
  {
    OtherProcess run(work.path(), RunLockMode::Shared, true);
    ASSERT_TRUE(run.got());
    // A second run goes on beside the first; a start must leave both alone.
    RunLock second(work.path(), RunLockMode::Shared);
    EXPECT_TRUE(second.held());
    EXPECT_FALSE(OtherGets(work.path(), RunLockMode::Exclusive));
    second.Release();
    EXPECT_FALSE(RunLock(work.path(), RunLockMode::Exclusive).held());
    // The run is killed: its lock goes with it.
    run.Kill();
    EXPECT_TRUE(RunLock(work.path(), RunLockMode::Exclusive).held());
  }
  {
    OtherProcess start(work.path(), RunLockMode::Exclusive, true);
    ASSERT_TRUE(start.got());
    EXPECT_FALSE(RunLock(work.path(), RunLockMode::Shared).held());
    EXPECT_FALSE(OtherGets(work.path(), RunLockMode::Exclusive));
    start.Kill();
    EXPECT_TRUE(RunLock(work.path(), RunLockMode::Shared).held());
  }
  // The lock file stays (removing it would let two processes lock two different files).
  EXPECT_TRUE(FileExists(work / "RUN.LOCK"));
}

TEST(RunLock, ARunWaitsForAStartThatIsPuttingThingsRight) {
  TempDir work;
  OtherProcess start(work.path(), RunLockMode::Exclusive, true);
  ASSERT_TRUE(start.got());
  const auto begun = std::chrono::steady_clock::now();
  RunLock given(work.path(), RunLockMode::Shared, std::chrono::milliseconds(300));
  EXPECT_FALSE(given.held());
  EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(300));
}

TEST(RunLock, CountedWithinOneProcess) {
  TempDir work;
  {
    RunLock run(work.path(), RunLockMode::Shared);
    ASSERT_TRUE(run.held());
    // This process's own run is still going: its own start may not clear up after it.
    EXPECT_FALSE(RunLock(work.path(), RunLockMode::Exclusive).held());
    RunLock nested(work.path(), RunLockMode::Shared);
    EXPECT_TRUE(nested.held());
    run.Release();
    EXPECT_FALSE(OtherGets(work.path(), RunLockMode::Exclusive));
  }
  EXPECT_TRUE(OtherGets(work.path(), RunLockMode::Exclusive));
  {
    RunLock start(work.path(), RunLockMode::Exclusive);
    ASSERT_TRUE(start.held());
    // What the start calls takes the lock again without waiting for itself.
    RunLock inner(work.path(), RunLockMode::Exclusive);
    EXPECT_TRUE(inner.held());
    RunLock run(work.path(), RunLockMode::Shared);
    EXPECT_TRUE(run.held());
    inner.Release();
    start.Release();
    // The run that remains still keeps a start of another process out.
    EXPECT_FALSE(OtherGets(work.path(), RunLockMode::Exclusive));
    EXPECT_TRUE(OtherGets(work.path(), RunLockMode::Shared));
    // A moved lock is released once.
    RunLock moved = std::move(run);
    EXPECT_TRUE(moved.held());
    EXPECT_FALSE(run.held());
  }
  EXPECT_TRUE(OtherGets(work.path(), RunLockMode::Exclusive));
}

TEST(RunLock, ChildProgramsDoNotKeepIt) {
  TempDir work;
  pid_t child = -1;
  {
    RunLock run(work.path(), RunLockMode::Exclusive);
    ASSERT_TRUE(run.held());
    // A program started while the lock is held (the converter is started so) outlives it.
    char* argv[] = {const_cast<char*>("sleep"), const_cast<char*>("30"), nullptr};
    ASSERT_EQ(posix_spawnp(&child, "sleep", nullptr, nullptr, argv, environ), 0);
  }
  EXPECT_TRUE(OtherGets(work.path(), RunLockMode::Exclusive));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

#endif

TEST(RunLock, AWorkFolderThatIsNotThereHasNothingToLock) {
  TempDir dir;
  const std::string missing = dir / "no such folder";
  RunLock lock(missing, RunLockMode::Exclusive);
  EXPECT_TRUE(lock.held());
  EXPECT_FALSE(FileExists(missing));
}

}  // namespace
}  // namespace ebf
