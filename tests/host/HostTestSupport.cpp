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
// different fields and different seeds get different values; lists (and the
// lists inside lists) take the lengths 0, 1, 3 and 20 in turn.
class CFieldFiller final : public CFieldVisitor {
 public:
  explicit CFieldFiller(unsigned seed) : m_next(seed) {}

  void Field(const char*, pvINT32& value) override { Fill(value); }
  void Field(const char*, pvUINT32& value) override { Fill(value); }
  void Field(const char*, pvFLOAT64& value) override { Fill(value); }
  void Field(const char*, std::string& value) override { Fill(value); }
  void Field(const char*, std::vector<pvINT32>& value) override { Fill(value); }
  void Field(const char*, std::valarray<pvFLOAT64>& value) override { Fill(value); }
  void Field(const char*, std::vector<std::string>& value) override { Fill(value); }
  void Field(const char*, std::vector<std::vector<pvINT32>>& value) override { Fill(value); }
  void Field(const char*, std::vector<std::vector<pvFLOAT64>>& value) override { Fill(value); }

 private:
  void Fill(pvINT32& value) {
    const unsigned n = m_next++;
    if (n % 7 == 0) value = std::numeric_limits<int32_t>::min();
    else if (n % 7 == 1) value = std::numeric_limits<int32_t>::max();
    else value = static_cast<long>(n * 2654435761u % 200000) - 100000;
  }
  void Fill(pvUINT32& value) { value = 0xFFFFFFFFul - m_next++; }
  void Fill(pvFLOAT64& value) { value = AwkwardDoubles()[m_next++ % AwkwardDoubles().size()]; }
  void Fill(std::string& value) { value = AwkwardTexts()[m_next++ % AwkwardTexts().size()]; }
  template <class TList>
  void Fill(TList& list) {
    list.resize(kArrayLengths[m_next++ % 4]);
    for (auto& item : list) Fill(item);
  }

  unsigned m_next;  // drives every value
};

// "name=value" per field; lists as "[count] item item ...", nested in braces.
class CFieldDescriber final : public CFieldVisitor {
 public:
  void Field(const char* name, pvINT32& value) override { Describe(name, value); }
  void Field(const char* name, pvUINT32& value) override { Describe(name, value); }
  void Field(const char* name, pvFLOAT64& value) override { Describe(name, value); }
  void Field(const char* name, std::string& value) override { Describe(name, value); }
  void Field(const char* name, std::vector<pvINT32>& value) override { Describe(name, value); }
  void Field(const char* name, std::valarray<pvFLOAT64>& value) override { Describe(name, value); }
  void Field(const char* name, std::vector<std::string>& value) override { Describe(name, value); }
  void Field(const char* name, std::vector<std::vector<pvINT32>>& value) override { Describe(name, value); }
  void Field(const char* name, std::vector<std::vector<pvFLOAT64>>& value) override { Describe(name, value); }

  std::string Text() const { return m_text.str(); }

 private:
  template <class TValue>
  void Describe(const char* name, const TValue& value) {
    m_text << name << '=';
    Put(value);
    m_text << '\n';
  }
  void Put(const pvINT32& value) { m_text << ' ' << static_cast<long>(value); }
  void Put(const pvUINT32& value) { m_text << ' ' << CValueAccess::Get(value); }
  void Put(const pvFLOAT64& value) {
    char text[24];
    std::snprintf(text, sizeof text, " %016" PRIx64, Bits(value));
    m_text << text;
  }
  void Put(const std::string& value) { m_text << " [" << value.size() << "]" << value; }
  template <class TList>
  void Put(const TList& list) {
    m_text << " {[" << list.size() << "]";
    for (const auto& item : list) Put(item);
    m_text << " }";
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
  const std::string hex = QueryText("SELECT hex(data) FROM " + table + " WHERE " + where);
  std::string bytes;
  for (size_t i = 0; i + 1 < hex.size(); i += 2) bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
  return bytes;
}

void CPlainConnection::WriteBlob(const std::string& table, const std::string& where, const std::string& bytes) {
  std::string hex;
  char digits[3];
  for (const char byte : bytes) {
    std::snprintf(digits, sizeof digits, "%02x", static_cast<unsigned char>(byte));
    hex += digits;
  }
  Execute("UPDATE " + table + " SET data = x'" + hex + "' WHERE " + where);
  EXPECT_EQ(sqlite3_changes(m_connection), 1) << "no row " << where << " in " << table;
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
