// The log's line format, where the L-functions write, and the array dumps.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <valarray>

#include "DatabaseFiles.h"
#include "DebugUtil.h"
#include "LogFile.h"

namespace {

using ::testing::ElementsAre;
using ::testing::MatchesRegex;

// Time stamp to the millisecond, category in six columns, text.
std::string Line(const std::string& category, const std::string& text) {
  return "[0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{3} " + category + " " +
         text;
}

TEST(Log, EachEventIsOneTimestampedLineWithItsCategoryUntilTheLogIsDestroyed) {
  CScratchDirectory directory;
  const std::string path = directory.File("run.log");
  {
    CLogFile log(path.c_str(), 3);
    SetCurrentLog(&log);
    EXPECT_EQ(fpLog, log.Stream());
    LNewException("src/BranchBound.cpp", 120, "Could not get object");
    LException("src/BranchBound.cpp", 300, "Could not get object");
    LGenException("src/BranchBound.cpp", 310);
    LError("task %d has no result", 17);
    LPrint("root node %s\n", "stored");
    LPrint("two\nlines");
  }
  EXPECT_EQ(GetCurrentLog(), nullptr);
  EXPECT_EQ(fpLog, nullptr);
  std::ifstream file(path);
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  EXPECT_THAT(
      lines,
      ElementsAre(
          MatchesRegex(
              Line("EXCEPT", "new exception at src/BranchBound.cpp:120: Could not get object")),
          MatchesRegex(
              Line("EXCEPT", "exception passed src/BranchBound.cpp:300: Could not get object")),
          MatchesRegex(Line("EXCEPT", "exception of unknown type passed src/BranchBound.cpp:310")),
          MatchesRegex(Line("ERROR ", "task 17 has no result")),
          MatchesRegex(Line("INFO  ", "root node stored")),
          MatchesRegex(Line("INFO  ", "two\\\\nlines"))));
}

TEST(Log, WithoutALogErrorsGoToStderrAndPrintsAreDropped) {
  ASSERT_EQ(GetCurrentLog(), nullptr);
  ::testing::internal::CaptureStderr();
  LPrint("debug detail %d", 1);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  ::testing::internal::CaptureStderr();
  LError("disk %s", "full");
  EXPECT_THAT(::testing::internal::GetCapturedStderr(),
              MatchesRegex(Line("ERROR ", "disk full") + "\n"));
}

TEST(Log, ALogThatCannotBeOpenedThrowsNamingThePath) {
  EXPECT_THAT([] { CLogFile log("/nonexistent-directory/run.log", 0); },
              ::testing::ThrowsMessage<std::runtime_error>(
                  ::testing::HasSubstr("'/nonexistent-directory/run.log'")));
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

// Seventeen significant digits: each double reads back as itself.
TEST(Dumps, ArraysAreWrittenAsOneLabelledLineThatReadsBackExactly) {
  const std::valarray<double> values = {0.1, -0.0, 1e300, 1.0 / 3.0};
  const std::string doubles =
      Dumped([&](FILE* s) { CDebugUtil::DumpDoubleArray("Lower bounds", s, values); });
  EXPECT_EQ(
      doubles,
      "Lower bounds [4]: 0.10000000000000001 -0 1.0000000000000001e+300 0.33333333333333331\n");
  const std::string integers = Dumped([](FILE* s) {
    CDebugUtil::DumpIntegerArray("Set refs", s, std::valarray<int>{-1, 0, 2});
    CDebugUtil::DumpIntegerArray("Empty", s, std::valarray<int>());
  });
  EXPECT_EQ(integers, "Set refs [3]: -1 0 2\nEmpty [0]:\n");
  CDebugUtil::DumpIntegerArray("Set refs", nullptr,
                               std::valarray<int>{1});  // a null stream writes nothing
  CDebugUtil::DumpDoubleArray("Values", nullptr, std::valarray<double>{1.0});
}

}  // namespace
