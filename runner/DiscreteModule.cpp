#include "DiscreteModule.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <utility>
#include <vector>

namespace {

const char* const kLibraryName = "libDiscrete.so";

// Mangled names of the entry points (GCC and Clang, Itanium C++ ABI).
const char* const kGetDiscreteVersion = "_Z18GetDiscreteVersionPiS_S_";
const char* const kGenDiscreteTask = "_Z15GenDiscreteTaskiP8CLogFile";
const char* const kPostDiscreteTask = "_Z16PostDiscreteTaskib";
const char* const kBranchBoundStop = "_Z15BranchBoundStopi";

std::string ExecutableFolder() {
  char path[PATH_MAX] = {};
  const ssize_t length = readlink("/proc/self/exe", path, sizeof path - 1);
  if (length <= 0) return "";
  std::string text(path, static_cast<size_t>(length));
  return text.substr(0, text.find_last_of('/'));
}

template <class TFunction>
void Resolve(void* library, const char* name, const std::string& path, TFunction& function) {
  dlerror();
  function = reinterpret_cast<TFunction>(dlsym(library, name));
  if (function == nullptr) {
    dlclose(library);
    throw CModuleLoadError(path + " is not the discrete module: it lacks the entry point " + name);
  }
}

// The file the dynamic linker actually opened.
std::string LoadedFrom(void* symbol, const std::string& fallback) {
  Dl_info info{};
  return dladdr(symbol, &info) != 0 && info.dli_fname != nullptr ? info.dli_fname : fallback;
}

}  // namespace

CDiscreteModule CDiscreteModule::Load() {
  std::vector<std::string> candidates;
  if (const char* fromEnvironment = std::getenv("DISCRETE_MODULE")) {
    candidates.push_back(fromEnvironment);
  } else {
    const std::string folder = ExecutableFolder();
    if (!folder.empty()) candidates.push_back(folder + "/" + kLibraryName);
    candidates.push_back(kLibraryName);
  }
  std::string failures;
  for (const std::string& candidate : candidates) {
    void* library = dlopen(candidate.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
      failures += "\n  " + candidate + ": " + dlerror();
      continue;
    }
    CModuleEntryPoints entryPoints;
    Resolve(library, kGetDiscreteVersion, candidate, entryPoints.getDiscreteVersion);
    Resolve(library, kGenDiscreteTask, candidate, entryPoints.genDiscreteTask);
    Resolve(library, kPostDiscreteTask, candidate, entryPoints.postDiscreteTask);
    Resolve(library, kBranchBoundStop, candidate, entryPoints.branchBoundStop);
    const std::string path = LoadedFrom(reinterpret_cast<void*>(entryPoints.genDiscreteTask), candidate);
    return CDiscreteModule(library, entryPoints, path);
  }
  throw CModuleLoadError(std::string("cannot load the discrete module ") + kLibraryName +
                         " (set DISCRETE_MODULE to its path); tried:" + failures);
}

CDiscreteModule::CDiscreteModule(const CModuleEntryPoints& entryPoints, std::string path)
    : CDiscreteModule(nullptr, entryPoints, std::move(path)) {}

CDiscreteModule::CDiscreteModule(void* library, const CModuleEntryPoints& entryPoints, std::string path)
    : m_library(library), m_entryPoints(entryPoints), m_path(std::move(path)) {}

CDiscreteModule::CDiscreteModule(CDiscreteModule&& other) noexcept
    : m_library(std::exchange(other.m_library, nullptr)),
      m_entryPoints(other.m_entryPoints),
      m_path(std::move(other.m_path)) {}

CDiscreteModule::~CDiscreteModule() {
  if (m_library != nullptr) dlclose(m_library);
}

CModuleVersion CDiscreteModule::Version() const {
  CModuleVersion version;
  m_entryPoints.getDiscreteVersion(&version.major, &version.minor, &version.patch);
  return version;
}
