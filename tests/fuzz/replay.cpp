// Runs a fuzzer's function on every file of a folder, without libFuzzer, so that every compiler can do it:
// lorb-replay-NAME FOLDER. The function ends the program at the first difference that it finds.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* bytes, std::size_t size);

namespace {

std::string contentOf(std::filesystem::path const& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s FOLDER\n", argv[0]);
    return 2;
  }
  std::filesystem::directory_iterator const begin(argv[1]), end;
  std::vector<std::filesystem::path> paths(begin, end);
  std::sort(paths.begin(), paths.end());
  for (auto const& path : paths) {
    // The last name printed is that of the input that ended the program.
    std::printf("%s\n", path.filename().c_str());
    std::fflush(stdout);
    std::string const bytes = contentOf(path);
    LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
  }
  std::printf("%zu inputs\n", paths.size());
  return paths.empty() ? 1 : 0;
}
