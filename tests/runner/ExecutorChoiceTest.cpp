// Which executor a run uses and how many evaluations it runs at a time when
// --jobs does not say, from the command line, the problem file and Slurm's
// environment variables.

#include <gtest/gtest.h>

#include "commands/Commands.h"
#include "commands/ExecutorChoice.h"

namespace {

const CSlurmEnvironment kOutside;
const CSlurmEnvironment kInside{"4711", "", ""};

TEST(ExecutorChoice, TheCommandLineThenTheFileThenLocal) {
  EXPECT_EQ(ChooseExecutor(std::nullopt, ESlurmMode::None, kInside), EExecutor::Local);
  EXPECT_EQ(ChooseExecutor(std::nullopt, ESlurmMode::Auto, kInside), EExecutor::SlurmSteps);
  EXPECT_EQ(ChooseExecutor(std::nullopt, ESlurmMode::Auto, kOutside), EExecutor::SlurmJobs);
  EXPECT_EQ(ChooseExecutor(std::nullopt, ESlurmMode::Jobs, kInside), EExecutor::SlurmJobs);
  EXPECT_EQ(ChooseExecutor(EExecutor::Local, ESlurmMode::Steps, kOutside), EExecutor::Local);
  EXPECT_EQ(ChooseExecutor(EExecutor::SlurmJobs, ESlurmMode::Steps, kOutside),
            EExecutor::SlurmJobs);
  // Steps need an allocation, whoever asks for them.
  EXPECT_THROW(ChooseExecutor(std::nullopt, ESlurmMode::Steps, kOutside), CUsageError);
  EXPECT_THROW(ChooseExecutor(EExecutor::SlurmSteps, ESlurmMode::None, kOutside), CUsageError);
}

TEST(ExecutorChoice, StepsRunAsManyAtATimeAsTheAllocationHolds) {
  std::vector<CAnalysisDefinition> analyses(2);
  analyses[1].slurm.cpus = 6;
  EXPECT_EQ(DefaultJobs(EExecutor::SlurmSteps, analyses, {"1", "3", "64"}), 3);
  EXPECT_EQ(DefaultJobs(EExecutor::SlurmSteps, analyses, {"1", "", "16"}), 2);  // 16 / 6
  EXPECT_EQ(DefaultJobs(EExecutor::SlurmSteps, analyses, {"1", "", "4"}), 1);
  EXPECT_EQ(DefaultJobs(EExecutor::SlurmSteps, analyses, {"1", "x", "12"}), 2);  // bad NTASKS
  EXPECT_EQ(DefaultJobs(EExecutor::SlurmSteps, analyses, {"1", "0", "-3"}), 1);
  EXPECT_EQ(DefaultJobs(EExecutor::SlurmJobs, analyses, kOutside), kNoJobLimit);
  EXPECT_GE(DefaultJobs(EExecutor::Local, analyses, kInside), 1);
}

}  // namespace
