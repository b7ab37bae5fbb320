#include "tools/StagingFolder.h"

#include "tools/errors.h"

#include <fstream>
#include <string>
#include <system_error>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

/// A link stays a link: what it points to is replaced.
fs::path behindLinks(fs::path const& target) {
  std::error_code ignored;
  fs::path const resolved = fs::weakly_canonical(fs::absolute(target), ignored);
  return resolved.empty() ? fs::absolute(target) : resolved;
}

std::unique_ptr<WorkFolder> folderBeside(fs::path const& resolved, fs::path const& target) try {
  return std::make_unique<WorkFolder>(resolved.parent_path());
} catch (std::system_error const& error) {
  throw OutputError("output " + target.string() + ": can't write in folder " +
                    resolved.parent_path().string() + ": " + error.code().message());
}

}  // namespace

StagingFolder::StagingFolder(fs::path const& target)
    : target_(behindLinks(target)), folder_(folderBeside(target_, target)) {}

void StagingFolder::moveToTarget(fs::path const& file) const {
  std::error_code error;
  fs::rename(file, target_, error);
  if (error) throw OutputError("output " + target_.string() + ": can't be put in place: " + error.message());
}

void replaceFile(fs::path const& target, std::string const& content) {
  StagingFolder const staging(target);
  fs::path const staged = staging.path() / "file";
  std::ofstream file(staged, std::ios::binary);
  file << content;
  file.close();
  if (!file) throw OutputError("output " + target.string() + ": could not be written; is the disk full?");
  staging.moveToTarget(staged);
}

}  // namespace lorb::tools
