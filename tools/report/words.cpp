#include "tools/report/words.h"

#include "tools/build.h"

#include <cmath>
#include <cstdint>

namespace lorb::tools {

char const* nameOf(Units units) {
  return units == Units::voxels ? "voxels" : "mm";
}

char const* nameOf(NoBoundary choice) {
  switch (choice) {
    case NoBoundary::constant:
      return "constant";
    case NoBoundary::diagonal:
      return "diagonal";
    case NoBoundary::nan:
      break;
  }
  return "nan";
}

std::string decimals(double number) {
  auto const hundredths = std::llround(number * 100.0);
  std::string const fraction = std::to_string(hundredths % 100);
  return std::to_string(hundredths / 100) + (fraction.size() < 2 ? ".0" : ".") + fraction;
}

json exactJson(ExactNumber number) {
  return number < 0 ? json(static_cast<std::int64_t>(number)) : json(static_cast<std::uint64_t>(number));
}

json programJson() {
  return {{"name", "lorb-distance"},
          {"version", std::string(build::version)},
          {"compiler", std::string(build::compiler)},
          {"build", std::string(build::type)},
          {"itk", std::string(build::itk)},
          {"vtk", build::vtk.empty() ? json(nullptr) : json(build::vtk)}};
}

}  // namespace lorb::tools
