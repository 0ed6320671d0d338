#include "HostTestSupport.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cinttypes>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <sstream>

#include "ValueAccess.h"

CScratchDirectory::CScratchDirectory() {
  char pattern[] = "/tmp/discrete-host-test-XXXXXX";
  const char* made = mkdtemp(pattern);
  if (made == nullptr) throw std::runtime_error("cannot make a scratch directory");
  m_path = made;
}

CScratchDirectory::~CScratchDirectory() {
  std::error_code ignored;
  std::filesystem::remove_all(m_path, ignored);
}

namespace {

double FromBits(uint64_t bits) {
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

uint64_t Bits(double value) {
  uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

const std::vector<double>& AwkwardDoubles() {
  static const std::vector<double> values = {
      FromBits(0x7FF8000000012345ull),  // quiet NaN with a payload
      FromBits(0xFFF8000000000001ull),  // negative NaN
      std::numeric_limits<double>::infinity(),
      -std::numeric_limits<double>::infinity(),
      -0.0,
      std::numeric_limits<double>::denorm_min(),
      -std::numeric_limits<double>::denorm_min() * 12345,
      std::numeric_limits<double>::max(),
      1.0 / 3.0,
      -2.5e-300,
  };
  return values;
}

const std::vector<std::string>& AwkwardTexts() {
  static const std::vector<std::string> values = {
      "",
      "Zähne ≤ 40 – 歯車 – \xF0\x9F\x94\xA7",
      std::string("NUL\0inside", 10),
      std::string(5000, 'x') + "end",
      "line one\nline two\ttabbed",
  };
  return values;
}

const size_t kArrayLengths[] = {0, 1, 3, 20};

// Fills each field from a running counter offset by the seed, so that
// different fields and different seeds get different values.
class CFieldFiller final : public CFieldVisitor {
 public:
  explicit CFieldFiller(unsigned seed) : m_next(seed) {}

  void Field(const char*, pvINT32& value) override { value = NextInteger(); }
  void Field(const char*, pvUINT32& value) override { value = 0xFFFFFFFFul - m_next++; }
  void Field(const char*, pvFLOAT64& value) override { value = NextDouble(); }
  void Field(const char*, std::string& value) override { value = NextText(); }
  void Field(const char*, std::vector<pvINT32>& value) override { value = NextIntegers(); }
  void Field(const char*, std::valarray<pvFLOAT64>& value) override {
    value.resize(NextLength());
    for (pvFLOAT64& item : value) item = NextDouble();
  }
  void Field(const char*, std::vector<std::string>& value) override {
    value.resize(NextLength());
    for (std::string& text : value) text = NextText();
  }
  void Field(const char*, std::vector<std::vector<pvINT32>>& value) override {
    value.resize(NextLength());
    for (std::vector<pvINT32>& list : value) list = NextIntegers();
  }
  void Field(const char*, std::vector<std::vector<pvFLOAT64>>& value) override {
    value.resize(NextLength());
    for (std::vector<pvFLOAT64>& list : value) {
      list.resize(NextLength());
      for (pvFLOAT64& item : list) item = NextDouble();
    }
  }

 private:
  long NextInteger() {
    const unsigned n = m_next++;
    if (n % 7 == 0) return std::numeric_limits<int32_t>::min();
    if (n % 7 == 1) return std::numeric_limits<int32_t>::max();
    return static_cast<long>(n * 2654435761u % 200000) - 100000;
  }
  double NextDouble() { return AwkwardDoubles()[m_next++ % AwkwardDoubles().size()]; }
  std::string NextText() { return AwkwardTexts()[m_next++ % AwkwardTexts().size()]; }
  size_t NextLength() { return kArrayLengths[m_next++ % 4]; }
  std::vector<pvINT32> NextIntegers() {
    std::vector<pvINT32> list(NextLength());
    for (pvINT32& item : list) item = NextInteger();
    return list;
  }

  unsigned m_next;  // drives every value
};

class CFieldDescriber final : public CFieldVisitor {
 public:
  void Field(const char* name, pvINT32& value) override { m_text << name << '=' << static_cast<long>(value) << '\n'; }
  void Field(const char* name, pvUINT32& value) override {
    m_text << name << '=' << CValueAccess::Get(value) << '\n';
  }
  void Field(const char* name, pvFLOAT64& value) override { m_text << name << '=' << Hex(value) << '\n'; }
  void Field(const char* name, std::string& value) override {
    m_text << name << "=[" << value.size() << "]" << value << '\n';
  }
  void Field(const char* name, std::vector<pvINT32>& value) override {
    m_text << name << '=' << Integers(value) << '\n';
  }
  void Field(const char* name, std::valarray<pvFLOAT64>& value) override {
    m_text << name << "=[" << value.size() << "]";
    for (const pvFLOAT64& item : value) m_text << ' ' << Hex(item);
    m_text << '\n';
  }
  void Field(const char* name, std::vector<std::string>& value) override {
    m_text << name << "=[" << value.size() << "]";
    for (const std::string& text : value) m_text << " [" << text.size() << "]" << text;
    m_text << '\n';
  }
  void Field(const char* name, std::vector<std::vector<pvINT32>>& value) override {
    m_text << name << "=[" << value.size() << "]";
    for (const std::vector<pvINT32>& list : value) m_text << ' ' << Integers(list);
    m_text << '\n';
  }
  void Field(const char* name, std::vector<std::vector<pvFLOAT64>>& value) override {
    m_text << name << "=[" << value.size() << "]";
    for (const std::vector<pvFLOAT64>& list : value) {
      m_text << " {";
      for (const pvFLOAT64& item : list) m_text << ' ' << Hex(item);
      m_text << " }";
    }
    m_text << '\n';
  }

  std::string Text() const { return m_text.str(); }

 private:
  static std::string Hex(double value) {
    char text[24];
    std::snprintf(text, sizeof text, "%016" PRIx64, Bits(value));
    return text;
  }
  static std::string Integers(const std::vector<pvINT32>& list) {
    std::string text = "[" + std::to_string(list.size()) + "]";
    for (const pvINT32& item : list) text += ' ' + std::to_string(static_cast<long>(item));
    return text;
  }

  std::ostringstream m_text;  // the description so far
};

}  // namespace

void FillFields(pvPersistent& record, unsigned seed) {
  CFieldFiller filler(seed);
  record.VisitData(filler);
}

std::string DescribeFields(pvPersistent& record) {
  CFieldDescriber describer;
  record.VisitData(describer);
  return describer.Text();
}

CPlainConnection::CPlainConnection(const std::string& path) : m_connection(nullptr) {
  if (sqlite3_open(path.c_str(), &m_connection) != SQLITE_OK)
    ADD_FAILURE() << "cannot open " << path << ": " << sqlite3_errmsg(m_connection);
}

CPlainConnection::~CPlainConnection() { sqlite3_close(m_connection); }

void CPlainConnection::Execute(const std::string& sql) {
  EXPECT_EQ(TryExecute(sql), SQLITE_OK) << sql << ": " << sqlite3_errmsg(m_connection);
}

int CPlainConnection::TryExecute(const std::string& sql) {
  return sqlite3_exec(m_connection, sql.c_str(), nullptr, nullptr, nullptr);
}

std::string CPlainConnection::QueryText(const std::string& sql) {
  sqlite3_stmt* statement = nullptr;
  std::string text;
  if (sqlite3_prepare_v2(m_connection, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    ADD_FAILURE() << sql << ": " << sqlite3_errmsg(m_connection);
  } else if (sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_text(statement, 0) != nullptr) {
    text = reinterpret_cast<const char*>(sqlite3_column_text(statement, 0));
  }
  sqlite3_finalize(statement);
  return text;
}

std::string CPlainConnection::ReadBlob(const std::string& table, const std::string& where) {
  sqlite3_stmt* statement = nullptr;
  std::string bytes;
  const std::string sql = "SELECT data FROM " + table + " WHERE " + where;
  if (sqlite3_prepare_v2(m_connection, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK &&
      sqlite3_step(statement) == SQLITE_ROW) {
    const auto* data = static_cast<const char*>(sqlite3_column_blob(statement, 0));
    bytes.assign(data, static_cast<size_t>(sqlite3_column_bytes(statement, 0)));
  } else {
    ADD_FAILURE() << sql << ": " << sqlite3_errmsg(m_connection);
  }
  sqlite3_finalize(statement);
  return bytes;
}

void CPlainConnection::WriteBlob(const std::string& table, const std::string& where, const std::string& bytes) {
  sqlite3_stmt* statement = nullptr;
  const std::string sql = "UPDATE " + table + " SET data = ?1 WHERE " + where;
  ASSERT_EQ(sqlite3_prepare_v2(m_connection, sql.c_str(), -1, &statement, nullptr), SQLITE_OK) << sql;
  sqlite3_bind_blob(statement, 1, bytes.data(), static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
  EXPECT_EQ(sqlite3_step(statement), SQLITE_DONE) << sqlite3_errmsg(m_connection);
  EXPECT_EQ(sqlite3_changes(m_connection), 1) << sql;
  sqlite3_finalize(statement);
}

pid_t RunInChild(const std::function<void()>& body) {
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child != 0) return child;
  int status = 0;
  try {
    body();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "child %d: %s\n", static_cast<int>(getpid()), error.what());
    status = 1;
  }
  _exit(status);
}

int WaitForChild(pid_t child) {
  int status = 0;
  if (waitpid(child, &status, 0) != child) return -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}
