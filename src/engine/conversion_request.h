#pragma once
// What the Go button hands to RunConversion, in the order the converter's world knows it.

#include <cstdint>
#include <string>

namespace ebf {

struct ConversionRequest {
  std::string InputPath;     // rewritten when a temporary image is prepared
  std::string OutputFolder;  // gets a trailing separator
  std::string Title;
  std::string SaveName;
  std::string GameID;
  std::string Icon0Path;
  std::string Icon1Path;
  std::string Pic0Path;
  std::string Pic1Path;
  std::string Snd0Path;
  std::string GamebootPath;
  int16_t CompressionLevel = 9;
  bool PalFixScreen = false;
  bool PalFixGraphics = false;
  bool RecompressEboot = false;
  bool LogMode = false;
};

}  // namespace ebf
