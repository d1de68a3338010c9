// TerminalProgressView: the progress window drawn as a compact text panel.
//
// While the window is shown, every change of content is drawn on an output
// stream (standard error by default). On a terminal the panel is redrawn in
// place (cursor up, clear line); on anything else (a log file, a pipe) each
// change that alters the summary gives one line. Nothing is written while the
// window is not shown or when the content did not change, so the many yields
// of a calibration cost next to nothing.
#pragma once

#include <iosfwd>
#include <optional>
#include <string>
#include <vector>

#include "tavric/ProgressView.h"

namespace tavric {

class TerminalProgressView : public ProgressView {
 public:
  // Draws on standard error, in place when it is a terminal (and TERM is not
  // "dumb").
  TerminalProgressView();
  // Draws on `out`; `is_terminal` selects the in-place panel.
  TerminalProgressView(std::ostream& out, bool is_terminal);

  void Show(const ProgressWindowContent& content) override;
  void Update(const ProgressWindowContent& content) override;
  // A terminal has no message loop: nothing to do.
  void PumpMessages() override {}
  void Close() override;

  // The one-line summary written when the output is not a terminal, e.g.
  // "Second order optimisation on 350 points | iter 3 | RMS 1.20 µm Max 3.40
  // Min 0.10 | sphere 1.5000 -2.0000 0.0000 R 12.7000 | sphere stable |
  // Levenberg-Marquardt : Checking convergence".
  static std::string Line(const ProgressWindowContent& content);
  // The lines of the panel drawn on a terminal (each at most kPanelWidth
  // columns wide, so that redrawing in place never meets a wrapped line).
  static std::vector<std::string> Panel(const ProgressWindowContent& content);

  static constexpr std::size_t kPanelWidth = 79;

 private:
  void Render(const ProgressWindowContent& content);

  std::ostream* out_;
  bool is_terminal_;
  bool shown_ = false;
  std::optional<ProgressWindowContent> last_content_;
  std::string last_line_;
  std::size_t drawn_lines_ = 0;
};

}  // namespace tavric
