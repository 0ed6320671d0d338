#include "analyses/AnalysisProcess.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <thread>

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

// The process groups of the programs running now, for KillRunningAnalyses:
// slots hold a group's id or 0, changed with atomic operations only.
constexpr size_t kRunningSlots = 4096;
std::atomic<pid_t> runningGroups[kRunningSlots];
static_assert(std::atomic<pid_t>::is_always_lock_free, "a signal handler reads the slots");

// Spawns under way: between posix_spawn and EnterRunning a program exists
// that KillRunningAnalyses cannot see yet, so it waits for this to be 0. The
// spawning thread blocks the stopping signals meanwhile, so the handler never
// waits on the thread it interrupted.
std::atomic<int> spawnsUnderWay{0};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler reads it");

// Enters a started program (no slot left: it is not entered, and only its
// own time limit ends it).
void EnterRunning(pid_t pid) {
  for (std::atomic<pid_t>& slot : runningGroups) {
    pid_t empty = 0;
    if (slot.compare_exchange_strong(empty, pid)) return;
  }
}

void LeaveRunning(pid_t pid) {
  for (std::atomic<pid_t>& slot : runningGroups) {
    pid_t entered = pid;
    if (slot.compare_exchange_strong(entered, 0)) return;
  }
}

// Longest piece of a program's output quoted in a reason.
constexpr size_t kLongestQuote = 60;

std::string Quote(std::string text) {
  for (char& c : text)
    if (c == '\n' || c == '\r' || c == '\t') c = ' ';
  if (text.size() > kLongestQuote) text = text.substr(0, kLongestQuote) + "...";
  return text;
}

// Whether the process has ended (it stays unreaped).
bool HasEnded(pid_t pid) {
  siginfo_t info{};
  const int result = waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT);
  if (result == 0 && info.si_pid == pid) return true;
  return result < 0 && errno != EINTR;  // not ours any more: nothing to wait for
}

// Waits for the process up to `deadline`; true once it has ended. It is left
// unreaped, so that its id, which names its process group, cannot be reused
// before the group is killed. Sleeps in poll() on a pidfd, which wakes the
// moment the process ends; where the kernel has no pidfd (before Linux 5.3),
// polls waitid, sleeping longer the longer it runs (at most 20 ms).
bool WaitUntil(pid_t pid, Clock::time_point deadline) {
  const int pidfd = static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
  if (pidfd >= 0) {
    for (;;) {
      if (HasEnded(pid)) break;
      int timeout = -1;
      if (deadline != Clock::time_point::max()) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) break;
        timeout = static_cast<int>(std::min<long long>(left.count(), 1000 * 1000));
      }
      pollfd waiting{pidfd, POLLIN, 0};
      poll(&waiting, 1, timeout);
    }
    close(pidfd);
    return HasEnded(pid);
  }
  auto pause = std::chrono::microseconds(200);
  for (;;) {
    if (HasEnded(pid)) return true;
    if (Clock::now() >= deadline) return false;
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, std::chrono::microseconds(20000));
  }
}

// Kills what is left of the process group (children that outlived the
// program could still write to the folder) and reaps the program; returns its
// wait status.
int EndGroup(pid_t pid) {
  kill(-pid, SIGKILL);
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  LeaveRunning(pid);
  return status;
}

// Ends a program that ran out of time: SIGTERM to its group, then SIGKILL
// after the grace.
void TerminateGroup(pid_t pid) {
  kill(-pid, SIGTERM);
  WaitUntil(pid, Clock::now() + kTerminationGrace);
  EndGroup(pid);
}

// Starts the command; returns its pid, or -1 with `why` set.
pid_t Spawn(const std::vector<std::string>& command, const std::string& evaluationId,
            const std::string& folder, std::string& why) {
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (std::strncmp(*entry, "DISCRETE_", 9) != 0) environment.emplace_back(*entry);
  }
  for (std::string& entry : EvaluationEnvironment(evaluationId, folder))
    environment.push_back(std::move(entry));
  std::vector<char*> envp;
  for (std::string& entry : environment) envp.push_back(entry.data());
  envp.push_back(nullptr);
  std::vector<std::string> arguments = command;
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);

  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  const std::string out = folder + "/stdout.txt";
  const std::string err = folder + "/stderr.txt";
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, out.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, err.c_str(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0644);
  posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes,
                           POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  posix_spawnattr_setpgroup(&attributes, 0);
  sigset_t signals;
  sigemptyset(&signals);
  posix_spawnattr_setsigmask(&attributes, &signals);
  sigaddset(&signals, SIGPIPE);
  sigaddset(&signals, SIGTERM);
  sigaddset(&signals, SIGINT);
  posix_spawnattr_setsigdefault(&attributes, &signals);
  sigset_t stopping;
  sigemptyset(&stopping);
  for (int stop : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&stopping, stop);
  sigset_t previous;
  pthread_sigmask(SIG_BLOCK, &stopping, &previous);
  ++spawnsUnderWay;
  pid_t pid = -1;
  const int error = posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), envp.data());
  if (error == 0) EnterRunning(pid);
  --spawnsUnderWay;
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) {
    why = fmt::format("cannot run '{}': {}", Quote(command[0]), std::strerror(error));
    return -1;
  }
  return pid;
}

// How the program ended, as a reason; empty for exit status 0.
std::string EndOf(int status) {
  if (WIFEXITED(status)) return EndReason(false, WEXITSTATUS(status));
  if (WIFSIGNALED(status)) return EndReason(true, WTERMSIG(status));
  return "ended abnormally";
}

}  // namespace

void KillRunningAnalyses() {
  while (spawnsUnderWay.load() > 0) {
  }
  for (std::atomic<pid_t>& slot : runningGroups) {
    const pid_t pid = slot.load();
    if (pid > 0) kill(-pid, SIGKILL);
  }
}

std::string InputJson(const std::vector<std::pair<std::string, double>>& inputs) {
  nlohmann::json input = nlohmann::json::object();
  for (const auto& [name, value] : inputs) input[name] = value;
  return input.dump();
}

std::string EndReason(bool killed, int number) {
  if (killed) return fmt::format("killed by signal {} ({})", number, strsignal(number));
  return number == 0 ? "" : fmt::format("exited with status {}", number);
}

std::string TimeLimitReason(const CAnalysisDefinition& analysis) {
  return fmt::format("ran out of its time limit of {:g} s", analysis.timeLimit);
}

std::vector<std::string> EvaluationEnvironment(const std::string& evaluationId,
                                               const std::string& folder) {
  return {"DISCRETE_EVALUATION_ID=" + evaluationId, "DISCRETE_WORK_FOLDER=" + folder,
          "DISCRETE_INPUT=" + folder + "/input.json", "DISCRETE_OUTPUT=" + folder + "/output.json"};
}

std::string WriteInputFile(const std::string& folder, const std::string& inputJson) {
  std::ofstream file(folder + "/input.json");
  file << inputJson << '\n';
  return file.flush() ? "" : "cannot write input.json";
}

CEvaluationOutcome ReadOutput(const CAnalysisDefinition& analysis, const std::string& folder) {
  CEvaluationOutcome outcome;
  const std::string path = folder + "/output.json";
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    outcome.reason = fmt::format("no output.json: {}", std::strerror(errno));
    return outcome;
  }
  if (!S_ISREG(status.st_mode)) {
    outcome.reason = "output.json is not a regular file";
    return outcome;
  }
  if (static_cast<unsigned long long>(status.st_size) > kLargestOutput) {
    outcome.reason = fmt::format("output.json holds {} bytes, more than the {} MiB allowed",
                                 status.st_size, kLargestOutput >> 20);
    return outcome;
  }
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  if (!file || !(text << file.rdbuf())) {
    outcome.reason = "cannot read output.json";
    return outcome;
  }
  nlohmann::json json;
  try {
    json = nlohmann::json::parse(text.str());
  } catch (const nlohmann::json::exception& error) {  // syntax, or a number out of range
    outcome.reason = "output.json is not valid JSON: " + Quote(error.what());
    return outcome;
  }
  if (!json.is_object()) {
    outcome.reason = "output.json is not a JSON object";
    return outcome;
  }
  for (const std::string& name : analysis.writes) {
    const auto found = json.find(name);
    if (found == json.end()) {
      outcome.reason = fmt::format("output.json lacks the response '{}'", name);
      return outcome;
    }
    if (!found->is_number()) {
      outcome.reason = fmt::format("response '{}' is not a number: {}", name, Quote(found->dump()));
      return outcome;
    }
    const double value = found->get<double>();
    if (!std::isfinite(value)) {
      outcome.reason = fmt::format("response '{}' is not finite: {}", name, Quote(found->dump()));
      return outcome;
    }
    outcome.values.push_back(value);
  }
  for (const auto& [key, value] : json.items()) {
    if (std::find(analysis.writes.begin(), analysis.writes.end(), key) == analysis.writes.end()) {
      outcome.values.clear();
      outcome.reason =
          fmt::format("output.json holds '{}', which the analysis does not write", Quote(key));
      return outcome;
    }
  }
  outcome.succeeded = true;
  return outcome;
}

CEvaluationOutcome RunAnalysisProgram(const CAnalysisDefinition& analysis,
                                      const std::vector<std::string>& command,
                                      const std::string& evaluationId, const std::string& folder) {
  CEvaluationOutcome outcome;
  const pid_t pid = Spawn(command, evaluationId, folder, outcome.reason);
  if (pid < 0) return outcome;
  const Clock::time_point deadline =
      analysis.timeLimit > 0 ? Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                                  std::chrono::duration<double>(analysis.timeLimit))
                             : Clock::time_point::max();
  if (!WaitUntil(pid, deadline)) {
    TerminateGroup(pid);
    outcome.reason = TimeLimitReason(analysis);
    return outcome;
  }
  if (const std::string end = EndOf(EndGroup(pid)); !end.empty()) {
    outcome.reason = end;
    return outcome;
  }
  return ReadOutput(analysis, folder);
}
