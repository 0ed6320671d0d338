#include "commands/Interruption.h"

#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstring>

#include "analyses/AnalysisProcess.h"
#include "analyses/SlurmJobs.h"

namespace {

std::atomic<bool> interruptRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler sets it");

constexpr int kHandledSignals[] = {SIGINT, SIGTERM, SIGHUP};
struct sigaction previousActions[sizeof kHandledSignals / sizeof kHandledSignals[0]];

void WriteMessage(const char* text) {
  const ssize_t ignored = write(STDERR_FILENO, text, std::strlen(text));
  (void)ignored;
}

// Only async-signal-safe calls: write, kill (in KillRunningAnalyses), fork,
// execve and waitpid (scancel, in CancelSubmittedSlurmJobs), _exit.
void OnSignal(int signal) {
  if (signal == SIGINT && !interruptRequested.exchange(true)) {
    WriteMessage(
        "\ninterrupted: the search stops after the subtask it is solving and writes its result "
        "(Ctrl-C again stops at once)\n");
    return;
  }
  KillRunningAnalyses();
  CancelSubmittedSlurmJobs();
  WriteMessage("\nstopped at once; the database keeps what was committed\n");
  _exit(128 + signal);
}

}  // namespace

CInterruptHandling::CInterruptHandling() {
  interruptRequested = false;
  struct sigaction action {};
  action.sa_handler = OnSignal;
  sigemptyset(&action.sa_mask);
  action.sa_flags = SA_RESTART;
  for (size_t i = 0; i < sizeof kHandledSignals / sizeof kHandledSignals[0]; ++i)
    sigaction(kHandledSignals[i], &action, &previousActions[i]);
}

CInterruptHandling::~CInterruptHandling() {
  for (size_t i = 0; i < sizeof kHandledSignals / sizeof kHandledSignals[0]; ++i)
    sigaction(kHandledSignals[i], &previousActions[i], nullptr);
}

bool InterruptRequested() { return interruptRequested.load(); }
