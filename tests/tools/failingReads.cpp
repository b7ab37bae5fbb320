// A library to be preloaded, which makes a part of one file unreadable for the process: the bytes of the file
// READ_FAILS_IN from number READ_FAILS_FROM on. With READ_FAILS_BY=error reading them is an input/output
// error, as on a bad disk; with READ_FAILS_BY=cut the file is cut there as soon as they are asked for.

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

namespace {

template <class F>
F* next(char const* name) {
  return reinterpret_cast<F*>(dlsym(RTLD_NEXT, name));
}

bool isTheFile(int file) {
  char const* const wanted = getenv("READ_FAILS_IN");
  char link[64], name[4096];
  snprintf(link, sizeof link, "/proc/self/fd/%d", file);
  ssize_t const length = readlink(link, name, sizeof name);
  return wanted != nullptr && length > 0 && strlen(wanted) == size_t(length) &&
         memcmp(wanted, name, size_t(length)) == 0;
}

/// The readable bytes among the `count` at `position`, which is all of them in any other file.
size_t readable(int file, off_t position, size_t count) {
  if (!isTheFile(file)) return count;
  off_t const end = atol(getenv("READ_FAILS_FROM"));
  if (position + off_t(count) <= end) return count;
  if (strcmp(getenv("READ_FAILS_BY"), "cut") == 0) {
    if (truncate(getenv("READ_FAILS_IN"), end) != 0) abort();
    return count;
  }
  return size_t(std::max<off_t>(end - position, 0));
}

}  // namespace

extern "C" {

ssize_t read(int file, void* bytes, size_t count) {
  size_t const some = readable(file, lseek(file, 0, SEEK_CUR), count);
  if (some == 0 && count > 0) return errno = EIO, -1;
  return next<decltype(read)>("read")(file, bytes, some);
}

ssize_t pread(int file, void* bytes, size_t count, off_t position) {
  size_t const some = readable(file, position, count);
  if (some == 0 && count > 0) return errno = EIO, -1;
  return next<decltype(pread)>("pread")(file, bytes, some, position);
}

ssize_t pread64(int file, void* bytes, size_t count, off64_t position) {
  return pread(file, bytes, count, position);
}

size_t fread(void* bytes, size_t size, size_t count, FILE* stream) {
  size_t const all = size * count;
  size_t const some = all == 0 ? 0 : readable(fileno(stream), ftell(stream), all) / size;
  size_t const got = next<decltype(fread)>("fread")(bytes, size, some, stream);
  if (some < count) errno = EIO;
  return got;
}

void* mmap(void* address, size_t length, int protection, int flags, int file, off_t offset) {
  if (file >= 0 && readable(file, offset, length) < length) return errno = EIO, MAP_FAILED;
  return next<decltype(mmap)>("mmap")(address, length, protection, flags, file, offset);
}
}
