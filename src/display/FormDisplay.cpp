#include "display/FormDisplay.h"

#include <memory>
#include <string>
#include <utility>

#include "geometry/ClsVector.h"
#include "interface/ProjectState.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/CheckedMath.h"
#include "runtime/DoEvents.h"
#include "runtime/NumberText.h"
#include "sphere/ClsSphere.h"

namespace tavric {
namespace {

// A value scaled for display; an overflow of the product raises 6 like any
// other arithmetic of the library.
double Scaled(double value, double factor) {
  const double scaled = value * factor;
  fp::Check();
  return scaled;
}

}  // namespace

FormDisplay::FormDisplay() = default;

void FormDisplay::INITDisplay() {
  UpdateConvergence(false);
  UpdateGradientStable(false);
  UpdateMatrixStable(false);
  // The sphere check box keeps its state on purpose: only the value labels
  // are emptied. No yield of its own: the three updates above yielded.
  for (auto& label : content_.Label10) label.clear();
  for (auto& label : content_.Label7) label.clear();
  for (auto& label : content_.Label11) label.clear();
}

void FormDisplay::ProgressCaption(Int16 Step) {
  const std::string prefix = std::string("Levenberg-Marquardt : ") + '\n';
  switch (Step) {
    case 1:
      content_.LabStep = "Computing initial solution";
      break;
    case 2:
      content_.LabStep = prefix;
      break;
    case 3:
      content_.LabStep = prefix + "Jacobian matrix computing";
      break;
    case 4:
      content_.LabStep = prefix + "Solving iteration step";
      break;
    case 5:
      content_.LabStep = prefix + "Checking convergence";
      break;
    case 6:
      content_.LabStep = prefix + "Computing System";
      break;
    case 7:
      content_.LabStep = prefix + "Finished";
      break;
    default:
      content_.LabStep = "...";
      break;
  }
  Yield();
}

void FormDisplay::UpdateSphereParam(ClsSphere& S) {
  const Ref<ClsVector>& centre = S.Pt();
  content_.Label10[0] = FormatFixed(centre->C1(), 4);
  content_.Label10[1] = FormatFixed(centre->C2(), 4);
  content_.Label10[2] = FormatFixed(centre->C3(), 4);
  content_.Label10[3] = FormatFixed(S.R(), 4);
  Yield();
}

void FormDisplay::UpdateSphereStable(bool stable) { SetCheckBox(content_.ChSphereStable, stable); }
void FormDisplay::UpdateConvergence(bool converged) {
  SetCheckBox(content_.ChConvergence, converged);
}
void FormDisplay::UpdateMatrixStable(bool stable) { SetCheckBox(content_.ChMatrixStable, stable); }
void FormDisplay::UpdateGradientStable(bool stable) { SetCheckBox(content_.ChGradStable, stable); }

void FormDisplay::UpdateRMSMinMax(double rms, double min, double max) {
  // Millimetres shown in micrometres; the maximum is shown above the minimum.
  content_.Label7[0] = FormatFixed(Scaled(rms, 1000.0), 2);
  content_.Label7[1] = FormatFixed(Scaled(max, 1000.0), 2);
  content_.Label7[2] = FormatFixed(Scaled(min, 1000.0), 2);
  Yield();
}

void FormDisplay::UpdateFirstOrder(Polynome3Variables& poly) {
  // The model works in thousands of counts; the grid shows units of 0.0001.
  const double factor = 10000.0 / 1000.0;
  // Column c is the input term P, Q, R; row r the output axis X, Y, Z.
  for (Int16 c = 0; c <= 2; ++c) {
    const Array1<double> triple = poly.TheCoeff(
        static_cast<Int16>(c == 0), static_cast<Int16>(c == 1), static_cast<Int16>(c == 2));
    for (Int32 r = 1; r <= 3; ++r)
      content_.Label11[static_cast<std::size_t>(3 * (r - 1) + c)] =
          FormatFixed(Scaled(triple(r), factor), 5);
  }
  Yield();
}

void FormDisplay::UpdateNbIter(Byte NbIter) {
  content_.Label3 = std::to_string(NbIter);
  Yield();
}

void FormDisplay::UpdateNbPts(Byte Order, Int16 NbPts) {
  const std::string points = " order optimisation on " + std::to_string(NbPts) + " points";
  switch (Order) {
    case 1:
      content_.Label2 = "First" + points;
      break;
    case 2:
      content_.Label2 = "Second" + points;
      break;
    case 3:
      content_.Label2 = "Third" + points;
      break;
    default:
      content_.Label2 = std::to_string(Order) + "th" + points;
      break;
  }
  Yield();
}

void FormDisplay::SetStepCaption(const std::string& caption) {
  content_.LabStep = caption;
  Yield();
}

void FormDisplay::ShowModal(const std::function<void()>& on_first_focus) {
  std::shared_ptr<ProgressView> view = CurrentProgressView();
  ProgressView* pump = view.get();

  // Puts back the DoEvents hook and the form's view however the display ends,
  // and unloads the window: its next use starts from the designed window.
  struct Restore {
    FormDisplay& form;
    std::shared_ptr<ProgressView> previous_view;
    std::function<void()> previous_hook;
    ~Restore() {
      SetDoEventsHook(std::move(previous_hook));
      form.modal_view_ = std::move(previous_view);
      form.content_ = ProgressWindowContent{};
    }
  } restore{*this, std::exchange(modal_view_, view), {}};
  restore.previous_hook = SetDoEventsHook([pump] { pump->PumpMessages(); });

  view->RunModal(content_, on_first_focus);
}

void FormDisplay::Yield() {
  // Held for the call, so a view that replaces itself meanwhile stays alive.
  const std::shared_ptr<ProgressView> view = View();
  view->Update(content_);
}

void FormDisplay::SetCheckBox(ProgressCheckBox& box, bool checked) {
  box.Value = checked ? 1 : 0;
  Yield();
}

std::shared_ptr<ProgressView> FormDisplay::View() const {
  return modal_view_ ? modal_view_ : CurrentProgressView();
}

FormDisplay& StateForm() {
  auto& form = State().form;
  if (!form) form = std::make_shared<FormDisplay>();
  return *form;
}

}  // namespace tavric
