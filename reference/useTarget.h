#pragma once

#include <hwy/targets.h>

#include <cstdint>

namespace reference {

/// Lets the library use the instruction set `target` alone; the best one again when `target` is 0.
inline void useTarget(std::int64_t target) {
  hwy::SetSupportedTargetsForTest(target);
  hwy::GetChosenTarget().Update(hwy::SupportedTargets());
}

}  // namespace reference
