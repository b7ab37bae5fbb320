#include "tools/output/OutputFile.h"

#include "tools/base/errors.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

namespace lorb::tools {
namespace {

[[noreturn]] void fail() {
  throw OutputError("could not be written: " + std::generic_category().message(errno));
}

}  // namespace

OutputFile::OutputFile(std::filesystem::path const& path)
    : file_(open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
  if (file_ < 0) fail();
}

OutputFile::~OutputFile() {
  if (file_ >= 0) ::close(file_);
}

void OutputFile::writeAt(std::uint64_t position, std::span<std::byte const> bytes) const {
  while (!bytes.empty()) {
    ssize_t const put = pwrite(file_, bytes.data(), bytes.size(), static_cast<off_t>(position));
    if (put < 0 && errno == EINTR) continue;
    if (put < 0) fail();
    position += static_cast<std::uint64_t>(put);
    bytes = bytes.subspan(static_cast<std::size_t>(put));
  }
}

void OutputFile::close() {
  if (::close(std::exchange(file_, -1)) != 0) fail();
}

}  // namespace lorb::tools
