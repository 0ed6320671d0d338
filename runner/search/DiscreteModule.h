#pragma once

// The branch-and-bound module, libDiscrete.so, loaded at run time as a host
// loads it: dlopen, then dlsym of each entry point by its C++ (Itanium ABI)
// mangled name.
//
//   CDiscreteModule module = CDiscreteModule::Load();
//   int id = module.GenDiscreteTask(searchTaskId, &log);
//
// Where the library is looked for, in this order:
//   1. the file named by the environment variable DISCRETE_MODULE (when set,
//      nothing else is tried);
//   2. libDiscrete.so next to the running executable, then next to the shared
//      library that holds this loader when that is not the executable (the
//      Python package's extension module, docs/python.md);
//   3. libDiscrete.so in each folder the dynamic linker searches for the
//      program's libraries: LD_LIBRARY_PATH, the program's run path (which in
//      a build tree names the module's build folder), the system's folders.
//
// The module's functions throw exceptions derived from std::exception; they
// pass through this class unchanged. The library stays loaded until the
// object that loaded it is destroyed; moving hands it over.

#include <stdexcept>
#include <string>

class CLogFile;

// The module cannot be found or lacks an entry point.
class CModuleLoadError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The module's exported functions that a host calls.
struct CModuleEntryPoints {
  void (*getDiscreteVersion)(int*, int*, int*) = nullptr;  // writes major, minor, patch
  int (*genDiscreteTask)(int, CLogFile*) = nullptr;        // next subtask id, 0 at the end
  void (*postDiscreteTask)(int, bool) = nullptr;           // a solved subtask
  void (*branchBoundStop)(int) = nullptr;  // writes the incumbent into a task's result
};

struct CModuleVersion {
  int major = 0;  // first number
  int minor = 0;  // second number
  int patch = 0;  // third number
};

class CDiscreteModule {
 public:
  // Loads the library from the places listed above. Throws CModuleLoadError
  // naming every place tried and why it failed.
  static CDiscreteModule Load();

  // A module made of given functions (tests use this to stand in for the
  // library); `path` names it in messages.
  CDiscreteModule(const CModuleEntryPoints& entryPoints, std::string path);
  CDiscreteModule(CDiscreteModule&& other) noexcept;
  CDiscreteModule& operator=(CDiscreteModule&&) = delete;
  CDiscreteModule(const CDiscreteModule&) = delete;
  ~CDiscreteModule();

  const std::string& Path() const { return m_path; }  // file the functions come from
  CModuleVersion Version() const;
  int GenDiscreteTask(int taskId, CLogFile* log) const {
    return m_entryPoints.genDiscreteTask(taskId, log);
  }
  void PostDiscreteTask(int taskId, bool correction) const {
    m_entryPoints.postDiscreteTask(taskId, correction);
  }
  void BranchBoundStop(int taskId) const { m_entryPoints.branchBoundStop(taskId); }

 private:
  CDiscreteModule(void* library, const CModuleEntryPoints& entryPoints, std::string path);

  void* m_library = nullptr;         // dlopen handle; null for given functions or after a move
  CModuleEntryPoints m_entryPoints;  // all set
  std::string m_path;                // where the module was loaded from
};
