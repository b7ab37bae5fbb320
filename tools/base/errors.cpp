#include "tools/base/errors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace lorb::tools {

std::optional<std::string> whyClosed(std::filesystem::path const& path) {
  int const file = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file < 0) return std::generic_category().message(errno);
  close(file);
  return std::nullopt;
}

}  // namespace lorb::tools
