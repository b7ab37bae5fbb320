#include <lorb/dataset/TImageDataset.h>
#include <lorb/dataset/hugePages.h>

#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace lorb {
namespace {

template <class T>
void* memoryOf(std::vector<T>& data) {
  if constexpr (std::is_same_v<T, bool>) {
    return data.begin()._M_p;
  } else {
    return data.data();
  }
}

using Triple = std::array<std::uint64_t, 3>;

[[noreturn]] void throwOutside(Triple const& position, Triple const& extents) {
  auto const text = [](Triple const& numbers) {
    auto const [a, b, c] = numbers;
    return "(" + std::to_string(a) + ", " + std::to_string(b) + ", " + std::to_string(c) + ")";
  };
  throw std::out_of_range("lorb::TImageDataset: position " + text(position) + " lies outside the extents " +
                          text(extents));
}

}  // namespace

template <class T, int Dimension>
void TImageDataset<T, Dimension>::resize(Extents const& newExtents) {
  if (newExtents == extents) return;
  extents = newExtents;
  pages.resize(1);
  Page<T, Dimension>& page = pages[0];
  page.extents = extents;
  std::uint64_t const count = extents[0] * extents[1] * extents[2];
  // Bit vectors word this error differently from the others; callers see one text for all types.
  if (count > page.data.max_size()) throw std::length_error("vector::_M_default_append");
  if (count > page.data.capacity()) {
    page.data.reserve(count);
    preferHugePages(memoryOf(page.data), std::is_same_v<T, bool> ? count / 8 : count * sizeof(T));
  }
  page.data.resize(count);
  setMinMaxValue(1.0, 0.0);
}

template <class T, int Dimension>
void TImageDataset<T, Dimension>::requireInside(std::uint64_t x, std::uint64_t y, std::uint64_t z) const {
  if (x < extents[0] && y < extents[1] && z < extents[2]) return;
  throwOutside({x, y, z}, extents);
}

#define LORB_INSTANTIATE(id, element, T, name) template class TImageDataset<T, 3>;
LORB_FOR_EACH_ELEMENT_TYPE(LORB_INSTANTIATE)
#undef LORB_INSTANTIATE

}  // namespace lorb
