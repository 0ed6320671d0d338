#include "analyses/SlurmClient.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "analyses/AnalysisDefinition.h"

extern char** environ;

namespace {

// Reads both pipes to their ends, whichever has something first, so that
// neither fills up while the other is waited on.
void ReadBoth(int outPipe, int errPipe, std::string& out, std::string& err) {
  pollfd pipes[2] = {{outPipe, POLLIN, 0}, {errPipe, POLLIN, 0}};
  std::string* texts[2] = {&out, &err};
  int open = 2;
  char buffer[4096];
  while (open > 0) {
    if (poll(pipes, 2, -1) < 0) {
      if (errno == EINTR) continue;
      return;
    }
    for (int i = 0; i < 2; ++i) {
      if (pipes[i].fd < 0 || pipes[i].revents == 0) continue;
      const ssize_t count = read(pipes[i].fd, buffer, sizeof buffer);
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) {
        pipes[i].fd = -1;
        --open;
        continue;
      }
      texts[i]->append(buffer, static_cast<size_t>(count));
    }
  }
}

}  // namespace

std::string CSlurmReply::Error() const {
  size_t end = err.find_last_not_of(" \n\r\t");
  if (end == std::string::npos) return status == 0 ? "" : fmt::format("exit status {}", status);
  const size_t start = err.rfind('\n', end);
  return err.substr(start == std::string::npos ? 0 : start + 1,
                    end + 1 - (start == std::string::npos ? 0 : start + 1));
}

std::string FindSlurmCommand(const std::string& name) {
  std::string why;
  const std::string path = ResolveProgram(name, ".", why);
  if (path.empty()) {
    throw CSlurmError(
        fmt::format("the Slurm command '{}' is not on PATH ({}); analyses run "
                    "through Slurm need Slurm's client commands",
                    name, why));
  }
  return path;
}

CSlurmReply RunSlurmCommand(const std::vector<std::string>& arguments) {
  CSlurmReply reply;
  int outPipe[2];
  int errPipe[2];
  if (pipe2(outPipe, O_CLOEXEC) != 0) {
    reply.err = std::strerror(errno);
    return reply;
  }
  if (pipe2(errPipe, O_CLOEXEC) != 0) {
    reply.err = std::strerror(errno);
    close(outPipe[0]);
    close(outPipe[1]);
    return reply;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, outPipe[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, errPipe[1], STDERR_FILENO);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
  posix_spawnattr_setpgroup(&attributes, 0);
  std::vector<std::string> copies = arguments;
  std::vector<char*> argv;
  for (std::string& argument : copies) argv.push_back(argument.data());
  argv.push_back(nullptr);
  pid_t pid = -1;
  const int error = posix_spawn(&pid, argv[0], &actions, &attributes, argv.data(), environ);
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  close(outPipe[1]);
  close(errPipe[1]);
  if (error == 0) ReadBoth(outPipe[0], errPipe[0], reply.out, reply.err);
  close(outPipe[0]);
  close(errPipe[0]);
  if (error != 0) {
    reply.err = fmt::format("cannot run {}: {}", arguments[0], std::strerror(error));
    return reply;
  }
  int status = 0;
  while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(status)) reply.status = WEXITSTATUS(status);
  return reply;
}
