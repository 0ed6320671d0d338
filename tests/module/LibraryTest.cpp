// libDiscrete.so as a host sees it: loaded with dlopen, entry points found by
// their mangled names, exceptions caught by type across the library
// boundary, and nothing else exported. DISCRETE_LIBRARY is the library's path;
// the test program is linked against the same library.

#include <dlfcn.h>

#include <cstdio>
#include <map>
#include <regex>
#include <set>
#include <string>

#include "BranchBound.h"
#include "ModuleTestBed.h"
#include "SearchTaskHost.h"

namespace {

template <class TFunction>
void* Address(TFunction* function) {
  return reinterpret_cast<void*>(function);
}

// The entry points under their full C++ signatures.
const std::map<std::string, void*> kEntryPoints = {
    {"_Z18GetDiscreteVersionPiS_S_", Address(GetDiscreteVersion)},
    {"_Z15GenDiscreteTaskiP8CLogFile", Address(GenDiscreteTask)},
    {"_Z9Node2TaskR13CDiscreteNode", Address(Node2Task)},
    {"_Z16PostDiscreteTaskib", Address(PostDiscreteTask)},
    {"_Z14UpdateNodeDataR13CDiscreteNodei", Address(UpdateNodeData)},
    {"_Z13GetTaskDVDataiRSt8valarrayIiERS_IdES3_", Address(GetTaskDVData)},
    {"_Z13GetBestResultiPdS_RSt8valarrayIdE", Address(GetBestResult)},
    {"_Z15BranchBoundStopi", Address(BranchBoundStop)},
    {"_Z15UseParentPointsiiii", Address(UseParentPoints)},
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
  void* m_pLibrary = nullptr;  // handle of libDiscrete.so
};

// A fresh module has no search: a continuing call stops the search of task
// 0 at once, which needs that task's result record.
TEST_F(LoadedModule, MangledNamesFindTheEntryPointsThatRunAWholeSearch) {
  for (const auto& [name, address] : kEntryPoints)
    EXPECT_EQ(dlsym(m_pLibrary, name.c_str()), address) << name;
  int version[3] = {0, 0, 0};
  GetDiscreteVersion(&version[0], &version[1], &version[2]);
  EXPECT_EQ(std::vector<int>(version, version + 3), (std::vector<int>{6, 21, 0}));
  EXPECT_THROW(GenDiscreteTask(0, m_pLog.get()), CGetObject);
  CResult result(m_pDatabase);
  result.m_nTaskID = 0;
  result.PutObject();
  EXPECT_EQ(GenDiscreteTask(0, m_pLog.get()), 0);

  const CSearchProblem problem = TwoIntegerProblem();
  WriteSearchTask(m_pDatabase, problem, 3);
  EXPECT_GT(RunSearch(m_pDatabase, problem, 3, m_pLog.get()), 0);
  const CResult outcome = Fetch<CResult>(3);
  EXPECT_EQ(outcome.m_nDiscreteFeasible, 1);
  EXPECT_EQ(Fetch<CResult>(outcome.m_nResultTask).m_dBestObj, problem.EnumerateBest()->dObjective);
  try {
    BranchBoundStop(999);
    ADD_FAILURE() << "no exception";
  } catch (const CEngErr& error) {  // a base class of CGetObject, caught across the boundary
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
  char line[1024], name[900], type = 0;
  while (fgets(line, sizeof line, pListing) != nullptr) {
    if (sscanf(line, "%*s %c %899s", &type, name) != 2) continue;
    if (kEntryPoints.count(name) != 0) {
      entryPointsFound.insert(name);
    } else {
      EXPECT_TRUE(std::regex_match(name, allowed)) << "exported by accident: " << name;
    }
  }
  pclose(pListing);
  EXPECT_EQ(entryPointsFound.size(), kEntryPoints.size());
}

}  // namespace
