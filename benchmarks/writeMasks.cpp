#include "benchmarks/writeMasks.h"

#include "benchmarks/cases.h"

#include <algorithm>
#include <fstream>
#include <string>

namespace benchmarks {

void writeMasks(std::filesystem::path const& folder) {
  std::filesystem::create_directories(folder);
  for (Case c : comparedCases()) {
    c.slices = 8;
    std::string name = c.name("mask") + ".raw";
    std::replace(name.begin(), name.end(), '/', '-');
    std::ofstream file(folder / name, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    auto const voxels = inputOf<unsigned char>(c).voxels();
    file.write(reinterpret_cast<char const*>(voxels.data()), static_cast<std::streamsize>(voxels.size()));
  }
}

}  // namespace benchmarks
