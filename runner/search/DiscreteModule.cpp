#include "search/DiscreteModule.h"

#include <dlfcn.h>
#include <link.h>
#include <unistd.h>

#include <climits>
#include <cstdlib>
#include <optional>
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

// The folder of the shared library that holds this code when it is not the
// program itself (the Python extension module, which ships the module beside
// it); "" otherwise.
std::string LoaderLibraryFolder() {
  Dl_info info{};
  if (dladdr(reinterpret_cast<void*>(&ExecutableFolder), &info) == 0 || info.dli_fname == nullptr)
    return "";
  char resolved[PATH_MAX] = {};
  if (realpath(info.dli_fname, resolved) == nullptr) return "";
  std::string text(resolved);
  text = text.substr(0, text.find_last_of('/'));
  return text == ExecutableFolder() ? "" : text;
}

// The folders the dynamic linker searches for the program's own libraries
// (LD_LIBRARY_PATH, the program's run path, the system's folders), in its
// order. Asked of the linker rather than left to dlopen's own search, because
// that search follows the run path of whichever library calls dlopen, and
// sanitizer builds interpose their own dlopen.
std::vector<std::string> LibrarySearchFolders() {
  std::vector<std::string> folders;
  void* program = dlopen(nullptr, RTLD_LAZY);
  Dl_serinfo size{};
  if (program == nullptr) return folders;
  if (dlinfo(program, RTLD_DI_SERINFOSIZE, &size) != 0) {
    dlclose(program);
    return folders;
  }
  std::vector<char> buffer(size.dls_size);
  auto* info = reinterpret_cast<Dl_serinfo*>(buffer.data());
  *info = size;
  if (dlinfo(program, RTLD_DI_SERINFO, info) == 0) {
    for (unsigned i = 0; i < info->dls_cnt; ++i)
      folders.emplace_back(info->dls_serpath[i].dls_name);
  }
  dlclose(program);
  return folders;
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

// Opens the library and resolves the entry points; null when the file cannot
// be opened (the reason then goes into `failure`).
std::optional<CModuleEntryPoints> TryOpen(const std::string& path, void*& library,
                                          std::string& failure) {
  library = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) {
    failure = dlerror();
    return std::nullopt;
  }
  CModuleEntryPoints entryPoints;
  Resolve(library, kGetDiscreteVersion, path, entryPoints.getDiscreteVersion);
  Resolve(library, kGenDiscreteTask, path, entryPoints.genDiscreteTask);
  Resolve(library, kPostDiscreteTask, path, entryPoints.postDiscreteTask);
  Resolve(library, kBranchBoundStop, path, entryPoints.branchBoundStop);
  return entryPoints;
}

}  // namespace

CDiscreteModule CDiscreteModule::Load() {
  void* library = nullptr;
  std::string failure;
  if (const char* fromEnvironment = std::getenv("DISCRETE_MODULE")) {
    if (auto entryPoints = TryOpen(fromEnvironment, library, failure)) {
      return CDiscreteModule(library, *entryPoints, fromEnvironment);
    }
    throw CModuleLoadError(std::string("cannot load the discrete module ") + kLibraryName +
                           " from DISCRETE_MODULE=" + fromEnvironment + ": " + failure);
  }
  std::vector<std::string> folders = LibrarySearchFolders();
  std::vector<std::string> first;
  for (const std::string& folder : {ExecutableFolder(), LoaderLibraryFolder()})
    if (!folder.empty()) first.push_back(folder);
  folders.insert(folders.begin(), first.begin(), first.end());
  std::string otherFailures;
  for (const std::string& folder : folders) {
    const std::string candidate = folder + "/" + kLibraryName;
    if (auto entryPoints = TryOpen(candidate, library, failure)) {
      return CDiscreteModule(library, *entryPoints, candidate);
    }
    // A folder without the file is no news; any other failure is.
    if (failure.find("No such file") == std::string::npos) otherFailures += "; " + failure;
  }
  std::string searched;
  for (const std::string& folder : folders) searched += (searched.empty() ? "" : ", ") + folder;
  throw CModuleLoadError(std::string("cannot find the discrete module ") + kLibraryName + " in " +
                         searched + " (set DISCRETE_MODULE to its path)" + otherFailures);
}

CDiscreteModule::CDiscreteModule(const CModuleEntryPoints& entryPoints, std::string path)
    : CDiscreteModule(nullptr, entryPoints, std::move(path)) {}

CDiscreteModule::CDiscreteModule(void* library, const CModuleEntryPoints& entryPoints,
                                 std::string path)
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
