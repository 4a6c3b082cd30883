// Where the program reads and writes: portable trees, installed layouts, the user's folders.
#include <gtest/gtest.h>

#include <array>
#include <map>

#include "common/files.h"
#include "common/program_folders.h"
#include "common/text.h"
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

// Where each kind of tree reads and writes. "~" is the test's folder; the user's folders are
// /u/config/, /u/cache/ and /u/data/.
TEST(LocateProgramFolders, PortableTreesInstalledLayoutsAndLayoutsOfTheirOwn) {
  TempDir dir;
  dir.MakeDir("portable/Data");
  dir.MakeDir("usr/bin");
  dir.MakeDir("usr/share/ebootforge/Data");
  dir.MakeDir("lone/bin");
  struct Row {
    const char* exe;
    bool writable;
    const char* settingsName;
    std::vector<std::string> layout;  // empty: the default
    // tree, user, work, converter, settings file
    std::array<const char*, 5> expected;
  };
  const std::string cfg = "/u/config/ebootforge/ebootforge.ini";
  // clang-format off
  const Row rows[] = {
      // A portable tree keeps everything beside the program; its settings file follows the
      // executable's name.
      {"portable/ebootforge", true, "ebootforge", {},
       {"~/portable/", "", "~/portable/", "~/portable/Data/tarnwick.exe", "~/portable/ebootforge.ini"}},
      {"portable/ebf-dev", true, "ebf-dev", {},
       {"~/portable/", "", "~/portable/", "~/portable/Data/tarnwick.exe", "~/portable/ebf-dev.ini"}},
      // The same tree where the user may not write: read there, write in the user's folders.
      {"portable/ebootforge", false, "ebootforge", {},
       {"~/portable/", "/u/data/ebootforge/", "/u/cache/ebootforge/", "~/portable/Data/tarnwick.exe", cfg.c_str()}},
      // Installed: read share/, write for the user even when writable; one settings file for
      // both programs whatever they are called.
      {"usr/bin/ebootforge-cli", true, "ebootforge", {},
       {"~/usr/share/ebootforge/", "/u/data/ebootforge/", "/u/cache/ebootforge/",
        "~/usr/libexec/ebootforge/tarnwick.exe", cfg.c_str()}},
      {"usr/bin/ebf-dev", true, "ebf-dev", {},
       {"~/usr/share/ebootforge/", "/u/data/ebootforge/", "/u/cache/ebootforge/",
        "~/usr/libexec/ebootforge/tarnwick.exe", cfg.c_str()}},
      // A layout of its own (a Debian multiarch libexec, say).
      {"usr/bin/ebootforge", true, "ebootforge", {"bin", "share", "lib/ebootforge-helpers"},
       {"~/usr/share/ebootforge/", "/u/data/ebootforge/", "/u/cache/ebootforge/",
        "~/usr/lib/ebootforge-helpers/ebootforge/tarnwick.exe", cfg.c_str()}},
      // A bin folder without share/ebootforge beside it is a (broken) portable tree: the
      // start-up check then reports the missing files there.
      {"lone/bin/ebootforge", true, "ebootforge", {},
       {"~/lone/bin/", "", "~/lone/bin/", "~/lone/bin/Data/tarnwick.exe", "~/lone/bin/ebootforge.ini"}},
  };
  // clang-format on
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.exe) + (row.writable ? "" : " (read-only)"));
    LocateInputs in;
    in.executablePath = dir / row.exe;
    in.settingsName = row.settingsName;
    in.base = {"/u/config/", "/u/cache/", "/u/data/"};
    if (!row.layout.empty()) in.layout = {row.layout[0], row.layout[1], row.layout[2]};
    std::string asked;
    in.canWrite = [&](const std::string& folder) {
      asked = folder;
      return row.writable;
    };
    const ProgramFolders f = LocateProgramFolders(in);
    const std::string at[] = {f.tree, f.user, f.work, f.converter, f.settingsFile};
    for (int i = 0; i < 5; ++i) EXPECT_EQ(at[i], ReplaceAll(row.expected[i], "~", dir.path())) << i;
    if (row.writable && row.exe == std::string("portable/ebootforge")) {
      EXPECT_EQ(asked, dir / "portable/");
    }
  }
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
