// A stand-in for the converter that misbehaves on request, so the engine's every way out
// can be reached. EBF_FAKE_MODE picks the behaviour; the arguments it was given are written
// to fake_args.txt in its working folder, one per line. It writes the file --output names.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>

static std::string output = "EBOOT.PBP";

static void Grow(int steps, int delayMs) {
  std::ofstream out(output, std::ios::binary | std::ios::trunc);
  std::string chunk(64 * 1024, 'E');
  for (int i = 0; i < steps; ++i) {
    out.write(chunk.data(), static_cast<std::streamsize>(chunk.size()));
    out.flush();
    std::this_thread::sleep_for(std::chrono::milliseconds(delayMs));
  }
}

int main(int argc, char** argv) {
  std::ofstream args("fake_args.txt", std::ios::binary | std::ios::trunc);
  for (int i = 1; i < argc; ++i) args << argv[i] << "\n";
  args.close();
  for (int i = 1; i + 1 < argc; ++i)
    if (std::strcmp(argv[i], "--output") == 0) output = argv[i + 1];
  const char* env = std::getenv("EBF_FAKE_MODE");
  const std::string mode = env ? env : "done";
  std::setvbuf(stdout, nullptr, _IONBF, 0);
  // The modes that write a package and say something (or nothing) about it.
  struct Ending {
    const char* mode;
    int steps, delayMs;
    const char* last;
  };
  for (const Ending& e : {Ending{"done-bare", 1, 0, "Done."},
                          {"done-lower", 1, 0, "Writing...\r\ndone.\r\n"},
                          {"done-no-dot", 1, 0, "Done\r\n"},
                          {"silent", 1, 0, ""},
                          {"slow", 200, 50, "Done.\r\n"}})  // slow: ten seconds, to be cancelled
    if (mode == e.mode) {
      Grow(e.steps, e.delayMs);
      std::printf("%s", e.last);
      return 0;
    }
  if (mode == "done") {
    std::printf("Converting %d arguments\r\n", argc - 1);
    Grow(4, 20);
    std::printf("Done.\r\n");
  } else if (mode == "huge") {
    // Far more than any pipe buffer holds, then success.
    std::string line(1023, 'x');
    for (int i = 0; i < 1024; ++i) std::printf("%s\n", line.c_str());
    Grow(1, 0);
    std::printf("Done.\r\n");
  } else if (mode == "error") {
    std::fprintf(stderr, "Cannot read the image\n");
    return 1;
  } else if (mode == "crash") {
    Grow(2, 50);
    std::printf("about to crash\n");
    std::abort();
  }
  return 0;
}
