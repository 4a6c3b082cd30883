#include "support/fake_program.h"

#include <filesystem>

#include "common/files.h"

namespace ebf::test {

std::string FakeConverterPath() {
  const char* env = std::getenv("EBF_FAKE_CONVERTER");
  return env && *env ? env : EBF_TEST_FAKE_CONVERTER;
}

static void SetEnv(const char* name, const char* value) {
#ifdef _WIN32
  _putenv_s(name, value ? value : "");
#else
  if (value)
    setenv(name, value, 1);
  else
    unsetenv(name);
#endif
}

FakeMode::FakeMode(const std::string& mode) {
  SetEnv("EBF_FAKE_MODE", mode.c_str());
}
FakeMode::~FakeMode() {
  SetEnv("EBF_FAKE_MODE", nullptr);
}

std::string MakeFakeProgramFolder(const TempDir& root, const std::string& converter) {
  root.MakeDir("Data");
  root.MakeDir("PSXCust/Default");
  if (!converter.empty())
    std::filesystem::copy_file(converter, root / "Data/tarnwick.exe",
                               std::filesystem::copy_options::overwrite_existing);
  WriteFileBytes(root / "Data/BASE.PBP", NoiseBytes(5000, 1));
  WriteFileBytes(root / "Data/DATA.PSP", NoiseBytes(300, 2));
  uint32_t seed = 3;
  for (const char* name : {"ICON0.PNG", "PIC0.PNG", "PIC1.PNG", "Gameboot.png"})
    WriteFileBytes(root / "PSXCust/Default/" + name, NoiseBytes(200, seed++));
  for (const char* name : {"ICON1.PMF", "SND0.AT3"})
    WriteFileText(root / "PSXCust/Default/" + name, "");
  return root.folder();
}

}  // namespace ebf::test
