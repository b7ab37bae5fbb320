// What the tool says about itself, made from the list of options.
#pragma once

#include <string>

namespace lorb::tools {

/// The answer to --help: at most 80 columns, and lines for one screen.
std::string helpText();

/// A manual page of section 1 in roff.
std::string manualPage();

/// A script for bash that completes options, their words, and files.
std::string bashCompletion();

/// The answer to --version.
std::string versionText();

}  // namespace lorb::tools
