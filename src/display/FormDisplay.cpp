// Placeholder: the display model is being written; every update does nothing.
#include "display/FormDisplay.h"

#include <memory>

#include "interface/ProjectState.h"

namespace tavric {

FormDisplay::FormDisplay() = default;
void FormDisplay::INITDisplay() {}
void FormDisplay::ProgressCaption(Int16) {}
void FormDisplay::UpdateSphereParam(ClsSphere&) {}
void FormDisplay::UpdateSphereStable(bool) {}
void FormDisplay::UpdateConvergence(bool) {}
void FormDisplay::UpdateMatrixStable(bool) {}
void FormDisplay::UpdateGradientStable(bool) {}
void FormDisplay::UpdateRMSMinMax(double, double, double) {}
void FormDisplay::UpdateFirstOrder(Polynome3Variables&) {}
void FormDisplay::UpdateNbIter(Byte) {}
void FormDisplay::UpdateNbPts(Byte, Int16) {}
void FormDisplay::SetStepCaption(const std::string&) {}
void FormDisplay::ShowModal(const std::function<void()>& on_first_focus) { on_first_focus(); }
void FormDisplay::Yield() {}

FormDisplay& StateForm() {
  auto& form = State().form;
  if (!form) form = std::make_shared<FormDisplay>();
  return *form;
}

}  // namespace tavric
