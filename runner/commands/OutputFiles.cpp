#include "commands/OutputFiles.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

std::string WhyNotWritable(const std::string& path) {
  namespace fs = std::filesystem;
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::exists(status)) {
    if (fs::is_directory(status)) return "it is a folder";
    return access(path.c_str(), W_OK) == 0 ? "" : std::strerror(errno);
  }
  fs::path folder = fs::path(path).parent_path();
  if (folder.empty()) folder = ".";
  const fs::file_status folderStatus = fs::status(folder, error);
  if (!fs::exists(folderStatus)) return "the folder '" + folder.string() + "' does not exist";
  if (!fs::is_directory(folderStatus)) return "'" + folder.string() + "' is not a folder";
  if (access(folder.c_str(), W_OK | X_OK) != 0)
    return "the folder '" + folder.string() + "': " + std::strerror(errno);
  return "";
}
