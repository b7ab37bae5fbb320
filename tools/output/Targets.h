// All files that a run writes: refused before any work when one is in the way of another, of what the run
// reads, or of what somebody has; made where nobody sees them; and put in place together when all are
// complete.
#pragma once

#include "tools/base/WorkFolder.h"

#include <sys/types.h>

#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace lorb::tools {

/// A file that is to become a target.
struct StagedFile {
  std::filesystem::path target;  ///< as the user named it
  std::filesystem::path path;    ///< where it is made, with the extension of the target
};

/// Makes the file, of this content. Throws `OutputError`.
void writeContent(StagedFile const& file, std::string const& content);

class Targets {
 public:
  /// With `replace`, files that exist are replaced.
  explicit Targets(bool replace) : replace_(replace) {}

  /// Shares the targets with other processes that have the same folder `claims`: what one of them has added,
  /// another is refused.
  void shareIn(std::filesystem::path const& claims) { claims_ = claims; }

  /// Files that the run reads, none of which may be a target, be it added before or later. Throws
  /// `OutputError`.
  void protect(std::vector<std::filesystem::path> const& inputs);

  /// A file to be written, or "-" for standard output. It is made in a hidden folder beside the target, which
  /// is what a link points to. Throws `OutputError` when the folder takes no files, or when the target is a
  /// target already, a protected file, a folder, a device or the like, or exists and is not to be replaced.
  StagedFile add(std::filesystem::path const& target);

  /// Copies what is for standard output there, and gives all other files their names, each in one step.
  /// Throws `OutputError`; nothing that a person has is then lost.
  void putInPlace() const;

 private:
  struct Target {
    StagedFile file;
    std::filesystem::path place;  ///< where it goes, links resolved
  };
  using FileId = std::pair<dev_t, ino_t>;

  void requireUsable(std::filesystem::path const& target) const;
  void claim(std::filesystem::path const& target, std::filesystem::path const& place) const;
  void move(Target const& target) const;
  std::filesystem::path const& workFolderIn(std::filesystem::path const& folder,
                                            std::filesystem::path const& target);

  bool replace_;
  std::filesystem::path claims_;  ///< empty when targets are not shared
  std::set<FileId> inputs_;
  std::vector<Target> targets_;
  std::map<std::filesystem::path, std::unique_ptr<WorkFolder>> folders_;
};

}  // namespace lorb::tools
