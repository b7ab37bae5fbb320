#include "tools/run/run.h"

#include "tools/run/manyInputs.h"
#include "tools/run/oneInput.h"
#include "tools/selfTest.h"

namespace lorb::tools {
namespace {

void runSelfTest(std::ostream& report) {
  SelfTestResult const result = selfTest();
  tell(report, result);
  if (!result.agrees()) throw Error(ExitCode::internal, "the library disagrees with brute force, see above");
}

}  // namespace

ExitCode run(Options const& options, std::ostream& report, std::ostream& warnings) {
  if (options.many) return runManyInputs(options, report, warnings);
  if (options.selfTest) {
    runSelfTest(report);
  } else {
    runOneInput(options, {}, report, warnings);
  }
  return ExitCode::success;
}

}  // namespace lorb::tools
