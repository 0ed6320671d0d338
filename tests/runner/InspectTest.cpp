// What a search leaves behind, read by programs: `show` and `tree` as JSON
// checked against their schemas, `export` as CSV and JSON, and the SQL views
// read by the plain sqlite3 program, equal bit for bit to what `show`
// prints. On a real search of the gear train, cut short by a node limit.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <limits>
#include <nlohmann/json.hpp>
#include <sstream>

#include "DatabaseFiles.h"
#include "ProgramRun.h"
#include "Records.h"
#include "TaskDatabase.h"

namespace {

namespace fs = std::filesystem;
using nlohmann::json;
using ::testing::HasSubstr;

class Inspect : public ::testing::Test {
 protected:
  void SetUp() override {
    const CProgramRun solve =
        Run("solve --quiet --max-nodes 8 '" EXAMPLES_DIR "/gear_train.toml' --db gear.db");
    ASSERT_EQ(solve.exitCode, 0) << solve.errors;
  }

  CProgramRun Run(const std::string& arguments) const { return RunProgram(folder, arguments); }

  // What a command printed, as JSON, after checking it against its schema.
  json Document(const std::string& arguments, const std::string& schema) const {
    const CProgramRun run = Run(arguments);
    EXPECT_EQ(run.exitCode, 0) << run.errors;
    std::ofstream(folder / "document.json") << run.output;
    const std::string validate = std::string(VALIDATE_JSON " " SCHEMA_DIR "/") + schema +
                                 ".schema.json " + (folder / "document.json").string();
    EXPECT_EQ(std::system(validate.c_str()), 0) << arguments;
    return json::parse(ReadFile(folder / "document.json"));
  }

  // The plain sqlite3 program's answer.
  std::string Sqlite(const std::string& query) const {
    const std::string command = "sqlite3 '" + (folder / "gear.db").string() + "' \"" + query +
                                "\" > " + (folder / "sqlite.txt").string();
    EXPECT_EQ(std::system(command.c_str()), 0) << query;
    return ReadFile(folder / "sqlite.txt");
  }

  CScratchDirectory m_directory;
  const fs::path folder = m_directory.Path();
};

// The bit pattern of a double as the sqlite3 program's hex(ieee754_to_blob(x)) shows it.
std::string Bits(double value) {
  uint64_t bits = 0;
  std::memcpy(&bits, &value, sizeof bits);
  std::ostringstream text;
  text << std::uppercase << std::hex;
  text.width(16);
  text.fill('0');
  text << bits;
  return text.str() + "\n";
}

TEST_F(Inspect, JsonOfShowTreeAndExportFollowsTheSchemasAndAgrees) {
  const json tasks = Document("show gear.db --format json", "discrete-tasks");
  const json task = Document("show gear.db 1 --format json", "discrete-task");
  const json tree = Document("tree gear.db --format json", "discrete-tree");
  const json exported = Document("export gear.db", "discrete-export");
  EXPECT_EQ(tasks["schema"], "discrete-tasks");
  ASSERT_EQ(tree["searches"].size(), 1u);
  const json& search = tree["searches"][0];
  EXPECT_EQ(search["nodes"].size(), tasks["tasks"].size());
  EXPECT_EQ(search["nodes"][0]["task"], 1);
  EXPECT_EQ(search["nodes"][0]["parent"], nullptr);
  EXPECT_EQ(task["records"][0]["record"], "CTask");
  EXPECT_EQ(task["records"][0]["fields"]["m_strName"], "gear_train");
  const json& result = task["records"][1];
  ASSERT_EQ(result["record"], "CResult");
  // One value, four ways: show, tree, export (through the views), the record.
  EXPECT_EQ(tasks["tasks"][0]["objective"], result["fields"]["m_dBestObj"]);
  EXPECT_EQ(search["nodes"][0]["objective"], result["fields"]["m_dBestObj"]);
  EXPECT_EQ(exported["results"][0]["objective"], result["fields"]["m_dBestObj"]);
  EXPECT_EQ(exported["results"][0]["max_constraint"], result["fields"]["m_dBestMaxCon"]);
  // The search task's design: four integer variables, the tooth counts.
  EXPECT_EQ(exported["designs"][0]["name"], "Td");
  EXPECT_EQ(exported["designs"][0]["kind"], "integer");
  EXPECT_EQ(exported["designs"][3]["name"], "Tf");
  // Its value is that of the point the best iteration names.
  json pointId, values;
  for (const json& record : task["records"]) {
    if (record["record"] == "CIter" &&
        record["key"]["m_nIter"] == result["fields"]["m_nBestIter"] &&
        record["key"]["m_nSubIter"] == result["fields"]["m_nBestSubIter"])
      pointId = record["fields"]["m_nPointID"];
    if (record["record"] == "CDPoint" && record["key"]["m_nPointID"] == pointId)
      values = record["fields"]["m_vaValues"];
  }
  ASSERT_EQ(values.size(), 4u);
  EXPECT_EQ(exported["designs"][3]["value"].get<double>(), values[3].get<double>());
}

TEST_F(Inspect, ViewsGiveSqlite3TheStoredDoublesBitForBit) {
  // Values no search writes, put into the results of tasks 2 to 7.
  const double values[] = {-1234.5678901234567,
                           4.9406564584124654e-324,
                           2.2250738585072e-308,
                           1.7976931348623157e308,
                           -0.0,
                           std::numeric_limits<double>::infinity()};
  OpenTaskDatabase((folder / "gear.db").string());
  for (int i = 0; i < 6; ++i) {
    CResult result(GetPOD());
    result.m_nTaskID = i + 2;
    ASSERT_TRUE(result.GetObject());
    result.m_dBestObj = values[i];
    result.PutObject();
  }
  CTask task(GetPOD());
  task.m_nTaskID = 2;
  ASSERT_TRUE(task.GetObject());
  task.m_strName = "beam, \"IPE\"\nrow";
  task.PutObject();
  CResult nan(GetPOD());
  nan.m_nTaskID = 1;
  ASSERT_TRUE(nan.GetObject());
  nan.m_dBestMaxCon = std::nan("");
  nan.PutObject();
  CloseTaskDatabase();

  for (int i = 0; i < 6; ++i) {
    const int taskId = i + 2;
    EXPECT_EQ(Sqlite("SELECT hex(ieee754_to_blob(objective)) FROM results WHERE task = " +
                     std::to_string(taskId)),
              Bits(values[i]))
        << values[i];
    // show prints each number so that it reads back to the same double.
    const CProgramRun show = Run("show gear.db " + std::to_string(taskId));
    const size_t at = show.output.find("m_dBestObj = ");
    ASSERT_NE(at, std::string::npos);
    EXPECT_EQ(Bits(std::strtod(show.output.c_str() + at + 13, nullptr)), Bits(values[i]));
  }
  EXPECT_EQ(Sqlite("SELECT max_constraint IS NULL FROM results WHERE task = 1"), "1\n");
  EXPECT_EQ(Sqlite("SELECT name FROM tasks WHERE task = 2"), "beam, \"IPE\"\nrow\n");

  // CSV quotes the name and writes the non-finite values as documented.
  const CProgramRun csv = Run("export gear.db --format csv --table results");
  EXPECT_EQ(csv.exitCode, 0) << csv.errors;
  EXPECT_THAT(csv.output, HasSubstr(",,1,0,solved: feasible,"));  // NaN: an empty field
  EXPECT_THAT(csv.output, HasSubstr("\r\n7,inf,"));
  EXPECT_THAT(csv.output, HasSubstr("\r\n6,-0,"));
  EXPECT_THAT(csv.output, HasSubstr("\r\n3,5e-324,"));
  EXPECT_THAT(csv.output, HasSubstr("\r\n5,1.7976931348623157e+308,"));
  const CProgramRun names = Run("export gear.db --format csv --table tasks");
  EXPECT_THAT(names.output, HasSubstr("\r\n2,subtask,1,0,\"beam, \"\"IPE\"\"\nrow\",slsqp,"));
}

TEST_F(Inspect, ExportWritesAFolderNeverOverwritesAndServesDatabasesWithoutViews) {
  EXPECT_EQ(Run("export gear.db --format csv").exitCode, 2);  // every table needs a folder
  const CProgramRun all = Run("export gear.db --format csv --output tables");
  EXPECT_EQ(all.exitCode, 0) << all.errors;
  for (const char* table : {"tasks", "results", "designs", "evaluations"})
    EXPECT_TRUE(fs::exists(folder / "tables" / (std::string(table) + ".csv"))) << table;
  EXPECT_EQ(ReadFile(folder / "tables/evaluations.csv").substr(0, 20), "id,task,analysis,att");
  const CProgramRun again = Run("export gear.db --format csv --output tables");
  EXPECT_EQ(again.exitCode, 2);
  EXPECT_THAT(again.errors, HasSubstr("tasks.csv exists already"));

  // A database written before the views: export and show still read it,
  // without writing to it; --views stores them.
  Sqlite("DROP VIEW tasks; DROP VIEW results; DROP VIEW designs");
  const auto before = fs::last_write_time(folder / "gear.db");
  const CProgramRun json = Run("export gear.db --table results --output results.json");
  EXPECT_EQ(json.exitCode, 0) << json.errors;
  EXPECT_EQ(fs::last_write_time(folder / "gear.db"), before);
  EXPECT_EQ(Sqlite("SELECT count(*) FROM sqlite_master WHERE type = 'view'"), "0\n");
  EXPECT_EQ(Run("export gear.db --views --table tasks").exitCode, 0);
  EXPECT_EQ(Sqlite("SELECT count(*) FROM sqlite_master WHERE type = 'view'"), "3\n");
  EXPECT_EQ(Sqlite("SELECT count(*) FROM results"), "9\n");
  EXPECT_EQ(Sqlite("SELECT count(*) FROM designs"), "36\n");  // 4 variables each
}

}  // namespace
