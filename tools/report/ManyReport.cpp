#include "tools/report/ManyReport.h"

#include "tools/base/errors.h"
#include "tools/report/words.h"

#include <algorithm>
#include <ostream>
#include <sstream>
#include <string_view>
#include <utility>

namespace lorb::tools {
namespace {

constexpr std::string_view program = "lorb-distance: ", warning = "warning: ";

/// A line that names the input, or its output instead.
std::string naming(Options const& options, std::string const& line) {
  bool const named = line.find(options.input->string()) != std::string::npos ||
                     line.find(options.output.string()) != std::string::npos;
  return named ? line : "input " + options.input->string() + ": " + line;
}

std::string endedBySignal(int signal) {
  return "its process was ended by signal " + std::to_string(signal) +
         (signal == 9 ? ", as the system does when memory runs out; expected fewer --jobs" : "");
}

bool isDone(InputOutcome const& outcome) {
  return outcome.exitCode == 0;
}

}  // namespace

InputOutcome outcomeOf(Options const& options, ChildOutcome const& ended) {
  InputOutcome outcome;
  outcome.input = *options.input;
  outcome.exitCode = ended.signal == 0 ? ended.exitCode : static_cast<int>(ExitCode::internal);
  std::istringstream lines(ended.err);
  for (std::string line; std::getline(lines, line);) {
    if (line.starts_with(program)) line.erase(0, program.size());
    if (line.starts_with(warning)) {
      outcome.warnings.push_back(naming(options, line.substr(warning.size())));
    } else {
      outcome.message = naming(options, line);
    }
  }
  if (ended.signal != 0) outcome.message = naming(options, endedBySignal(ended.signal));
  if (isDone(outcome)) {
    outcome.message.clear();
    outcome.report = ended.out;
  }
  return outcome;
}

void tell(std::ostream& out, InputOutcome const& outcome, bool verbose) {
  json const report = json::parse(outcome.report);
  json const& maps = report["maps"];
  out << outcome.input.string() << " -> ";
  if (maps.size() == 1) {
    out << maps[0]["path"].get<std::string>();
  } else {
    out << maps.size() << " maps";
  }
  if (verbose) out << ", " << decimals(report["seconds"]["total"].get<double>()) << " s";
  out << "\n";
}

void tellSummary(std::ostream& out, std::vector<InputOutcome> const& outcomes) {
  auto const done = std::count_if(outcomes.begin(), outcomes.end(), isDone);
  auto const all = static_cast<std::ptrdiff_t>(outcomes.size());
  out << done << " of " << all << " inputs done";
  if (done < all) out << ", " << all - done << " failed";
  out << "\n";
}

std::string jsonText(std::vector<InputOutcome> const& outcomes, double seconds) {
  json runs = json::array();
  for (InputOutcome const& outcome : outcomes) {
    json run = {{"path", outcome.input.string()}};
    if (isDone(outcome)) {
      run["report"] = json::parse(outcome.report);
      for (char const* key : {"schema", "program"}) run["report"].erase(key);
    } else {
      run["error"] = {{"exitCode", outcome.exitCode}, {"message", outcome.message}};
      run["warnings"] = outcome.warnings;
    }
    runs.push_back(std::move(run));
  }
  auto const done = std::count_if(outcomes.begin(), outcomes.end(), isDone);
  json const document = {{"schema", 1},
                         {"program", programJson()},
                         {"runs", runs},
                         {"summary",
                          {{"inputs", outcomes.size()},
                           {"done", done},
                           {"failed", std::ptrdiff_t(outcomes.size()) - done},
                           {"seconds", seconds}}}};
  return document.dump(2, ' ', false, json::error_handler_t::replace) + "\n";
}

}  // namespace lorb::tools
