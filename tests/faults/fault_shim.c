// Loaded with LD_PRELOAD into the programs under test: counts the write calls a program
// makes on regular files and, at the Nth, fails it (ENOSPC, as a full disk does) or kills
// the process (SIGKILL, as a crash or `kill -9` does). The calls that end a write count too:
// fsync, ftruncate and the close of a file open for writing (these fail with EIO, as a disk
// that drops the data at the end does), and the kernel-side copies (sendfile,
// copy_file_range), so that no way of writing goes around the seam.
//
//   EBF_FAULT_PROGRAM     file name of the program to act in (others are left alone)
//   EBF_FAULT_AT          N, 1-based; 0 or unset only counts
//   EBF_FAULT_KIND        "fail" or "kill"
//   EBF_FAULT_COUNT_FILE  where the program appends its count when it exits normally
//   EBF_FAULT_TRACE       when set, each counted call is named on standard error
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

static int active = -1;  // -1 not decided yet, 0 another program, 1 this one
static long faultAt = 0;
static int killKind = 0;
static long count = 0;

static void Decide(void) {
  if (active >= 0) return;
  const char* program = getenv("EBF_FAULT_PROGRAM");
  char exe[4096];
  ssize_t n = readlink("/proc/self/exe", exe, sizeof exe - 1);
  active = 0;
  if (!program || n <= 0) return;
  exe[n] = '\0';
  const char* base = strrchr(exe, '/');
  base = base ? base + 1 : exe;
  if (strcmp(base, program) != 0) return;
  active = 1;
  const char* at = getenv("EBF_FAULT_AT");
  const char* kind = getenv("EBF_FAULT_KIND");
  faultAt = at ? atol(at) : 0;
  killKind = kind && strcmp(kind, "kill") == 0;
}

static int IsRegular(int fd) {
  struct stat st;
  return fd >= 0 && fstat(fd, &st) == 0 && S_ISREG(st.st_mode);
}

static int IsWritable(int fd) {
  int flags = fcntl(fd, F_GETFL);
  return flags >= 0 && (flags & O_ACCMODE) != O_RDONLY;
}

static void Trace(int fd, const char* call) {
  char link[64], path[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", fd);
  ssize_t n = readlink(link, path, sizeof path - 1);
  path[n > 0 ? n : 0] = '\0';
  fprintf(stderr, "[fault shim] %ld: %s %s\n", count, call, path);
}

// 1 when this call is to fail; a kill never returns.
static int StrikeCall(int fd, const char* call) {
  Decide();
  if (active != 1 || !IsRegular(fd)) return 0;
  ++count;
  if (getenv("EBF_FAULT_TRACE")) Trace(fd, call);
  if (faultAt <= 0 || count != faultAt) return 0;
  if (killKind) kill(getpid(), SIGKILL);
  errno = ENOSPC;
  return 1;
}

__attribute__((destructor)) static void Report(void) {
  const char* file = getenv("EBF_FAULT_COUNT_FILE");
  if (active != 1 || !file) return;
  active = 0;  // the count's own file is not one of the program's writes
  FILE* f = fopen(file, "a");
  if (!f) return;
  fprintf(f, "%ld\n", count);
  fclose(f);
}

// The C library's own function behind a wrapper, looked up once.
#define REAL(name)               \
  static __typeof__(&name) real; \
  if (!real) real = (__typeof__(&name))dlsym(RTLD_NEXT, #name)

// A call that writes to `fd`: at the fault it writes nothing and says the disk is full.
#define WRITE_CALL(type, name, fd, params, args) \
  type name params {                             \
    REAL(name);                                  \
    if (StrikeCall(fd, #name)) return -1;        \
    return real args;                            \
  }

WRITE_CALL(ssize_t, write, fd, (int fd, const void* buf, size_t n), (fd, buf, n))
WRITE_CALL(ssize_t, writev, fd, (int fd, const struct iovec* iov, int cnt), (fd, iov, cnt))
WRITE_CALL(ssize_t, pwrite, fd, (int fd, const void* buf, size_t n, off_t at), (fd, buf, n, at))
WRITE_CALL(ssize_t, pwrite64, fd, (int fd, const void* buf, size_t n, off_t at), (fd, buf, n, at))
WRITE_CALL(ssize_t, sendfile, out, (int out, int in, off_t* at, size_t n), (out, in, at, n))
WRITE_CALL(ssize_t, sendfile64, out, (int out, int in, off_t* at, size_t n), (out, in, at, n))
WRITE_CALL(ssize_t, copy_file_range, out,
           (int in, off_t* inAt, int out, off_t* outAt, size_t n, unsigned flags),
           (in, inAt, out, outAt, n, flags))

// stdio reaches the system through calls inside the C library that a preload cannot see,
// so each fwrite to a regular file counts as one write of its own.
size_t fwrite(const void* buf, size_t size, size_t n, FILE* stream) {
  REAL(fwrite);
  if (size && n && StrikeCall(fileno(stream), "fwrite")) return 0;
  return real(buf, size, n, stream);
}

// The calls that end a write fail as a disk that loses the data does.
static int StrikeEnd(int fd, const char* call) {
  return IsWritable(fd) && StrikeCall(fd, call);
}

static int FailWithEio(void) {
  errno = EIO;
  return -1;
}

// fsync, fdatasync and ftruncate: at the fault the data is lost and the call says so.
#define END_CALL(name, strike, params, args)              \
  int name params {                                       \
    REAL(name);                                           \
    return strike(fd, #name) ? FailWithEio() : real args; \
  }

END_CALL(fsync, StrikeEnd, (int fd), (fd))
END_CALL(fdatasync, StrikeEnd, (int fd), (fd))
END_CALL(ftruncate, StrikeCall, (int fd, off_t length), (fd, length))
END_CALL(ftruncate64, StrikeCall, (int fd, off_t length), (fd, length))

// A failed close still closes: the descriptor is gone, the data may not be.
int close(int fd) {
  REAL(close);
  const int strike = StrikeEnd(fd, "close");
  const int result = real(fd);
  return strike ? FailWithEio() : result;
}

// stdio closes through the C library's own calls, so fclose counts as the close.
int fclose(FILE* stream) {
  REAL(fclose);
  const int strike = stream && StrikeEnd(fileno(stream), "fclose");
  const int result = real(stream);
  return strike ? FailWithEio() : result;  // EOF is -1
}
