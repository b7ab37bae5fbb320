// A host with an initialisation hook of its own, which the library must call when it is loaded. Returns
// 0 only if that has happened exactly once before `main`.

#include <lorb/algorithm/module.h>

namespace {

constinit int calls = 0;

}  // namespace

int lorb::lorb_init_algorithm() {
  return ++calls;
}

int main() {
  return calls == 1 ? 0 : 1;
}
