#include "tarnwick/stream_copy.h"

#include <algorithm>
#include <vector>

#include "common/files.h"

namespace ebf::tarnwick {

bool CopyRange(File& source, uint64_t start, uint64_t length, File& out, const std::string& what,
               std::string& error) {
  if (length == 0) return true;
  if (!source.Seek(start)) {
    error = "Cannot read " + what + ": " + source.LastError();
    return false;
  }
  std::vector<uint8_t> buf(1 << 18);
  while (length > 0) {
    std::span<uint8_t> part(buf.data(),
                            static_cast<size_t>(std::min<uint64_t>(buf.size(), length)));
    if (!source.ReadExact(part)) {
      std::string why =
          source.LastError().empty() ? "it is shorter than expected" : source.LastError();
      error = "Cannot read " + what + ": " + why;
      return false;
    }
    if (!out.Write(part)) {
      error = "Cannot write " + FileNameOf(out.path()) + ": " + out.LastError();
      return false;
    }
    length -= part.size();
  }
  return true;
}

bool CopyFileExactly(const std::string& path, uint64_t length, File& out, const std::string& what,
                     std::string& error) {
  if (length == 0) return true;
  File source(path, File::Mode::Read);
  if (!source) {
    error = "Cannot read " + what + ": " + source.LastError();
    return false;
  }
  if (source.Size() != length) {
    error = what + " changed while the package was being written";
    return false;
  }
  return CopyRange(source, 0, length, out, what, error);
}

}  // namespace ebf::tarnwick
