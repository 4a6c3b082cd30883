#pragma once
// A conversion as the command line hands one over (nothing asked on the way), in a private
// program folder: the test fills `job`, then plans and runs it as the programs do.

#include <chrono>
#include <string>

#include "app/settings.h"
#include "engine/conversion.h"
#include "support/recording_host.h"
#include "support/temp_dir.h"

namespace ebf::test {

struct ConversionJob {
  TempDir prog, work;
  std::string progFolder;
  RunRecorder host;
  Settings settings;
  JobInput job;
  RunTuning tuning;

  // The real converter from a copy of the runtime tree, or the stand-in (fake_program.h).
  explicit ConversionJob(bool fakeConverter = false);

  Planned Plan();
  // Plans, then runs when the plan stands; a refused plan is the result's outcome.
  ConversionResult Run();
  Outcome Go() { return Run().outcome; }
  // A file in the output folder.
  std::string Out(const std::string& name) const;
};

}  // namespace ebf::test
