// Every example in examples/ solved by the program reaches its published
// optimum: the objective within the relative tolerance stated here, the
// discrete variables exactly on their published values and the continuous
// ones within 1e-5 (relative) of theirs.

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>

#include "Records.h"
#include "TaskDatabase.h"
#include "TaskResult.h"

namespace {

namespace fs = std::filesystem;

struct CExample {
  const char* file;          // in examples/
  double publishedOptimum;   // objective of the published best design
  double relativeTolerance;  // allowed relative difference of the objective
};

void PrintTo(const CExample& example, std::ostream* out) { *out << example.file; }

class Example : public ::testing::TestWithParam<CExample> {};

TEST_P(Example, ReachesThePublishedOptimum) {
  const CExample& example = GetParam();
  const fs::path folder = fs::temp_directory_path() / ("discrete-example-" + std::to_string(getpid()));
  fs::create_directories(folder);
  const fs::path database = folder / (std::string(example.file) + ".db");
  fs::remove(database);
  const std::string command = "'" DISCRETE_PROGRAM "' solve --quiet '" EXAMPLES_DIR "/" + std::string(example.file) +
                              "' --db '" + database.string() + "' > /dev/null";
  const int status = std::system(command.c_str());
  ASSERT_TRUE(WIFEXITED(status));
  ASSERT_EQ(WEXITSTATUS(status), 0);

  OpenTaskDatabase(database.string());
  CResult search(GetPOD());
  search.m_nTaskID = 1;
  ASSERT_TRUE(search.GetObject());
  EXPECT_EQ(search.m_nDiscreteFeasible, 1);
  const CTaskDesign design = ReadBestDesign(search.m_nResultTask);
  EXPECT_NEAR(design.objective, example.publishedOptimum,
              example.relativeTolerance * std::fabs(example.publishedOptimum));
  CDVar variables(GetPOD());
  variables.m_nTaskID = 1;
  ASSERT_TRUE(variables.GetObject());
  for (size_t i = 0; i < design.values.size(); ++i) {
    const double published = variables.m_vaReference[i];
    if (std::isnan(published)) continue;
    if (variables.m_vSetID[i] != 0) {
      EXPECT_EQ(design.values[i], published) << variables.m_vNames[i];
    } else {
      EXPECT_NEAR(design.values[i], published, 1e-5 * std::fabs(published)) << variables.m_vNames[i];
    }
  }
  CloseTaskDatabase();
  fs::remove_all(folder);
}

INSTANTIATE_TEST_SUITE_P(
    Published, Example,
    ::testing::Values(CExample{"pressure_vessel.toml", 6059.7143, 1e-6},
                      CExample{"gear_train.toml", 2.700857e-12, 1e-5},
                      CExample{"coil_spring.toml", 2.658559, 1e-6},
                      CExample{"speed_reducer.toml", 2994.471066, 1e-8},
                      CExample{"process_synthesis.toml", 7.667180, 1e-6}),
    [](const ::testing::TestParamInfo<CExample>& info) {
      std::string name = info.param.file;
      return name.substr(0, name.find('.'));
    });

}  // namespace
