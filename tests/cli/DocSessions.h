// The terminal sessions shown in the documentation: extraction from a
// Markdown page and comparison of their outputs.
//
// A session is a ```text block whose first line starts with "$ ". Each "$ "
// line is a command; the lines up to the next command are what it prints
// (standard output and standard error together). In the shown output a line
// that is only "..." (indentation allowed) stands for any number of lines,
// none included. A block is left out, neither run nor compared, when the last
// non-blank line before its opening fence is an HTML comment that starts with
// "<!-- session not checked" (for output that depends on the machine, such as
// timings); the comment should say why.
#pragma once

#include <algorithm>
#include <sstream>
#include <string>
#include <vector>

namespace tavric::testing {

struct SessionCommand {
  int line = 0;  // line number of the command in the page, from 1
  std::string command;
  std::vector<std::string> output;
};

struct Session {
  int line = 0;  // line number of the opening fence
  bool not_checked = false;
  std::vector<SessionCommand> commands;
};

inline constexpr const char* kSessionNotChecked = "<!-- session not checked";

inline std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

inline std::vector<Session> ExtractSessions(const std::string& markdown) {
  const std::vector<std::string> lines = SplitLines(markdown);
  std::vector<Session> sessions;
  std::string last_text_line;  // the last non-blank line outside blocks
  for (std::size_t i = 0; i < lines.size(); ++i) {
    const std::string& line = lines[i];
    if (line.rfind("```", 0) != 0) {
      if (line.find_first_not_of(" \t") != std::string::npos) last_text_line = line;
      continue;
    }
    // A fenced block: find its end.
    std::size_t end = i + 1;
    while (end < lines.size() && lines[end].rfind("```", 0) != 0) ++end;
    if (line == "```text" && i + 1 < end && lines[i + 1].rfind("$ ", 0) == 0) {
      Session session;
      session.line = static_cast<int>(i) + 1;
      session.not_checked = last_text_line.rfind(kSessionNotChecked, 0) == 0;
      for (std::size_t k = i + 1; k < end; ++k) {
        if (lines[k].rfind("$ ", 0) == 0) {
          session.commands.push_back({static_cast<int>(k) + 1, lines[k].substr(2), {}});
        } else {
          session.commands.back().output.push_back(lines[k]);
        }
      }
      sessions.push_back(session);
    }
    last_text_line.clear();
    i = end;
  }
  return sessions;
}

inline bool IsElision(const std::string& line) {
  const auto first = line.find_first_not_of(' ');
  return first != std::string::npos && line.compare(first, std::string::npos, "...") == 0;
}

// Compares what a page shows with what a command printed, line by line.
// Returns an empty text when they agree (a "..." line matching any run of
// printed lines), otherwise a diff: "-" for a line only shown, "+" for a
// line only printed, " " for a line both have.
inline std::string OutputDiff(const std::vector<std::string>& shown,
                              const std::vector<std::string>& printed) {
  const std::size_t n = shown.size(), m = printed.size();
  // cost[i][j]: the fewest lines left unmatched in aligning shown[i..] with
  // printed[j..].
  std::vector<std::vector<std::size_t>> cost(n + 1, std::vector<std::size_t>(m + 1, 0));
  for (std::size_t i = n + 1; i-- > 0;) {
    for (std::size_t j = m + 1; j-- > 0;) {
      if (i == n) {
        cost[i][j] = m - j;
      } else if (IsElision(shown[i])) {
        cost[i][j] = j == m ? cost[i + 1][j] : std::min(cost[i + 1][j], cost[i][j + 1]);
      } else {
        std::size_t best = cost[i + 1][j] + 1;
        if (j < m) {
          best = std::min(best, cost[i][j + 1] + 1);
          if (shown[i] == printed[j]) best = std::min(best, cost[i + 1][j + 1]);
        }
        cost[i][j] = best;
      }
    }
  }
  if (cost[0][0] == 0) return {};
  std::string diff;
  std::size_t i = 0, j = 0;
  while (i < n || j < m) {
    if (i < n && IsElision(shown[i])) {
      if (j < m && cost[i][j] == cost[i][j + 1]) {
        ++j;  // a line the "..." stands for
      } else {
        diff += " " + shown[i++] + "\n";
      }
    } else if (i < n && j < m && shown[i] == printed[j] && cost[i][j] == cost[i + 1][j + 1]) {
      diff += " " + shown[i++] + "\n";
      ++j;
    } else if (i < n && cost[i][j] == cost[i + 1][j] + 1) {
      diff += "-" + shown[i++] + "\n";
    } else {
      diff += "+" + printed[j++] + "\n";
    }
  }
  return diff;
}

}  // namespace tavric::testing
