// The terminal sessions of README.md and docs/*.md run with the built tool
// print, byte for byte, what the pages show (see DocSessions.h for the rules
// a page follows).
#include <filesystem>
#include <map>
#include <set>

#include "CliRun.h"
#include "DocSessions.h"

namespace tavric {
namespace {

using testing::ExtractSessions;
using testing::OutputDiff;
using testing::ReadFileBytes;
using testing::Session;
using testing::ShellQuote;
using testing::SplitLines;
using testing::TempDir;

// --- the rules, on small pages ---------------------------------------------------

TEST(DocSessions, ATextBlockStartingWithAPromptIsASessionOfCommandsAndOutputs) {
  const auto sessions = ExtractSessions(
      "Intro\n\n```text\n$ tavric version\nTavric\n$ echo a\na\nb\n```\n\n"
      "```text\nnot a session\n```\n```sh\n$ not a text block\n```\n");
  ASSERT_EQ(sessions.size(), 1u);
  EXPECT_EQ(sessions[0].line, 3);
  EXPECT_FALSE(sessions[0].not_checked);
  ASSERT_EQ(sessions[0].commands.size(), 2u);
  EXPECT_EQ(sessions[0].commands[0].line, 4);
  EXPECT_EQ(sessions[0].commands[0].command, "tavric version");
  EXPECT_EQ(sessions[0].commands[0].output, (std::vector<std::string>{"Tavric"}));
  EXPECT_EQ(sessions[0].commands[1].command, "echo a");
  EXPECT_EQ(sessions[0].commands[1].output, (std::vector<std::string>{"a", "b"}));
}

TEST(DocSessions, ACommentJustBeforeABlockLeavesItUnchecked) {
  const auto sessions = ExtractSessions(
      "<!-- session not checked: timings -->\n\n```text\n$ bench\n1 s\n```\n"
      "<!-- session not checked: only for the block right after it -->\nText.\n\n"
      "```text\n$ tavric version\n```\n");
  ASSERT_EQ(sessions.size(), 2u);
  EXPECT_TRUE(sessions[0].not_checked);
  EXPECT_FALSE(sessions[1].not_checked);
}

TEST(DocSessions, EqualOutputsHaveNoDiff) {
  EXPECT_EQ(OutputDiff({"a", "b"}, {"a", "b"}), "");
  EXPECT_EQ(OutputDiff({}, {}), "");
}

TEST(DocSessions, AnElisionStandsForAnyRunOfLinesNoneIncluded) {
  EXPECT_EQ(OutputDiff({"a", "...", "z"}, {"a", "b", "c", "z"}), "");
  EXPECT_EQ(OutputDiff({"a", "  ...", "z"}, {"a", "z"}), "");
  EXPECT_EQ(OutputDiff({"a", "..."}, {"a", "b"}), "");
  EXPECT_NE(OutputDiff({"a", "...", "z"}, {"a", "b"}), "");
}

TEST(DocSessions, ADifferenceIsShownAsALineDiff) {
  EXPECT_EQ(OutputDiff({"Result : OK", "FitRMS : 0.2201", "Order : 3"},
                       {"Result : OK", "FitRMS : 0.220", "Order : 3"}),
            " Result : OK\n-FitRMS : 0.2201\n+FitRMS : 0.220\n Order : 3\n");
  EXPECT_EQ(OutputDiff({"a", "...", "z"}, {"a", "b", "y"}), " a\n ...\n-z\n");  // y elided
  EXPECT_EQ(OutputDiff({"a"}, {}), "-a\n");
}

// --- the pages ------------------------------------------------------------------

// README.md and every page of docs/, in name order.
std::vector<std::filesystem::path> Pages() {
  std::vector<std::filesystem::path> pages = {testing::SourceFile("README.md")};
  std::vector<std::filesystem::path> docs;
  for (const auto& entry : std::filesystem::directory_iterator(testing::SourceFile("docs"))) {
    if (entry.path().extension() == ".md") docs.push_back(entry.path());
  }
  std::sort(docs.begin(), docs.end());
  pages.insert(pages.end(), docs.begin(), docs.end());
  return pages;
}

// Runs the sessions of one page in order in a fresh folder that holds the
// bundled examples as examples/, with the built tool first on the PATH, as
// a reader would type them in the source tree. Each command sees the exit
// status of the one before it as $?.
class PageRun {
 public:
  PageRun() {
    std::filesystem::create_directory_symlink(TAVRIC_EXAMPLES_DIR, work_.Path() / "examples");
    std::filesystem::create_symlink(TAVRIC_CLI_PATH, bin_.Path() / "tavric");
  }

  // Standard output and standard error of the command, together.
  std::string Run(const std::string& command) {
    const std::string script = "(exit " + std::to_string(status_) + "); " + command;
    const std::string line = "cd " + ShellQuote(work_.Path().string()) +
                             " && PATH=" + ShellQuote(bin_.Path().string()) +
                             ":\"$PATH\" bash -c " + ShellQuote(script) + " > " +
                             ShellQuote(bin_.File("output")) + " 2>&1";
    const int raw = std::system(line.c_str());
    status_ = WIFEXITED(raw) ? WEXITSTATUS(raw) : 128;
    return ReadFileBytes(bin_.File("output"));
  }

 private:
  TempDir work_;
  TempDir bin_;
  int status_ = 0;
};

std::vector<std::string> OutputLines(const std::string& output) {
  std::vector<std::string> lines = SplitLines(output);
  if (!output.empty() && output.back() != '\n') lines.push_back("(no line end after this line)");
  return lines;
}

TEST(DocumentedSessions, EveryCommandShownInTheDocsPrintsWhatThePageShows) {
  std::map<std::string, int> compared;  // commands per page
  for (const std::filesystem::path& page : Pages()) {
    const std::vector<Session> sessions = ExtractSessions(ReadFileBytes(page.string()));
    if (sessions.empty()) continue;
    const std::string name = std::filesystem::relative(page, TAVRIC_SOURCE_DIR).string();
    PageRun run;
    for (const Session& session : sessions) {
      if (session.not_checked) continue;
      for (const auto& command : session.commands) {
        const std::string diff = OutputDiff(command.output, OutputLines(run.Run(command.command)));
        ++compared[name];
        if (!diff.empty()) {
          ADD_FAILURE() << name << ":" << command.line << ": $ " << command.command
                        << "\nprints other lines than the page shows (- page, + printed):\n"
                        << diff
                        << "(mend the page or the tool; for output that depends on the "
                           "machine, put <!-- session not checked: why --> before the block)";
        }
      }
    }
  }
  // The README's tour is a set of sessions: finding none there means the
  // pages and the extraction no longer agree.
  EXPECT_GT(compared["README.md"], 0) << "no session found in README.md";
}

// The C++ programs the README shows are the example programs of
// examples/cpp/, which the build compiles and ctest runs (examples.*): each
// block holds one of those files whole.
TEST(DocumentedPrograms, EveryCppBlockOfTheReadmeIsABuiltExampleProgram) {
  std::map<std::string, std::string> programs;  // content -> file name
  for (const auto& entry :
       std::filesystem::directory_iterator(testing::SourceFile("examples/cpp"))) {
    if (entry.path().extension() == ".cpp")
      programs[ReadFileBytes(entry.path().string())] = entry.path().filename().string();
  }
  const std::string readme = ReadFileBytes(testing::SourceFile("README.md"));
  std::set<std::string> shown;
  const std::string open = "```cpp\n";
  for (auto start = readme.find(open); start != std::string::npos;
       start = readme.find(open, start)) {
    start += open.size();
    const auto end = readme.find("```\n", start);
    ASSERT_NE(end, std::string::npos) << "unterminated cpp block in README.md";
    const std::string block = readme.substr(start, end - start);
    const auto found = programs.find(block);
    EXPECT_NE(found, programs.end()) << "README.md shows a C++ block that is no file of "
                                        "examples/cpp/ (copy it there or mend it):\n"
                                     << block;
    if (found != programs.end()) shown.insert(found->second);
  }
  EXPECT_EQ(shown.size(), programs.size()) << "an example program of examples/cpp/ is not shown";
}

}  // namespace
}  // namespace tavric
