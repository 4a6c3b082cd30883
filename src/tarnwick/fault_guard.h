#pragma once
// The image is read through memory mappings, and reading a mapped page of a file that
// another program has cut short stops the process with a hardware fault (SIGBUS on POSIX
// systems, an in-page error on Windows). The guard turns that into an ordinary failure:
// the message on the error output, the partial output deleted, exit code 1.

#include <string>

namespace ebf::tarnwick {

// Both strings are copied; a later call replaces them.
void InstallReadFaultGuard(const std::string& partialOutput, const std::string& message);

// An interrupt or termination request (Ctrl+C to the terminal's whole group, a kill from
// the caller) removes the partial output named above before the process ends with 130.
void InstallStopCleanup();

// The output is complete: neither a fault nor a stop removes it any more.
void ReleasePartialOutput();

}  // namespace ebf::tarnwick
