#include "tools/volume/formatTable.h"

#include <string_view>
#include <vector>

namespace lorb::tools {
namespace {

#define LORB_ADDRESS_OF_FORMAT(format) &format##Format,
constexpr VolumeFormat const* table[] = {LORB_FOR_EACH_FORMAT(LORB_ADDRESS_OF_FORMAT)};
#undef LORB_ADDRESS_OF_FORMAT

struct Match {
  VolumeFormat const* format = nullptr;
  Extension extension;
};

Match find(std::filesystem::path const& path) {
  std::string name = path.filename().string();
  for (char& c : name) c = 'A' <= c && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  for (VolumeFormat const* const format : table) {
    for (Extension const& extension : format->extensions) {
      if (name.size() > extension.name.size() && name.ends_with(extension.name)) return {format, extension};
    }
  }
  return {};
}

template <class Belongs>
std::string listedExtensions(Belongs belongs) {
  std::string list;
  for (VolumeFormat const* const format : table) {
    for (Extension const& extension : format->extensions) {
      if (belongs(extension)) list += (list.empty() ? "" : ", ") + std::string(extension.name);
    }
  }
  return list;
}

}  // namespace

std::span<VolumeFormat const* const> formats() {
  return table;
}

VolumeFormat const* formatOf(std::filesystem::path const& path) {
  return find(path).format;
}

std::string extensionOf(std::filesystem::path const& path) {
  return std::string(find(path).extension.name);
}

std::string oneFileExtensionOf(std::filesystem::path const& path) {
  return std::string(find(path).extension.oneFile);
}

bool isCompressed(std::filesystem::path const& path, int compression) {
  Compressed const compressed = find(path).extension.compressed;
  return compressed == Compressed::always || (compressed == Compressed::ifWanted && compression > 0);
}

std::string readableExtensions() {
  return listedExtensions([](Extension const&) { return true; });
}

std::string writableExtensions() {
  return listedExtensions([](Extension const& extension) { return !extension.oneFile.empty(); });
}

std::string namesOf(std::function<bool(VolumeFormat const&)> const& belongs) {
  std::vector<std::string_view> names;
  for (VolumeFormat const* const format : table) {
    if (belongs(*format)) names.push_back(format->name);
  }
  std::string list;
  for (std::size_t k = 0; k < names.size(); ++k) {
    list += (k == 0 ? "" : k + 1 == names.size() ? " or " : ", ") + std::string(names[k]);
  }
  return list;
}

}  // namespace lorb::tools
