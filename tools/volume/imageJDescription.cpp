#include "tools/volume/imageJDescription.h"

#include "tools/base/parseNumber.h"
#include "tools/volume/Volume.h"

#include <cmath>
#include <map>
#include <sstream>

namespace lorb::tools {
namespace {

using Fields = std::map<std::string, std::string>;

Fields fieldsOf(std::string_view text) {
  Fields fields;
  std::istringstream lines{std::string(text)};
  for (std::string line; std::getline(lines, line);) {
    if (line.ends_with('\r')) line.pop_back();
    auto const equals = line.find('=');
    if (equals != std::string::npos) fields[line.substr(0, equals)] = line.substr(equals + 1);
  }
  return fields;
}

std::string textOf(Fields const& fields, std::string const& name, std::string const& otherwise) {
  auto const field = fields.find(name);
  return field == fields.end() ? otherwise : field->second;
}

/// A field that counts, 1 when it is missing or makes no sense.
std::uint64_t countOf(Fields const& fields, std::string const& name) {
  int const count = parseInteger(textOf(fields, name, "1")).value_or(1);
  return count > 0 ? static_cast<std::uint64_t>(count) : 1;
}

struct Unit {
  std::string_view name;
  double millimetres;
};
constexpr Unit units[] = {{"mm", 1},          {"millimeter", 1},  {"millimetre", 1},    {"cm", 10},
                          {"centimeter", 10}, {"centimetre", 10}, {"m", 1000},          {"meter", 1000},
                          {"metre", 1000},    {"inch", 25.4},     {"in", 25.4},         {"um", 1e-3},
                          {"micron", 1e-3},   {"microns", 1e-3},  {"micrometer", 1e-3}, {"µm", 1e-3},
                          {"\xB5m", 1e-3},    {"\\u00B5m", 1e-3}, {"\\u00b5m", 1e-3},   {"\u03BCm", 1e-3},
                          {"nm", 1e-6},       {"nanometer", 1e-6}};

}  // namespace

std::optional<ImageJDescription> imageJDescription(std::string_view text) {
  if (!text.starts_with("ImageJ=")) return std::nullopt;
  Fields const fields = fieldsOf(text);
  ImageJDescription description;
  description.images = countOf(fields, "images");
  description.channels = countOf(fields, "channels");
  description.frames = countOf(fields, "frames");
  description.unit = textOf(fields, "unit", "");
  description.depthUnit = textOf(fields, "zunit", description.unit);
  // Negative where slices are counted downwards.
  double const spacing =
      std::abs(static_cast<double>(parseNumber(textOf(fields, "spacing", "")).value_or(0)));
  if (spacing > 0) description.spacing = spacing;
  description.calibratesValues = fields.count("cf") > 0 || fields.count("c0") > 0 || fields.count("c1") > 0;
  return description;
}

std::string imageJText(std::uint64_t slices, double depthInCentimetres) {
  std::string const count = std::to_string(slices);
  return "ImageJ=1.53t\nimages=" + count + "\nslices=" + count +
         "\nunit=cm\nspacing=" + toText(depthInCentimetres) + "\nloop=false\n";
}

std::optional<double> millimetresIn(std::string_view unit) {
  for (Unit const& known : units) {
    if (known.name == unit) return known.millimetres;
  }
  return std::nullopt;
}

}  // namespace lorb::tools
