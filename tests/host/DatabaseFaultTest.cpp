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
  CDPoint point(GetPOD());
  point.m_nTaskID = 12;
  point.m_nPointID = 3;
  CDVar variables(GetPOD());
  variables.m_nTaskID = 12;
  for (pvPersistent* record :
       {static_cast<pvPersistent*>(&point), static_cast<pvPersistent*>(&variables)}) {
    FillFields(*record, 2);
    record->PutObject();
  }
  CPlainConnection raw(directory.File("tasks.db"));  // damages the point behind the library's back
  const std::string row = "m_nTaskID = 12 AND m_nPointID = 3";
  const std::string intact = raw.ReadBlob("CDPoint", row);
  std::string flipped = intact;
  flipped[flipped.size() / 2] ^= 0x10;
  // The bytes stored (none: a text instead) and what the error says.
  const std::vector<std::pair<std::string, std::string>> cases{
      {flipped, "damaged: checksum mismatch"},
      {intact.substr(0, intact.size() - 9), "damaged:"},
      {intact.substr(0, 7), "7 bytes, fewer than the 16 of the smallest record"},
      {raw.ReadBlob("CDVar", "m_nTaskID = 12"), "are not those of this program's CDPoint"},
      {"", "the data column holds no byte string"}};
  FillFields(point, 9);
  const std::string before = DescribeFields(point);
  for (const auto& [bytes, says] : cases) {
    if (bytes.empty())
      raw.Execute("UPDATE CDPoint SET data = 'text' WHERE " + row);
    else
      raw.WriteBlob("CDPoint", row, bytes);
    EXPECT_THAT([&] { point.GetObject(); },
                ::testing::ThrowsMessage<CDatabaseError>(
                    AllOf(StartsWith("CDPoint (task 12, point 3): "), HasSubstr(says))));
    EXPECT_EQ(DescribeFields(point), before);
  }
  CloseTaskDatabase();
}

// The definition, one bit at a time: the reference for the table method.
uint32_t BitwiseCrc32(const unsigned char* data, size_t size) {
  uint32_t crc = 0xFFFFFFFFu;
  for (size_t i = 0; i < size; ++i) {
    crc ^= data[i];
    for (int bit = 0; bit < 8; ++bit) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
  }
  return ~crc;
}

TEST(Checksum, MatchesTheStandardCheckValueAndTheBitwiseDefinitionAtEveryLength) {
  const unsigned char digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  EXPECT_EQ(Crc32(digits, sizeof digits), 0xCBF43926u);
  std::vector<unsigned char> bytes(100);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 167 + 13);
  for (size_t length = 0; length <= bytes.size(); ++length)
    EXPECT_EQ(Crc32(bytes.data(), length), BitwiseCrc32(bytes.data(), length))
        << "length " << length;
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
