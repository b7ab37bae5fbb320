#pragma once

#include "reference/useTarget.h"

#include <gtest/gtest.h>

#include <cstdint>

namespace reference {

/// Calls `f()` once with every instruction set that this machine has.
template <class F>
void onEveryTarget(F f) {
  useTarget(0);
  std::int64_t const all = hwy::SupportedTargets();
  for (std::int64_t rest = all; rest != 0; rest &= rest - 1) {
    std::int64_t const target = rest & -rest;
    SCOPED_TRACE(hwy::TargetName(target));
    useTarget(target);
    f();
  }
  useTarget(0);
}

}  // namespace reference
