// discrete._core: the Python package's bridge to the runner's libraries
// (docs/python.md). The package writes a problem file from its Python
// definition and calls the same `solve` and `resume` as the program, so that
// every check, message and record is the program's; Python callables become
// analyses evaluated in this process (analyses/InProcessExecutor.h). The
// search runs with the GIL released; each call of a callable takes it.

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>

#include "DatabaseError.h"
#include "DatabaseSnapshot.h"
#include "analyses/SlurmClient.h"
#include "commands/Commands.h"
#include "problem/ProblemFile.h"
#include "search/DiscreteModule.h"
#include "search/Search.h"
#include "tasks/TaskDataError.h"

namespace py = pybind11;

namespace {

// A stream whose text is collected in memory (open_memstream).
class CTextStream {
 public:
  CTextStream() : m_file(open_memstream(&m_buffer, &m_size)) {
    if (m_file == nullptr) throw std::runtime_error("cannot open a stream in memory");
  }
  ~CTextStream() {
    if (m_file != nullptr) std::fclose(m_file);
    std::free(m_buffer);
  }
  CTextStream(const CTextStream&) = delete;
  CTextStream& operator=(const CTextStream&) = delete;
  FILE* File() const { return m_file; }
  std::string Text() {
    std::fflush(m_file);
    return std::string(m_buffer, m_size);
  }

 private:
  char* m_buffer = nullptr;
  size_t m_size = 0;
  FILE* m_file;
};

// A Python callable as the function of an analysis. The callable is
// borrowed: the caller keeps it alive while the search runs, and copies of
// the function (made without the GIL) touch no reference count. It receives
// a dict name -> value and returns a sequence of floats, one per response.
FInProcessAnalysis FunctionOf(PyObject* callable) {
  return [callable](const std::vector<std::pair<std::string, double>>& inputs) {
    py::gil_scoped_acquire gil;
    try {
      py::dict values;
      for (const auto& [name, value] : inputs) values[py::str(name)] = value;
      return py::reinterpret_borrow<py::object>(callable)(values).cast<std::vector<double>>();
    } catch (py::error_already_set& error) {
      throw std::runtime_error(error.what());  // "ValueError: message", then the traceback
    } catch (const py::cast_error&) {
      throw std::runtime_error("the function did not return a sequence of numbers");
    }
  };
}

struct CRunSettings {
  std::string database;
  std::optional<std::string> optimizer;
  std::optional<int> maxNodes;
  std::optional<double> timeLimit;
  int jobs = 0;
  bool quiet = false;
  double lockTimeout = 30.0;
};

CSolveOptions OptionsOf(const CRunSettings& settings, const py::dict& functions) {
  CSolveOptions options;
  options.databasePath = settings.database;
  options.optimizer = settings.optimizer;
  options.maxNodes = settings.maxNodes;
  options.timeLimit = settings.timeLimit;
  options.jobs = settings.jobs;
  options.quiet = settings.quiet;
  options.lockTimeout = settings.lockTimeout;
  for (const auto& [name, callable] : functions)
    options.functions[name.cast<std::string>()] = FunctionOf(callable.ptr());
  return options;
}

// Runs a command with the GIL released; its exit code, report and messages.
template <class TRun>
py::tuple RunReleased(const TRun& run) {
  CTextStream report, messages;
  EExitCode code;
  {
    py::gil_scoped_release released;
    code = run(report.File(), messages.File());
  }
  return py::make_tuple(static_cast<int>(code), report.Text(), messages.Text());
}

// Raises the package's exception `className` (discrete/errors.py).
void Raise(const char* className, const std::string& message, py::object detail = py::none()) {
  const py::object type = py::module_::import("discrete.errors").attr(className);
  const py::object error = type(message, detail);
  PyErr_SetObject(type.ptr(), error.ptr());
}

void TranslateExceptions(std::exception_ptr thrown) {
  try {
    if (thrown) std::rethrow_exception(thrown);
  } catch (const py::error_already_set&) {
    throw;  // a Python exception already: pybind11's own translator raises it
  } catch (const py::builtin_exception&) {
    throw;
  } catch (const CProblemFileError& error) {
    py::list issues;
    for (const CProblemIssue& issue : error.Issues())
      issues.append(py::make_tuple(issue.field, issue.message));
    Raise("ProblemError", error.what(), issues);
  } catch (const CUsageError& error) {
    Raise("ProblemError", error.what());
  } catch (const CDatabaseError& error) {
    Raise("DatabaseError", error.what());
  } catch (const std::exception& error) {
    Raise("Error", error.what());
  }
}

template <class TClass>
void BindEvaluationRow(TClass& row) {
  row.def_readonly("id", &CEvaluationRow::id)
      .def_readonly("task", &CEvaluationRow::taskId)
      .def_readonly("analysis", &CEvaluationRow::analysis)
      .def_readonly("inputs", &CEvaluationRow::inputs)
      .def_readonly("attempt", &CEvaluationRow::attempt)
      .def_readonly("evaluation_id", &CEvaluationRow::evaluationId)
      .def_readonly("status", &CEvaluationRow::status)
      .def_readonly("responses", &CEvaluationRow::responses)
      .def_readonly("reason", &CEvaluationRow::reason)
      .def_readonly("seconds", &CEvaluationRow::seconds)
      .def_readonly("folder", &CEvaluationRow::folder);
}

void BindSnapshot(py::module_& module) {
  py::class_<CTaskSnapshot>(module, "TaskSnapshot")
      .def_readonly("id", &CTaskSnapshot::id)
      .def_readonly("kind", &CTaskSnapshot::kind)
      .def_readonly("name", &CTaskSnapshot::name)
      .def_readonly("parent", &CTaskSnapshot::parent)
      .def_readonly("children", &CTaskSnapshot::children)
      .def_readonly("variables", &CTaskSnapshot::variables)
      .def_readonly("lower", &CTaskSnapshot::lower)
      .def_readonly("upper", &CTaskSnapshot::upper)
      .def_readonly("solved", &CTaskSnapshot::solved)
      .def_readonly("converged", &CTaskSnapshot::converged)
      .def_readonly("feasible", &CTaskSnapshot::feasible)
      .def_readonly("status", &CTaskSnapshot::status)
      .def_readonly("objective", &CTaskSnapshot::objective)
      .def_readonly("max_constraint", &CTaskSnapshot::maxConstraint)
      .def_readonly("design", &CTaskSnapshot::design)
      .def_readonly("constraints", &CTaskSnapshot::constraints)
      .def_readonly("constraint_values", &CTaskSnapshot::constraintValues)
      .def_readonly("node", &CTaskSnapshot::node);
  py::class_<CSearchSnapshot>(module, "SearchSnapshot")
      .def_readonly("search_task", &CSearchSnapshot::searchTask)
      .def_readonly("finished", &CSearchSnapshot::finished)
      .def_readonly("end", &CSearchSnapshot::end)
      .def_readonly("result_task", &CSearchSnapshot::resultTask)
      .def_readonly("discrete_feasible", &CSearchSnapshot::discreteFeasible)
      .def_readonly("solved_subtasks", &CSearchSnapshot::solvedSubtasks)
      .def_readonly("tasks", &CSearchSnapshot::tasks)
      .def_readonly("problem_text", &CSearchSnapshot::problemText)
      .def_readonly("problem_file", &CSearchSnapshot::problemFile)
      .def_readonly("started", &CSearchSnapshot::started)
      .def_readonly("ended", &CSearchSnapshot::ended)
      .def_readonly("resumed_by", &CSearchSnapshot::resumedBy);
  py::class_<CEvaluationRow> row(module, "EvaluationRow");
  BindEvaluationRow(row);
  py::class_<CDatabaseSnapshot>(module, "DatabaseSnapshot")
      .def_readonly("path", &CDatabaseSnapshot::path)
      .def_readonly("tasks", &CDatabaseSnapshot::tasks)
      .def_readonly("searches", &CDatabaseSnapshot::searches)
      .def_readonly("evaluations", &CDatabaseSnapshot::evaluations);
}

}  // namespace

PYBIND11_MODULE(_core, module) {
  module.doc() = "The runner's libraries for the discrete package (docs/python.md)";
  py::register_exception_translator(TranslateExceptions);
  BindSnapshot(module);

  py::class_<CRunSettings>(module, "RunSettings")
      .def(py::init<>())
      .def_readwrite("database", &CRunSettings::database)
      .def_readwrite("optimizer", &CRunSettings::optimizer)
      .def_readwrite("max_nodes", &CRunSettings::maxNodes)
      .def_readwrite("time_limit", &CRunSettings::timeLimit)
      .def_readwrite("jobs", &CRunSettings::jobs)
      .def_readwrite("quiet", &CRunSettings::quiet)
      .def_readwrite("lock_timeout", &CRunSettings::lockTimeout);

  module.def(
      "solve",
      [](const std::string& problemFile, const CRunSettings& settings, const py::dict& functions) {
        CSolveOptions options = OptionsOf(settings, functions);
        options.problemFile = problemFile;
        return RunReleased(
            [&](FILE* out, FILE* messages) { return RunSolve(options, out, messages); });
      },
      py::arg("problem_file"), py::arg("settings"), py::arg("functions"),
      "Solves a problem file into settings.database; (exit code, report, messages).");
  module.def(
      "resume",
      [](std::optional<int> searchTask, const CRunSettings& settings, const py::dict& functions) {
        const CSolveOptions options = OptionsOf(settings, functions);
        return RunReleased([&](FILE* out, FILE* messages) {
          return RunResume(options, searchTask, out, messages);
        });
      },
      py::arg("search_task"), py::arg("settings"), py::arg("functions"),
      "Resumes a search of settings.database; (exit code, report, messages).");
  module.def("read_database", &ReadDatabaseSnapshot, py::arg("path"),
             "Every task, search and evaluation of a task database.");
  module.def("free_database_name", &FreeDatabaseName, py::arg("problem_name"),
             "<name>.db in the current folder, or the first free <name>-<n>.db.");
  module.def("module_version", [] {
    const CModuleVersion version = CDiscreteModule::Load().Version();
    return py::make_tuple(version.major, version.minor, version.patch);
  });
}
