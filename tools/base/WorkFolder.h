// Folders for files that nobody is to see, and that nothing may leave behind.
#pragma once

#include <filesystem>
#include <mutex>

namespace lorb::tools {

/// A new, empty, hidden folder, removed with all it holds at the end of its life. A folder that a killed
/// process left behind is removed by the next that is made beside it: each is locked while its process lives,
/// and the system unlocks what the dead held.
class WorkFolder {
 public:
  /// Makes it in `parent`. Throws `std::system_error`.
  explicit WorkFolder(std::filesystem::path const& parent);
  ~WorkFolder();
  WorkFolder(WorkFolder const&) = delete;
  WorkFolder& operator=(WorkFolder const&) = delete;

  std::filesystem::path const& path() const { return path_; }

  /// Removes all that there are in this process and keeps new ones from being made: for a process that
  /// is to end at once, from whichever thread. Callers that make or remove one afterwards wait forever.
  static void removeAllForGood();

  /// To be called in a child process, after `fork`: the folders of its parent are not its own.
  static void leaveToParent();

  /// Keeps them from being removed, and new ones from being made, while the lock is held.
  static std::unique_lock<std::mutex> holdAll();

 private:
  std::filesystem::path path_;
  int lock_;
};

/// Where the system keeps temporary files, whether there is such a folder or not.
std::filesystem::path temporaryRoot();

}  // namespace lorb::tools
