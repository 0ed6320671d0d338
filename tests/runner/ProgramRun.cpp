#include "ProgramRun.h"

#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>

CProgramRun RunProgram(const std::string& folder, const std::string& arguments) {
  const std::string capture = folder + "/program-output.txt";
  const std::string command = "cd '" + folder + "' && '" DISCRETE_PROGRAM "' " + arguments +
                              " > '" + capture + "' 2> /dev/null";
  const int status = std::system(command.c_str());
  std::ostringstream output;
  output << std::ifstream(capture).rdbuf();
  std::remove(capture.c_str());
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output.str()};
}
