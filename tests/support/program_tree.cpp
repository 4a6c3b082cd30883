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

}  // namespace ebf::test
