// Half-written files are never seen under their final name: they grow in a folder of their own beside the
// target and are moved in one step when complete.
#pragma once

#include "tools/WorkFolder.h"

#include <filesystem>
#include <memory>
#include <string>

namespace lorb::tools {

/// A work folder beside `target`. Being in the same file system, what is made in it moves to the target by
/// a rename, which replaces an older file in one step. Files made in it have the permissions that files made
/// beside it would have.
class StagingFolder {
 public:
  /// Throws `OutputError` when the target's folder doesn't take it.
  explicit StagingFolder(std::filesystem::path const& target);

  std::filesystem::path const& path() const { return folder_->path(); }

  /// Gives `file`, made in this folder, the target's name. Throws `OutputError`; both files are then as
  /// they were.
  void moveToTarget(std::filesystem::path const& file) const;

 private:
  std::filesystem::path target_;
  std::unique_ptr<WorkFolder> folder_;
};

/// Writes a file of this content in one step, replacing what is there. Throws `OutputError`; the old file is
/// then as it was.
void replaceFile(std::filesystem::path const& target, std::string const& content);

}  // namespace lorb::tools
