#pragma once

// A mixed-discrete design problem as the user wrote it in a problem file
// (docs/problem-format.md), after it has been read and checked: every name is
// unique, every expression uses known names only, every bound pair is ordered.
//
// The problem is plain data. ReadProblemFile() (ProblemFile.h) makes it;
// MoveBoundsOntoAllowedValues() (ProblemBounds.h) adjusts its discrete bounds;
// WriteSearchTask() (TaskWriter.h) turns it into the records of a search task.

#include <limits>
#include <string>
#include <vector>

#include "analyses/AnalysisDefinition.h"
#include "solver/OptimizerSettings.h"

// What values a design variable may take. The numbers are stored in the task
// database (CDVar m_vKind) and never change.
enum class EVariableKind {
  Continuous = 0,  // any value between its bounds
  Integer = 1,     // whole numbers between its bounds
  Set = 2,         // the values of one named set between its bounds
};

// How a constraint holds its expression against its bound. The numbers are
// stored in the task database (CDCons m_vKind) and never change.
enum class EConstraintKind {
  AtMost = 0,   // expression <= bound
  AtLeast = 1,  // expression >= bound
  EqualTo = 2,  // expression == bound
};

// The words of problem files and reports: "continuous", "integer", "set";
// "<=", ">=", "==".
const char* KindName(EVariableKind kind);
const char* OperatorText(EConstraintKind kind);

constexpr double kNoValue = std::numeric_limits<double>::quiet_NaN();

struct CProblemVariable {
  std::string name;                                // unique among variables and equations
  EVariableKind kind = EVariableKind::Continuous;  // what values it takes
  std::string setName;                             // the set of a Set variable; empty otherwise
  int setIndex = -1;            // index into CProblem::sets of a Set variable; -1 otherwise
  double lower = 0.0;           // lower bound used by the search; <= upper
  double upper = 0.0;           // upper bound used by the search
  double givenLower = 0.0;      // lower bound as written in the file
  double givenUpper = 0.0;      // upper bound as written in the file
  double start = kNoValue;      // start value; NaN when the file gives none
  double scale = 0.0;           // typical magnitude for finite differences; 0 for none
  double reference = kNoValue;  // published value, for reports; NaN for none
  std::string description;      // free text
  std::string units;            // free text
  int line = 0;                 // line of the file that declares it
  bool boundsMoved = false;     // bounds were moved onto allowed values
  // Index into CProblem::catalogues of a variable over a catalogue's rows
  // (then also a Set variable over the catalogue's set); -1 otherwise
  int catalogueIndex = -1;
};

struct CProblemSet {
  std::string name;            // unique among sets
  std::vector<double> values;  // allowed values, strictly ascending, at least one
  int line = 0;                // line of the file that declares it
};

// A table of rows, each of numbers under named columns; a variable over it
// takes the key column's values, and its other columns become quantities
// (ProblemCatalogues.cpp).
struct CProblemCatalogue {
  std::string name;                  // unique among catalogues and sets; names its set
  std::vector<std::string> columns;  // usable in names, unique, at least one
  int keyColumn = 0;                 // index into columns of the key column
  // Rows sorted by the key column, strictly ascending; at least two, each of
  // columns.size() finite numbers
  std::vector<std::vector<double>> rows;
  int setIndex = -1;  // index into CProblem::sets of the set of its key values
  int line = 0;       // line of the file that declares it
};

struct CProblemEquation {
  std::string name;        // unique among variables and equations
  std::string expression;  // over variables and the equations declared above it
  int line = 0;            // line of the file that declares it
  // For a quantity of a catalogue variable, what it is ("column 'A' of
  // catalogue 'ipe'") and the field that makes it ("variables.beam.catalogue");
  // both empty for an equation of [equations]
  std::string origin;
  std::string field;
};

struct CProblemConstraint {
  std::string name;                                // unique among constraints
  std::string expression;                          // left-hand side, over variables and equations
  EConstraintKind kind = EConstraintKind::AtMost;  // how it holds
  double bound = 0.0;                              // right-hand side
  double scale = 1.0;                              // the violation is divided by it; > 0
  int line = 0;                                    // line of the file that states it
};

// When `discrete solve` stops a search before it has explored every node.
struct CSearchLimits {
  int maxNodes = 0;        // subtasks to solve at most; 0 for no limit
  double timeLimit = 0.0;  // wall seconds; 0 for no limit
};

// Which executor a problem file asks for: none (local), or Slurm's steps,
// jobs, or whichever fits where the search runs.
enum class ESlurmMode { None, Auto, Steps, Jobs };

struct CProblem {
  std::string file;         // path of the problem file, as given
  std::string name;         // short name; names the default database file
  std::string description;  // free text
  std::string source;       // where the problem is published
  bool minimize = true;     // sense of the objective
  double tolerance = 1e-6;  // largest scaled constraint violation still feasible; >= 0
  int moduleType = 0;       // 0: one start point; 1: several start points
  int startPoints = 1;      // design points of a module type 1 task (start point included); >= 1
  unsigned seed = 1;        // seed of the Latin hypercube of module type 1
  std::string objectiveName = "objective";    // label of the objective
  std::string objective;                      // the objective's expression
  double objectiveScale = 1.0;                // the optimiser works on objective / scale; > 0
  int objectiveLine = 0;                      // line of the file that states the objective
  double referenceObjective = kNoValue;       // published optimum; NaN for none
  double referenceTolerance = 0.0;            // relative tolerance on it; 0 for none
  std::vector<CProblemVariable> variables;    // in declaration order
  std::vector<CProblemSet> sets;              // in declaration order, then one per catalogue
  std::vector<CProblemCatalogue> catalogues;  // in declaration order
  // The catalogue variables' quantities (in order of variables, then of
  // columns), then [equations] in declaration order
  std::vector<CProblemEquation> equations;
  std::vector<CProblemConstraint> constraints;  // in declaration order
  // External analysis programs, in declaration order; their programs resolved
  // to absolute paths, their work folder still to be set by SolveCommand
  // when the file gives none
  std::vector<CAnalysisDefinition> analyses;
  // [slurm] mode: the executor the file asks for (SlurmSettings.h); Auto is
  // decided when the search starts, by whether it runs inside an allocation
  ESlurmMode slurmMode = ESlurmMode::None;
  // One line per bound or start value moved onto an allowed value
  std::vector<std::string> boundNotes;
  COptimizerSettings optimizer;  // continuous optimiser settings
  CSearchLimits limits;          // search limits (the command line may override them)
};
