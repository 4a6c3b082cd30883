#include "support/conversion_job.h"

#include "common/files.h"
#include "support/fake_program.h"
#include "support/program_tree.h"

namespace ebf::test {

ConversionJob::ConversionJob(bool fakeConverter) {
  progFolder = fakeConverter ? MakeFakeProgramFolder(prog) : CopyRuntimeTree(prog);
  tuning.pollInterval = std::chrono::milliseconds(10);
  job.output = work / "out";
  job.title = "Test Game";
  job.saveName = "Test Game";
  job.gameId = "SLUS01234";
  job.region = "NTSC";
  job.level = 9;
  job.confirm = false;
}

Planned ConversionJob::Plan() {
  return PlanConversion(job, settings, ProgramFolders(progFolder), host);
}

ConversionResult ConversionJob::Run() {
  Planned planned = Plan();
  if (!planned.plan) {
    ConversionResult refused;
    refused.outcome = planned.outcome;
    return refused;
  }
  return RunConversion(*planned.plan, host, host, host.cancel, tuning);
}

std::string ConversionJob::Out(const std::string& name) const {
  return WithTrailingSep(work / "out") + name;
}

}  // namespace ebf::test
