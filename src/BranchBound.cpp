// The branch-and-bound driver: module state, the exception family, the frame
// shared by every entry point, and the entry points themselves. The search
// itself (node store, node test, branching) is CDiscreteTree's; this file is
// everything that talks to the host's task database.
//
// The order of the steps below is part of the module's behaviour, because a
// host sees it in the database, in the log and in what a failure leaves
// behind: which reads are timed by which accumulator, which reads come before
// which writes, and what is already stored when a step fails. Nothing stored
// is ever rolled back.

#include "BranchBound.h"

#include <sys/time.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "DebugUtil.h"
#include "DiscreteNode.h"
#include "DiscreteTree.h"
#include "LogFile.h"
#include "Records.h"
#include "Timing.h"

// ---------------------------------------------------------------------------
// Module state, constructed at load in this order and destroyed in reverse.

CDiscreteTree theTree;
CDiscreteNode curNode;
int nContinuousTask = 0;
CLogFile* pLogFile = nullptr;

// ---------------------------------------------------------------------------
// Exceptions.

CKivoErr::CKivoErr(const char* pszFile, int nLine, const char* pszMessage) {
  // Copying 511 chars and then ending the buffer gives exactly the first 511
  // chars of a longer message (a bound of 512 would copy one char more only
  // to have it overwritten by the end mark).
  strncpy(m_szMessage, pszMessage, sizeof m_szMessage - 1);
  m_szMessage[sizeof m_szMessage - 1] = '\0';
  m_nLine = nLine;
  m_pszFile = pszFile;
  if (pszFile != nullptr) LNewException(pszFile, nLine, pszMessage);
}

CKivoErr::~CKivoErr() = default;

const char* CKivoErr::what() const noexcept { return m_szMessage; }

CEngErr::CEngErr(const char* pszFile, int nLine, const char* pszMessage)
    : CKivoErr(pszFile, nLine, pszMessage) {}
CNullPtr::CNullPtr(const char* pszFile, int nLine, const char* pszMessage)
    : CEngErr(pszFile, nLine, pszMessage) {}
CGetObject::CGetObject(const char* pszFile, int nLine, const char* pszMessage)
    : CEngErr(pszFile, nLine, pszMessage) {}
CObjectExists::CObjectExists(const char* pszFile, int nLine, const char* pszMessage)
    : CEngErr(pszFile, nLine, pszMessage) {}
CInvalidType::CInvalidType(const char* pszFile, int nLine, const char* pszMessage)
    : CEngErr(pszFile, nLine, pszMessage) {}
CBranchBound::CBranchBound(const char* pszFile, int nLine, const char* pszMessage)
    : CKivoErr(pszFile, nLine, pszMessage) {}
CDiscreteSetErr::CDiscreteSetErr(const char* pszFile, int nLine, const char* pszMessage)
    : CKivoErr(pszFile, nLine, pszMessage) {}

namespace {

constexpr const char* kNullPointerFound = "Null pointer found";
constexpr const char* kCouldNotGetObject = "Could not get object";
constexpr const char* kObjectAlreadyExists = "Object already exists";
constexpr const char* kObjectTypeInvalid = "Object type is invalid";
constexpr const char* kBranchBound = "BranchBound";
constexpr const char* kDiscreteSetErr = "DiscreteSetErr";

constexpr int kLastQuietLogLevel = 2;     // debug output only above this detail level
constexpr int kPointReuseModuleType = 1;  // module type whose subtasks start from all search points
constexpr int kGivenPointsInitMode = 11;  // m_nInitMode of a subtask whose start points are given

// Throws TError with its fixed message, naming this file and the line of the
// call (GCC's __builtin_LINE() evaluates at the call site).
template <class TError>
[[noreturn]] void Raise(const char* pszMessage, int nLine = __builtin_LINE()) {
  throw TError(__FILE__, nLine, pszMessage);
}

// The frame of every entry point: runs its body; an exception that leaves the
// body (after the body's locks are released) is logged with this file and
// the entry point's handler line, then rethrown unchanged.
template <class Body>
auto RunEntryPoint(int nHandlerLine, Body&& body) -> decltype(body()) {
  try {
    return body();
  } catch (const std::exception& error) {
    LException(__FILE__, nHandlerLine, error.what());
    throw;
  } catch (...) {
    LGenException(__FILE__, nHandlerLine);
    throw;
  }
}

POD* RequireDatabase(int nLine = __builtin_LINE()) {
  POD* pDatabase = GetPOD();
  if (pDatabase == nullptr) Raise<CNullPtr>(kNullPointerFound, nLine);
  return pDatabase;
}

// Wall-clock seconds, microsecond resolution.
double Now() {
  timeval time;
  gettimeofday(&time, nullptr);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

// Runs one step timed into an accumulator: the start time is set before the
// step; the elapsed time is added only when the step returns normally.
template <class Step>
void TimeStep(CTimer& timer, Step&& step) {
  timer.m_dStart = Now();
  step();
  timer.m_dTotal += Now() - timer.m_dStart;
}

// Reads the record stored under the object's key fields; CGetObject when
// there is none.
void Read(pvPersistent& record, int nLine = __builtin_LINE()) {
  if (!record.GetObject()) Raise<CGetObject>(kCouldNotGetObject, nLine);
}

void TimedRead(pvPersistent& record, int nLine = __builtin_LINE()) {
  TimeStep(dbReadTime, [&] { Read(record, nLine); });
}

void TimedWrite(pvPersistent& record) {
  TimeStep(dbWriteTime, [&] { record.PutObject(); });
}

bool IsDebugOutputOn(const CLogFile* pLog) {
  return pLog != nullptr && pLog->m_nLevel > kLastQuietLogLevel;
}

std::valarray<double> ToDoubles(const std::valarray<pvFLOAT64>& stored) {
  std::valarray<double> values(stored.size());
  for (size_t i = 0; i < stored.size(); ++i) values[i] = stored[i];
  return values;
}

std::valarray<pvFLOAT64> ToStored(const std::valarray<double>& values) {
  std::valarray<pvFLOAT64> stored(values.size());
  for (size_t i = 0; i < values.size(); ++i) stored[i] = values[i];
  return stored;
}

// Replaces target by a copy of source, taking its length.
void CopyValues(const std::valarray<double>& source, std::valarray<double>& target) {
  target.resize(source.size());
  for (size_t i = 0; i < source.size(); ++i) target[i] = source[i];
}

// ---------------------------------------------------------------------------
// Starting a search.

// What a search takes from the search task's CTask.
struct CSearchSettings {
  double dConTol;  // constraint tolerance: a larger maximum constraint value is infeasible
  int nSense;      // 1 minimise, -1 maximise
};

CSearchSettings ReadSearchSettings(POD* pDatabase, int nTaskID) {
  CTask task(pDatabase);
  task.m_nTaskID = nTaskID;
  TimedRead(task);
  long minimizeFlag = 0;
  CSearchSettings settings{};
  switch (static_cast<long>(task.m_nModuleType)) {
    case 0:
      settings.dConTol = task.m_dConTol0;
      minimizeFlag = task.m_nMinimize0;
      break;
    case 1:
      settings.dConTol = task.m_dConTol1;
      minimizeFlag = task.m_nMinimize1;
      break;
    default:
      LError("Invalid functional module type for generating discrete subtask!\n");
      Raise<CInvalidType>(kObjectTypeInvalid);
  }
  settings.nSense = minimizeFlag != 0 ? 1 : -1;
  return settings;
}

// The design-variable numbers, ascending, whose set id is nonzero.
std::valarray<int> ListDiscreteVariables(const std::valarray<int>& setIds) {
  size_t discreteCount = 0;
  for (int setId : setIds) discreteCount += setId != 0 ? 1 : 0;
  std::valarray<int> indices(discreteCount);
  size_t next = 0;
  for (size_t variable = 0; variable < setIds.size(); ++variable) {
    if (setIds[variable] != 0) indices[next++] = static_cast<int>(variable);
  }
  return indices;
}

std::vector<std::vector<double>> ToValueSets(const CDSet& sets) {
  std::vector<std::vector<double>> valueSets;
  valueSets.reserve(sets.m_vSetValues.size());
  for (const std::vector<pvFLOAT64>& stored : sets.m_vSetValues) {
    valueSets.emplace_back(stored.begin(), stored.end());
  }
  return valueSets;
}

// Turns each positive set id into the 1-based position of its first entry in
// the task's set list, the set reference the tree branches with. 0 and -1
// stay. An id below -1 names no set and no integer rule: the task is rejected
// like one that names a missing set.
void TranslateSetIds(std::valarray<int>& setIds, const std::vector<pvINT32>& storedSetIds) {
  const std::vector<int> knownSetIds(storedSetIds.begin(), storedSetIds.end());
  for (int& setId : setIds) {
    if (setId < -1) Raise<CDiscreteSetErr>(kDiscreteSetErr);
    if (setId <= 0) continue;
    size_t position = 0;
    while (position < knownSetIds.size() && knownSetIds[position] != setId) ++position;
    if (position == knownSetIds.size()) Raise<CDiscreteSetErr>(kDiscreteSetErr);
    setId = static_cast<int>(position) + 1;
  }
}

// The continuous optimum of the search task and its design-variable data.
struct CRootData {
  double dObjective = 0.0;      // best objective of the search task
  double dMaxCon = 0.0;         // its maximum constraint value
  std::valarray<double> best;   // its design values, one per design variable
  std::valarray<int> setRefs;   // set ids, then (translated) set references
  std::valarray<double> lower;  // lower bound of each design variable
  std::valarray<double> upper;  // upper bound of each design variable
};

// Installs a new tree for the search and files the root node, the continuous
// optimum, in it. Returns the root's discrete feasibility.
bool PlantTree(int nTaskID, const CSearchSettings& settings, std::valarray<int>& indices,
               CRootData& root, std::vector<std::vector<double>>& valueSets) {
  theTree = CDiscreteTree(indices, root.setRefs, valueSets, settings.dConTol, settings.nSense);
  CDiscreteNode rootNode(-1);
  rootNode.m_dObjective = root.dObjective;
  rootNode.m_nTaskID = nTaskID;
  rootNode.m_dMaxCon = root.dMaxCon;
  CopyValues(root.best, rootNode.m_vaValues);
  CopyValues(root.lower, rootNode.m_vaLower);
  CopyValues(root.upper, rootNode.m_vaUpper);
  theTree.CheckNode(rootNode);
  if (!theTree.AddNode(rootNode)) Raise<CBranchBound>(kBranchBound);
  return rootNode.m_bFeasible;
}

// Steps of a starting call, up to the point where it asks for the first node.
void StartSearch(POD* pDatabase, int nTaskID, CLogFile* pLog) {
  nContinuousTask = nTaskID;
  pLogFile = pLog;
  const CSearchSettings settings = ReadSearchSettings(pDatabase, nTaskID);

  CRootData root;
  GetBestResult(nTaskID, &root.dObjective, &root.dMaxCon, root.best);
  GetTaskDVData(nTaskID, root.setRefs, root.lower, root.upper);

  std::valarray<int> indices;
  TimeStep(discSetupTime, [&] { indices = ListDiscreteVariables(root.setRefs); });

  CDSet sets(pDatabase);
  sets.m_nTaskID = nTaskID;
  TimedRead(sets);
  std::vector<std::vector<double>> valueSets = ToValueSets(sets);
  TimeStep(discSetupTime, [&] { TranslateSetIds(root.setRefs, sets.m_vSetIDs); });

  if (IsDebugOutputOn(pLog)) {
    CDebugUtil::DumpIntegerArray("Indices of discrete variables", fpLog, indices);
    CDebugUtil::DumpIntegerArray("Set references", fpLog, root.setRefs);
  }

  // Without a discrete variable there is nothing to branch: the continuous
  // optimum stands as the result, and an empty tree ends this and every later
  // continuing call at once without overwriting it.
  const bool hasDiscreteVariables = indices.size() > 0;
  bool rootFeasible = false;
  TimeStep(discSetupTime, [&] {
    if (hasDiscreteVariables) {
      rootFeasible = PlantTree(nTaskID, settings, indices, root, valueSets);
    } else {
      theTree = CDiscreteTree();
      rootFeasible = root.dMaxCon <= settings.dConTol;
    }
  });

  CResult result(pDatabase);
  result.m_nTaskID = nTaskID;
  TimedRead(result);
  if (!hasDiscreteVariables) result.m_nResultTask = nTaskID;
  result.m_nDiscreteFeasible = rootFeasible ? 1 : 0;
  TimedWrite(result);
}

// The last step of every call: the next node's subtask, or the end.
int GenerateNextSubtask(POD* pDatabase) {
  if (!theTree.CreateNode(curNode)) {
    BranchBoundStop(nContinuousTask);
    return 0;
  }
  const bool debugOutput = IsDebugOutputOn(pLogFile);
  if (debugOutput) {
    LPrint("Node Number: %d  Parent Node: %d\n", curNode.m_nNodeID, curNode.m_nParentID);
    CDebugUtil::DumpDoubleArray("New Node's values", fpLog, curNode.m_vaValues);
    CDebugUtil::DumpDoubleArray("New Node's Lower Bounds", fpLog, curNode.m_vaLower);
    CDebugUtil::DumpDoubleArray("New Node's Upper Bounds", fpLog, curNode.m_vaUpper);
  }
  const int subtask = Node2Task(curNode);
  if (debugOutput) {
    CTask written(pDatabase);
    written.m_nTaskID = subtask;
    Read(written);
  }
  curNode.m_nTaskID = subtask;
  return subtask;
}

// ---------------------------------------------------------------------------
// Writing a subtask.

// Copies the source task's record of class TRecord to the new task, changed
// by `adjust` before it is stored.
template <class TRecord, class Adjust>
void CopyRecordToTask(POD* pDatabase, int nSourceTask, int nNewTask, Adjust&& adjust) {
  TRecord source(pDatabase);
  source.m_nTaskID = nSourceTask;
  Read(source);
  TRecord copy(pDatabase);
  copy.Copy(source);
  copy.m_nTaskID = nNewTask;
  adjust(copy);
  copy.PutObject();
}

template <class TRecord>
void CopyRecordToTask(POD* pDatabase, int nSourceTask, int nNewTask) {
  CopyRecordToTask<TRecord>(pDatabase, nSourceTask, nNewTask, [](TRecord&) {});
}

// The subtask's own result record: one point so far, one in the total.
void CreateResultRecord(POD* pDatabase, int nNewTask) {
  CResult result(pDatabase);
  result.m_nTaskID = nNewTask;
  CLock lock(pDatabase, 0);
  if (result.FindObject()) Raise<CObjectExists>(kObjectAlreadyExists);
  result.m_nNumPoints = 1;
  result.m_nTotalPoints = 1;
  result.PutObject();
}

// Where a subtask's start point comes from.
struct CPointSource {
  int nTaskID;     // task whose point is read
  bool bReuse;     // module type 1: point 0 of the search task, and all its other points
  int nNumPoints;  // that task's CResult m_nNumPoints
};

// Reads the point that the subtask starts from: the best design of the source
// task, or point 0 of the search task when points are reused.
void ReadStartPoint(POD* pDatabase, CPointSource& source, CDPoint& point) {
  CResult result(pDatabase);
  result.m_nTaskID = source.nTaskID;
  Read(result);
  source.nNumPoints = result.m_nNumPoints;

  CIter iteration(pDatabase);
  iteration.m_nTaskID = source.nTaskID;
  iteration.m_nIter = source.bReuse ? 0 : static_cast<long>(result.m_nBestIter);
  iteration.m_nSubIter = 0;
  Read(iteration);

  point.m_nTaskID = source.nTaskID;
  point.m_nPointID = source.bReuse ? 0 : static_cast<long>(iteration.m_nPointID);
  Read(point);
}

// Moves each value into [lower, upper] at its position, upper bound first.
// Positions beyond a bound array's length have no such bound. Returns whether
// any value changed; a value on a bound stays and does not count.
bool MoveIntoBounds(std::valarray<double>& values, const std::valarray<double>& lower,
                    const std::valarray<double>& upper) {
  bool moved = false;
  for (size_t i = 0; i < values.size(); ++i) {
    if (i < upper.size() && values[i] > upper[i]) {
      values[i] = upper[i];
      moved = true;
    }
    if (i < lower.size() && values[i] < lower[i]) {
      values[i] = lower[i];
      moved = true;
    }
  }
  return moved;
}

// The search task's result record is read and stored back as it is when a
// start point was moved: a moved start point is no evaluated design, so no
// count changes; the point is counted once its subtask is posted.
void RewriteSearchResult(POD* pDatabase) {
  CResult searchResult(pDatabase);
  searchResult.m_nTaskID = nContinuousTask;
  Read(searchResult);
  searchResult.m_nTotalPoints = searchResult.m_nTotalPoints;
  searchResult.PutObject();
}

// Stores point 0 of the new task. Its evaluations (Eval arrays) hold only
// for the values they were made at, so a moved point drops them.
void StoreStartPoint(POD* pDatabase, int nNewTask, const CDPoint& sourcePoint,
                     const std::valarray<double>& startValues, bool bMoved) {
  CDPoint start(pDatabase);
  start.m_nTaskID = nNewTask;
  start.m_nPointID = 0;
  start.m_vaValues = ToStored(startValues);
  start.m_vaData1 = sourcePoint.m_vaData1;
  start.m_vaData2 = sourcePoint.m_vaData2;
  start.m_vaData3 = sourcePoint.m_vaData3;
  if (bMoved) {
    RewriteSearchResult(pDatabase);
  } else {
    start.m_vaEval1 = sourcePoint.m_vaEval1;
    start.m_vaEval2 = sourcePoint.m_vaEval2;
    start.m_vaEval3 = sourcePoint.m_vaEval3;
  }
  start.PutObject();
}

// Gives the new task every other point of the search task as start points.
void AdoptSearchPoints(POD* pDatabase, const CPointSource& source, CTask& newTask) {
  const int nNewTask = newTask.m_nTaskID;
  const int copied = UseParentPoints(nNewTask, source.nTaskID, source.nNumPoints, 0);
  CResult result(pDatabase);
  result.m_nTaskID = nNewTask;
  Read(result);
  result.m_nNumPoints = copied + 1;
  result.PutObject();

  newTask.m_nInitMode = kGivenPointsInitMode;
  newTask.m_nNumInitPoints = static_cast<unsigned long>(copied + 1);
  newTask.m_vPointFlags.assign(static_cast<size_t>(copied) + 1, pvINT32(0L));
  newTask.m_nInitCount = copied + 2;
}

}  // namespace

// ---------------------------------------------------------------------------
// Entry points.

void GetDiscreteVersion(int* pnMajor, int* pnMinor, int* pnRelease) {
  *pnMajor = 6;
  *pnMinor = 21;
  *pnRelease = 0;
}

int GenDiscreteTask(int nTaskID, CLogFile* pLog) {
  return RunEntryPoint(__LINE__, [&] {
    POD* pDatabase = RequireDatabase();
    CLock lock(pDatabase, 0);
    if (nTaskID > 0) StartSearch(pDatabase, nTaskID, pLog);
    return GenerateNextSubtask(pDatabase);
  });
}

int Node2Task(CDiscreteNode& node) {
  return RunEntryPoint(__LINE__, [&] {
    discSetupTime.m_dStart = Now();
    POD* pDatabase = RequireDatabase();
    CLock lock(pDatabase, 0);

    CTask sourceTask(pDatabase);
    sourceTask.m_nTaskID = node.m_nParentTaskID;
    Read(sourceTask);
    const int nSourceTask = sourceTask.m_nTaskID;
    const int nNewTask = CDBCtrl(pDatabase).GetTaskID(true);

    CTask newTask(pDatabase);
    newTask.Copy(sourceTask);
    newTask.m_nTaskID = nNewTask;
    newTask.m_vChildTaskIDs.clear();
    newTask.SetCreateTime();
    sourceTask.m_vChildTaskIDs.push_back(nNewTask);
    sourceTask.PutObject();
    newTask.m_nParentTaskID = nSourceTask;

    CopyRecordToTask<CDVar>(pDatabase, nSourceTask, nNewTask, [&](CDVar& variables) {
      variables.m_vaLower = ToStored(node.m_vaLower);
      variables.m_vaUpper = ToStored(node.m_vaUpper);
    });
    CopyRecordToTask<CDResp>(pDatabase, nSourceTask, nNewTask);
    CopyRecordToTask<CDObj>(pDatabase, nSourceTask, nNewTask);
    CopyRecordToTask<CDCons>(pDatabase, nSourceTask, nNewTask);
    CopyRecordToTask<CDLink>(pDatabase, nSourceTask, nNewTask);
    CopyRecordToTask<CDEqn>(pDatabase, nSourceTask, nNewTask);
    CopyRecordToTask<CDSet>(pDatabase, nSourceTask, nNewTask);
    CreateResultRecord(pDatabase, nNewTask);

    const bool reuse = sourceTask.m_nModuleType == kPointReuseModuleType;
    CPointSource pointSource{reuse ? nContinuousTask : nSourceTask, reuse, 0};
    CDPoint sourcePoint(pDatabase);
    ReadStartPoint(pDatabase, pointSource, sourcePoint);
    std::valarray<double> startValues = ToDoubles(sourcePoint.m_vaValues);
    const bool moved = !reuse && MoveIntoBounds(startValues, node.m_vaLower, node.m_vaUpper);
    StoreStartPoint(pDatabase, nNewTask, sourcePoint, startValues, moved);
    if (reuse) AdoptSearchPoints(pDatabase, pointSource, newTask);

    newTask.PutObject();
    discSetupTime.m_dTotal += Now() - discSetupTime.m_dStart;
    return nNewTask;
  });
}

void PostDiscreteTask(int nTaskID, bool bCorrectTotal) {
  RunEntryPoint(__LINE__, [&] {
    POD* pDatabase = RequireDatabase();
    CLock lock(pDatabase, 0);
    UpdateNodeData(curNode, nTaskID);
    theTree.CheckNode(curNode);
    if (!theTree.AddNode(curNode)) Raise<CBranchBound>(kBranchBound);
    const int feasible = curNode.m_bFeasible ? 1 : 0;

    CResult searchResult(pDatabase);
    searchResult.m_nTaskID = nContinuousTask;
    TimedRead(searchResult);
    searchResult.m_nResultTask = nTaskID;
    searchResult.m_nDiscreteFeasible = feasible;
    searchResult.m_nNumAnalyses = nNumAnalyses;
    searchResult.m_nNumGradCalc = nNumGradCalc;
    const int oldTotal = searchResult.m_nTotalPoints;

    CResult subtaskResult(pDatabase);
    subtaskResult.m_nTaskID = nTaskID;
    Read(subtaskResult);
    subtaskResult.m_nDiscreteFeasible = feasible;
    TimedWrite(subtaskResult);

    CTask subtask(pDatabase);
    subtask.m_nTaskID = nTaskID;
    Read(subtask);
    CResult derivedFromResult(pDatabase);
    derivedFromResult.m_nTaskID = subtask.m_nParentTaskID;
    Read(derivedFromResult);

    // Computed wide and stored as 32 bits, wrapping like the host's own
    // 32-bit counts: no clamping.
    int64_t newTotal = static_cast<int64_t>(subtaskResult.m_nNumPoints) + oldTotal;
    if (bCorrectTotal) newTotal -= static_cast<int64_t>(derivedFromResult.m_nTotalPoints);
    searchResult.m_nTotalPoints = static_cast<long>(static_cast<int32_t>(newTotal));
    TimedWrite(searchResult);
  });
}

void UpdateNodeData(CDiscreteNode& node, int nTaskID) {
  RunEntryPoint(__LINE__, [&] {
    double objective = 0.0;
    double maxCon = 0.0;
    std::valarray<double> values;
    GetBestResult(nTaskID, &objective, &maxCon, values);
    node.m_dObjective = objective;
    node.m_dMaxCon = maxCon;
    CopyValues(values, node.m_vaValues);
  });
}

void GetTaskDVData(int nTaskID, std::valarray<int>& setIds, std::valarray<double>& lower,
                   std::valarray<double>& upper) {
  RunEntryPoint(__LINE__, [&] {
    CDVar variables(RequireDatabase());
    variables.m_nTaskID = nTaskID;
    TimedRead(variables);
    lower = ToDoubles(variables.m_vaLower);
    upper = ToDoubles(variables.m_vaUpper);
    setIds.resize(variables.m_vSetID.size());
    for (size_t i = 0; i < variables.m_vSetID.size(); ++i) setIds[i] = variables.m_vSetID[i];
  });
}

void GetBestResult(int nTaskID, double* pdObjective, double* pdMaxCon,
                   std::valarray<double>& values) {
  RunEntryPoint(__LINE__, [&] {
    POD* pDatabase = RequireDatabase();
    CLock lock(pDatabase, 0);
    CResult result(pDatabase);
    result.m_nTaskID = nTaskID;
    TimedRead(result);
    *pdObjective = result.m_dBestObj;
    *pdMaxCon = result.m_dBestMaxCon;

    CIter iteration(pDatabase);
    iteration.m_nTaskID = nTaskID;
    iteration.m_nIter = result.m_nBestIter;
    iteration.m_nSubIter = result.m_nBestSubIter;
    TimedRead(iteration);

    CDPoint point(pDatabase);
    point.m_nTaskID = nTaskID;
    point.m_nPointID = iteration.m_nPointID;
    TimedRead(point);
    values = ToDoubles(point.m_vaValues);
  });
}

void BranchBoundStop(int nTaskID) {
  RunEntryPoint(__LINE__, [&] {
    POD* pDatabase = RequireDatabase();
    CLock lock(pDatabase, 0);
    CResult result(pDatabase);
    result.m_nTaskID = nTaskID;
    TimedRead(result);
    const CDiscreteNode& incumbent = theTree.m_BestNode;
    if (incumbent.m_nTaskID <= 0) return;
    result.m_nResultTask = incumbent.m_nTaskID;
    result.m_nDiscreteFeasible = incumbent.m_bFeasible ? 1 : 0;
    TimedWrite(result);
  });
}

int UseParentPoints(int nTargetTask, int nSourceTask, int nPointCount, int nLeftOutPoint) {
  return RunEntryPoint(__LINE__, [&] {
    POD* pDatabase = RequireDatabase();
    CLock lock(pDatabase, 0);
    CTask sourceTask(pDatabase);
    sourceTask.m_nTaskID = nSourceTask;
    if (!sourceTask.GetObject()) {
      LError("Specified PARENT task ID (%d) does not exist in the database.\n", nSourceTask);
      Raise<CGetObject>(kCouldNotGetObject);
    }
    CDPoint sourcePoint(pDatabase);
    CDPoint targetPoint(pDatabase);
    int nextTargetPoint = 1;
    for (int sourcePointId = 0; sourcePointId < nPointCount; ++sourcePointId) {
      if (sourcePointId == nLeftOutPoint) continue;
      sourcePoint.m_nTaskID = nSourceTask;
      sourcePoint.m_nPointID = sourcePointId;
      Read(sourcePoint);
      targetPoint.Copy(sourcePoint);
      targetPoint.m_nTaskID = nTargetTask;
      targetPoint.m_nPointID = nextTargetPoint++;
      targetPoint.PutObject();
    }
    return nextTargetPoint - 1;
  });
}
