// What became of several inputs, for people and for programs.
#pragma once

#include "tools/base/ChildProcesses.h"
#include "tools/commandLine/Options.h"

#include <filesystem>
#include <iosfwd>
#include <string>
#include <vector>

namespace lorb::tools {

/// What became of one of several inputs.
struct InputOutcome {
  std::filesystem::path input;
  int exitCode = 0;
  std::string message;                ///< why it failed; empty otherwise
  std::vector<std::string> warnings;  ///< a line each, which names the input
  std::string report;                 ///< its report for programs; empty when it failed
};

/// The outcome of a process that worked by `options` and printed its report for programs.
InputOutcome outcomeOf(Options const& options, ChildOutcome const& ended);

/// A line about an input that is done: what was written; with `verbose` also how long it took.
void tell(std::ostream& out, InputOutcome const& outcome, bool verbose);

/// A line about all inputs.
void tellSummary(std::ostream& out, std::vector<InputOutcome> const& outcomes);

/// The report on all inputs as JSON text, of the schema docs/report.schema.json.
std::string jsonText(std::vector<InputOutcome> const& outcomes, double seconds);

}  // namespace lorb::tools
