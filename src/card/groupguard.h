#pragma once

#include <sys/types.h>

/// Ends the process groups of running tools when this program is gone, however it went: a process of its own
/// notices the end of its line to us, which is closed even by SIGKILL. A signal at the parent's death, which
/// the kernel can send, would reach neither a set-user-ID tool nor what a tool has started. Any thread.
namespace groupguard {

void begin(pid_t group);
void end(pid_t group);

} // namespace groupguard
