// The built tool interrupted, killed, and watched at a terminal.

#include "tests/tools/TemporaryFolder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace lorb::tools {
namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

/// A running tool, its standard error read to the end by `wait`. It ends with this program at the latest.
class Process {
 public:
  /// Standard error is a pipe or a terminal, standard input `input`; the signal `ignored` is.
  Process(fs::path const& folder, std::vector<std::string> arguments, bool terminal, int input = -1,
          int ignored = 0) {
    int child = -1;
    if (terminal) {
      if (openpty(&errors_, &child, nullptr, nullptr, nullptr) != 0) throw std::runtime_error("no terminal");
    } else {
      int ends[2];
      if (pipe(ends) != 0) throw std::runtime_error("no pipe");
      errors_ = ends[0];
      child = ends[1];
    }
    arguments.insert(arguments.begin(), LORB_DISTANCE);
    std::vector<char*> words;
    for (std::string& word : arguments) words.push_back(word.data());
    words.push_back(nullptr);
    pid_ = fork();
    if (pid_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (int const number : {SIGINT, SIGTERM, SIGHUP})
        ::signal(number, number == ignored ? SIG_IGN : SIG_DFL);
      if (chdir(folder.c_str()) != 0) _exit(99);
      dup2(child, STDERR_FILENO);
      dup2(open("/dev/null", O_WRONLY), STDOUT_FILENO);
      if (input >= 0) dup2(input, STDIN_FILENO);
      execv(words[0], words.data());
      _exit(98);
    }
    close(child);
  }
  ~Process() { close(errors_); }
  Process(Process const&) = delete;
  Process& operator=(Process const&) = delete;

  void signal(int number) const { kill(pid_, number); }

  struct Outcome {
    int exitCode, signal;
    std::string err;
  };

  Outcome wait() const {
    std::string text;
    char block[4096];
    for (ssize_t got; (got = read(errors_, block, sizeof block)) > 0;) text.append(block, std::size_t(got));
    int status = 0;
    waitpid(pid_, &status, 0);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0, text};
  }

 private:
  int errors_ = -1;
  pid_t pid_ = -1;
};

bool waitUntil(std::function<bool()> const& condition) {
  for (int k = 0; k < 5000; ++k) {
    if (condition()) return true;
    std::this_thread::sleep_for(2ms);
  }
  return false;
}

bool hasWorkFolder(fs::path const& folder) {
  for (auto const& entry : fs::directory_iterator(folder)) {
    if (entry.path().filename().string().starts_with(".lorb-distance-")) return true;
  }
  return false;
}

TEST(Interrupted, WhileItReadsItEndsAndLeavesNothing) {
  for (int const number : {SIGINT, SIGTERM, SIGHUP}) {
    TemporaryFolder const folder, temporary;
    writeContent(folder / "old.mha", "an older map");
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    setenv("TMPDIR", temporary.path().c_str(), 1);
    Process const process(folder.path(), {"-", "-o", "old.mha", "--force"}, false, ends[0]);
    unsetenv("TMPDIR");
    close(ends[0]);
    // More than it reads at a time, so that there is a temporary file, and then no more.
    std::string const head = "NRRD0004\n" + std::string(3 << 20, 'x');
    std::thread feeder([&] { EXPECT_EQ(write(ends[1], head.data(), head.size()), ssize_t(head.size())); });
    feeder.join();
    ASSERT_TRUE(waitUntil([&] { return hasWorkFolder(temporary.path()); }));
    process.signal(number);
    auto const outcome = process.wait();
    close(ends[1]);
    EXPECT_EQ(outcome.exitCode, 130) << number;
    EXPECT_EQ(outcome.err, "lorb-distance: interrupted\n");
    EXPECT_EQ(folder.names(), std::set<std::string>{"old.mha"});
    EXPECT_EQ(temporary.names(), std::set<std::string>{});
    EXPECT_EQ(contentOf(folder / "old.mha"), "an older map");
  }
}

TEST(Interrupted, NotByASignalThatIsIgnored) {
  TemporaryFolder const folder;
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  std::vector<std::string> const arguments = {"-", "-o", "map.mha", "-q"};
  Process const process(folder.path(), arguments, false, ends[0], SIGHUP);
  close(ends[0]);
  std::this_thread::sleep_for(200ms);
  process.signal(SIGHUP);
  std::string const volume = "NRRD0004\ntype: uchar\ndimension: 3\nsizes: 2 1 1\nencoding: raw\n\n01";
  EXPECT_EQ(write(ends[1], volume.data(), volume.size()), ssize_t(volume.size()));
  close(ends[1]);
  auto const outcome = process.wait();
  EXPECT_EQ(outcome.exitCode, 0) << outcome.err;
  EXPECT_EQ(folder.names(), std::set<std::string>{"map.mha"});
}

TEST(Interrupted, AtAnyMomentTheTargetIsTheOldOrTheNewMap) {
  TemporaryFolder const folder;
  Process(folder.path(), {"--phantom", "-o", "new.nii", "-q"}, false).wait();
  std::string const complete = contentOf(folder / "new.nii");
  fs::remove(folder / "new.nii");
  int interrupted = 0;
  for (int k = 0; k < 12; ++k) {
    writeContent(folder / "map.nii", "an older map");
    Process const process(folder.path(), {"--phantom", "-o", "map.nii", "--force", "-q"}, false);
    std::this_thread::sleep_for(k * 25ms);
    process.signal(SIGINT);
    auto const outcome = process.wait();
    interrupted += outcome.exitCode == 130;
    // Before the program has begun, the signal simply ends it.
    EXPECT_TRUE(outcome.exitCode == 130 || outcome.exitCode == 0 || outcome.signal == SIGINT)
        << outcome.exitCode;
    EXPECT_EQ(folder.names(), std::set<std::string>{"map.nii"}) << "after " << k * 25 << " ms";
    std::string const content = contentOf(folder / "map.nii");
    EXPECT_TRUE(content == "an older map" || content == complete);
    EXPECT_TRUE(outcome.exitCode != 0 || content == complete);
  }
  EXPECT_GT(interrupted, 0);
}

TEST(Killed, LeavesAFolderThatTheNextRunRemoves) {
  TemporaryFolder const folder;
  fs::path const dead = folder / ".lorb-distance-dead00";
  fs::create_directory(dead);
  writeContent(dead / "map.nii", "half a map");
  fs::path const young = folder / ".lorb-distance-young0";
  fs::create_directory(young);
  fs::last_write_time(dead, fs::file_time_type::clock::now() - 1h);
  // One that a living process has locked stays, however old.
  fs::path const living = folder / ".lorb-distance-living";
  fs::create_directory(living);
  fs::last_write_time(living, fs::file_time_type::clock::now() - 1h);
  int const lock = open(living.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(flock(lock, LOCK_EX | LOCK_NB), 0);
  EXPECT_EQ(Process(folder.path(), {"--phantom", "-o", "map.nii", "-q"}, false).wait().exitCode, 0);
  EXPECT_EQ(folder.names(),
            (std::set<std::string>{"map.nii", ".lorb-distance-young0", ".lorb-distance-living"}));
  close(lock);
}

bool hasBegunAMap(fs::path const& folder) {
  auto const entries = fs::recursive_directory_iterator(folder);
  return std::any_of(begin(entries), end(entries), [](fs::directory_entry const& entry) {
    return entry.path().parent_path().filename().string().starts_with(".lorb-distance-");
  });
}

/// Makes a map slab by slab and stands still after the first slab for longer than progress waits.
Process::Outcome slowRun(fs::path const& folder, bool terminal, std::vector<std::string> more = {}) {
  std::vector<std::string> arguments = {"slow.mha",  "-o", "map.mha",  "--force",
                                        "--threads", "1",  "--memory", "150M"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  Process const process(folder, arguments, terminal);
  EXPECT_TRUE(waitUntil([&] {
    process.signal(SIGCONT);
    std::this_thread::sleep_for(2ms);
    process.signal(SIGSTOP);
    return hasBegunAMap(folder);
  }));
  std::this_thread::sleep_for(1100ms);
  process.signal(SIGCONT);
  return process.wait();
}

TEST(Progress, IsShownAtATerminalWhenWorkIsLong) {
  TemporaryFolder const folder;
  std::string voxels(400 * 400 * 200, '\0');
  for (std::size_t k = 0; k < voxels.size(); k += 97) voxels[k] = 1;
  writeContent(folder / "slow.mha",
               "NDims = 3\nBinaryData = True\nDimSize = 400 400 200\nElementType = MET_UCHAR\n"
               "ElementDataFile = LOCAL\n" +
                   voxels);
  std::string const shown = slowRun(folder.path(), true).err;
  EXPECT_NE(shown.find(" of 200 slices, "), std::string::npos) << shown;
  EXPECT_NE(shown.find(" a second, "), std::string::npos) << shown;
  EXPECT_TRUE(shown.ends_with("\r\x1b[K")) << "the line is removed";
  EXPECT_EQ(slowRun(folder.path(), true, {"--quiet"}).err, "");
  EXPECT_EQ(slowRun(folder.path(), false).err, "") << "when piped";
}

}  // namespace
}  // namespace lorb::tools
