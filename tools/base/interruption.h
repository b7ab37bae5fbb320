// Ctrl-C and its likes: the program ends at once and leaves nothing behind.
#pragma once

namespace lorb::tools {

/// From now on SIGINT, SIGTERM and SIGHUP end all child processes, remove all work folders, print one line on
/// standard error and end the process with exit code 130, whatever its other threads are doing; those that
/// are ignored stay so. To be called once in a process, before any other thread is started; a forked process
/// calls it again.
void endOnInterruption();

}  // namespace lorb::tools
