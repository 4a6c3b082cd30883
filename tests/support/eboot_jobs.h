#pragma once
// Package jobs the pbp tests share.

#include <string>

#include "pbp/patch.h"
#include "support/temp_dir.h"

namespace ebf::test {

// A job that renames the game and gives every slot a new asset: noise files of fixed sizes
// (small enough for the packages the tests build) written into `folder`.
inline pbp::EbootJob NewAssetsJob(const std::string& folder) {
  auto asset = [&](const char* name, std::size_t size, uint32_t seed) {
    const std::string path = folder + "/" + name;
    WriteFileBytes(path, NoiseBytes(size, seed));
    return path;
  };
  pbp::EbootJob job;
  job.title = "New Title";
  job.gameId = "SCES98765";
  job.saveName = "New Save";
  job.icon0 = asset("icon0.png", 2500, 11);
  job.icon1 = asset("icon1.pmf", 0, 12);
  job.pic0 = asset("pic0.png", 1500, 13);
  job.pic1 = asset("pic1.png", 1000, 14);
  job.snd0 = asset("snd0.at3", 1000, 15);
  job.gameboot = asset("boot.png", 600, 16);
  return job;
}

}  // namespace ebf::test
