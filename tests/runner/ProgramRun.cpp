#include "ProgramRun.h"

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

// The file's contents; the file is removed.
std::string TakeFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  std::remove(path.c_str());
  return text.str();
}

}  // namespace

CProgramRun RunProgram(const std::string& folder, const std::string& arguments,
                       const std::string& environment) {
  const std::string output = folder + "/program-output.txt",
                    errors = folder + "/program-errors.txt";
  const std::string command = "cd '" + folder + "' && " + environment + " '" DISCRETE_PROGRAM "' " +
                              arguments + " > '" + output + "' 2> '" + errors + "'";
  const int status = std::system(command.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, TakeFile(output), TakeFile(errors)};
}
