#pragma once
// Copies into an open output file through a fixed buffer.

#include <cstdint>
#include <string>

#include "common/file_io.h"

namespace ebf::tarnwick {

// Copies [start, start + length) of `source` to out's current position. `what` names the
// source in the error line.
bool CopyRange(File& source, uint64_t start, uint64_t length, File& out, const std::string& what,
               std::string& error);

// Copies exactly `length` bytes of the file at `path` (as sized beforehand); a file that
// has changed in between is an error.
bool CopyFileExactly(const std::string& path, uint64_t length, File& out, const std::string& what,
                     std::string& error);

}  // namespace ebf::tarnwick
