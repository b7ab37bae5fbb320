#include "tools/StagingFolder.h"

#include "tools/errors.h"

#include <stdlib.h>

#include <cerrno>
#include <string>
#include <system_error>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

/// A link stays a link: what it points to is replaced.
fs::path behindLinks(fs::path const& target) {
  std::error_code ignored;
  fs::path const resolved = fs::weakly_canonical(target, ignored);
  return resolved.empty() ? fs::absolute(target) : resolved;
}

}  // namespace

StagingFolder::StagingFolder(fs::path const& target) : target_(behindLinks(target)) {
  std::string name = (target_.parent_path() / ".lorb-distance-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) {
    throw OutputError("output " + target.string() + ": can't write in folder " +
                      target_.parent_path().string() + ": " + std::generic_category().message(errno));
  }
  folder_ = name;
}

StagingFolder::~StagingFolder() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

void StagingFolder::moveToTarget(fs::path const& file) const {
  std::error_code error;
  fs::rename(file, target_, error);
  if (error) throw OutputError("output " + target_.string() + ": can't be put in place: " + error.message());
}

}  // namespace lorb::tools
