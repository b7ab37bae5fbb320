#include "tools/output/Targets.h"

#include "tools/base/errors.h"
#include "tools/volume/formatTable.h"
#include "tools/volume/standardStreams.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <optional>
#include <system_error>

namespace lorb::tools {
namespace fs = std::filesystem;
namespace {

[[noreturn]] void refuse(fs::path const& target, std::string const& what) {
  throw OutputError("output " + target.string() + ": " + what);
}

/// What there is at a path, behind all links.
std::optional<struct stat> statusOf(fs::path const& path) {
  struct stat status;
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return status;
}

/// A link stays a link: what it points to is the place, whether that exists or not.
fs::path placeOf(fs::path const& target) {
  constexpr int mostLinks = 40;
  fs::path place = target;
  std::error_code error;
  for (int k = 0; fs::is_symlink(place, error); ++k) {
    if (k == mostLinks) refuse(target, "is a link that leads nowhere; expected a file name");
    place = place.parent_path() / fs::read_symlink(place, error);
  }
  fs::path const folder = place.has_parent_path() ? place.parent_path() : fs::path(".");
  fs::path const canonical = fs::canonical(folder, error);
  return (error ? folder : canonical) / place.filename();
}

/// Gives a file the owner and the mode of another, as far as this process may. A mode for somebody else is
/// not taken over: it would let in whom the owner did not mean.
void takeAfter(fs::path const& file, struct stat const& other) {
  bool const sameOwner = chown(file.c_str(), other.st_uid, other.st_gid) == 0;
  struct stat own;
  if (!sameOwner && (stat(file.c_str(), &own) != 0 || own.st_gid != other.st_gid)) {
    chmod(file.c_str(), other.st_mode & 0700U);
  } else {
    chmod(file.c_str(), other.st_mode & 0777U);
  }
}

std::string stagedName(std::size_t number, fs::path const& target) {
  std::string const known = isStandardStream(target)
                                ? std::string(standardOutputFormat().extensions[0].oneFile)
                                : oneFileExtensionOf(target);
  return std::to_string(number) + (known.empty() ? target.extension().string() : known);
}

/// Renames a file unless there is one of that name. Where the file system has no such renaming, a second name
/// is as good, and the first goes.
int renameToNew(fs::path const& file, fs::path const& place) {
  int const status = renameat2(AT_FDCWD, file.c_str(), AT_FDCWD, place.c_str(), RENAME_NOREPLACE);
  bool const unsupported = status != 0 && (errno == EINVAL || errno == ENOSYS);
  if (!unsupported) return status;
  return link(file.c_str(), place.c_str()) == 0 ? unlink(file.c_str()) : -1;
}

}  // namespace

void writeContent(StagedFile const& file, std::string const& content) {
  std::ofstream stream(file.path, std::ios::binary);
  stream << content;
  stream.close();
  if (!stream) refuse(file.target, "could not be written; is the disk full?");
}

void Targets::requireUsable(fs::path const& target) const {
  if (isStandardStream(target)) return;
  auto const status = statusOf(target);
  if (!status) return;
  if (S_ISDIR(status->st_mode)) refuse(target, "is a folder; expected a file name");
  if (!S_ISREG(status->st_mode)) refuse(target, "is no regular file; expected a file name or -");
  if (inputs_.count({status->st_dev, status->st_ino}) > 0) {
    refuse(target, "is the input or a part of it; expected another file");
  }
  if (!replace_) refuse(target, "exists; expected a new name or --force");
}

void Targets::protect(std::vector<fs::path> const& inputs) {
  for (fs::path const& input : inputs) {
    if (auto const status = statusOf(input)) inputs_.insert({status->st_dev, status->st_ino});
  }
  for (Target const& target : targets_) requireUsable(target.file.target);
}

fs::path const& Targets::workFolderIn(fs::path const& folder, fs::path const& target) try {
  auto& work = folders_[folder];
  if (!work) work = std::make_unique<WorkFolder>(folder);
  return work->path();
} catch (std::system_error const& error) {
  refuse(target, "can't write in folder " + folder.string() + ": " + error.code().message());
}

StagedFile Targets::add(fs::path const& target) {
  requireUsable(target);
  fs::path const place = isStandardStream(target) ? temporaryRoot() / target : placeOf(target);
  bool const taken = std::any_of(targets_.begin(), targets_.end(),
                                 [&](Target const& other) { return other.place == place; });
  if (taken) refuse(target, "is written twice; expected a name of its own for each file");
  if (!claims_.empty() && !isStandardStream(target)) claim(target, place);
  fs::path const& folder = workFolderIn(place.parent_path(), target);
  StagedFile const file = {target, folder / stagedName(targets_.size(), target)};
  targets_.push_back({file, place});
  return file;
}

void Targets::claim(fs::path const& target, fs::path const& place) const {
  // Making a file that must be new is one step, whichever process comes first.
  fs::path const file = claims_ / std::to_string(fs::hash_value(place));
  int const made = open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  if (made >= 0) {
    close(made);
  } else if (errno == EEXIST) {
    refuse(target, "is written for another input as well; expected a name of its own for each file");
  }
}

void Targets::move(Target const& target) const {
  fs::path const &file = target.file.path, &place = target.place;
  if (auto const replaced = statusOf(place)) takeAfter(file, *replaced);
  if ((replace_ ? rename(file.c_str(), place.c_str()) : renameToNew(file, place)) == 0) return;
  if (errno == EEXIST) refuse(target.file.target, "exists; expected a new name or --force");
  refuse(target.file.target, "can't be put in place: " + std::generic_category().message(errno));
}

void Targets::putInPlace() const {
  auto const isPrinted = [](Target const& target) { return isStandardStream(target.file.target); };
  // Somebody else may have made one meanwhile: then none is put in place.
  for (Target const& target : targets_) requireUsable(target.file.target);
  for (Target const& target : targets_) {
    if (isPrinted(target)) copyToStandardOutput(target.file.path);
  }
  // An interruption comes before all or after all.
  auto const all = WorkFolder::holdAll();
  for (Target const& target : targets_) {
    if (!isPrinted(target)) move(target);
  }
}

}  // namespace lorb::tools
