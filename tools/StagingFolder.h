// Half-written files are never seen under their final name: they grow in a folder of their own beside the
// target and are moved in one step when complete.
#pragma once

#include <filesystem>

namespace lorb::tools {

/// A new, empty, hidden folder beside `target`, removed with all it holds at the end of its life. Being in
/// the same file system, what is made in it moves to the target by a rename, which replaces an older
/// file in one step. Files made in it have the permissions that files made beside it would have.
class StagingFolder {
 public:
  /// Throws `OutputError` when the target's folder doesn't take it.
  explicit StagingFolder(std::filesystem::path const& target);
  ~StagingFolder();
  StagingFolder(StagingFolder const&) = delete;
  StagingFolder& operator=(StagingFolder const&) = delete;

  std::filesystem::path const& path() const { return folder_; }

  /// Gives `file`, made in this folder, the target's name. Throws `OutputError`; both files are then as
  /// they were.
  void moveToTarget(std::filesystem::path const& file) const;

 private:
  std::filesystem::path target_;
  std::filesystem::path folder_;
};

}  // namespace lorb::tools
