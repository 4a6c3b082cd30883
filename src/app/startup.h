#pragma once
// Start-up checks that end the program when they fail. Each returns the message to show
// with the critical icon, or "" when all is well.

#include <string>

#include "common/program_folders.h"

namespace ebf {

inline constexpr const char* kMsgConverterMissing = "The file, tarnwick.exe is missing!!!";
inline constexpr const char* kMsgMissingFiles =
    "It appears that you are missing necessary files!!!  These files are required to do the "
    "conversion.";

std::string CheckConverterPresent(const ProgramFolders& folders);
// A file of the user's tree stands in for the shipped one.
std::string CheckRequiredFiles(const ProgramFolders& folders);

// The input named on the command line: every double quote removed; "" unless the result
// names an existing file.
std::string CommandLineInput(const std::string& commandLine);

}  // namespace ebf
