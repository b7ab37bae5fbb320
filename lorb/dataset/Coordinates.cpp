#include <lorb/dataset/Coordinates.h>

namespace lorb {

template <class T>
Coordinates<T>::~Coordinates() = default;

template class Coordinates<int>;
template class Coordinates<double>;

void DatasetCoordinates::anchor() const {}

void WorldCoordinates::anchor() const {}

}  // namespace lorb
