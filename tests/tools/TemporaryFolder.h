// A folder for the files of one test.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>
#include <string>

namespace lorb::tools {

/// New and empty; removed with all it holds at the end of its life.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "lorb-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no temporary folder");
    path_ = name;
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }
  TemporaryFolder(TemporaryFolder const&) = delete;
  TemporaryFolder& operator=(TemporaryFolder const&) = delete;

  std::filesystem::path const& path() const { return path_; }
  std::filesystem::path operator/(std::string const& name) const { return path_ / name; }

  /// The names of all that is in it, hidden files included.
  std::set<std::string> names() const {
    std::set<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(path_)) {
      names.insert(entry.path().filename().string());
    }
    return names;
  }

 private:
  std::filesystem::path path_;
};

inline std::string contentOf(std::filesystem::path const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

inline void writeContent(std::filesystem::path const& path, std::string const& content) {
  std::ofstream(path, std::ios::binary) << content;
}

}  // namespace lorb::tools
