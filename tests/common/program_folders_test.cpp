// Where the program reads and writes: portable trees, installed layouts, the user's folders.
#include <gtest/gtest.h>

#include <map>

#include "common/files.h"
#include "common/program_folders.h"
#include "support/temp_dir.h"

namespace ebf {
namespace {

using test::TempDir;

UserBaseFolders FromEnv(std::map<std::string, std::string> vars) {
  return UserBaseFoldersFrom([&vars](const char* name) { return vars[name]; });
}

TEST(UserBaseFolders, XdgValuesOrTheirDefaultsUnderHome) {
#ifdef _WIN32
  GTEST_SKIP() << "APPDATA and LOCALAPPDATA on Windows";
#endif
  UserBaseFolders d = FromEnv({{"HOME", "/home/ann"}});
  EXPECT_EQ(d.config, "/home/ann/.config/");
  EXPECT_EQ(d.cache, "/home/ann/.cache/");
  EXPECT_EQ(d.data, "/home/ann/.local/share/");

  d = FromEnv({{"HOME", "/home/ann/"},
               {"XDG_CONFIG_HOME", "/cfg"},
               {"XDG_CACHE_HOME", "/var/cache/ann/"},
               {"XDG_DATA_HOME", "relative/share"}});
  EXPECT_EQ(d.config, "/cfg/");
  EXPECT_EQ(d.cache, "/var/cache/ann/");
  EXPECT_EQ(d.data, "/home/ann/.local/share/");  // a relative value is ignored

  d = FromEnv({{"HOME", "/home/ann"}, {"XDG_CONFIG_HOME", ""}});
  EXPECT_EQ(d.config, "/home/ann/.config/");
}

class Locate : public ::testing::Test {
 protected:
  ProgramFolders Run(const std::string& exe, bool writable,
                     const std::string& settingsName = "ebootforge") {
    LocateInputs in;
    in.executablePath = exe;
    in.settingsName = settingsName;
    in.base = {"/u/config/", "/u/cache/", "/u/data/"};
    in.canWrite = [writable, this](const std::string& folder) {
      asked_ = folder;
      return writable;
    };
    return LocateProgramFolders(in);
  }
  TempDir dir_;
  std::string asked_;
};

TEST_F(Locate, PortableTreeKeepsEverythingBesideTheProgram) {
  const std::string bin = dir_.MakeDir("portable") + "/";
  dir_.MakeDir("portable/Data");
  const ProgramFolders f = Run(bin + "ebootforge", true);
  EXPECT_EQ(asked_, bin);
  EXPECT_EQ(f.tree, bin);
  EXPECT_EQ(f.user, "");
  EXPECT_EQ(f.work, bin);
  EXPECT_EQ(f.converter, bin + "Data/tarnwick.exe");
  EXPECT_EQ(f.settingsFile, bin + "ebootforge.ini");
  // The desktop program's file follows its executable's name there.
  EXPECT_EQ(Run(bin + "ebf-dev", true, "ebf-dev").settingsFile, bin + "ebf-dev.ini");

  // The same tree where the user may not write: read there, write in the user's folders.
  const ProgramFolders ro = Run(bin + "ebootforge", false);
  EXPECT_EQ(ro.tree, bin);
  EXPECT_EQ(ro.converter, bin + "Data/tarnwick.exe");
  EXPECT_EQ(ro.user, "/u/data/ebootforge/");
  EXPECT_EQ(ro.work, "/u/cache/ebootforge/");
  EXPECT_EQ(ro.settingsFile, "/u/config/ebootforge/ebootforge.ini");
}

TEST_F(Locate, InstalledLayoutReadsShareAndWritesForTheUserEvenWhenWritable) {
  const std::string prefix = dir_.MakeDir("usr") + "/";
  dir_.MakeDir("usr/bin");
  dir_.MakeDir("usr/share/ebootforge/Data");
  const ProgramFolders f = Run(prefix + "bin/ebootforge-cli", true);
  EXPECT_EQ(f.tree, prefix + "share/ebootforge/");
  EXPECT_EQ(f.converter, prefix + "libexec/ebootforge/tarnwick.exe");
  EXPECT_EQ(f.user, "/u/data/ebootforge/");
  EXPECT_EQ(f.work, "/u/cache/ebootforge/");
  EXPECT_EQ(f.settingsFile, "/u/config/ebootforge/ebootforge.ini");
  // Installed, both programs share one settings file whatever they are called.
  EXPECT_EQ(Run(prefix + "bin/ebf-dev", true, "ebf-dev").settingsFile,
            "/u/config/ebootforge/ebootforge.ini");

  // A layout of its own (a Debian multiarch libexec, say).
  LocateInputs in;
  in.executablePath = prefix + "bin/ebootforge";
  in.base = {"/c/", "/k/", "/d/"};
  in.layout = {"bin", "share", "lib/ebootforge-helpers"};
  in.canWrite = [](const std::string&) { return true; };
  EXPECT_EQ(LocateProgramFolders(in).converter,
            prefix + "lib/ebootforge-helpers/ebootforge/tarnwick.exe");

  // A bin folder without share/ebootforge beside it is a (broken) portable tree: the
  // start-up check then reports the missing files there.
  const std::string lone = dir_.MakeDir("lone/bin") + "/";
  const ProgramFolders l = Run(lone + "ebootforge", true);
  EXPECT_EQ(l.tree, lone);
  EXPECT_EQ(l.work, lone);
}

TEST(ProgramFolders, OneFolderAndTheUsersFilesFirst) {
  TempDir dir;
  const ProgramFolders one(dir.folder());
  EXPECT_EQ(one.tree, dir.folder());
  EXPECT_EQ(one.work, dir.folder());
  EXPECT_EQ(one.user, "");
  EXPECT_EQ(one.settingsFile, dir.folder() + "ebootforge.ini");
  EXPECT_EQ(RuntimeRoots(one), std::vector<std::string>{dir.folder()});

  ProgramFolders f;
  f.tree = dir.MakeDir("share") + "/";
  f.user = dir.MakeDir("user") + "/";
  EXPECT_EQ(RuntimeRoots(f), (std::vector<std::string>{f.user, f.tree}));
  dir.MakeDir("share/Data");
  dir.MakeDir("user/data");
  test::WriteFileText(dir / "share/Data/BASE.PBP", "shipped");
  test::WriteFileText(dir / "share/Data/DATA.PSP", "shipped");
  // The user's folder is matched case-blind, as the shipped one is.
  test::WriteFileText(dir / "user/data/base.pbp", "mine");
  EXPECT_EQ(FindRuntimeFile(f, "Data/BASE.PBP"), dir / "user/data/base.pbp");
  EXPECT_EQ(FindRuntimeFile(f, "Data/DATA.PSP"), dir / "share/Data/DATA.PSP");
  EXPECT_EQ(FindRuntimeFile(f, "Data/none.db"), dir / "share/Data/none.db");
  // A folder of that name is no file.
  dir.MakeDir("user/Data/DATA.PSP");
  EXPECT_EQ(FindRuntimeFile(f, "Data/DATA.PSP"), dir / "share/Data/DATA.PSP");
}

}  // namespace
}  // namespace ebf
