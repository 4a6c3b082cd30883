#include "tarnwick/fault_guard.h"

#include <algorithm>
#include <cstring>

#ifdef _WIN32
#include <windows.h>
#else
#include <signal.h>
#include <unistd.h>
#endif

namespace ebf::tarnwick {
namespace {

// Only what a signal handler may touch: fixed buffers filled before the handler is set.
char gOutput[4096];
char gMessage[1024];

void CopyTruncated(char* to, size_t size, const std::string& from) {
  size_t n = std::min(from.size(), size - 1);
  std::memcpy(to, from.data(), n);
  to[n] = '\0';
}

#ifdef _WIN32

LONG WINAPI OnFault(EXCEPTION_POINTERS* info) {
  if (info->ExceptionRecord->ExceptionCode != EXCEPTION_IN_PAGE_ERROR)
    return EXCEPTION_CONTINUE_SEARCH;
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), gMessage, static_cast<DWORD>(std::strlen(gMessage)),
            &written, nullptr);
  wchar_t wide[4096];
  if (MultiByteToWideChar(CP_UTF8, 0, gOutput, -1, wide, 4096) > 0) DeleteFileW(wide);
  TerminateProcess(GetCurrentProcess(), 1);
  return EXCEPTION_CONTINUE_SEARCH;
}

BOOL WINAPI OnStop(DWORD) {
  wchar_t wide[4096];
  if (gOutput[0] && MultiByteToWideChar(CP_UTF8, 0, gOutput, -1, wide, 4096) > 0) DeleteFileW(wide);
  ExitProcess(130);
  return TRUE;
}

#else

void OnFault(int) {
  ssize_t ignored = write(STDERR_FILENO, gMessage, std::strlen(gMessage));
  (void)ignored;
  if (gOutput[0]) unlink(gOutput);
  _exit(1);
}

void OnStop(int) {
  if (gOutput[0]) unlink(gOutput);
  _exit(130);
}

#endif

}  // namespace

void InstallReadFaultGuard(const std::string& partialOutput, const std::string& message) {
  CopyTruncated(gOutput, sizeof gOutput, partialOutput);
  CopyTruncated(gMessage, sizeof gMessage, message + "\n");
#ifdef _WIN32
  static bool installed = false;
  if (!installed) AddVectoredExceptionHandler(1, OnFault);
  installed = true;
#else
  struct sigaction action {};
  action.sa_handler = OnFault;
  sigemptyset(&action.sa_mask);
  sigaction(SIGBUS, &action, nullptr);
#endif
}

void InstallStopCleanup() {
#ifdef _WIN32
  SetConsoleCtrlHandler(OnStop, TRUE);
#else
  struct sigaction action {};
  action.sa_handler = OnStop;
  sigemptyset(&action.sa_mask);
  for (int sig : {SIGINT, SIGTERM, SIGHUP}) sigaction(sig, &action, nullptr);
#endif
}

void ReleasePartialOutput() {
  gOutput[0] = '\0';
}

}  // namespace ebf::tarnwick
