#pragma once
// Refusals that several suites pin, written out once by hand (never taken from the code that
// says them), so a changed word fails every suite that shows it.

#include <string>

namespace ebf::test {

// The program folder has no Data/tarnwick.exe.
inline std::string ConverterMissingMessage() {
  return "The file, tarnwick.exe is missing!!!";
}

// Another file the conversion needs is missing; two blanks after the exclamation marks.
inline std::string MissingFilesMessage() {
  return "It appears that you are missing necessary files!!!  These files are required to do "
         "the conversion.";
}

}  // namespace ebf::test
