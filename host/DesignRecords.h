#pragma once

// Records that describe a task's design problem, one record of each class per
// task (key m_nTaskID), each holding arrays over its items:
//
//   CDVar   design variables: bounds, kind, names, start values
//   CDSet   discrete value sets that variables may be restricted to
//   CDResp  responses: named expressions over the variables and equations
//   CDObj   objectives: which response is minimised or maximised, and scaling
//   CDCons  constraints: a response held below, above or at a bound
//   CDEqn   equations: named intermediate quantities
//   CDLink  links: variables whose value is an expression of others
//
// Expressions are text in the usual infix notation (see docs/problem-format.md)
// over variable, equation and response names.
//
// Fields marked "host:" are stored for host programs: neither `discrete` nor
// the module uses them. What follows "host:" is what they are meant to hold,
// then the value `discrete` writes ("empty" when it writes none).

#include <string>
#include <valarray>
#include <vector>

#include "Persistent.h"

// All design variables of a task, one array entry per variable, indexed by the
// design-variable number (from 0).
class CDVar : public pvPersistent {
 public:
  explicit CDVar(POD* pDatabase) : pvPersistent(pDatabase) {}
  void Copy(const CDVar& source) { CopyFields(*this, source); }

  const char* RecordName() const override { return "CDVar"; }
  void VisitKey(CFieldVisitor& visitor) override;
  void VisitData(CFieldVisitor& visitor) override;

  pvINT32 m_nTaskID;                   // key: task id
  std::valarray<pvFLOAT64> m_vaLower;  // lower bound of each variable
  std::valarray<pvFLOAT64> m_vaUpper;  // upper bound of each variable
  std::vector<pvINT32> m_vSetID;  // 0 continuous, -1 integer, k > 0 takes the values of CDSet id k

  std::vector<pvINT32> m_vKind;  // 0 continuous, 1 integer, 2 from a set (as the user declared it)
  std::vector<pvINT32> m_vActive;           // host: 1 free, 0 held at its start value; 1
  std::vector<pvINT32> m_vLinkIndex;        // host: CDLink entry that defines it; -1
  std::vector<pvINT32> m_vSourceLine;       // line of the problem file that declares it; 0 unknown
  std::vector<pvINT32> m_vBoundsMoved;      // 1 when its bounds were moved onto allowed values
  std::vector<pvINT32> m_vBranchPriority;   // host: branching priority; 0
  std::vector<pvINT32> m_vDisplayDigits;    // host: significant digits in reports; 0
  std::vector<pvINT32> m_vGroup;            // host: index into m_vGroups of its group; -1
  std::vector<pvINT32> m_vScaleMode;        // host: 0 none, 1 by m_vaScale, 2 onto [0, 1]; 0
  std::vector<pvINT32> m_vReportOrder;      // host: position in reports; -1
  std::vector<pvINT32> m_vFlags;            // host: free bit flags; 0
  std::valarray<pvFLOAT64> m_vaStart;       // start value; NaN when none is given
  std::valarray<pvFLOAT64> m_vaGivenLower;  // lower bound as written, before any move
  std::valarray<pvFLOAT64> m_vaGivenUpper;  // upper bound as written
  std::valarray<pvFLOAT64> m_vaScale;   // typical magnitude for finite differences; 0 or 1 for none
  std::valarray<pvFLOAT64> m_vaFDStep;  // relative finite-difference step; 0 by scheme
  std::valarray<pvFLOAT64> m_vaInitialStep;  // host: initial step of derivative-free algorithms; 0
  std::valarray<pvFLOAT64> m_vaXTolerance;   // host: absolute tolerance on the value; 0
  std::valarray<pvFLOAT64> m_vaResolution;   // host: smallest meaningful change, for reports; 0
  std::valarray<pvFLOAT64> m_vaCost;         // host: cost per unit, for reports; 0
  std::valarray<pvFLOAT64> m_vaReference;    // reference (e.g. published) value; NaN none
  std::vector<std::string> m_vNames;         // variable names, unique within the task
  std::vector<std::string> m_vDescriptions;  // what each variable is
  std::vector<std::string> m_vUnits;         // units of each variable
  std::vector<std::string> m_vGroups;        // host: names of variable groups; empty
  std::vector<std::vector<pvINT32>> m_vvRespUse;  // host: responses that use it; empty
  std::vector<std::vector<pvINT32>> m_vvEqnUse;   // host: equations that use it; empty
  std::vector<std::vector<pvINT32>> m_vvLinkUse;  // host: links that use it; empty
  std::vector<std::vector<pvINT32>> m_vvConsUse;  // host: constraints using it; empty
  std::vector<std::vector<pvINT32>> m_vvTags;     // host: free integer tags; empty
};

// All discrete value sets of a task.
class CDSet : public pvPersistent {
 public:
  explicit CDSet(POD* pDatabase) : pvPersistent(pDatabase) {}
  void Copy(const CDSet& source) { CopyFields(*this, source); }

  const char* RecordName() const override { return "CDSet"; }
  void VisitKey(CFieldVisitor& visitor) override;
  void VisitData(CFieldVisitor& visitor) override;

  pvINT32 m_nTaskID;                     // key: task id
  std::vector<std::string> m_vSetNames;  // name of each set
  std::vector<pvINT32> m_vSetIDs;        // id of each set (> 0), as CDVar m_vSetID refers to it
  std::vector<std::vector<pvFLOAT64>> m_vSetValues;  // allowed values of each set, ascending
};

// All responses of a task: named expressions that objectives and constraints
// refer to by index.
class CDResp : public pvPersistent {
 public:
  explicit CDResp(POD* pDatabase) : pvPersistent(pDatabase) {}
  void Copy(const CDResp& source) { CopyFields(*this, source); }

  const char* RecordName() const override { return "CDResp"; }
  void VisitKey(CFieldVisitor& visitor) override;
  void VisitData(CFieldVisitor& visitor) override;

  pvINT32 m_nTaskID;                   // key: task id
  std::vector<pvINT32> m_vKind;        // host: 0 expression, 1 computed by an external analysis; 0
  std::vector<pvINT32> m_vSourceLine;  // line of the problem file that defines it; 0 unknown
  std::vector<pvINT32> m_vActive;      // host: 1 evaluated, 0 skipped; 1
  std::vector<pvINT32> m_vGradientMode;   // host: 0 finite differences, 1 analytic; 0
  std::vector<pvINT32> m_vEvalOrder;      // host: evaluation order; -1
  std::vector<pvINT32> m_vOutputIndex;    // host: output of the external analysis; -1
  std::vector<pvINT32> m_vCacheable;      // host: 1 when results may be reused for equal designs; 1
  std::vector<pvINT32> m_vDisplayDigits;  // host: significant digits in reports; 0
  std::vector<pvINT32> m_vFlags;          // host: free bit flags; 0
  std::vector<pvINT32> m_vCostWeight;     // host: relative cost of one evaluation; 0
  std::vector<std::string> m_vNames;      // response names, unique within the task
  std::vector<std::string> m_vExpressions;        // expression of each response
  std::vector<std::string> m_vDescriptions;       // what each response is
  std::vector<std::vector<pvINT32>> m_vvVarUse;   // host: variables it uses; empty
  std::vector<std::vector<pvINT32>> m_vvEqnUse;   // host: equations it uses; empty
  std::vector<std::vector<pvINT32>> m_vvObjUse;   // host: objectives using it; empty
  std::vector<std::vector<pvINT32>> m_vvConsUse;  // host: constraints using it; empty
  std::vector<std::vector<pvINT32>> m_vvTags;     // host: free integer tags; empty
};

// All objectives of a task (`discrete` writes one; the search optimises the
// first, in the sense of CTask m_nMinimize0/1).
class CDObj : public pvPersistent {
 public:
  explicit CDObj(POD* pDatabase) : pvPersistent(pDatabase) {}
  void Copy(const CDObj& source) { CopyFields(*this, source); }

  const char* RecordName() const override { return "CDObj"; }
  void VisitKey(CFieldVisitor& visitor) override;
  void VisitData(CFieldVisitor& visitor) override;

  pvINT32 m_nTaskID;                    // key: task id
  std::vector<pvINT32> m_vRespIndex;    // response (index into CDResp) that defines each objective
  std::vector<pvINT32> m_vSense;        // host: 1 minimise, -1 maximise; as the problem file says
  std::valarray<pvFLOAT64> m_vaWeight;  // host: weight in a weighted sum; 1
  std::valarray<pvFLOAT64> m_vaScale;   // divisor applied before optimising; 1 default
  std::valarray<pvFLOAT64> m_vaOffset;  // host: added before scaling; 0
  std::valarray<pvFLOAT64> m_vaTarget;  // published or expected optimum, for reports; NaN none
  std::valarray<pvFLOAT64> m_vaTargetTol;  // relative tolerance on the target; 0 none
};

// All constraints of a task: response (kind) bound, each scaled by its scale.
class CDCons : public pvPersistent {
 public:
  explicit CDCons(POD* pDatabase) : pvPersistent(pDatabase) {}
  void Copy(const CDCons& source) { CopyFields(*this, source); }

  const char* RecordName() const override { return "CDCons"; }
  void VisitKey(CFieldVisitor& visitor) override;
  void VisitData(CFieldVisitor& visitor) override;

  pvINT32 m_nTaskID;                  // key: task id
  std::vector<pvINT32> m_vRespIndex;  // response (index into CDResp) that is constrained
  std::vector<pvINT32> m_vKind;  // 0: response <= bound, 1: response >= bound, 2: response == bound
  std::vector<pvINT32> m_vSourceLine;  // line of the problem file that states it; 0 unknown
  std::valarray<pvFLOAT64> m_vaBound;  // the bound
  std::valarray<pvFLOAT64> m_vaScale;  // the violation is divided by it; > 0
};

// All equations of a task: named intermediate quantities "name = expression".
class CDEqn : public pvPersistent {
 public:
  explicit CDEqn(POD* pDatabase) : pvPersistent(pDatabase) {}
  void Copy(const CDEqn& source) { CopyFields(*this, source); }

  const char* RecordName() const override { return "CDEqn"; }
  void VisitKey(CFieldVisitor& visitor) override;
  void VisitData(CFieldVisitor& visitor) override;

  pvINT32 m_nTaskID;                         // key: task id
  std::vector<pvINT32> m_vSourceLine;        // line of the problem file that defines it; 0 unknown
  std::vector<std::string> m_vNames;         // equation names
  std::vector<std::string> m_vExpressions;   // expression of each equation
  std::vector<std::string> m_vDescriptions;  // what each equation is
};

// All links of a task: design variables whose value is an expression of
// other variables. Stored for host programs: `discrete` writes none, and
// neither it nor the module evaluates links.
class CDLink : public pvPersistent {
 public:
  explicit CDLink(POD* pDatabase) : pvPersistent(pDatabase) {}
  void Copy(const CDLink& source) { CopyFields(*this, source); }

  const char* RecordName() const override { return "CDLink"; }
  void VisitKey(CFieldVisitor& visitor) override;
  void VisitData(CFieldVisitor& visitor) override;

  pvINT32 m_nTaskID;                                 // key: task id
  std::vector<pvINT32> m_vTargetVar;                 // variable each link defines
  std::vector<std::string> m_vExpressions;           // its value as an expression
  std::vector<std::vector<pvINT32>> m_vvSourceVars;  // variables each expression uses
};
