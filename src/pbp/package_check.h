#pragma once
// The test a freshly written package passes before it takes the name EBOOT.PBP: a run that
// was cut short, or a converter that lied about finishing, never leaves a package the PSP
// would try to start.

#include <string>

namespace ebf::pbp {

// "" when the file holds a whole package: a PBP header whose section offsets climb and lie
// inside the file, a disc-image header, every indexed block inside the file and before the
// start-data block, and the start-data block's header inside the file. A package of several
// discs: its disc table read whole, and each disc's blocks inside the file and before the
// next section (or, after the last, the start-data block, found through the table).
// Otherwise a message naming the file and what is wrong.
std::string CheckWrittenPackage(const std::string& path);

}  // namespace ebf::pbp
