// libDiscrete.so as a host sees it: loaded with dlopen, entry points found by
// their mangled names, exceptions caught by type across the library
// boundary, and nothing else exported. DISCRETE_LIBRARY is the library's path.

#include <dlfcn.h>

#include <cstdio>
#include <regex>
#include <set>
#include <string>

#include "BranchBound.h"
#include "ModuleTestBed.h"
#include "QuadraticHost.h"

namespace {

// The entry points under their full C++ signatures.
const std::set<std::string> kEntryPoints = {
    "_Z18GetDiscreteVersionPiS_S_",
    "_Z15GenDiscreteTaskiP8CLogFile",
    "_Z9Node2TaskR13CDiscreteNode",
    "_Z16PostDiscreteTaskib",
    "_Z14UpdateNodeDataR13CDiscreteNodei",
    "_Z13GetTaskDVDataiRSt8valarrayIiERS_IdES3_",
    "_Z13GetBestResultiPdS_RSt8valarrayIdE",
    "_Z15BranchBoundStopi",
    "_Z15UseParentPointsiiii",
};

class LoadedModule : public CModuleTest {
 protected:
  void SetUp() override {
    CModuleTest::SetUp();
    m_pLibrary = dlopen(DISCRETE_LIBRARY, RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(m_pLibrary, nullptr) << dlerror();
  }
  void TearDown() override {
    if (m_pLibrary != nullptr) dlclose(m_pLibrary);
    CModuleTest::TearDown();
  }
  template <class TFunction>
  TFunction* Find(const char* pszMangledName) {
    void* pSymbol = dlsym(m_pLibrary, pszMangledName);
    EXPECT_NE(pSymbol, nullptr) << pszMangledName;
    return reinterpret_cast<TFunction*>(pSymbol);
  }
  void* m_pLibrary = nullptr;  // handle of libDiscrete.so
};

TEST_F(LoadedModule, FreshModuleEndsAContinuingCallAtOnce) {
  auto* genDiscreteTask = Find<int(int, CLogFile*)>("_Z15GenDiscreteTaskiP8CLogFile");
  // The continuing call stops the search of task 0, whose result is missing.
  EXPECT_THROW(genDiscreteTask(0, m_pLog.get()), CGetObject);
  CResult result(m_pDatabase);
  result.m_nTaskID = 0;
  result.PutObject();
  EXPECT_EQ(genDiscreteTask(0, m_pLog.get()), 0);
}

TEST_F(LoadedModule, HostRunsAWholeSearchThroughTheMangledNames) {
  for (const std::string& name : kEntryPoints) Find<void>(name.c_str());
  int version[3] = {0, 0, 0};
  Find<void(int*, int*, int*)>("_Z18GetDiscreteVersionPiS_S_")(&version[0], &version[1], &version[2]);
  EXPECT_EQ(version[0] * 10000 + version[1] * 100 + version[2], 62100);

  auto* genDiscreteTask = Find<int(int, CLogFile*)>("_Z15GenDiscreteTaskiP8CLogFile");
  auto* postDiscreteTask = Find<void(int, bool)>("_Z16PostDiscreteTaskib");
  CProblem problem;
  problem.variables = {{0, 4, 1, 1.5, 1, -1}, {0, 4, 2, 2.5, 1, -1}};
  problem.dLimit = 3.5;
  WriteSearchTask(m_pDatabase, problem, 3);
  for (int subtask = genDiscreteTask(3, m_pLog.get()); subtask != 0; subtask = genDiscreteTask(0, m_pLog.get())) {
    SolveSubtask(m_pDatabase, problem, subtask);
    postDiscreteTask(subtask, false);
  }
  const CResult outcome = Fetch<CResult>(3);
  EXPECT_EQ(outcome.m_nDiscreteFeasible, 1);
  EXPECT_EQ(Fetch<CResult>(outcome.m_nResultTask).m_dBestObj, EnumerateBest(problem)->dObjective);

  auto* branchBoundStop = Find<void(int)>("_Z15BranchBoundStopi");
  try {
    branchBoundStop(999);
    ADD_FAILURE() << "no exception";
  } catch (const CEngErr& error) {
    EXPECT_STREQ(error.what(), "Could not get object");
    EXPECT_NE(dynamic_cast<const CGetObject*>(&error), nullptr);
  }
}

TEST_F(LoadedModule, ExportsOnlyEntryPointsExceptionsAndTreeOperations) {
  for (const char* hidden : {"theTree", "curNode", "nContinuousTask", "pLogFile"}) {
    EXPECT_EQ(dlsym(m_pLibrary, hidden), nullptr) << hidden;
  }
  FILE* pListing = popen("nm -D --defined-only " DISCRETE_LIBRARY, "r");
  ASSERT_NE(pListing, nullptr);
  const std::regex allowed(
      "_Z(TI|TS|TV)?(NK?)?[0-9]+(CKivoErr|CEngErr|CNullPtr|CGetObject|CObjectExists|CInvalidType|"
      "CBranchBound|CDiscreteSetErr|CDiscreteNode|CDiscreteTree)[A-Za-z0-9_]*");
  std::set<std::string> entryPointsFound;
  char line[1024];
  while (fgets(line, sizeof line, pListing) != nullptr) {
    char type = 0;
    char name[900];
    if (sscanf(line, "%*s %c %899s", &type, name) != 2) continue;
    if (kEntryPoints.count(name) != 0) {
      entryPointsFound.insert(name);
    } else {
      EXPECT_TRUE(std::regex_match(name, allowed)) << "exported by accident: " << name;
    }
  }
  pclose(pListing);
  EXPECT_EQ(entryPointsFound, kEntryPoints);
}

}  // namespace
