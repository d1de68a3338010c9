#include "display/TerminalProgressView.h"

#include <gtest/gtest.h>

#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "display/FormDisplay.h"
#include "runtime/DoEvents.h"
#include "sphere/ClsSphere.h"

namespace tavric {
namespace {

// Content with every value of a typical iteration filled in.
ProgressWindowContent Iteration3() {
  ProgressWindowContent c;
  c.Label2 = "Second order optimisation on 350 points";
  c.Label3 = "3";
  c.Label7 = {"1.20", "3.40", "0.10"};
  c.Label10 = {"1.5000", "-2.0000", "0.0000", "12.7000"};
  c.ChSphereStable.Value = 1;
  c.LabStep = "Levenberg-Marquardt : \nChecking convergence";
  return c;
}

std::vector<std::string> SplitLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

std::size_t CodePoints(const std::string& text) {
  std::size_t n = 0;
  for (char ch : text)
    if ((static_cast<unsigned char>(ch) & 0xC0) != 0x80) ++n;
  return n;
}

TEST(TerminalProgressView, LineSummarisesTheWindow) {
  EXPECT_EQ(TerminalProgressView::Line(Iteration3()),
            "Second order optimisation on 350 points | iter 3 | RMS 1.20 µm Max 3.40 Min 0.10 | "
            "sphere 1.5000 -2.0000 0.0000 R 12.7000 | sphere stable | "
            "Levenberg-Marquardt : Checking convergence");
}

TEST(TerminalProgressView, LineShowsEmptyValuesAsDashesAndListsCheckedBoxes) {
  ProgressWindowContent c = Iteration3();
  c.Label7 = {"", "", ""};
  c.Label10 = {"", "", "", ""};
  c.ChSphereStable.Value = 0;
  c.ChMatrixStable.Value = 1;
  c.ChGradStable.Value = 1;
  c.ChConvergence.Value = 1;
  c.LabStep = "Levenberg-Marquardt : \n";
  EXPECT_EQ(TerminalProgressView::Line(c),
            "Second order optimisation on 350 points | iter 3 | RMS - µm Max - Min - | "
            "sphere - - - R - | matrix stable, gradient stable, converged | "
            "Levenberg-Marquardt :");
}

TEST(TerminalProgressView, OffATerminalEachChangedUpdateWritesOneLine) {
  std::ostringstream out;
  TerminalProgressView view(out, false);
  ProgressWindowContent c = Iteration3();
  view.Show(c);
  view.Update(c);  // unchanged: nothing
  c.Label3 = "4";
  view.Update(c);
  view.PumpMessages();
  view.Close();
  const auto lines = SplitLines(out.str());
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0], TerminalProgressView::Line(Iteration3()));
  EXPECT_NE(lines[1].find("| iter 4 |"), std::string::npos) << lines[1];
  EXPECT_EQ(out.str().find('\x1b'), std::string::npos);
}

TEST(TerminalProgressView, OffATerminalAChangeOutsideTheSummaryWritesNothing) {
  std::ostringstream out;
  TerminalProgressView view(out, false);
  ProgressWindowContent c = Iteration3();
  view.Show(c);
  c.Label11[4] = "1.00000";
  view.Update(c);
  EXPECT_EQ(SplitLines(out.str()).size(), 1u);
}

TEST(TerminalProgressView, NothingIsWrittenWhileTheWindowIsNotShown) {
  std::ostringstream out;
  TerminalProgressView view(out, false);
  ProgressWindowContent c = Iteration3();
  view.Update(c);
  view.Show(c);
  view.Close();
  c.Label3 = "9";
  view.Update(c);
  view.PumpMessages();
  EXPECT_EQ(SplitLines(out.str()).size(), 1u);
}

TEST(TerminalProgressView, OnATerminalThePanelIsRedrawnInPlace) {
  std::ostringstream out;
  TerminalProgressView view(out, true);
  ProgressWindowContent c = Iteration3();
  const std::size_t n = TerminalProgressView::Panel(c).size();
  view.Show(c);
  const std::string first = out.str();
  EXPECT_EQ(first.find("\x1b["), first.find("\x1b[2K"));  // no cursor movement yet
  EXPECT_EQ(SplitLines(first).size(), n);

  out.str("");
  view.Update(c);
  EXPECT_EQ(out.str(), "");  // unchanged content: nothing drawn

  c.ChConvergence.Value = 1;
  view.Update(c);
  const std::string second = out.str();
  const std::string up = "\x1b[" + std::to_string(n) + "A";
  ASSERT_EQ(second.rfind(up, 0), 0u) << second;
  const auto lines = SplitLines(second.substr(up.size()));
  ASSERT_EQ(lines.size(), n);
  const auto panel = TerminalProgressView::Panel(c);
  for (std::size_t i = 0; i < n; ++i) EXPECT_EQ(lines[i], "\r\x1b[2K" + panel[i]) << i;
}

TEST(TerminalProgressView, PanelShowsTheWindowsValues) {
  ProgressWindowContent c = Iteration3();
  c.Label11[0] = "9.90000";
  std::string all;
  for (const auto& line : TerminalProgressView::Panel(c)) all += line + "\n";
  for (const char* text : {"Scanning Probe Calibration display", "350 points", "RMS error = 1.20",
                           "Max error = 3.40", "Min error = 0.10", "-2.0000", "12.7000",
                           "[x] Stable", "9.90000", "Has converged", "Checking convergence"})
    EXPECT_NE(all.find(text), std::string::npos) << text << "\n" << all;
}

TEST(TerminalProgressView, PanelLinesNeverWrap) {
  ProgressWindowContent c = Iteration3();
  const std::string huge(320, '9');
  c.Label10 = {huge, huge, huge, huge};
  c.Label7 = {
      huge, "µµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµµ", ""};
  for (auto& label : c.Label11) label = huge;
  for (const auto& line : TerminalProgressView::Panel(c))
    EXPECT_LE(CodePoints(line), TerminalProgressView::kPanelWidth) << line;
}

TEST(TerminalProgressView, DrawsACalibrationShownThroughTheForm) {
  std::ostringstream out;
  auto view = std::make_shared<TerminalProgressView>(out, false);
  SetProgressView(view);
  FormDisplay form;
  form.UpdateNbPts(2, 350);  // not shown yet: nothing written
  EXPECT_EQ(out.str(), "");
  form.ShowModal([&] {
    form.ProgressCaption(1);
    DoEvents();
    ClsSphere sphere;
    sphere.Pt(NewVector(1.5, -2.0, 0.0));
    sphere.R(12.7);
    form.UpdateSphereParam(sphere);
    form.UpdateRMSMinMax(0.0012, 0.0001, 0.0034);
  });
  SetProgressView(nullptr);
  const auto lines = SplitLines(out.str());
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[3],
            "Second order optimisation on 350 points | iter 1 | RMS 1.20 µm Max 3.40 Min 0.10 | "
            "sphere 1.5000 -2.0000 0.0000 R 12.7000 | Computing initial solution");
}

}  // namespace
}  // namespace tavric
