// The one list of options: the command line is read by it, and --help, the manual page and the completion of
// shells are printed from it.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace lorb::tools {

/// Stands for the names of files among the words that an option takes, as the last of them.
inline constexpr std::string_view fileWord = "<file>";

/// The group of options that print what the tool says about itself.
inline constexpr std::string_view aboutGroup = "About";

struct OptionRow {
  std::string_view group;     ///< heading that it stands under in --help
  std::string_view names;     ///< "-o,--output", the long one last
  std::string_view argument;  ///< what follows it, "A B" for two words; empty for a flag
  std::string_view help;      ///< one line
  std::string_view more;      ///< what the manual page says beyond
  std::string_view words;     ///< what shells complete; empty for numbers and the like
  bool repeatable = false;
};

std::span<OptionRow const> optionTable();

/// "--output" of "-o,--output"
std::string longNameOf(OptionRow const& row);

/// Words that follow the option.
int argumentCount(OptionRow const& row);

/// The words that an option takes, where it takes no others.
std::vector<std::string> choicesOf(OptionRow const& row);

}  // namespace lorb::tools
