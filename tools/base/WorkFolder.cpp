#include "tools/base/WorkFolder.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <set>
#include <string>
#include <system_error>
#include <vector>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

constexpr char const* prefix = ".lorb-distance-";

std::mutex mutex;
std::set<fs::path> living;  // guarded by the mutex

int openFolder(fs::path const& folder) {
  return open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}

/// Young ones may be about to be locked.
bool isOld(fs::path const& folder) {
  std::error_code error;
  auto const made = fs::last_write_time(folder, error);
  return !error && fs::file_time_type::clock::now() - made > std::chrono::minutes(1);
}

void removeIfDead(fs::path const& folder) {
  int const lock = openFolder(folder);
  if (lock < 0) return;
  std::error_code ignored;
  if (flock(lock, LOCK_EX | LOCK_NB) == 0) fs::remove_all(folder, ignored);
  close(lock);
}

void removeTheDead(fs::path const& parent) {
  std::error_code error;
  std::vector<fs::path> old;
  for (auto entry = fs::directory_iterator(parent, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    if (entry->path().filename().string().starts_with(prefix) && isOld(entry->path())) {
      old.push_back(entry->path());
    }
  }
  for (fs::path const& folder : old) removeIfDead(folder);
}

}  // namespace

WorkFolder::WorkFolder(fs::path const& parent) {
  removeTheDead(parent);
  std::lock_guard const guard(mutex);
  std::string name = (parent / (std::string(prefix) + "XXXXXX")).string();
  if (mkdtemp(name.data()) == nullptr) throw std::system_error(errno, std::generic_category());
  path_ = name;
  lock_ = openFolder(path_);
  if (lock_ >= 0) flock(lock_, LOCK_EX | LOCK_NB);
  living.insert(path_);
}

WorkFolder::~WorkFolder() {
  std::lock_guard const guard(mutex);
  std::error_code ignored;
  fs::remove_all(path_, ignored);
  living.erase(path_);
  if (lock_ >= 0) close(lock_);
}

void WorkFolder::removeAllForGood() {
  mutex.lock();
  for (fs::path const& folder : living) {
    // Another thread may still be making files in it.
    std::error_code error;
    for (int attempt = 0; attempt < 100; ++attempt) {
      fs::remove_all(folder, error);
      if (!error) break;
    }
  }
}

void WorkFolder::leaveToParent() {
  std::lock_guard const guard(mutex);
  living.clear();
}

std::unique_lock<std::mutex> WorkFolder::holdAll() {
  return std::unique_lock(mutex);
}

fs::path temporaryRoot() {
  char const* const name = getenv("TMPDIR");
  return name == nullptr || *name == '\0' ? "/tmp" : name;
}

}  // namespace lorb::tools
