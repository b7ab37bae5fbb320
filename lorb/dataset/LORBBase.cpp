#include <lorb/dataset/LORBBase.h>

namespace lorb {

void LORBBase::refer() {
  ++references_;
}

void LORBBase::unrefer() {
  if (references_ > 0) --references_;
}

bool LORBBase::isRefered() const {
  return references_ > 0;
}

SharedObject::~SharedObject() = default;

}  // namespace lorb
