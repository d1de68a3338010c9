// The JSON object of a failed run, for every subcommand, against the keys
// that docs/cli.md lists for it.
#include <map>
#include <sstream>

#include "CliRun.h"

namespace tavric {
namespace {

using testing::ReadFileBytes;
using testing::RunCli;
using testing::TempDir;
using testing::WriteFileBytes;

using Keys = std::vector<std::string>;

// The table of docs/cli.md whose header starts "| subcommand | keys of the
// JSON object of a failed run": per subcommand, the keys in their order.
std::map<std::string, Keys> DocumentedFailureKeys() {
  std::istringstream page(ReadFileBytes(testing::SourceFile("docs/cli.md")));
  std::map<std::string, Keys> table;
  bool inside = false;
  for (std::string line; std::getline(page, line);) {
    const auto start = line.find_first_not_of(' ');
    if (start == std::string::npos || line[start] != '|') {
      if (inside) break;
      continue;
    }
    line.erase(0, start);
    if (line.rfind("| subcommand | keys of the JSON object of a failed run", 0) == 0) {
      inside = true;
      continue;
    }
    if (!inside || line.rfind("|---", 0) == 0) continue;
    // | `name` | `key`, `key`, ... |
    std::vector<std::string> cells;
    std::string cell;
    std::istringstream row(line.substr(1));
    while (std::getline(row, cell, '|')) cells.push_back(cell);
    if (cells.size() < 2) continue;
    auto words = [](const std::string& text) {
      Keys out;
      std::string word;
      for (char c : text + ",") {
        if (c == ',') {
          if (!word.empty()) out.push_back(word);
          word.clear();
        } else if (c != '`' && c != ' ') {
          word += c;
        }
      }
      return out;
    };
    table[words(cells[0]).at(0)] = words(cells[1]);
  }
  return table;
}

// Keys in the order the tool printed them.
using OrderedJson = nlohmann::ordered_json;

Keys KeysOf(const OrderedJson& object) {
  Keys keys;
  for (const auto& [key, value] : object.items()) keys.push_back(key);
  return keys;
}

// The failure text of a failed run's object: its "result", or, after a
// result of "OK", calibrate's "save_error" or check's failed "fit".
std::string FailureText(const OrderedJson& j) {
  if (j.value("result", "") != "OK") return j.value("result", "");
  if (j.contains("save_error") && j["save_error"].is_string()) return j["save_error"];
  if (j.contains("fit") && j["fit"].is_object()) return j["fit"].value("result", "");
  return "OK";
}

class FailureJson : public ::testing::Test {
 protected:
  void SetUp() override {
    documented_ = DocumentedFailureKeys();
    WriteFileBytes(dir_.File("notes.txt"), "nothing to calibrate here\r\n");
    WriteFileBytes(dir_.File("empty.cal"), "");
    WriteFileBytes(dir_.File("three.txt"),
                   "DATA START\r\nP,Q,R,X,Y,Z\r\n0,0,0,1,0,0\r\n0,0,0,0,1,0\r\n0,0,0,0,0,1\r\n"
                   "DATA END\r\n");
  }

  // A calibration of the bundled example.
  std::string GoodCalibration() {
    const std::string file = dir_.File("good.cal");
    EXPECT_EQ(RunCli({"calibrate", testing::Example("sphere-scan-marked.txt"), "-o", file}).status,
              0);
    return file;
  }

  // Runs `tavric subcommand args... --json`, which must fail with status 1
  // and print one object with the documented keys in their order, whose
  // failure text is the one written on standard error.
  OrderedJson ExpectDocumentedFailure(const std::string& subcommand,
                                      std::vector<std::string> args) {
    args.insert(args.begin(), subcommand);
    args.push_back("--json");
    const auto r = RunCli(args);
    EXPECT_EQ(r.status, 1) << r.err;
    const OrderedJson j = OrderedJson::parse(r.out, nullptr, false);
    EXPECT_TRUE(j.is_object()) << r.out;
    const auto documented = documented_.find(subcommand);
    if (documented == documented_.end()) {
      ADD_FAILURE() << "docs/cli.md lists no keys for a failed " << subcommand;
      return j;
    }
    EXPECT_EQ(KeysOf(j), documented->second) << r.out;
    const std::string text = FailureText(j);
    EXPECT_NE(text, "OK");
    EXPECT_EQ(r.err.rfind(text + "\n", 0), 0u) << "standard error: " << r.err;
    return j;
  }

  TempDir dir_;
  std::map<std::string, Keys> documented_;
};

TEST_F(FailureJson, TheDocsListTheKeysOfEverySubcommandThatCanFail) {
  Keys subcommands;
  for (const auto& [subcommand, keys] : documented_) subcommands.push_back(subcommand);
  EXPECT_EQ(subcommands, (Keys{"calibrate", "check", "show", "simulate", "transform", "verify"}));
}

TEST_F(FailureJson, CalibrateOfDataInNeitherLayout) {
  EXPECT_EQ(ExpectDocumentedFailure("calibrate", {dir_.File("notes.txt")})["result"],
            "No Data identified.");
}

TEST_F(FailureJson, CalibrateThatCannotSaveItsFile) {
  const auto j = ExpectDocumentedFailure(
      "calibrate", {testing::Example("sphere-scan-marked.txt"), "-o", dir_.File("no/dir/a.cal")});
  EXPECT_EQ(j["samples"], 4000);
}

TEST_F(FailureJson, CheckOfAnUnreadableFile) {
  const auto j = ExpectDocumentedFailure("check", {dir_.File("notes.txt")});
  EXPECT_EQ(j["result"], "No Data identified.");
  EXPECT_EQ(j["accepted"], false);
}

TEST_F(FailureJson, CheckWhoseSphereFitFailsHasNoSphereOrScans) {
  const auto j = ExpectDocumentedFailure("check", {dir_.File("three.txt")});
  EXPECT_EQ(j["result"], "OK");
  EXPECT_EQ(j["sphere_result"], "Sphere fit failure : Initial parameter computation");
  EXPECT_EQ(j["samples"], 3);
  for (const char* key : {"sphere", "scans", "planes", "bidirectional_planes"})
    EXPECT_TRUE(j[key].is_null()) << key << ": " << j[key];
  EXPECT_EQ(j["fit"]["error_code"], "sphere-fit-failed");
}

TEST_F(FailureJson, ShowOfAFileThatIsNoCalibration) {
  const auto j = ExpectDocumentedFailure("show", {dir_.File("empty.cal")});
  EXPECT_EQ(j["input"], dir_.File("empty.cal"));
}

TEST_F(FailureJson, TransformWithAFileThatIsNoCalibration) {
  ExpectDocumentedFailure("transform", {dir_.File("empty.cal"), "1", "2", "3"});
}

TEST_F(FailureJson, TransformOfALineThatIsNoReading) {
  WriteFileBytes(dir_.File("readings.txt"), "1,2\n");
  const std::string calibration = GoodCalibration();
  const auto j =
      ExpectDocumentedFailure("transform", {calibration, "-i", dir_.File("readings.txt")});
  EXPECT_EQ(j["input"], dir_.File("readings.txt"));
}

TEST_F(FailureJson, TransformOfDataInNeitherLayout) {
  ExpectDocumentedFailure("transform", {GoodCalibration(), "--data", dir_.File("notes.txt")});
}

TEST_F(FailureJson, VerifyWithAFileThatIsNoCalibration) {
  ExpectDocumentedFailure(
      "verify", {dir_.File("empty.cal"), "--truth", testing::Example("sphere-scan-truth.json")});
}

TEST_F(FailureJson, VerifyWithATruthFileThatIsNone) {
  const auto j =
      ExpectDocumentedFailure("verify", {GoodCalibration(), "--truth", dir_.File("notes.txt")});
  EXPECT_EQ(j["command"], "verify");
}

TEST_F(FailureJson, SimulateThatCannotWriteItsFile) {
  const auto j = ExpectDocumentedFailure("simulate", {"-o", dir_.File("no/dir/a.txt")});
  EXPECT_EQ(j["output"], dir_.File("no/dir/a.txt"));
}

}  // namespace
}  // namespace tavric
