/* Loaded with LD_PRELOAD into the programs under test: counts the write calls a program
 * makes on regular files and, at the Nth, fails it (ENOSPC, as a full disk does) or kills
 * the process (SIGKILL, as a crash or `kill -9` does). The calls that end a write count too:
 * fsync, ftruncate and the close of a file open for writing (these fail with EIO, as a disk
 * that drops the data at the end does), and the kernel-side copies (sendfile,
 * copy_file_range), so that no way of writing goes around the seam.
 *
 *   EBF_FAULT_PROGRAM     file name of the program to act in (others are left alone)
 *   EBF_FAULT_AT          N, 1-based; 0 or unset only counts
 *   EBF_FAULT_KIND        "fail" or "kill"
 *   EBF_FAULT_COUNT_FILE  where the program appends its count when it exits normally
 *   EBF_FAULT_TRACE       when set, each counted call is named on standard error
 */
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

static int active = -1; /* -1 not decided yet, 0 another program, 1 this one */
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

/* 1 when this call is to fail; a kill never returns. */
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
  active = 0; /* the count's own file is not one of the program's writes */
  FILE* f = fopen(file, "a");
  if (!f) return;
  fprintf(f, "%ld\n", count);
  fclose(f);
}

ssize_t write(int fd, const void* buf, size_t n) {
  static ssize_t (*real)(int, const void*, size_t);
  if (!real) real = (ssize_t(*)(int, const void*, size_t))dlsym(RTLD_NEXT, "write");
  if (StrikeCall(fd, "write")) return -1;
  return real(fd, buf, n);
}

ssize_t writev(int fd, const struct iovec* iov, int cnt) {
  static ssize_t (*real)(int, const struct iovec*, int);
  if (!real) real = (ssize_t(*)(int, const struct iovec*, int))dlsym(RTLD_NEXT, "writev");
  if (StrikeCall(fd, "writev")) return -1;
  return real(fd, iov, cnt);
}

ssize_t pwrite(int fd, const void* buf, size_t n, off_t at) {
  static ssize_t (*real)(int, const void*, size_t, off_t);
  if (!real) real = (ssize_t(*)(int, const void*, size_t, off_t))dlsym(RTLD_NEXT, "pwrite");
  if (StrikeCall(fd, "pwrite")) return -1;
  return real(fd, buf, n, at);
}

ssize_t pwrite64(int fd, const void* buf, size_t n, off_t at) {
  static ssize_t (*real)(int, const void*, size_t, off_t);
  if (!real) real = (ssize_t(*)(int, const void*, size_t, off_t))dlsym(RTLD_NEXT, "pwrite64");
  if (StrikeCall(fd, "pwrite64")) return -1;
  return real(fd, buf, n, at);
}

/* stdio reaches the system through calls inside the C library that a preload cannot see,
 * so each fwrite to a regular file counts as one write of its own. */
size_t fwrite(const void* buf, size_t size, size_t n, FILE* stream) {
  static size_t (*real)(const void*, size_t, size_t, FILE*);
  if (!real) real = (size_t(*)(const void*, size_t, size_t, FILE*))dlsym(RTLD_NEXT, "fwrite");
  if (size && n && StrikeCall(fileno(stream), "fwrite")) return 0;
  return real(buf, size, n, stream);
}

ssize_t sendfile(int out, int in, off_t* at, size_t n) {
  static ssize_t (*real)(int, int, off_t*, size_t);
  if (!real) real = (ssize_t(*)(int, int, off_t*, size_t))dlsym(RTLD_NEXT, "sendfile");
  if (StrikeCall(out, "sendfile")) return -1;
  return real(out, in, at, n);
}

ssize_t sendfile64(int out, int in, off_t* at, size_t n) {
  static ssize_t (*real)(int, int, off_t*, size_t);
  if (!real) real = (ssize_t(*)(int, int, off_t*, size_t))dlsym(RTLD_NEXT, "sendfile64");
  if (StrikeCall(out, "sendfile64")) return -1;
  return real(out, in, at, n);
}

ssize_t copy_file_range(int in, off_t* inAt, int out, off_t* outAt, size_t n, unsigned flags) {
  static ssize_t (*real)(int, off_t*, int, off_t*, size_t, unsigned);
  if (!real)
    real =
        (ssize_t(*)(int, off_t*, int, off_t*, size_t, unsigned))dlsym(RTLD_NEXT, "copy_file_range");
  if (StrikeCall(out, "copy_file_range")) return -1;
  return real(in, inAt, out, outAt, n, flags);
}

/* The calls that end a write fail as a disk that loses the data does. */
static int StrikeEnd(int fd, const char* call) {
  Decide();
  if (active != 1 || !IsWritable(fd)) return 0;
  return StrikeCall(fd, call);
}

int fsync(int fd) {
  static int (*real)(int);
  if (!real) real = (int (*)(int))dlsym(RTLD_NEXT, "fsync");
  if (StrikeEnd(fd, "fsync")) {
    errno = EIO;
    return -1;
  }
  return real(fd);
}

int fdatasync(int fd) {
  static int (*real)(int);
  if (!real) real = (int (*)(int))dlsym(RTLD_NEXT, "fdatasync");
  if (StrikeEnd(fd, "fdatasync")) {
    errno = EIO;
    return -1;
  }
  return real(fd);
}

int ftruncate(int fd, off_t length) {
  static int (*real)(int, off_t);
  if (!real) real = (int (*)(int, off_t))dlsym(RTLD_NEXT, "ftruncate");
  if (StrikeCall(fd, "ftruncate")) {
    errno = EIO;
    return -1;
  }
  return real(fd, length);
}

int ftruncate64(int fd, off_t length) {
  static int (*real)(int, off_t);
  if (!real) real = (int (*)(int, off_t))dlsym(RTLD_NEXT, "ftruncate64");
  if (StrikeCall(fd, "ftruncate64")) {
    errno = EIO;
    return -1;
  }
  return real(fd, length);
}

/* A failed close still closes: the descriptor is gone, the data may not be. */
int close(int fd) {
  static int (*real)(int);
  if (!real) real = (int (*)(int))dlsym(RTLD_NEXT, "close");
  const int strike = StrikeEnd(fd, "close");
  const int result = real(fd);
  if (strike) {
    errno = EIO;
    return -1;
  }
  return result;
}

/* stdio closes through the C library's own calls, so fclose counts as the close. */
int fclose(FILE* stream) {
  static int (*real)(FILE*);
  if (!real) real = (int (*)(FILE*))dlsym(RTLD_NEXT, "fclose");
  const int strike = stream && StrikeEnd(fileno(stream), "fclose");
  const int result = real(stream);
  if (strike) {
    errno = EIO;
    return EOF;
  }
  return result;
}
