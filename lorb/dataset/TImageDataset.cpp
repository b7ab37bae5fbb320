#include <lorb/dataset/TImageDataset.h>

namespace lorb {

#define LORB_INSTANTIATE(id, element, T, name) template class TImageDataset<T, 3>;
LORB_FOR_EACH_ELEMENT_TYPE(LORB_INSTANTIATE)
#undef LORB_INSTANTIATE

}  // namespace lorb
