#pragma once
// Writes EBOOT.PBP from BASE.PBP, the assets and the disc images: the files the arguments
// name, or those of the converter's working folder.

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
  // Progress lines, a handful per run.
  std::function<void(const std::string& line)> say;
};

// Every file the arguments name, the rest in `folder` under their usual names.
ConverterFiles ResolveConverterFiles(const std::string& folder, const ConverterFiles& given);

// Everything is checked before EBOOT.PBP is created; a failure after that removes it.
// Returns "" on success, else one line saying what is wrong.
std::string WriteEboot(const std::string& folder, const ConverterArgs& args,
                       const WriteOptions& options);

}  // namespace ebf::tarnwick
