#pragma once
// Writes EBOOT.PBP in the converter's working folder from BASE.PBP, the staged assets and
// the disc image.

#include <functional>
#include <string>

#include "tarnwick/args.h"

namespace ebf::tarnwick {

inline constexpr char kOutputName[] = "EBOOT.PBP";
inline constexpr char kTemplateName[] = "BASE.PBP";
inline constexpr char kTocName[] = "ISO.TOC";
inline constexpr char kBootName[] = "BOOT.PNG";
inline constexpr char kDataPspName[] = "DATA.PSP";

struct WriteOptions {
  unsigned threads = 0;  // 0 = one per core
  // The file written in the folder; the caller may ask for a temporary name and rename it
  // once it has checked the result.
  std::string outputName = kOutputName;
  // Progress lines, a handful per run.
  std::function<void(const std::string& line)> say;
};

// Everything is checked before EBOOT.PBP is created; a failure after that removes it.
// Returns "" on success, else one line saying what is wrong.
std::string WriteEboot(const std::string& folder, const ConverterArgs& args,
                       const WriteOptions& options);

}  // namespace ebf::tarnwick
