#include "problem/RegularFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace {

// What a file that is no regular file is, for a message.
const char* FileKind(mode_t mode) {
  if (S_ISDIR(mode)) return "a directory";
  if (S_ISCHR(mode)) return "a character device";
  if (S_ISBLK(mode)) return "a block device";
  if (S_ISFIFO(mode)) return "a FIFO (named pipe)";
  if (S_ISSOCK(mode)) return "a socket";
  return "a special file";
}

std::runtime_error TooLarge(size_t largestBytes, const std::string& what) {
  return std::runtime_error(fmt::format("the file is larger than {} MiB, the most {} may hold",
                                        largestBytes >> 20, what));
}

// Reads what the descriptor gives until its end; the size is checked while
// reading, as a file may grow meanwhile and a pipe has no size.
std::string ReadToEnd(int descriptor, size_t largestBytes, const std::string& what) {
  std::string text;
  char buffer[65536];
  for (;;) {
    const ssize_t count = read(descriptor, buffer, sizeof buffer);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0)
      throw std::runtime_error(fmt::format("cannot read the file: {}", std::strerror(errno)));
    if (count == 0) break;
    text.append(buffer, static_cast<size_t>(count));
    if (text.size() > largestBytes) throw TooLarge(largestBytes, what);
  }
  return text;
}

}  // namespace

std::string ReadRegularFile(const std::string& path, size_t largestBytes, const std::string& what) {
  auto fail = [](const std::string& message) { return std::runtime_error(message); };
  // Opening does not wait for a writer, should the path name a FIFO.
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) throw fail(fmt::format("cannot open the file: {}", std::strerror(errno)));
  struct SCloser {
    int descriptor;
    ~SCloser() { close(descriptor); }
  } closer{descriptor};
  struct stat status {};
  if (fstat(descriptor, &status) != 0)
    throw fail(fmt::format("cannot read the file: {}", std::strerror(errno)));
  if (!S_ISREG(status.st_mode)) {
    throw fail(fmt::format("is {}, not {} (a regular file)", FileKind(status.st_mode), what));
  }
  if (static_cast<unsigned long long>(status.st_size) > largestBytes)
    throw TooLarge(largestBytes, what);
  return ReadToEnd(descriptor, largestBytes, what);
}

std::string ReadStandardInput(size_t largestBytes, const std::string& what) {
  if (isatty(STDIN_FILENO)) {
    throw std::runtime_error(fmt::format(
        "standard input is a terminal; redirect {} to it (< FILE) or pipe one in", what));
  }
  return ReadToEnd(STDIN_FILENO, largestBytes, what);
}

std::string FolderOfFile(const std::string& file) {
  const std::filesystem::path folder = std::filesystem::path(file).parent_path();
  return folder.empty() ? "." : folder.string();
}
