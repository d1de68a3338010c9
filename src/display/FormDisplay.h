// FormDisplay: the progress display of a calibration run.
//
// FormDisplay is the display model: it holds everything the progress window
// shows (title, captions, value labels, check boxes) and implements the update
// operations the optimiser and the calibration model call. A view
// (tavric/ProgressView.h) renders that content; "yield to the window-message
// loop" is a call to the view: every update operation except INITDisplay ends
// with exactly one ProgressView::Update. The view is the one installed on the
// calling thread at the time of the call (during ShowModal, the view that
// shows the window).
// There is one form per thread (ProjectState::form), created on first use.
#pragma once

#include <functional>
#include <memory>
#include <string>

#include "runtime/Narrow.h"
#include "tavric/ProgressView.h"

namespace tavric {

class ClsSphere;
class Polynome3Variables;

class FormDisplay {
 public:
  FormDisplay();

  // Resets the convergence, gradient and matrix check boxes and empties the
  // sphere, error and first-order value labels (the sphere check box is left
  // as it was).
  void INITDisplay();
  // The optimiser's stage: 1 "Computing initial solution", 2..7 the
  // Levenberg-Marquardt stages, anything else "...".
  void ProgressCaption(Int16 Step);
  // Centre X, Y, Z and radius, "#0.0000" (millimetres).
  void UpdateSphereParam(ClsSphere& S);
  void UpdateSphereStable(bool stable);
  void UpdateConvergence(bool converged);
  void UpdateMatrixStable(bool stable);
  void UpdateGradientStable(bool stable);
  // Errors in millimetres, shown in micrometres "#0.00": RMS, then the
  // maximum (third argument) and the minimum (second argument).
  void UpdateRMSMinMax(double rms, double min, double max);
  // The first-order coefficients (x 10) as a 3x3 grid, "#0.00000".
  void UpdateFirstOrder(Polynome3Variables& poly);
  void UpdateNbIter(Byte NbIter);
  void UpdateNbPts(Byte Order, Int16 NbPts);
  // Sets the stage caption directly (the calibration procedure's
  // "Checking Path") and yields once, which shows it.
  void SetStepCaption(const std::string& caption);

  // Shows the form modally: `on_first_focus` runs when the window first
  // receives the focus, and the modal display ends when it returns (the form
  // unloads itself: afterwards its content is the designed window again).
  // The view runs the display (ProgressView::RunModal); meanwhile DoEvents()
  // pumps the view's messages, and the previous DoEvents hook is back in
  // place afterwards, also when the callback throws.
  void ShowModal(const std::function<void()>& on_first_focus);

  // Yields once to the view's message loop, handing it the current content.
  void Yield();

  // Everything the window shows now.
  const ProgressWindowContent& Content() const noexcept { return content_; }

 private:
  void SetCheckBox(ProgressCheckBox& box, bool checked);
  std::shared_ptr<ProgressView> View() const;

  ProgressWindowContent content_;
  // The view running the modal display, while ShowModal runs.
  std::shared_ptr<ProgressView> modal_view_;
};

}  // namespace tavric
