#include "tools/base/ChildProcesses.h"

#include "tests/tools/TemporaryFolder.h"
#include "tools/base/WorkFolder.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <iostream>

namespace lorb::tools {
namespace {

TEST(ChildProcesses, KeepCodesAndPrintsApart) {
  ChildProcesses children;
  for (int k = 0; k < 3; ++k) {
    children.start(static_cast<std::size_t>(k), [k] {
      std::cout << "out " << k << "\n";
      std::cerr << "err " << k << "\n";
      return 10 + k;
    });
  }
  EXPECT_EQ(children.running(), 3U);
  for (int k = 0; k < 3; ++k) {
    ChildOutcome const outcome = children.wait();
    std::string const number = std::to_string(outcome.number);
    EXPECT_EQ(outcome.exitCode, 10 + static_cast<int>(outcome.number));
    EXPECT_EQ(outcome.signal, 0);
    EXPECT_EQ(outcome.out, "out " + number + "\n");
    EXPECT_EQ(outcome.err, "err " + number + "\n");
  }
  EXPECT_EQ(children.running(), 0U);
}

TEST(ChildProcesses, PrintOnceWhatWaitedInBuffers) {
  testing::internal::CaptureStdout();
  std::cout << "before";
  ChildProcesses children;
  children.start(0, [] { return 0; });
  EXPECT_EQ(children.wait().out, "");
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "before");
}

TEST(ChildProcesses, TellWhichSignalEndedOne) {
  ChildProcesses children;
  children.start(5, [] { return kill(getpid(), SIGKILL); });
  ChildOutcome const outcome = children.wait();
  EXPECT_EQ(outcome.number, 5U);
  EXPECT_EQ(outcome.signal, SIGKILL);
}

TEST(ChildProcesses, EndWithTheirOwner) {
  auto const begin = std::chrono::steady_clock::now();
  {
    ChildProcesses children;
    children.start(0, [] { return static_cast<int>(sleep(60)); });
  }
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(30));
}

TEST(ChildProcesses, LeaveTheWorkFoldersOfTheirParent) {
  TemporaryFolder const parent;
  WorkFolder const work(parent.path());
  ChildProcesses children;
  children.start(0, [] {
    WorkFolder::removeAllForGood();
    return 0;
  });
  children.wait();
  EXPECT_EQ(parent.names().size(), 1U);
}

}  // namespace
}  // namespace lorb::tools
