#include <lorb/algorithm/buildStamp.h>
#include <lorb/algorithm/module.h>

#include <iostream>

namespace lorb {

void lorb_load_algorithm_message() {
  std::cerr << "Torvane (LORB), Version " << LORB_VERSION << ", Copyright the lorb authors"
            << ", Library support:" << LORB_SUPPORT << ", built on " << LORB_BUILD_DATE << " at "
            << LORB_BUILD_TIME << std::endl
            << std::endl;
  std::cerr << "Exact signed distance maps of medical image volumes, slice by slice." << std::endl;
  std::cerr << "This software comes without any warranty, as far as the law permits." << std::endl;
  std::cerr << "It is not a medical device and has not been cleared for diagnostic use." << std::endl;
  std::cerr << "Whoever uses its results in patient care answers for their validation." << std::endl;
  std::cerr << std::endl;
}

int lorb_init_algorithm() {
  return 0;
}

namespace {

// Runs at load time. The call goes through the symbol table, so a host can put its own hook in.
[[maybe_unused]] int const initialised = lorb_init_algorithm();

}  // namespace
}  // namespace lorb
