// Pictures for a whole library: 1,000 games looked up in a RetroArch thumbnails folder of
// 10,000 files (target: under 1 s in all, the folder read once, not once per game).
// Arguments: the number of games (1000) and of thumbnail files (10000).

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "common/files.h"
#include "library/picture_lookup.h"
#include "support/temp_dir.h"

int main(int argc, char** argv) {
  using namespace ebf;
  using Clock = std::chrono::steady_clock;
  const int games = argc > 1 ? std::atoi(argv[1]) : 1000;
  const int files = argc > 2 ? std::atoi(argv[2]) : 10000;
  test::TempDir dir;
  const std::string set = dir.MakeDir("thumbs/Sony - PlayStation");
  const char* kinds[] = {"Named_Boxarts", "Named_Titles", "Named_Snaps"};
  for (const char* kind : kinds) dir.MakeDir(std::string("thumbs/Sony - PlayStation/") + kind);
  // Thumbnails of games 0 .. files/3, in the names RetroArch gives them; a game's box art
  // is found by its full name, its title screen only by the name cut at its bracket.
  for (int i = 0; i < files; ++i) {
    const int game = i / 3;
    const char* kind = kinds[i % 3];
    const std::string name =
        i % 3 == 1 ? "Game " + std::to_string(game) : "Game " + std::to_string(game) + " (USA)";
    test::WriteFileText(set + "/" + kind + "/" + name + ".png", "");
  }
  dir.MakeDir("img");
  std::vector<GameNames> library;
  for (int g = 0; g < games; ++g) {
    // Every other game's box art is in the folder; the rest find nothing.
    const int number = g % 2 ? g * 7 + files : g;
    const std::string image = dir / ("img/Game " + std::to_string(number) + " (USA).bin");
    test::WriteFileText(image, "");
    library.push_back({image, "Game " + std::to_string(number), {}, "NTSC"});
  }

  // The first game reads the folders; every later one only looks names up.
  const auto start = Clock::now();
  PictureFinder finder({"", "", dir / "thumbs"});
  int found = 0;
  auto first = start;
  for (const GameNames& game : library) {
    for (const FoundPicture& picture : finder.Find(game)) found += !picture.path.empty();
    if (first == start) first = Clock::now();
  }
  const auto end = Clock::now();
  const double total = std::chrono::duration<double>(end - start).count();
  const double reading = std::chrono::duration<double>(first - start).count();
  std::printf(
      "%d games in a thumbnails folder of %d files: %.3f s in all (%.3f s for the "
      "first game, which reads the folders), %d pictures found; target < 1 s: %s\n",
      games, files, total, reading, found, total < 1.0 ? "met" : "MISSED");
  return total < 1.0 ? 0 : 1;
}
