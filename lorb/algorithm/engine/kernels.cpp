#include <lorb/algorithm/engine/kernels.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "lorb/algorithm/engine/kernels.cpp"
#include <hwy/foreach_target.h>  // compiles this file once per instruction set
// After foreach_target.h, as Highway wants it.
#include <hwy/highway.h>

#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
#include <lorb/algorithm/engine/readMask-inl.h>
#include <lorb/algorithm/engine/scan-inl.h>
#include <lorb/algorithm/engine/search-inl.h>
#endif

HWY_BEFORE_NAMESPACE();
namespace lorb::engine {
namespace HWY_NAMESPACE {

Kernels const* FindKernels() {
#if HWY_TARGET != HWY_SCALAR && HWY_TARGET != HWY_EMU128
  static constexpr Kernels kernels = {maskRowReaders, CarryAcrossRow, ScanRows,
                                      CountColumns,   CountFromAbove, ScanAcross,
                                      MaxBound,       SearchBlock,    Fill};
  return &kernels;
#else
  return nullptr;
#endif
}

}  // namespace HWY_NAMESPACE
}  // namespace lorb::engine
HWY_AFTER_NAMESPACE();

#if HWY_ONCE

namespace lorb::engine {

HWY_EXPORT(FindKernels);

Kernels const* kernels() {
  return HWY_DYNAMIC_DISPATCH(FindKernels)();
}

}  // namespace lorb::engine

#endif  // HWY_ONCE
