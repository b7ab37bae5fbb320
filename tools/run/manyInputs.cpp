#include "tools/run/manyInputs.h"

#include "tools/base/ChildProcesses.h"
#include "tools/base/Stopwatch.h"
#include "tools/base/WorkFolder.h"
#include "tools/base/failures.h"
#include "tools/base/interruption.h"
#include "tools/base/memory.h"
#include "tools/output/Targets.h"
#include "tools/output/namePattern.h"
#include "tools/report/ManyReport.h"
#include "tools/report/Progress.h"
#include "tools/run/oneInput.h"
#include "tools/volume/VolumeFile.h"
#include "tools/volume/standardStreams.h"

#include <algorithm>
#include <iostream>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <system_error>
#include <vector>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

/// What {label} stands for: the one of --label, or with --each-label itself, since that is not known yet.
std::optional<std::string> labelOf(Options const& options) {
  if (options.eachLabel) return labelWord;
  if (options.rule.kind != ObjectRule::Kind::labels || options.rule.inverted) return std::nullopt;
  std::string text;
  for (ExactNumber const label : options.rule.values) text += (text.empty() ? "" : "+") + numberText(label);
  return text;
}

fs::path inFolder(fs::path const& folder, std::string const& name, std::string const& option) {
  fs::path const path(name);
  if (path.is_relative() && path.has_filename()) return folder / path;
  throw UsageError(option + " '" + name + "' is no name in the folder " + folder.string() +
                   "; expected one without a slash at either end");
}

/// The options of one of the inputs, which its process works by.
Options optionsOf(Options const& all, fs::path const& input, unsigned jobs, std::uint64_t memory) {
  Options one = all;
  ManyInputs const& many = *all.many;
  one.many.reset();
  one.input = input;
  NameParts parts = namePartsOf(input);
  if (auto const label = labelOf(all)) parts["label"] = *label;
  std::string const pattern = many.pattern.value_or(defaultNamePattern(input, all.eachLabel));
  one.output = inFolder(many.folder, nameFrom(pattern, parts, "--name", input), "--name");
  requireWritableName(one.output);
  if (all.preview) {
    one.preview =
        inFolder(many.folder, nameFrom(all.preview->string(), parts, "--preview", input), "--preview");
  }
  one.map.threads = std::max(1U, all.map.threads / jobs);
  one.memory = memory / jobs;
  one.json = "-";
  one.quiet = true;
  one.verbose = false;
  return one;
}

/// Refuses two inputs whose maps or pictures would have the same name.
void requireDifferentNames(std::vector<Options> const& runs) {
  std::map<fs::path, fs::path> inputs;  // by what is written for them
  for (Options const& run : runs) {
    std::vector<fs::path> names = {run.output};
    if (run.preview) names.push_back(*run.preview);
    for (fs::path const& name : names) {
      auto const [other, isNew] = inputs.emplace(name.lexically_normal(), *run.input);
      if (isNew) continue;
      throw UsageError("inputs " + other->second.string() + " and " + run.input->string() +
                       " would both be written to " + name.string() +
                       "; expected a --name that tells them apart, such as {folder}_{stem}_sdt{ext}");
    }
  }
}

void makeFolder(fs::path const& folder) {
  std::error_code error;
  fs::create_directories(folder, error);
  if (error) throw OutputError("output folder " + folder.string() + ": can't be made: " + error.message());
}

/// The work on all inputs.
class ManyRuns {
 public:
  ManyRuns(Options const& options, std::ostream& lines, std::ostream& failures)
      : options_(options),
        lines_(lines),
        failures_(failures),
        targets_(options.force),
        shared_(temporaryRoot()),
        outcomes_(options.many->inputs.size()),
        progress_(outcomes_.size(), options.quiet ? Progress::Show() : terminalShow(), terminalWidth(),
                  Progress::Clock::now, "inputs") {
    neighbours_ = {options.many->inputs, shared_.path()};
    targets_.protect(options.many->inputs);
    targets_.shareIn(shared_.path());
    plan();
  }

  ExitCode makeAll() {
    std::size_t next = 0;
    ChildProcesses children;
    while (next < runs_.size() || children.running() > 0) {
      for (; next < runs_.size() && children.running() < jobs_; ++next) start(children, next);
      note(children.wait());
    }
    progress_.hide();
    double const seconds = total_.lap();
    if (json_) writeContent(*json_, jsonText(outcomes_, seconds));
    targets_.putInPlace();
    if (!options_.quiet) tellSummary(lines_, outcomes_);
    auto const failed = std::find_if(outcomes_.begin(), outcomes_.end(),
                                     [](InputOutcome const& outcome) { return outcome.exitCode != 0; });
    return failed == outcomes_.end() ? ExitCode::success : static_cast<ExitCode>(failed->exitCode);
  }

 private:
  void plan() {
    ManyInputs const& many = *options_.many;
    jobs_ = std::min(many.jobs, static_cast<unsigned>(many.inputs.size()));
    std::uint64_t const memory = options_.memory.value_or(availableMemory() / 10 * 9);
    for (fs::path const& input : many.inputs) runs_.push_back(optionsOf(options_, input, jobs_, memory));
    requireDifferentNames(runs_);
    for (Options const& run : runs_) {
      makeFolder(run.output.parent_path());
      if (run.preview) makeFolder(run.preview->parent_path());
    }
    if (options_.json) json_ = targets_.add(*options_.json);
  }

  void start(ChildProcesses& children, std::size_t number) {
    children.start(number, [&, number] {
      endOnInterruption();
      return exitCodeOf([&] {
        runOneInput(runs_[number], neighbours_, std::cout, std::cerr);
        requirePrinted(std::cout);
        return ExitCode::success;
      });
    });
  }

  void note(ChildOutcome const& ended) {
    InputOutcome& outcome = outcomes_[ended.number];
    outcome = outcomeOf(runs_[ended.number], ended);
    progress_.hide();
    for (std::string const& warning : outcome.warnings) printLine("warning: " + warning);
    if (outcome.exitCode != 0) printLine(outcome.message);
    if (outcome.exitCode == 0 && !options_.quiet) tell(lines_, outcome, options_.verbose);
    progress_.advance(1);
  }

  void printLine(std::string const& line) { failures_ << "lorb-distance: " << line << std::endl; }

  Options const& options_;
  std::ostream& lines_;
  std::ostream& failures_;
  Stopwatch total_;
  Targets targets_;
  WorkFolder shared_;
  Neighbours neighbours_;
  unsigned jobs_ = 1;
  std::vector<Options> runs_;
  std::vector<InputOutcome> outcomes_;
  std::optional<StagedFile> json_;
  Progress progress_;
};

}  // namespace

ExitCode runManyInputs(Options const& options, std::ostream& report, std::ostream& warnings) {
  bool const taken = options.json && isStandardStream(*options.json);
  return ManyRuns(options, taken ? warnings : report, warnings).makeAll();
}

}  // namespace lorb::tools
