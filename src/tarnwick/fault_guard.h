#pragma once
// The image is read through memory mappings, and reading a mapped page of a file that
// another program has cut short stops the process with a hardware fault (SIGBUS on POSIX
// systems, an in-page error on Windows). The guard turns that into an ordinary failure:
// the message on the error output, the partial output deleted, exit code 1.

#include <string>

namespace ebf::tarnwick {

// Both strings are copied; a later call replaces them.
void InstallReadFaultGuard(const std::string& partialOutput, const std::string& message);

}  // namespace ebf::tarnwick
