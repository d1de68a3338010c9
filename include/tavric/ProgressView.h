// ProgressView: how a host presents the progress window of a calibration run.
//
// The library keeps the window's content (every caption, value label and
// check box, named after the window's controls) in a ProgressWindowContent
// and hands it to the view installed on the calling thread. A view decides
// how to present it: a native window, a panel on a terminal, or nothing at
// all (HeadlessProgressView records what it was given). Without an installed
// view, a thread uses a terminal view that draws on standard error while the
// window is shown.
//
// Texts are UTF-8.
#pragma once

#include <array>
#include <functional>
#include <memory>
#include <string>

namespace tavric {

// A check box: its caption and its value (1 checked, 0 unchecked).
struct ProgressCheckBox {
  std::string Caption;
  int Value = 0;

  bool operator==(const ProgressCheckBox&) const = default;
};

// Everything the progress window shows. The initial values are the window as
// designed: captions, and placeholder texts in the value labels until they
// are first updated.
struct ProgressWindowContent {
  // The window's title and the font of all its text.
  std::string Caption = "Scanning Probe Calibration display";
  std::string FontName = "MS Sans Serif";

  // Iteration and error group.
  std::string Frame1 = "Iteration";
  std::string Label3 = "1";  // the iteration number
  int Label3FontSize = 18;   // points; the other labels use the form's font size
  std::string Label4 = "RMS error =";
  std::string Label5 = "Max error =";
  std::string Label6 = "Min error =";
  // Error values in micrometres: 0 RMS, 1 maximum, 2 minimum.
  std::array<std::string, 3> Label7{"0.000", "0.000", "0.000"};
  // Units: 0..2 beside the error values, 3..6 beside the sphere values.
  std::array<std::string, 7> Label8{"\xC2\xB5m", "\xC2\xB5m", "\xC2\xB5m", "mm", "mm", "mm", "mm"};

  // Reference-sphere group.
  std::string Frame2 = "Interim Sphere Results";
  ProgressCheckBox ChSphereStable{"Stable", 0};
  std::array<std::string, 4> Label9{"Centre.x =", "Centre.y =", "Centre.z =", "Radius  ="};
  // Centre X, Y, Z and radius in millimetres.
  std::array<std::string, 4> Label10{"999.9999", "9999.9999", "999.9999", "999.9999"};

  // First-order terms: a 3x3 grid, index 3 * (row - 1) + column, one row per
  // output axis X, Y, Z and one column per input P, Q, R.
  std::string Frame3 = "Interim first order results ( \xC3\x97 0.0001)";
  ProgressCheckBox ChMatrixStable{"Stable", 0};
  std::array<std::string, 9> Label11{"0.999999", "0.999999", "0.999999", "0.999999", "0.999999",
                                     "0.999999", "0.999999", "0.999999", "0.999999"};

  // Gradient and convergence groups.
  std::string Frame4 = "Gradient ";
  ProgressCheckBox ChGradStable{"Stable", 0};
  std::string Frame5 = "Convergence";
  ProgressCheckBox ChConvergence{"Has converged", 0};

  // The optimiser's current stage (may contain a line feed) and the order and
  // number of points of the fit.
  std::string LabStep = "...";
  std::string Label2 = "Optimisation on n points";

  bool operator==(const ProgressWindowContent&) const = default;
};

// A presentation of the progress window. All calls come from the thread that
// runs the calibration.
class ProgressView {
 public:
  virtual ~ProgressView() = default;

  // The modal display begins with this content.
  virtual void Show(const ProgressWindowContent& content) = 0;
  // The content changed: render it and yield once to the message loop.
  virtual void Update(const ProgressWindowContent& content) = 0;
  // Yields once to the message loop without a change of content (long
  // computations call this to keep the host's user interface responsive).
  virtual void PumpMessages() = 0;
  // The modal display ends.
  virtual void Close() = 0;

  // Runs the modal display: shows the window and runs `on_first_focus` when
  // the window first receives the focus; the callback ends the display. The
  // default calls Show(content), the callback once, then Close() (also when
  // the callback throws). A view with a real focus event overrides this and
  // runs the callback from that event, returning once the window is closed.
  virtual void RunModal(const ProgressWindowContent& content,
                        const std::function<void()>& on_first_focus);
};

// Installs the view used by the progress window of the calling thread's
// calibration state (the state ClsProbeCalibration uses on this thread); an
// empty pointer goes back to the default (a terminal view on standard error).
void SetProgressView(std::shared_ptr<ProgressView> view);

// The view installed for the calling thread's calibration state, or its
// default terminal view when none is installed. Never empty.
std::shared_ptr<ProgressView> CurrentProgressView();

}  // namespace tavric
