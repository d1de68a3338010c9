#include "display/TerminalProgressView.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <ostream>

#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

namespace tavric {
namespace {

bool StderrIsTerminal() {
#ifdef _WIN32
  const bool tty = _isatty(_fileno(stderr)) != 0;
#else
  const bool tty = isatty(fileno(stderr)) != 0;
#endif
  if (!tty) return false;
  const char* term = std::getenv("TERM");
  return term == nullptr || std::strcmp(term, "dumb") != 0;
}

// A value label as shown in the summary: "-" while it is empty.
std::string Value(const std::string& text) { return text.empty() ? "-" : text; }

// The stage caption on one line: the line feed after the prefix is dropped,
// trailing blanks too.
std::string Step(const std::string& caption) {
  std::string out;
  for (char ch : caption)
    if (ch != '\n' && ch != '\r') out += ch;
  while (!out.empty() && out.back() == ' ') out.pop_back();
  return out;
}

std::string Trimmed(std::string text) {
  while (!text.empty() && text.back() == ' ') text.pop_back();
  return text;
}

std::string Box(const ProgressCheckBox& box) {
  return std::string(box.Value != 0 ? "[x] " : "[ ] ") + box.Caption;
}

// Cuts a UTF-8 line to `width` code points.
std::string Fit(const std::string& line, std::size_t width) {
  std::size_t columns = 0;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const auto byte = static_cast<unsigned char>(line[i]);
    if ((byte & 0xC0) != 0x80) {
      if (columns == width) return line.substr(0, i);
      ++columns;
    }
  }
  return line;
}

}  // namespace

TerminalProgressView::TerminalProgressView()
    : TerminalProgressView(std::cerr, StderrIsTerminal()) {}

TerminalProgressView::TerminalProgressView(std::ostream& out, bool is_terminal)
    : out_(&out), is_terminal_(is_terminal) {}

void TerminalProgressView::Show(const ProgressWindowContent& content) {
  shown_ = true;
  last_content_.reset();
  last_line_.clear();
  drawn_lines_ = 0;
  Render(content);
}

void TerminalProgressView::Update(const ProgressWindowContent& content) {
  if (shown_) Render(content);
}

void TerminalProgressView::Close() {
  // The last panel or line stays where it is; the next one starts afresh.
  shown_ = false;
  last_content_.reset();
  drawn_lines_ = 0;
}

void TerminalProgressView::Render(const ProgressWindowContent& content) {
  if (last_content_ && *last_content_ == content) return;
  last_content_ = content;
  if (is_terminal_) {
    const auto lines = Panel(content);
    std::ostream& out = *out_;
    // Back to the first line of the previous panel, then overwrite each line.
    if (drawn_lines_ > 0) out << "\x1b[" << drawn_lines_ << 'A';
    for (const auto& line : lines) out << "\r\x1b[2K" << line << '\n';
    drawn_lines_ = lines.size();
    out.flush();
  } else {
    std::string line = Line(content);
    if (line == last_line_) return;
    *out_ << line << '\n';
    out_->flush();
    last_line_ = std::move(line);
  }
}

std::string TerminalProgressView::Line(const ProgressWindowContent& c) {
  std::string line = c.Label2;
  line += " | iter " + Value(c.Label3);
  line += " | RMS " + Value(c.Label7[0]) + " " + c.Label8[0];
  line += " Max " + Value(c.Label7[1]) + " Min " + Value(c.Label7[2]);
  line += " | sphere " + Value(c.Label10[0]) + " " + Value(c.Label10[1]) + " " +
          Value(c.Label10[2]) + " R " + Value(c.Label10[3]);
  std::string flags;
  auto flag = [&flags](const ProgressCheckBox& box, const char* name) {
    if (box.Value == 0) return;
    if (!flags.empty()) flags += ", ";
    flags += name;
  };
  flag(c.ChSphereStable, "sphere stable");
  flag(c.ChMatrixStable, "matrix stable");
  flag(c.ChGradStable, "gradient stable");
  flag(c.ChConvergence, "converged");
  if (!flags.empty()) line += " | " + flags;
  line += " | " + Step(c.LabStep);
  return line;
}

std::vector<std::string> TerminalProgressView::Panel(const ProgressWindowContent& c) {
  std::vector<std::string> lines;
  lines.push_back(c.Caption + " - " + c.Label2);
  lines.push_back(" " + Trimmed(c.Frame1) + " " + Value(c.Label3) + "   " + c.Label4 + " " +
                  Value(c.Label7[0]) + "   " + c.Label5 + " " + Value(c.Label7[1]) + "   " +
                  c.Label6 + " " + Value(c.Label7[2]) + " " + c.Label8[0]);
  lines.push_back(" " + Trimmed(c.Frame2) + "  " + Box(c.ChSphereStable));
  lines.push_back("   Centre " + Value(c.Label10[0]) + ", " + Value(c.Label10[1]) + ", " +
                  Value(c.Label10[2]) + "   Radius " + Value(c.Label10[3]) + " " + c.Label8[3]);
  lines.push_back(" " + Trimmed(c.Frame3) + "  " + Box(c.ChMatrixStable));
  static constexpr const char* kAxes[3] = {"X", "Y", "Z"};
  for (std::size_t row = 0; row < 3; ++row) {
    std::string text = "   ";
    text += kAxes[row];
    text += ":";
    for (std::size_t col = 0; col < 3; ++col) {
      const std::string value = Value(c.Label11[3 * row + col]);
      text += std::string(value.size() < 12 ? 12 - value.size() : 1, ' ') + value;
    }
    lines.push_back(text);
  }
  lines.push_back(" " + Trimmed(c.Frame4) + " " + Box(c.ChGradStable) + "   " + Trimmed(c.Frame5) +
                  " " + Box(c.ChConvergence));
  lines.push_back(" " + Step(c.LabStep));
  for (auto& line : lines) line = Fit(line, kPanelWidth);
  return lines;
}

}  // namespace tavric
