#include "tools/commandLine/Options.h"

#include "tools/base/errors.h"
#include "tools/base/memory.h"
#include "tools/commandLine/help.h"
#include "tools/commandLine/nearestOption.h"
#include "tools/commandLine/optionTable.h"
#include "tools/volume/standardStreams.h"

#include <CLI/CLI.hpp>

#include <map>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace lorb::tools {
namespace {

/// The command line as it was typed: the words behind each option, and none of options that were not.
class Words {
 public:
  Words(int argc, char const* const* argv) {
    CLI::App app;
    app.set_help_flag();
    app.allow_extras();  // inputs; CLI11 would take the name [a] for a list
    for (OptionRow const& row : optionTable()) declare(app, row);
    try {
      app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
      throw UsageError(std::string(error.what()) + "; see lorb-distance --help");
    }
    auto const inputs = inputsAmong(app.remaining());
    if (!inputs.empty()) words_["INPUT"] = inputs;
    for (OptionRow const& row : optionTable()) {
      if (app.count(longNameOf(row)) == 0) words_.erase(longNameOf(row));
    }
    for (OptionRow const& row : optionTable()) requireSense(row);
  }

  bool has(std::string const& name) const { return words_.count(name) > 0; }
  std::vector<std::string> const& all(std::string const& name) const { return words_.at(name); }
  std::string const& one(std::string const& name) const { return all(name).at(0); }

  /// Of the options and inputs that were given.
  std::size_t count() const { return words_.size(); }

 private:
  void declare(CLI::App& app, OptionRow const& row) {
    std::string const names(row.names);
    auto& words = words_[longNameOf(row)];
    if (row.argument.empty()) {
      app.add_flag_callback(names, [] {});
    } else {
      auto* const option = app.add_option(names, words)->type_size(argumentCount(row))->expected(1);
      option->allow_extra_args(false)->take_all();
      if (auto const choices = choicesOf(row); !choices.empty()) option->check(CLI::IsMember(choices));
    }
  }

  [[noreturn]] static void refuseOption(std::string const& typed) {
    auto const nearest = nearestOption(typed);
    throw UsageError(typed + " is no option; " +
                     (nearest ? "did you mean " + *nearest + "?" : "see lorb-distance --help"));
  }

  /// Words that belong to no option; those behind -- may begin like one.
  static std::vector<std::string> inputsAmong(std::vector<std::string> const& words) {
    std::vector<std::string> inputs;
    bool optionsMayCome = true;
    for (std::string const& word : words) {
      if (optionsMayCome && word == "--") {
        optionsMayCome = false;
      } else if (optionsMayCome && word.size() > 1 && word[0] == '-') {
        refuseOption(word.substr(0, word.find('=')));
      } else {
        inputs.push_back(word);
      }
    }
    return inputs;
  }

  void requireSense(OptionRow const& row) const {
    std::string const name = longNameOf(row);
    if (!has(name) || row.argument.empty()) return;
    auto const& words = all(name);
    auto const once = static_cast<std::size_t>(argumentCount(row));
    if (!row.repeatable && words.size() > once) {
      throw UsageError(name + " is given twice, with '" + words[0] + "' and '" + words[once] +
                       "'; expected it once");
    }
    bool const isFile = row.words.find(fileWord) != std::string_view::npos;
    if (isFile && words[0].empty()) throw UsageError(name + " '' is no file name; expected one");
  }

  std::map<std::string, std::vector<std::string>> words_;
};

/// The words that an option takes, and what they mean; the first is the default.
template <class Meaning>
using Meanings = std::vector<std::pair<std::string, Meaning>>;

template <class Meaning>
Meaning meaningOf(Words const& words, std::string const& option, Meanings<Meaning> const& meanings) {
  for (auto const& [word, meaning] : meanings) {
    if (words.has(option) && words.one(option) == word) return meaning;
  }
  return meanings.front().second;
}

ExactNumber numberIn(std::string const& option, std::string const& text) {
  if (auto const number = parseNumber(text)) return *number;
  throw UsageError(option + " '" + text + "' is no finite number; expected one such as 60 or 0.5");
}

std::vector<ExactNumber> numbersBehind(Words const& words, std::string const& option) {
  std::vector<ExactNumber> numbers;
  for (std::string const& text : words.all(option)) numbers.push_back(numberIn(option, text));
  return numbers;
}

int countedFromZero(Words const& words, std::string const& option) {
  std::string const& text = words.one(option);
  auto const number = parseInteger(text);
  if (number && *number >= 0) return *number;
  throw UsageError(option + " '" + text + "' is no " + option.substr(2) +
                   " number; expected a whole number from 0");
}

ObjectRule ruleOf(Words const& words) {
  using Kind = ObjectRule::Kind;
  static Meanings<Kind> const kinds = {{"--above", Kind::above},
                                       {"--below", Kind::below},
                                       {"--between", Kind::between},
                                       {"--label", Kind::labels},
                                       {"--each-label", Kind::labels}};
  ObjectRule rule;
  std::string chosen;
  for (auto const& [name, kind] : kinds) {
    std::string const option(name);
    if (!words.has(option)) continue;
    if (!chosen.empty()) {
      throw UsageError(chosen + " and " + option + " exclude each other; expected one of them");
    }
    chosen = option;
    rule.kind = kind;
    if (option != "--each-label") rule.values = numbersBehind(words, option);
  }
  if (!chosen.empty() && words.has("--segment")) {
    throw UsageError("--segment and " + chosen + " exclude each other; expected one of them");
  }
  if (rule.kind == Kind::between && rule.values[0] > rule.values[1]) {
    throw UsageError("--between " + words.all("--between")[0] + " " + words.all("--between")[1] +
                     " holds no number; expected the lower one first");
  }
  rule.inverted = words.has("--invert");
  return rule;
}

/// The number behind --threads or --jobs, `otherwise` without that.
unsigned countOf(Words const& words, std::string const& option, unsigned otherwise) {
  constexpr int most = 1024;
  if (!words.has(option)) return otherwise;
  std::string const& text = words.one(option);
  auto const number = parseInteger(text);
  if (number && *number >= 1 && *number <= most) return static_cast<unsigned>(*number);
  throw UsageError(option + " '" + text + "' is no number of " + option.substr(2) + "; expected 1 to " +
                   std::to_string(most));
}

MapSettings settingsOf(Words const& words) {
  using Transform = EuclideanDistanceTransform2D;
  MapSettings settings;
  settings.choice.plane = meaningOf<Plane>(
      words, "--plane", {{"xy", Transform::planeXY}, {"xz", Transform::planeXZ}, {"yz", Transform::planeYZ}});
  if (words.has("--slice")) settings.choice.slice = countedFromZero(words, "--slice");
  settings.noBoundary = meaningOf<NoBoundary>(
      words, "--no-boundary",
      {{"diagonal", NoBoundary::diagonal}, {"constant", NoBoundary::constant}, {"nan", NoBoundary::nan}});
  settings.threads = countOf(words, "--threads", processorCount());
  return settings;
}

int compressionOf(std::string const& text) {
  auto const level = parseInteger(text);
  if (level && *level >= 0 && *level <= mostCompression) return *level;
  throw UsageError("--compression '" + text + "' is no level; expected 0 to " +
                   std::to_string(mostCompression));
}

std::uint64_t memoryOf(std::string const& text) {
  if (auto const bytes = parseBytes(text)) return *bytes;
  throw UsageError("--memory '" + text + "' is no size; expected one such as 512M or 4G");
}

std::optional<std::filesystem::path> inputOf(Words const& words) {
  bool const phantom = words.has("--phantom");
  for (char const* option :
       {"--volume", "--all-volumes", "--series", "--segment", "--uneven", "--skip-damaged"}) {
    if (phantom && words.has(option)) {
      throw UsageError(std::string(option) +
                       " chooses among what a file holds; expected none with --phantom");
    }
  }
  if (words.has("INPUT") && words.all("INPUT").size() > 1) {
    throw UsageError("--output takes one input, not '" + words.all("INPUT")[1] + "' as well as '" +
                     words.one("INPUT") + "'; expected --output-dir for several");
  }
  if (!words.has("INPUT")) {
    if (phantom) return std::nullopt;
    throw UsageError("no input; expected a file name, a folder, - or --phantom");
  }
  if (phantom) {
    throw UsageError("--phantom excludes the input '" + words.one("INPUT") + "'; expected one of them");
  }
  return words.one("INPUT");
}

/// Nothing where --output names the only map.
std::optional<ManyInputs> manyInputsOf(Words const& words) {
  if (!words.has("--output-dir")) {
    for (char const* option : {"--name", "--jobs"}) {
      if (words.has(option)) {
        throw UsageError(std::string(option) + " is for several inputs; expected --output-dir with it");
      }
    }
    return std::nullopt;
  }
  for (char const* option : {"--output", "--phantom"}) {
    if (words.has(option)) {
      throw UsageError("--output-dir and " + std::string(option) +
                       " exclude each other; expected one of them");
    }
  }
  if (!words.has("INPUT")) throw UsageError("no input; expected file names or folders");
  ManyInputs many;
  for (std::string const& input : words.all("INPUT")) {
    if (isStandardStream(input)) {
      throw UsageError("--output-dir names maps after their inputs, and - has no name; expected files");
    }
    many.inputs.emplace_back(input);
  }
  many.folder = words.one("--output-dir");
  if (words.has("--name")) many.pattern = words.one("--name");
  many.jobs = countOf(words, "--jobs", 1);
  return many;
}

Options selfTestOptions(Words const& words) {
  if (words.count() > 1) throw UsageError("--self-test tests the library alone; expected nothing beside it");
  Options options;
  options.selfTest = true;
  return options;
}

void requireSenseOfAllVolumes(Options const& options) {
  if (options.inputChoice.volume || !options.inputChoice.segments.empty()) {
    throw UsageError(
        "--all-volumes leaves nothing to choose; expected neither --volume nor --segment with it");
  }
  if (options.preview) {
    throw UsageError("--preview '" + options.preview->string() +
                     "' is a picture of one volume; expected --volume K in place of --all-volumes");
  }
  if (options.input && isStandardStream(*options.input)) {
    throw UsageError("--all-volumes reads its input more than once; expected a file in place of -");
  }
}

void requireSense(Options const& options) {
  bool const mapOnOutput = isStandardStream(options.output);
  if (mapOnOutput && options.json && isStandardStream(*options.json)) {
    throw UsageError("--output - and --json - share standard output; expected a file for one of them");
  }
  if (mapOnOutput && options.sidecar) {
    throw UsageError("--sidecar writes a file beside the map, not to --output -; expected a file name");
  }
  if (mapOnOutput && options.eachLabel) {
    throw UsageError("--each-label writes several maps, not to --output -; expected a file name");
  }
  if (options.preview && options.preview->extension() != ".png") {
    throw UsageError("--preview '" + options.preview->string() +
                     "' is no picture; expected a name with .png");
  }
  if (options.previewOver && !options.preview) {
    throw UsageError("--preview-over '" + options.previewOver->string() +
                     "' needs --preview with a file name");
  }
  if (options.allVolumes) requireSenseOfAllVolumes(options);
  if (options.quiet && options.verbose) {
    throw UsageError("--quiet and --verbose exclude each other; expected one of them");
  }
}

Options optionsOf(Words const& words) {
  if (words.has("--self-test")) return selfTestOptions(words);
  if (!words.has("--output") && !words.has("--output-dir"))
    throw UsageError("--output is required; expected a file name, such as map.nii.gz");
  Options options;
  options.many = manyInputsOf(words);
  if (!options.many) {
    options.input = inputOf(words);
    options.output = words.one("--output");
  }
  if (words.has("--volume")) options.inputChoice.volume = countedFromZero(words, "--volume");
  if (words.has("--series")) options.inputChoice.series = words.one("--series");
  if (words.has("--segment")) options.inputChoice.segments = words.all("--segment");
  if (words.has("--segment") && words.has("--volume")) {
    throw UsageError("--segment and --volume exclude each other; expected one of them");
  }
  options.inputChoice.uneven = words.has("--uneven");
  options.allVolumes = words.has("--all-volumes");
  options.inputChoice.skipDamaged = words.has("--skip-damaged");
  options.rule = ruleOf(words);
  options.eachLabel = words.has("--each-label");
  options.map = settingsOf(words);
  options.units = meaningOf<Units>(words, "--units", {{"voxels", Units::voxels}, {"mm", Units::millimetres}});
  if (words.has("--preview")) options.preview = words.one("--preview");
  if (words.has("--preview-over")) options.previewOver = words.one("--preview-over");
  if (words.has("--json")) options.json = words.one("--json");
  options.sidecar = words.has("--sidecar");
  if (words.has("--compression")) options.compression = compressionOf(words.one("--compression"));
  if (words.has("--memory")) options.memory = memoryOf(words.one("--memory"));
  options.force = words.has("--force");
  options.quiet = words.has("--quiet");
  options.verbose = words.has("--verbose");
  requireSense(options);
  return options;
}

/// What an option that asks a question has for an answer.
std::optional<std::string> answerTo(Words const& words) {
  if (words.has("--help")) return helpText();
  if (words.has("--version")) return versionText() + "\n";
  if (words.has("--man")) return manualPage();
  if (words.has("--completion")) return bashCompletion();
  return std::nullopt;
}

}  // namespace

std::optional<Options> parseOptions(int argc, char const* const* argv, std::ostream& out) {
  Words const words(argc, argv);
  if (auto const answer = answerTo(words)) {
    out << *answer;
    return std::nullopt;
  }
  return optionsOf(words);
}

}  // namespace lorb::tools
