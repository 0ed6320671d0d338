#include "analyses/SlurmJobs.h"

#include <fmt/format.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <thread>

#include "analyses/AnalysisCounts.h"
#include "analyses/SlurmClient.h"

extern char** environ;

namespace {

using Clock = std::chrono::steady_clock;

// Most tasks in one array (Slurm's default MaxArraySize is 1001).
constexpr size_t kLargestArray = 1000;
// Longest wait between two looks for finished programs' exit_status.txt.
constexpr double kLongestLook = 0.25;
// Times in a row a task may be missing from squeue's answer, or shown ended
// without its exit_status.txt, before it counts as lost (a file written on
// another node can take a moment to be seen here).
constexpr int kMissesAllowed = 2;

// ---- The arrays submitted and not ended yet, for CancelSubmittedSlurmJobs:
// slots hold a job id or 0, changed with atomic operations only.
constexpr size_t kSubmittedSlots = 1024;
std::atomic<unsigned long> submittedArrays[kSubmittedSlots];
static_assert(std::atomic<unsigned long>::is_always_lock_free, "a signal handler reads the slots");
// scancel's path, set once before the first submission.
char scancelPath[4096];
std::atomic<bool> scancelKnown{false};

void EnterSubmitted(unsigned long id) {
  for (std::atomic<unsigned long>& slot : submittedArrays) {
    unsigned long empty = 0;
    if (slot.compare_exchange_strong(empty, id)) return;
  }
}

void LeaveSubmitted(unsigned long id) {
  for (std::atomic<unsigned long>& slot : submittedArrays) {
    unsigned long entered = id;
    if (slot.compare_exchange_strong(entered, 0)) return;
  }
}

// Blocks SIGINT, SIGTERM and SIGHUP while it lives: between sbatch's answer
// and EnterSubmitted, an array exists that CancelSubmittedSlurmJobs cannot
// see yet.
class CStoppingSignalsBlocked {
 public:
  CStoppingSignalsBlocked() {
    sigset_t stopping;
    sigemptyset(&stopping);
    for (int stop : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&stopping, stop);
    pthread_sigmask(SIG_BLOCK, &stopping, &m_previous);
  }
  ~CStoppingSignalsBlocked() { pthread_sigmask(SIG_SETMASK, &m_previous, nullptr); }
  CStoppingSignalsBlocked(const CStoppingSignalsBlocked&) = delete;
  CStoppingSignalsBlocked& operator=(const CStoppingSignalsBlocked&) = delete;

 private:
  sigset_t m_previous;
};

// A text as one word of a POSIX shell.
std::string ShellWord(const std::string& text) {
  std::string word = "'";
  for (char c : text) word += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return word + "'";
}

// The batch script of an analysis (see SlurmJobs.h).
std::string BatchScript(const CAnalysisDefinition& analysis) {
  std::string command;
  if (analysis.timeLimit > 0)
    command = fmt::format("timeout --kill-after={} {:g} ", kTerminationGrace.count() / 1000,
                          analysis.timeLimit);
  for (const std::string& word : analysis.command) command += ShellWord(word) + " ";
  return fmt::format(
      "#!/bin/sh\n"
      "# One evaluation of the analysis {} for discrete: array task i runs in the\n"
      "# (i+1)-th folder of the list given as the first argument.\n"
      "folder=$(sed -n \"$((SLURM_ARRAY_TASK_ID + 1))p\" \"$1\")\n"
      "cd \"$folder\" || exit 1\n"
      "export DISCRETE_EVALUATION_ID=\"${{folder##*/}}\" DISCRETE_WORK_FOLDER=\"$folder\"\n"
      "export DISCRETE_INPUT=\"$folder/input.json\" DISCRETE_OUTPUT=\"$folder/output.json\"\n"
      "started=$(date +%s.%N)\n"
      "{}< /dev/null > stdout.txt 2> stderr.txt\n"
      "status=$?\n"
      "echo \"$status $started $(date +%s.%N)\" > exit_status.tmp && mv exit_status.tmp "
      "exit_status.txt\n"
      "exit \"$status\"\n",
      analysis.name, command);
}

// Writes a whole file at once (a reader on another node sees all or none).
void WriteFileAtomically(const std::string& path, const std::string& text, mode_t mode) {
  const std::string temporary = path + ".tmp";
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file << text;
    if (!file.flush())
      throw CSlurmError(fmt::format("cannot write {}: {}", temporary, std::strerror(errno)));
  }
  chmod(temporary.c_str(), mode);
  if (std::rename(temporary.c_str(), path.c_str()) != 0)
    throw CSlurmError(fmt::format("cannot write {}: {}", path, std::strerror(errno)));
}

// Slurm's --time for an analysis: the file's, else its time limit and the
// grace after it in whole minutes, with one to spare; "" for the partition's.
std::string TimeOf(const CAnalysisDefinition& analysis) {
  if (!analysis.slurm.time.empty()) return analysis.slurm.time;
  if (analysis.timeLimit <= 0) return "";
  const double seconds = analysis.timeLimit + kTerminationGrace.count() / 1000.0;
  return std::to_string(static_cast<long long>(std::ceil(seconds / 60.0)) + 1);
}

// Job states after which a task does nothing more (squeue's %T).
bool HasEnded(const std::string& state) {
  static const std::set<std::string> ended = {
      "BOOT_FAIL",     "CANCELLED", "COMPLETED", "DEADLINE",     "FAILED", "NODE_FAIL",
      "OUT_OF_MEMORY", "PREEMPTED", "REVOKED",   "SPECIAL_EXIT", "TIMEOUT"};
  return ended.count(state) != 0;
}

// One task of an array: the try it runs.
struct CArrayTask {
  size_t tryIndex = 0;
  bool ended = false;
  int misses = 0;
};

struct CArray {
  unsigned long id = 0;
  std::string listFile;  // the folders, one per line
  Clock::time_point submitted;
  std::vector<CArrayTask> tasks;
  size_t open = 0;  // tasks not ended
};

class CSlurmJobExecutor : public CAnalysisExecutor {
 public:
  CSlurmJobExecutor()
      : m_sbatch(FindSlurmCommand("sbatch")),
        m_squeue(FindSlurmCommand("squeue")),
        m_scancel(FindSlurmCommand("scancel")) {
    if (!scancelKnown.load() && m_scancel.size() < sizeof scancelPath) {
      std::memcpy(scancelPath, m_scancel.c_str(), m_scancel.size() + 1);
      scancelKnown = true;
    }
  }

  void Run(const std::vector<CTryRequest>& tries, int jobs, const FTryEnded& ended) override;

 private:
  void Submit(const std::vector<CTryRequest>& tries, const std::vector<size_t>& indices, int jobs);
  // Ends every task whose exit_status.txt is there.
  void LookForEnds(const std::vector<CTryRequest>& tries, const FTryEnded& ended);
  // Asks squeue about the open tasks and ends those Slurm ended or lost.
  void AskSlurm(const std::vector<CTryRequest>& tries, const FTryEnded& ended);
  void End(CArray& array, CArrayTask& task, CEvaluationOutcome outcome, const FTryEnded& ended);
  // Cancels the arrays not ended and forgets them; "" or, when scancel
  // failed, a clause saying what is left to cancel.
  std::string CancelOpen();

  std::string m_sbatch;
  std::string m_squeue;
  std::string m_scancel;
  std::vector<CArray> m_arrays;         // of the Run under way
  std::set<std::string> m_scriptsMade;  // batch scripts written by this executor
  Clock::time_point m_silentSince;      // when squeue began to fail; max() while it answers
};

// The outcome of a try whose program ended: exit_status.txt holds its exit
// status as the shell saw it (128 + N for signal N), and the times it started
// and ended (seconds since 1970, on the node), which tell `timeout`'s 124, or
// 137 when it had to kill, from a program's own.
CEvaluationOutcome OutcomeFromFolder(const CAnalysisDefinition& analysis,
                                     const std::string& folder) {
  std::ifstream file(folder + "/exit_status.txt");
  int status = -1;
  double started = 0;
  double ended = 0;
  CEvaluationOutcome outcome;
  if (!(file >> status >> started >> ended)) {
    outcome.reason = "exit_status.txt does not hold an exit status and two times";
    return outcome;
  }
  const double ran = ended - started;
  if (analysis.timeLimit > 0 && (status == 124 || status == 137) && ran >= analysis.timeLimit) {
    outcome.reason = TimeLimitReason(analysis);
  } else {
    outcome.reason = status > 128 ? EndReason(true, status - 128) : EndReason(false, status);
    if (outcome.reason.empty()) outcome = ReadOutput(analysis, folder);
  }
  outcome.seconds = ran;
  return outcome;
}

bool Exists(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0;
}

void CSlurmJobExecutor::Run(const std::vector<CTryRequest>& tries, int jobs,
                            const FTryEnded& ended) {
  if (tries.empty()) return;
  m_arrays.clear();
  m_silentSince = Clock::time_point::max();
  try {
    std::map<const CAnalysisDefinition*, std::vector<size_t>> byAnalysis;
    for (size_t i = 0; i < tries.size(); ++i) byAnalysis[tries[i].analysis].push_back(i);
    for (const auto& [analysis, indices] : byAnalysis) {
      for (size_t first = 0; first < indices.size(); first += kLargestArray) {
        const auto begin = indices.begin() + static_cast<long>(first);
        Submit(tries,
               {begin, begin + static_cast<long>(std::min(kLargestArray, indices.size() - first))},
               jobs);
      }
    }
    double pollInterval = 0;
    for (const CTryRequest& request : tries)
      pollInterval = std::max(pollInterval, request.analysis->slurm.pollInterval);
    double look = 0.02;
    Clock::time_point nextQuestion =
        Clock::now() +
        std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(pollInterval));
    const auto anyOpen = [this] {
      return std::any_of(m_arrays.begin(), m_arrays.end(),
                         [](const CArray& array) { return array.open > 0; });
    };
    while (anyOpen()) {
      std::this_thread::sleep_for(std::chrono::duration<double>(look));
      look = std::min({look * 1.5, kLongestLook, pollInterval});
      LookForEnds(tries, ended);
      if (anyOpen() && Clock::now() >= nextQuestion) {
        AskSlurm(tries, ended);
        nextQuestion = Clock::now() + std::chrono::duration_cast<Clock::duration>(
                                          std::chrono::duration<double>(pollInterval));
      }
    }
  } catch (const CSlurmError& error) {
    const std::string left = CancelOpen();
    if (left.empty()) throw;
    throw CSlurmError(error.what() + left);
  } catch (...) {
    CancelOpen();
    throw;
  }
  CancelOpen();  // none left open; forgets the arrays
}

void CSlurmJobExecutor::Submit(const std::vector<CTryRequest>& tries,
                               const std::vector<size_t>& indices, int jobs) {
  const CAnalysisDefinition& analysis = *tries[indices.front()].analysis;
  const std::string analysisFolder =
      std::filesystem::path(tries[indices.front()].folder).parent_path().string();
  const std::string script = analysisFolder + "/discrete-slurm.sh";
  if (m_scriptsMade.insert(script).second) WriteFileAtomically(script, BatchScript(analysis), 0755);
  CArray array;
  array.listFile = fmt::format("{}/array-{}.folders", analysisFolder, tries[indices.front()].id);
  std::string list;
  for (size_t index : indices) {
    list += tries[index].folder + "\n";
    array.tasks.push_back({index, false, 0});
  }
  WriteFileAtomically(array.listFile, list, 0644);
  array.open = array.tasks.size();

  const CSlurmSettings& slurm = analysis.slurm;
  std::vector<std::string> command = {
      m_sbatch,
      "--parsable",
      fmt::format(
          "--array=0-{}{}", indices.size() - 1,
          static_cast<size_t>(jobs) < indices.size() ? fmt::format("%{}", std::max(jobs, 1)) : ""),
      "--job-name=discrete-" + analysis.name,
      "--nodes=1",
      "--ntasks=1",
      "--cpus-per-task=" + std::to_string(slurm.cpus),
      "--no-requeue",
      "--output=/dev/null",
      "--chdir=" + analysisFolder};
  if (!slurm.memory.empty()) command.push_back("--mem=" + slurm.memory);
  if (const std::string time = TimeOf(analysis); !time.empty()) command.push_back("--time=" + time);
  if (!slurm.partition.empty()) command.push_back("--partition=" + slurm.partition);
  if (!slurm.account.empty()) command.push_back("--account=" + slurm.account);
  command.insert(command.end(), slurm.options.begin(), slurm.options.end());
  command.push_back(script);
  command.push_back(array.listFile);

  CStoppingSignalsBlocked blocked;
  const CSlurmReply reply = RunSlurmCommand(command);
  ++AnalysisCounts().slurmSubmissions;
  char* end = nullptr;
  array.id = std::strtoul(reply.out.c_str(), &end, 10);
  if (reply.status != 0 || array.id == 0) {
    throw CSlurmError(fmt::format("sbatch did not take the {} evaluations of analysis '{}': {}",
                                  indices.size(), analysis.name, reply.Error()));
  }
  EnterSubmitted(array.id);
  array.submitted = Clock::now();
  m_arrays.push_back(std::move(array));
}

void CSlurmJobExecutor::End(CArray& array, CArrayTask& task, CEvaluationOutcome outcome,
                            const FTryEnded& ended) {
  task.ended = true;
  --array.open;
  if (outcome.seconds == 0.0)  // Slurm ended it: the time since its submission
    outcome.seconds = std::chrono::duration<double>(Clock::now() - array.submitted).count();
  if (array.open == 0) {
    LeaveSubmitted(array.id);
    std::remove(array.listFile.c_str());
  }
  ended(task.tryIndex, std::move(outcome));
}

void CSlurmJobExecutor::LookForEnds(const std::vector<CTryRequest>& tries, const FTryEnded& ended) {
  for (CArray& array : m_arrays) {
    for (CArrayTask& task : array.tasks) {
      if (task.ended) continue;
      const CTryRequest& request = tries[task.tryIndex];
      if (Exists(request.folder + "/exit_status.txt"))
        End(array, task, OutcomeFromFolder(*request.analysis, request.folder), ended);
    }
  }
}

void CSlurmJobExecutor::AskSlurm(const std::vector<CTryRequest>& tries, const FTryEnded& ended) {
  std::string ids;
  for (const CArray& array : m_arrays)
    if (array.open > 0) ids += (ids.empty() ? "" : ",") + std::to_string(array.id);
  const CSlurmReply reply = RunSlurmCommand(
      {m_squeue, "--noheader", "--array", "--states=all", "--jobs=" + ids, "--format=%i|%T|%r"});
  ++AnalysisCounts().slurmPolls;
  // squeue refuses ids it no longer knows at all: every task is then missing.
  const bool forgotten = reply.status != 0 && reply.err.find("Invalid job id") != std::string::npos;
  if (reply.status != 0 && !forgotten) {
    const Clock::time_point now = Clock::now();
    if (m_silentSince == Clock::time_point::max()) m_silentSince = now;
    double patience = 0;
    for (const CTryRequest& request : tries)
      patience = std::max(patience, request.analysis->slurm.patience);
    const double silent = std::chrono::duration<double>(now - m_silentSince).count();
    if (silent >= patience) {
      throw CSlurmError(fmt::format("Slurm does not answer: squeue failed for {:.0f} s: {}", silent,
                                    reply.Error()));
    }
    return;
  }
  m_silentSince = Clock::time_point::max();
  std::map<std::string, std::pair<std::string, std::string>> states;  // task -> state, reason
  std::istringstream lines(reply.out);
  for (std::string line; std::getline(lines, line);) {
    const size_t bar = line.find('|');
    const size_t second = line.find('|', bar + 1);
    if (bar == std::string::npos || second == std::string::npos) continue;
    states[line.substr(0, bar)] = {line.substr(bar + 1, second - bar - 1), line.substr(second + 1)};
  }
  for (CArray& array : m_arrays) {
    for (size_t i = 0; i < array.tasks.size(); ++i) {
      CArrayTask& task = array.tasks[i];
      if (task.ended) continue;
      const std::string name = fmt::format("{}_{}", array.id, i);
      const auto found = states.find(name);
      if (found != states.end() && !HasEnded(found->second.first)) {
        task.misses = 0;
        continue;
      }
      if (++task.misses < kMissesAllowed) continue;
      CEvaluationOutcome outcome;
      outcome.lost = true;
      if (found == states.end()) {
        outcome.reason = fmt::format("Slurm no longer knows job {} (lost with its node?)", name);
      } else {
        const auto& [state, why] = found->second;
        outcome.reason = fmt::format("Slurm ended job {}: {}{}", name, state,
                                     why.empty() || why == "None" ? "" : " (" + why + ")");
      }
      End(array, task, std::move(outcome), ended);
    }
  }
}

std::string CSlurmJobExecutor::CancelOpen() {
  std::vector<std::string> command = {m_scancel};
  std::string ids;
  for (const CArray& array : m_arrays) {
    if (array.open == 0) continue;
    command.push_back(std::to_string(array.id));
    ids += " " + command.back();
    LeaveSubmitted(array.id);
    std::remove(array.listFile.c_str());
  }
  m_arrays.clear();
  if (command.size() == 1) return "";
  const CSlurmReply reply = RunSlurmCommand(command);
  if (reply.status == 0) return "";
  return fmt::format("; cancelling its jobs failed too ({}): run 'scancel{}' once Slurm answers",
                     reply.Error(), ids);
}

// Writes `value` in decimal at `out`; returns the end. For the signal handler.
char* FormatId(unsigned long value, char* out) {
  char digits[24];
  int count = 0;
  do {
    digits[count++] = static_cast<char>('0' + value % 10);
    value /= 10;
  } while (value != 0);
  while (count > 0) *out++ = digits[--count];
  *out++ = '\0';
  return out;
}

}  // namespace

std::unique_ptr<CAnalysisExecutor> MakeSlurmJobExecutor() {
  return std::make_unique<CSlurmJobExecutor>();
}

void CancelSubmittedSlurmJobs() {
  if (!scancelKnown.load()) return;
  static char idTexts[kSubmittedSlots][24];
  static char* argv[kSubmittedSlots + 2];
  size_t count = 0;
  argv[count++] = scancelPath;
  for (std::atomic<unsigned long>& slot : submittedArrays) {
    const unsigned long id = slot.load();
    if (id == 0) continue;
    FormatId(id, idTexts[count - 1]);
    argv[count] = idTexts[count - 1];
    ++count;
  }
  if (count == 1) return;
  argv[count] = nullptr;
  const pid_t pid = fork();
  if (pid == 0) {
    execve(scancelPath, argv, environ);
    _exit(127);
  }
  if (pid > 0) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
  }
}
