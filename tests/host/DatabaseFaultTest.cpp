// Damage and foreign files: each must give a clear error that names the record
// and key, or the file, and must never crash or yield wrong data.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "Checksum.h"
#include "DatabaseFiles.h"
#include "RecordFields.h"
#include "Records.h"
#include "TaskDatabase.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::StartsWith;

TEST(DamagedRecord, EveryDamageIsReportedWithTheRecordAndKeyAndChangesNothing) {
  CScratchDirectory directory;
  OpenTaskDatabase(directory.File("tasks.db"));
  CDPoint point = PutFilled<CDPoint>(GetPOD(), 12, 2, 3);
  PutFilled<CDVar>(GetPOD(), 12, 2);
  // Each damage, done behind the library's back, and what the error says.
  const std::vector<std::pair<std::string, std::string>> cases{
      {"CAST(substr(data, 1, 40) || x'A5' || substr(data, 42) AS BLOB)",
       "damaged: checksum mismatch"},
      {"substr(data, 1, length(data) - 9)", "damaged:"},
      {"substr(data, 1, 7)", "7 bytes, fewer than the 16 of the smallest record"},
      {"(SELECT data FROM CDVar WHERE m_nTaskID = 12)", "are not those of this program's CDPoint"},
      {"'text'", "the data column holds no byte string"}};
  CPlainConnection raw(directory.File("tasks.db"));
  raw.Execute("CREATE TEMP TABLE intact AS SELECT data FROM CDPoint");
  FillFields(point, 9);
  const std::string before = DescribeFields(point);
  for (const auto& [damage, says] : cases) {
    raw.Execute("UPDATE CDPoint SET data = (SELECT " + damage + " FROM intact)");
    EXPECT_THAT([&] { point.GetObject(); },
                ::testing::ThrowsMessage<CDatabaseError>(
                    AllOf(StartsWith("CDPoint (task 12, point 3): "), HasSubstr(says))));
    EXPECT_EQ(DescribeFields(point), before);
  }
  CloseTaskDatabase();
}

// Two published check values: one 8-byte block and a tail, five and a tail.
TEST(Checksum, GivesTheStandardCrc32CheckValues) {
  for (const auto& [text, crc] : std::vector<std::pair<std::string, uint32_t>>{
           {"123456789", 0xCBF43926u},
           {"The quick brown fox jumps over the lazy dog", 0x414FA339u}})
    EXPECT_EQ(Crc32(reinterpret_cast<const unsigned char*>(text.data()), text.size()), crc) << text;
}

// Each foreign file is refused with a message naming it, and the database
// open before stays open.
class ForeignFile : public ::testing::Test {
 protected:
  std::string OpenError(const std::string& path) {
    POD* open = OpenTaskDatabase(":memory:");
    std::string message = "opened";
    try {
      OpenTaskDatabase(path);
    } catch (const CDatabaseError& error) {
      message = error.what();
    }
    EXPECT_EQ(GetPOD(), open);
    CloseTaskDatabase();
    return message;
  }

  CScratchDirectory m_directory;                      // removed after the test
  std::string m_path = m_directory.File("other.db");  // the file offered as a task database
};

TEST_F(ForeignFile, ATextFileOrAFileThatCannotBeMadeIsRefusedWithItsName) {
  std::ofstream(m_path) << "design variables:\n  t = 3 .. 12, integer\n"
                        << std::string(2000, '#') << "\n";
  EXPECT_THAT(OpenError(m_path),
              AllOf(HasSubstr("'" + m_path + "'"), HasSubstr("file is not a database")));
  EXPECT_THAT(OpenError("/nonexistent-directory/tasks.db"),
              HasSubstr("'/nonexistent-directory/tasks.db'"));
}

TEST_F(ForeignFile, ADatabaseOfAnotherApplicationIsRefusedAndLeftUntouched) {
  CPlainConnection(m_path).Execute(
      "PRAGMA application_id = 1234; CREATE TABLE invoices (id INTEGER PRIMARY KEY)");
  EXPECT_EQ(OpenError(m_path),
            "'" + m_path +
                "' is not a task database: it is a SQLite database of another application "
                "(application id 1234, 1 schema entries)");
  CPlainConnection other(m_path);
  EXPECT_EQ(other.QueryText("PRAGMA journal_mode"), "delete");
  EXPECT_EQ(other.QueryText("SELECT count(*) FROM sqlite_schema"), "1");
}

TEST_F(ForeignFile, ANewerSchemaVersionIsRefused) {
  OpenTaskDatabase(m_path);
  CloseTaskDatabase();
  CPlainConnection(m_path).Execute("PRAGMA user_version = 2");
  EXPECT_EQ(OpenError(m_path),
            "task database '" + m_path +
                "' has schema version 2, which this program cannot read (it reads version 1)");
}

}  // namespace
