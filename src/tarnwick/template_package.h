#pragma once
// What a new package takes from the template BASE.PBP: its PARAM.SFO, its DATA.PSP and
// the tail of its STARTDAT block after the template's own boot picture.

#include <cstdint>
#include <string>

#include "common/bytes.h"
#include "common/file_io.h"

namespace ebf::tarnwick {

struct PackageTemplate {
  Bytes sfo;
  uint64_t dataPspStart = 0;
  uint64_t dataPspSize = 0;
  uint64_t tailStart = 0;
  uint64_t tailSize = 0;
};

// A PARAM.SFO larger than this is not a PS1 template's.
inline constexpr uint64_t kMaxTemplateSfoSize = 64 * 1024;

// The template's DATA.PSAR either starts with the STARTDAT block (our own template) or is a
// disc section whose STARTDAT offset is at +12 (a PS1 classic's). Every offset is checked
// against the file; `error` is one line naming BASE.PBP.
bool ReadPackageTemplate(File& base, PackageTemplate& out, std::string& error);

}  // namespace ebf::tarnwick
