// Writes the template package Data/BASE.PBP: a PS1-classic PARAM.SFO, empty pictures and
// sound, an empty DATA.PSP and a DATA.PSAR that is only a STARTDAT block with no picture
// and no tail. The converter takes the SFO (title and ID patched), the DATA.PSP and that
// empty tail from it.

#include <cstdio>
#include <string>

#include "common/file_io.h"
#include "common/files.h"
#include "pbp/container.h"
#include "tarnwick/ps1_sfo.h"
#include "tarnwick/startdat.h"

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "Usage: basepbp_writer <output BASE.PBP>\n");
    return 2;
  }
  const std::string path = argv[1];
  ebf::tarnwick::Ps1SfoValues values;
  values.title = "ebootforge";
  values.discId = "EBFT00000";
  values.license = "Made with ebootforge.";
  ebf::Bytes sfo = ebf::tarnwick::BuildPs1Sfo(values);

  std::array<uint64_t, ebf::pbp::kLeadingSectionCount> lengths{};
  lengths[ebf::pbp::kParamSfo] = sfo.size();
  ebf::File out(path, ebf::File::Mode::Write);
  bool ok = out && ebf::pbp::WritePbpHeader(out, lengths) && out.Write(sfo) &&
            out.Write(ebf::tarnwick::StartDatHeader(0));
  ok = out.Close() && ok;
  if (!ok) {
    std::fprintf(stderr, "Cannot write %s: %s\n", path.c_str(), out.LastError().c_str());
    ebf::DeleteFileIfExists(path);
    return 1;
  }
  return 0;
}
