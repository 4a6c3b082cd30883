#include "support/temp_dir.h"

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "common/files.h"

namespace fs = std::filesystem;

namespace ebf::test {

TempDir::TempDir() {
  static std::atomic<int> counter{0};
  auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
  fs::path base = fs::temp_directory_path() /
                  ("ebftest-" + std::to_string(stamp) + "-" + std::to_string(counter++));
  fs::create_directories(base);
  path_ = base.string();
}

TempDir::~TempDir() {
  std::error_code ec;
  // Tests may leave read-only folders behind; make them writable so they can go.
  for (auto it = fs::recursive_directory_iterator(path_, ec);
       !ec && it != fs::recursive_directory_iterator(); it.increment(ec)) {
    fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ec);
  }
  fs::remove_all(path_, ec);
}

std::string TempDir::folder() const {
  return path_ + kSep;
}

std::string TempDir::operator/(const std::string& name) const {
  std::string n = name;
  for (char& c : n)
    if (c == '/') c = kSep;
  return path_ + kSep + n;
}

std::string TempDir::MakeDir(const std::string& name) const {
  std::string p = *this / name;
  fs::create_directories(p);
  return p;
}

void WriteFileBytes(const std::string& path, const Bytes& data) {
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) throw std::runtime_error("cannot write " + path);
  out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
}

void WriteFileText(const std::string& path, const std::string& text) {
  WriteFileBytes(path, Bytes(text.begin(), text.end()));
}

Bytes ReadFileBytes(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot read " + path);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::string ReadFileText(const std::string& path) {
  Bytes b = ReadFileBytes(path);
  return std::string(b.begin(), b.end());
}

Bytes NoiseBytes(std::size_t count, uint32_t seed) {
  Bytes out(count);
  uint32_t x = seed * 2654435761u + 1;
  for (auto& b : out) {
    x ^= x << 13, x ^= x >> 17, x ^= x << 5;  // xorshift32
    b = static_cast<uint8_t>(x >> 24);
  }
  return out;
}

}  // namespace ebf::test
