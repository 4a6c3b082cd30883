#pragma once
// A fresh folder for one test, removed with everything in it when the test ends.

#include <string>

#include "common/bytes.h"

namespace ebf::test {

class TempDir {
 public:
  TempDir();
  ~TempDir();
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;

  // The folder, without a trailing separator.
  const std::string& path() const { return path_; }
  // The folder with a trailing separator, as the program's folder strings are.
  std::string folder() const;
  // path/name; `name` may hold "/" for sub-folders.
  std::string operator/(const std::string& name) const;
  // Creates a sub-folder (and its parents) and returns its path.
  std::string MakeDir(const std::string& name) const;

 private:
  std::string path_;
};

void WriteFileBytes(const std::string& path, const Bytes& data);
void WriteFileText(const std::string& path, const std::string& text);
Bytes ReadFileBytes(const std::string& path);
std::string ReadFileText(const std::string& path);
// Adds `more` at the end of `to`.
inline void Append(Bytes& to, const Bytes& more) {
  to.insert(to.end(), more.begin(), more.end());
}
// Deterministic pseudo-random bytes.
Bytes NoiseBytes(std::size_t count, uint32_t seed);

}  // namespace ebf::test
