#include "support/program_tree.h"

#include <filesystem>

#include "support/runtime.h"

namespace fs = std::filesystem;

namespace ebf::test {

std::string CopyRuntimeTree(const TempDir& root, bool withConverter) {
  const std::string runtime = RuntimeFolder();
  for (const char* sub : {"Data", "PSXCust", "Themes"})
    fs::copy(runtime + sub, root / sub, fs::copy_options::recursive);
  if (!withConverter) fs::remove(root / "Data/tarnwick.exe");
  return root.folder();
}

std::string PrivateProgram(const TempDir& root, const std::string& name) {
  CopyRuntimeTree(root);
#ifdef _WIN32
  const std::string file = name + ".exe";
#else
  const std::string file = name;
#endif
  const fs::path from = fs::u8path(RuntimeFolder() + file);
  const fs::path to = fs::u8path(root / file);
  std::error_code ec;
  fs::create_hard_link(from, to, ec);
  if (ec) fs::copy_file(from, to, fs::copy_options::overwrite_existing);
  return root / file;
}

const std::string& PrivateCli() {
  static const TempDir root;
  static const std::string path = PrivateProgram(root, "ebootforge-cli");
  return path;
}

}  // namespace ebf::test
