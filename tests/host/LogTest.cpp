// The log's line format, where the L-functions write, and the array dumps.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <valarray>

#include "DebugUtil.h"
#include "HostTestSupport.h"
#include "LogFile.h"

namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

std::vector<std::string> LinesOf(const std::string& path) {
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}

// Time stamp to the millisecond, category in six columns, text.
std::string Line(const std::string& category, const std::string& text) {
  return "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} " + category + " " + text;
}

TEST(Log, EachEventIsOneTimestampedLineWithItsCategory) {
  CScratchDirectory directory;
  const std::string path = directory.File("run.log");
  {
    CLogFile log(path.c_str(), 3);
    SetCurrentLog(&log);
    LNewException("src/BranchBound.cpp", 120, "Could not get object");
    LException("src/BranchBound.cpp", 300, "Could not get object");
    LGenException("src/BranchBound.cpp", 310);
    LError("task %d has no result", 17);
    LPrint("root node %s\n", "stored");
    LPrint("two\nlines");
    SetCurrentLog(nullptr);
  }
  EXPECT_THAT(LinesOf(path),
              ElementsAre(MatchesRegex(Line("EXCEPT", "new exception at src/BranchBound.cpp:120: Could not get object")),
                          MatchesRegex(Line("EXCEPT", "exception passed src/BranchBound.cpp:300: Could not get object")),
                          MatchesRegex(Line("EXCEPT", "exception of unknown type passed src/BranchBound.cpp:310")),
                          MatchesRegex(Line("ERROR ", "task 17 has no result")),
                          MatchesRegex(Line("INFO  ", "root node stored")),
                          MatchesRegex(Line("INFO  ", "two\\\\nlines"))));
}

TEST(Log, WithoutALogErrorsGoToStderrAndPrintsAreDropped) {
  ASSERT_EQ(GetCurrentLog(), nullptr);
  ::testing::internal::CaptureStderr();
  LPrint("debug detail %d", 1);
  const std::string afterPrint = ::testing::internal::GetCapturedStderr();
  ::testing::internal::CaptureStderr();
  LError("disk %s", "full");
  const std::string afterError = ::testing::internal::GetCapturedStderr();
  EXPECT_EQ(afterPrint, "");
  EXPECT_THAT(afterError, MatchesRegex(Line("ERROR ", "disk full") + "\n"));
}

TEST(Log, InstallingALogPointsFpLogAtItAndDestroyingItUninstallsIt) {
  CScratchDirectory directory;
  const std::string path = directory.File("run.log");
  {
    CLogFile log(path.c_str(), 0);
    SetCurrentLog(&log);
    EXPECT_EQ(fpLog, log.Stream());
    EXPECT_EQ(GetCurrentLog(), &log);
  }
  EXPECT_EQ(GetCurrentLog(), nullptr);
  EXPECT_EQ(fpLog, nullptr);
}

TEST(Log, ALogThatCannotBeOpenedThrowsNamingThePath) {
  try {
    CLogFile log("/nonexistent-directory/run.log", 0);
    FAIL() << "opening must fail";
  } catch (const std::exception& error) {
    EXPECT_THAT(error.what(), ::testing::HasSubstr("'/nonexistent-directory/run.log'"));
  }
}

std::string Dumped(const std::function<void(FILE*)>& dump) {
  FILE* stream = std::tmpfile();
  dump(stream);
  std::rewind(stream);
  std::string text;
  for (int c = std::fgetc(stream); c != EOF; c = std::fgetc(stream)) text += static_cast<char>(c);
  std::fclose(stream);
  return text;
}

TEST(Dumps, ArraysAreWrittenAsOneLabelledLineThatReadsBackExactly) {
  const std::valarray<double> values = {0.1, -0.0, 1e300, 1.0 / 3.0};
  const std::string doubles = Dumped([&](FILE* s) { CDebugUtil::DumpDoubleArray("Lower bounds", s, values); });
  EXPECT_EQ(doubles, "Lower bounds [4]: 0.10000000000000001 -0 1.0000000000000001e+300 0.33333333333333331\n");
  std::istringstream readBack(doubles.substr(doubles.find(':') + 1));
  for (double expected : values) {
    double value = 0;
    readBack >> value;
    EXPECT_EQ(value, expected);
  }

  const std::string integers = Dumped([](FILE* s) {
    CDebugUtil::DumpIntegerArray("Set refs", s, std::valarray<int>{-1, 0, 2});
    CDebugUtil::DumpIntegerArray("Empty", s, std::valarray<int>());
  });
  EXPECT_EQ(integers, "Set refs [3]: -1 0 2\nEmpty [0]:\n");
}

TEST(Dumps, ANullStreamWritesNothing) {
  CDebugUtil::DumpIntegerArray("Set refs", nullptr, std::valarray<int>{1});
  CDebugUtil::DumpDoubleArray("Values", nullptr, std::valarray<double>{1.0});
}

}  // namespace
