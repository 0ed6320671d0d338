// Damage and foreign files: each must give a clear error that names the record
// and key, or the file, and must never crash or yield wrong data.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "Checksum.h"
#include "HostTestSupport.h"
#include "Records.h"
#include "TaskDatabase.h"

namespace {

using ::testing::HasSubstr;
using ::testing::StartsWith;

class DamagedRecord : public ::testing::Test {
 protected:
  void SetUp() override {
    OpenTaskDatabase(m_path);
    CDPoint point(GetPOD());
    point.m_nTaskID = 12;
    point.m_nPointID = 3;
    FillFields(point, 2);
    point.PutObject();
    CDVar variables(GetPOD());
    variables.m_nTaskID = 12;
    FillFields(variables, 3);
    variables.PutObject();
  }
  void TearDown() override { CloseTaskDatabase(); }

  // Reads the damaged point into an object holding other data and returns the
  // error's message; the object's data must be left as they were.
  std::string ReadDamagedPoint() {
    CDPoint point(GetPOD());
    FillFields(point, 9);
    const std::string before = DescribeFields(point);
    point.m_nTaskID = 12;
    point.m_nPointID = 3;
    std::string message = "no error";
    try {
      point.GetObject();
    } catch (const CDatabaseError& error) {
      message = error.what();
    }
    EXPECT_EQ(DescribeFields(point), before);
    return message;
  }

  CScratchDirectory m_directory;                    // removed after the test
  std::string m_path = m_directory.File("tasks.db");  // the database file
  CPlainConnection m_raw{m_path};                   // damages records behind the library's back
  const std::string m_pointRow = "m_nTaskID = 12 AND m_nPointID = 3";  // the damaged point's row
};

TEST_F(DamagedRecord, AFlippedBitIsReportedWithTheRecordAndKey) {
  std::string bytes = m_raw.ReadBlob("CDPoint", m_pointRow);
  bytes[bytes.size() / 2] ^= 0x10;
  m_raw.WriteBlob("CDPoint", m_pointRow, bytes);
  EXPECT_THAT(ReadDamagedPoint(),
              StartsWith("CDPoint (task 12, point 3): stored data are damaged: checksum mismatch"));
}

TEST_F(DamagedRecord, ATruncatedRecordIsReported) {
  const std::string bytes = m_raw.ReadBlob("CDPoint", m_pointRow);
  m_raw.WriteBlob("CDPoint", m_pointRow, bytes.substr(0, bytes.size() - 9));
  EXPECT_THAT(ReadDamagedPoint(), StartsWith("CDPoint (task 12, point 3): stored data are damaged:"));
  m_raw.WriteBlob("CDPoint", m_pointRow, bytes.substr(0, 7));
  EXPECT_THAT(ReadDamagedPoint(), HasSubstr("7 bytes, fewer than the 16 of the smallest record"));
}

TEST_F(DamagedRecord, IntactBytesOfAnotherRecordClassAreReported) {
  m_raw.WriteBlob("CDPoint", m_pointRow, m_raw.ReadBlob("CDVar", "m_nTaskID = 12"));
  EXPECT_THAT(ReadDamagedPoint(), HasSubstr("are not those of this program's CDPoint"));
}

TEST_F(DamagedRecord, ADataColumnThatHoldsNoBytesIsReported) {
  m_raw.Execute("UPDATE CDPoint SET data = 'text' WHERE " + m_pointRow);
  EXPECT_THAT(ReadDamagedPoint(), HasSubstr("the data column holds no byte string"));
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
    EXPECT_EQ(Crc32(bytes.data(), length), BitwiseCrc32(bytes.data(), length)) << "length " << length;
}

class ForeignFile : public ::testing::Test {
 protected:
  std::string OpenError() {
    try {
      OpenTaskDatabase(m_path);
    } catch (const CDatabaseError& error) {
      EXPECT_EQ(GetPOD(), nullptr);
      return error.what();
    }
    CloseTaskDatabase();
    return "opened";
  }

  CScratchDirectory m_directory;                    // removed after the test
  std::string m_path = m_directory.File("other.db");  // the file offered as a task database
};

TEST_F(ForeignFile, ATextFileIsRefusedWithItsName) {
  std::ofstream(m_path) << "design variables:\n  t = 3 .. 12, integer\n" << std::string(2000, '#') << "\n";
  const std::string message = OpenError();
  EXPECT_THAT(message, HasSubstr("'" + m_path + "'"));
  EXPECT_THAT(message, HasSubstr("file is not a database"));
}

TEST_F(ForeignFile, ADatabaseOfAnotherApplicationIsRefusedAndLeftUntouched) {
  {
    CPlainConnection other(m_path);
    other.Execute("PRAGMA application_id = 1234; CREATE TABLE invoices (id INTEGER PRIMARY KEY, total REAL)");
  }
  EXPECT_EQ(OpenError(), "'" + m_path +
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
  EXPECT_EQ(OpenError(), "task database '" + m_path +
                             "' has schema version 2, which this program cannot read (it reads version 1)");
}

}  // namespace
