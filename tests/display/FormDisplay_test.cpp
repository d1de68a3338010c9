#include "display/FormDisplay.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "geometry/ClsVector.h"
#include "interface/ProjectState.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/DoEvents.h"
#include "sphere/ClsSphere.h"
#include "tavric/HeadlessProgressView.h"

namespace tavric {
namespace {

using Call = HeadlessProgressView::Call;

const std::string kPrefix = "Levenberg-Marquardt : \n";

// Every test talks to a fresh form through a headless view installed on this
// thread, and leaves the thread with its default view and no DoEvents hook.
class FormDisplayTest : public ::testing::Test {
 protected:
  void SetUp() override {
    view_ = std::make_shared<HeadlessProgressView>();
    SetProgressView(view_);
    SetDoEventsHook({});
  }
  void TearDown() override {
    SetProgressView(nullptr);
    SetDoEventsHook({});
  }

  FormDisplay form_;
  std::shared_ptr<HeadlessProgressView> view_;
};

Array1<double> Triple(double x, double y, double z) {
  Array1<double> t(1, 3);
  t(1) = x;
  t(2) = y;
  t(3) = z;
  return t;
}

TEST_F(FormDisplayTest, ANewFormShowsTheDesignedWindow) {
  const ProgressWindowContent& c = form_.Content();
  EXPECT_EQ(c.Caption, "Scanning Probe Calibration display");
  EXPECT_EQ(c.FontName, "MS Sans Serif");
  EXPECT_EQ(c.Frame1, "Iteration");
  EXPECT_EQ(c.Label3, "1");
  EXPECT_EQ(c.Label3FontSize, 18);
  EXPECT_EQ(c.Label4, "RMS error =");
  EXPECT_EQ(c.Label5, "Max error =");
  EXPECT_EQ(c.Label6, "Min error =");
  for (const auto& label : c.Label7) EXPECT_EQ(label, "0.000");
  for (int i = 0; i <= 2; ++i) EXPECT_EQ(c.Label8[i], "µm") << i;
  for (int i = 3; i <= 6; ++i) EXPECT_EQ(c.Label8[i], "mm") << i;
  EXPECT_EQ(c.Frame2, "Interim Sphere Results");
  EXPECT_EQ(c.ChSphereStable.Caption, "Stable");
  EXPECT_EQ(c.Label9[0], "Centre.x =");
  EXPECT_EQ(c.Label9[1], "Centre.y =");
  EXPECT_EQ(c.Label9[2], "Centre.z =");
  EXPECT_EQ(c.Label9[3], "Radius  =");
  EXPECT_EQ(c.Label10[0], "999.9999");
  EXPECT_EQ(c.Label10[1], "9999.9999");
  EXPECT_EQ(c.Label10[2], "999.9999");
  EXPECT_EQ(c.Label10[3], "999.9999");
  EXPECT_EQ(c.Frame3, "Interim first order results ( × 0.0001)");
  EXPECT_EQ(c.ChMatrixStable.Caption, "Stable");
  for (const auto& label : c.Label11) EXPECT_EQ(label, "0.999999");
  EXPECT_EQ(c.Frame4, "Gradient ");
  EXPECT_EQ(c.ChGradStable.Caption, "Stable");
  EXPECT_EQ(c.Frame5, "Convergence");
  EXPECT_EQ(c.ChConvergence.Caption, "Has converged");
  EXPECT_EQ(c.LabStep, "...");
  EXPECT_EQ(c.Label2, "Optimisation on n points");
  for (const auto* box : {&c.ChSphereStable, &c.ChMatrixStable, &c.ChGradStable, &c.ChConvergence})
    EXPECT_EQ(box->Value, 0);
}

TEST_F(FormDisplayTest, ProgressCaptionZeroAndEightShowAnEllipsis) {
  form_.ProgressCaption(5);
  form_.ProgressCaption(0);
  EXPECT_EQ(form_.Content().LabStep, "...");
  form_.ProgressCaption(5);
  form_.ProgressCaption(8);
  EXPECT_EQ(form_.Content().LabStep, "...");
}

TEST_F(FormDisplayTest, ProgressCaptionTwoShowsOnlyThePrefixAndItsLineFeed) {
  form_.ProgressCaption(2);
  EXPECT_EQ(form_.Content().LabStep, "Levenberg-Marquardt : \n");
  EXPECT_EQ(form_.Content().LabStep.back(), '\x0A');
}

TEST_F(FormDisplayTest, ProgressCaptionShowsEveryStage) {
  const std::vector<std::pair<Int16, std::string>> stages = {
      {1, "Computing initial solution"},
      {2, kPrefix},
      {3, kPrefix + "Jacobian matrix computing"},
      {4, kPrefix + "Solving iteration step"},
      {5, kPrefix + "Checking convergence"},
      {6, kPrefix + "Computing System"},
      {7, kPrefix + "Finished"},
  };
  for (const auto& [step, caption] : stages) {
    form_.ProgressCaption(step);
    EXPECT_EQ(form_.Content().LabStep, caption) << step;
  }
}

TEST_F(FormDisplayTest, ProgressCaptionOutsideTheStagesShowsAnEllipsis) {
  for (Int16 step : {Int16{-1}, Int16{9}, std::numeric_limits<Int16>::min(),
                     std::numeric_limits<Int16>::max()}) {
    form_.ProgressCaption(1);
    form_.ProgressCaption(step);
    EXPECT_EQ(form_.Content().LabStep, "...") << step;
  }
}

TEST_F(FormDisplayTest, RmsMaxAndMinAreShownInMicrometresBesideTheirCaptions) {
  form_.UpdateRMSMinMax(0.0012, 0.0001, 0.0034);
  const auto& c = form_.Content();
  // Label7(0) is beside "RMS error =", (1) beside "Max error =", (2) beside
  // "Min error =".
  EXPECT_EQ(c.Label4, "RMS error =");
  EXPECT_EQ(c.Label7[0], "1.20");
  EXPECT_EQ(c.Label5, "Max error =");
  EXPECT_EQ(c.Label7[1], "3.40");
  EXPECT_EQ(c.Label6, "Min error =");
  EXPECT_EQ(c.Label7[2], "0.10");
}

TEST_F(FormDisplayTest, RmsMinMaxRoundsToTwoDecimalsAndKeepsTheSign) {
  form_.UpdateRMSMinMax(0.000004, -0.0123456, 0.25);
  EXPECT_EQ(form_.Content().Label7[0], "0.00");
  EXPECT_EQ(form_.Content().Label7[1], "250.00");
  EXPECT_EQ(form_.Content().Label7[2], "-12.35");
}

TEST_F(FormDisplayTest, NotANumberIsFormattedWithoutAnError) {
  form_.UpdateRMSMinMax(std::numeric_limits<double>::quiet_NaN(), 0.0,
                        std::numeric_limits<double>::infinity());
  EXPECT_FALSE(form_.Content().Label7[0].empty());
  EXPECT_FALSE(form_.Content().Label7[1].empty());
  EXPECT_EQ(form_.Content().Label7[2], "0.00");
  EXPECT_EQ(view_->UpdateCount(), 1);
}

TEST_F(FormDisplayTest, NbPtsNamesTheFirstThreeOrders) {
  form_.UpdateNbPts(1, 1000);
  EXPECT_EQ(form_.Content().Label2, "First order optimisation on 1000 points");
  form_.UpdateNbPts(2, 350);
  EXPECT_EQ(form_.Content().Label2, "Second order optimisation on 350 points");
  form_.UpdateNbPts(3, 7);
  EXPECT_EQ(form_.Content().Label2, "Third order optimisation on 7 points");
}

TEST_F(FormDisplayTest, NbPtsNumbersOtherOrdersWithTh) {
  form_.UpdateNbPts(5, 10);
  EXPECT_EQ(form_.Content().Label2, "5th order optimisation on 10 points");
  form_.UpdateNbPts(4, 120);
  EXPECT_EQ(form_.Content().Label2, "4th order optimisation on 120 points");
  form_.UpdateNbPts(0, 0);
  EXPECT_EQ(form_.Content().Label2, "0th order optimisation on 0 points");
}

TEST_F(FormDisplayTest, NbPtsAndNbIterAcceptEveryValueOfTheirTypes) {
  form_.UpdateNbPts(255, -32768);
  EXPECT_EQ(form_.Content().Label2, "255th order optimisation on -32768 points");
  form_.UpdateNbPts(1, 32767);
  EXPECT_EQ(form_.Content().Label2, "First order optimisation on 32767 points");
  form_.UpdateNbIter(0);
  EXPECT_EQ(form_.Content().Label3, "0");
  form_.UpdateNbIter(255);
  EXPECT_EQ(form_.Content().Label3, "255");
}

TEST_F(FormDisplayTest, SphereParametersAreShownWithFourDecimals) {
  ClsSphere sphere;
  sphere.Pt(NewVector(1.5, -2.0, 0.0));
  sphere.R(12.7);
  form_.UpdateSphereParam(sphere);
  const auto& c = form_.Content();
  EXPECT_EQ(c.Label10[0], "1.5000");
  EXPECT_EQ(c.Label10[1], "-2.0000");
  EXPECT_EQ(c.Label10[2], "0.0000");
  EXPECT_EQ(c.Label10[3], "12.7000");
}

TEST_F(FormDisplayTest, ASphereWithoutCentreShowsTheOrigin) {
  ClsSphere sphere;
  form_.UpdateSphereParam(sphere);
  for (const auto& label : form_.Content().Label10) EXPECT_EQ(label, "0.0000");
}

TEST_F(FormDisplayTest, CheckBoxesFollowTheirFlags) {
  form_.UpdateSphereStable(true);
  form_.UpdateMatrixStable(true);
  form_.UpdateGradientStable(true);
  form_.UpdateConvergence(true);
  const auto& c = form_.Content();
  EXPECT_EQ(c.ChSphereStable.Value, 1);
  EXPECT_EQ(c.ChMatrixStable.Value, 1);
  EXPECT_EQ(c.ChGradStable.Value, 1);
  EXPECT_EQ(c.ChConvergence.Value, 1);
  form_.UpdateMatrixStable(false);
  EXPECT_EQ(c.ChMatrixStable.Value, 0);
  EXPECT_EQ(c.ChSphereStable.Value, 1);
  form_.UpdateSphereStable(false);
  form_.UpdateGradientStable(false);
  form_.UpdateConvergence(false);
  EXPECT_EQ(c.ChSphereStable.Value, 0);
  EXPECT_EQ(c.ChGradStable.Value, 0);
  EXPECT_EQ(c.ChConvergence.Value, 0);
}

TEST_F(FormDisplayTest, FirstOrderCoefficientOfPointNineNineIsShownAsNinePointNine) {
  Polynome3Variables poly;
  poly.TheCoeff(1, 0, 0, Triple(0.99, 0.0, 0.0));
  form_.UpdateFirstOrder(poly);
  EXPECT_EQ(form_.Content().Label11[0], "9.90000");
}

TEST_F(FormDisplayTest, FirstOrderGridHasOneColumnPerInputAndOneRowPerAxis) {
  Polynome3Variables poly;
  poly.TheCoeff(1, 0, 0, Triple(0.01, 0.02, 0.03));  // P
  poly.TheCoeff(0, 1, 0, Triple(0.04, 0.05, 0.06));  // Q
  poly.TheCoeff(0, 0, 1, Triple(0.07, 0.08, 0.09));  // R
  poly.TheCoeff(0, 0, 0, Triple(5.0, 6.0, 7.0));     // the constant term is not shown
  form_.UpdateFirstOrder(poly);
  const std::vector<std::string> expected = {"0.10000", "0.40000", "0.70000",   // X: P Q R
                                             "0.20000", "0.50000", "0.80000",   // Y
                                             "0.30000", "0.60000", "0.90000"};  // Z
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(form_.Content().Label11[i], expected[i]) << i;
}

TEST_F(FormDisplayTest, FirstOrderGridReadsTheLinearTermsOfHigherOrders) {
  Polynome3Variables poly;
  poly.Order(3);
  poly.TheCoeff(0, 1, 0, Triple(-0.123456, 0.0, 1.0));
  poly.TheCoeff(2, 0, 0, Triple(9.0, 9.0, 9.0));
  form_.UpdateFirstOrder(poly);
  const auto& grid = form_.Content().Label11;
  EXPECT_EQ(grid[1], "-1.23456");
  EXPECT_EQ(grid[4], "0.00000");
  EXPECT_EQ(grid[7], "10.00000");
  EXPECT_EQ(grid[0], "0.00000");
}

TEST_F(FormDisplayTest, FirstOrderCoefficientTooLargeToScaleOverflows) {
  Polynome3Variables poly;
  poly.TheCoeff(0, 0, 1, Triple(0.0, std::numeric_limits<double>::max(), 0.0));
  EXPECT_RUNTIME_ERROR(form_.UpdateFirstOrder(poly), 6);
}

TEST_F(FormDisplayTest, InitDisplayClearsThreeCheckBoxesAndTheValuesButNotTheSphereFlag) {
  ClsSphere sphere;
  sphere.R(3.0);
  Polynome3Variables poly;
  form_.UpdateSphereParam(sphere);
  form_.UpdateRMSMinMax(0.001, 0.002, 0.003);
  form_.UpdateFirstOrder(poly);
  form_.UpdateSphereStable(true);
  form_.UpdateMatrixStable(true);
  form_.UpdateGradientStable(true);
  form_.UpdateConvergence(true);
  form_.UpdateNbIter(4);
  form_.UpdateNbPts(2, 99);
  form_.ProgressCaption(5);

  form_.INITDisplay();

  const auto& c = form_.Content();
  EXPECT_EQ(c.ChConvergence.Value, 0);
  EXPECT_EQ(c.ChGradStable.Value, 0);
  EXPECT_EQ(c.ChMatrixStable.Value, 0);
  EXPECT_EQ(c.ChSphereStable.Value, 1);
  for (const auto& label : c.Label10) EXPECT_EQ(label, "");
  for (const auto& label : c.Label7) EXPECT_EQ(label, "");
  for (const auto& label : c.Label11) EXPECT_EQ(label, "");
  // Everything else stays.
  EXPECT_EQ(c.Label3, "4");
  EXPECT_EQ(c.Label2, "Second order optimisation on 99 points");
  EXPECT_EQ(c.LabStep, kPrefix + "Checking convergence");
  EXPECT_EQ(c.Label9[3], "Radius  =");
  EXPECT_EQ(c.Label8[0], "µm");
}

TEST_F(FormDisplayTest, InitDisplayLeavesAnUncheckedSphereFlagUnchecked) {
  form_.INITDisplay();
  EXPECT_EQ(form_.Content().ChSphereStable.Value, 0);
}

TEST_F(FormDisplayTest, InitDisplayYieldsOnlyThroughItsThreeCheckBoxResets) {
  form_.UpdateConvergence(true);
  form_.UpdateGradientStable(true);
  form_.UpdateMatrixStable(true);
  form_.UpdateRMSMinMax(0.001, 0.001, 0.001);
  view_->Clear();

  form_.INITDisplay();

  ASSERT_EQ(view_->UpdateCount(), 3);
  ASSERT_EQ(view_->Contents().size(), 3u);
  const auto& seen = view_->Contents();
  // Convergence, then gradient, then matrix.
  EXPECT_EQ(seen[0].ChConvergence.Value, 0);
  EXPECT_EQ(seen[0].ChGradStable.Value, 1);
  EXPECT_EQ(seen[1].ChGradStable.Value, 0);
  EXPECT_EQ(seen[1].ChMatrixStable.Value, 1);
  EXPECT_EQ(seen[2].ChMatrixStable.Value, 0);
  // The labels are emptied after the last yield: the view has not seen it.
  EXPECT_EQ(seen[2].Label7[0], "1.00");
  EXPECT_EQ(form_.Content().Label7[0], "");
}

TEST_F(FormDisplayTest, EveryOperationExceptInitDisplayYieldsExactlyOnce) {
  ClsSphere sphere;
  Polynome3Variables poly;
  const std::vector<std::pair<const char*, std::function<void()>>> operations = {
      {"ProgressCaption", [&] { form_.ProgressCaption(3); }},
      {"ProgressCaption other", [&] { form_.ProgressCaption(42); }},
      {"UpdateSphereParam", [&] { form_.UpdateSphereParam(sphere); }},
      {"UpdateSphereStable", [&] { form_.UpdateSphereStable(true); }},
      {"UpdateConvergence", [&] { form_.UpdateConvergence(true); }},
      {"UpdateMatrixStable", [&] { form_.UpdateMatrixStable(false); }},
      {"UpdateGradientStable", [&] { form_.UpdateGradientStable(true); }},
      {"UpdateRMSMinMax", [&] { form_.UpdateRMSMinMax(1.0, 2.0, 3.0); }},
      {"UpdateFirstOrder", [&] { form_.UpdateFirstOrder(poly); }},
      {"UpdateNbIter", [&] { form_.UpdateNbIter(7); }},
      {"UpdateNbPts", [&] { form_.UpdateNbPts(9, 1); }},
      {"SetStepCaption", [&] { form_.SetStepCaption("Checking Path"); }},
      {"Yield", [&] { form_.Yield(); }},
  };
  for (const auto& [name, operation] : operations) {
    view_->Clear();
    operation();
    EXPECT_EQ(view_->UpdateCount(), 1) << name;
    EXPECT_EQ(view_->Calls().size(), 1u) << name;
    // The view is handed the content as it stands after the operation.
    ASSERT_EQ(view_->Contents().size(), 1u) << name;
    EXPECT_EQ(view_->Contents()[0], form_.Content()) << name;
  }
}

TEST_F(FormDisplayTest, SetStepCaptionReplacesTheStageCaption) {
  form_.ProgressCaption(1);
  form_.SetStepCaption("Checking Path");
  EXPECT_EQ(form_.Content().LabStep, "Checking Path");
}

TEST_F(FormDisplayTest, UpdatesGoToTheViewInstalledAtTheTimeOfTheCall) {
  auto other = std::make_shared<HeadlessProgressView>();
  form_.UpdateNbIter(1);
  SetProgressView(other);
  form_.UpdateNbIter(2);
  EXPECT_EQ(view_->UpdateCount(), 1);
  ASSERT_EQ(other->UpdateCount(), 1);
  EXPECT_EQ(other->Last().Label3, "2");
}

TEST_F(FormDisplayTest, ShowModalRunsTheCallbackOnceBetweenShowAndClose) {
  int runs = 0;
  form_.ShowModal([&] {
    ++runs;
    EXPECT_TRUE(view_->IsShown());
    EXPECT_EQ(view_->ShowCount(), 1);
    EXPECT_EQ(view_->CloseCount(), 0);
  });
  EXPECT_EQ(runs, 1);
  EXPECT_FALSE(view_->IsShown());
  EXPECT_EQ(view_->CloseCount(), 1);
  EXPECT_EQ(view_->Calls(), (std::vector<Call>{Call::kShow, Call::kClose}));
}

TEST_F(FormDisplayTest, ShowModalShowsTheCurrentContentAndFeedsTheViewMeanwhile) {
  form_.INITDisplay();
  form_.UpdateNbIter(0);
  form_.UpdateNbPts(2, 350);
  view_->Clear();
  form_.ShowModal([&] {
    form_.ProgressCaption(1);
    form_.UpdateNbIter(1);
  });
  ASSERT_EQ(view_->Calls(),
            (std::vector<Call>{Call::kShow, Call::kUpdate, Call::kUpdate, Call::kClose}));
  const auto& shown = view_->Contents()[0];
  EXPECT_EQ(shown.Label2, "Second order optimisation on 350 points");
  EXPECT_EQ(shown.Label3, "0");
  EXPECT_EQ(shown.Label7[0], "");
  EXPECT_EQ(view_->Contents()[2].Label3, "1");
  EXPECT_EQ(view_->Contents()[2].LabStep, "Computing initial solution");
}

TEST_F(FormDisplayTest, DoEventsPumpsTheViewDuringShowModalAndTheHookIsRestoredAfterwards) {
  int host_pumps = 0;
  SetDoEventsHook([&] { ++host_pumps; });
  form_.ShowModal([&] {
    DoEvents();
    DoEvents();
  });
  EXPECT_EQ(view_->PumpCount(), 2);
  EXPECT_EQ(host_pumps, 0);
  DoEvents();
  EXPECT_EQ(host_pumps, 1);
  EXPECT_EQ(view_->PumpCount(), 2);
}

TEST_F(FormDisplayTest, WithoutAnEarlierHookDoEventsDoesNothingAfterShowModal) {
  form_.ShowModal([] { DoEvents(); });
  DoEvents();
  EXPECT_EQ(view_->PumpCount(), 1);
  EXPECT_FALSE(static_cast<bool>(SetDoEventsHook({})));
}

TEST_F(FormDisplayTest, ShowModalClosesAndRestoresTheHookWhenTheCallbackThrows) {
  int host_pumps = 0;
  SetDoEventsHook([&] { ++host_pumps; });
  EXPECT_THROW(form_.ShowModal([] { throw std::runtime_error("failed"); }), std::runtime_error);
  EXPECT_EQ(view_->CloseCount(), 1);
  EXPECT_FALSE(view_->IsShown());
  DoEvents();
  EXPECT_EQ(host_pumps, 1);
  EXPECT_EQ(view_->PumpCount(), 0);
}

// A view with a focus event of its own: it shows the window, and only later
// (here: after two pumped messages) the window is focused and runs the
// calibration.
class FocusEventView : public HeadlessProgressView {
 public:
  void RunModal(const ProgressWindowContent& content,
                const std::function<void()>& on_first_focus) override {
    Show(content);
    PumpMessages();
    PumpMessages();
    focus_events_ = 1;
    on_first_focus();
    Close();
  }
  int focus_events_ = 0;
};

TEST_F(FormDisplayTest, AViewCanTakeOverRunningTheFocusCallback) {
  auto view = std::make_shared<FocusEventView>();
  SetProgressView(view);
  int runs = 0;
  form_.ShowModal([&] {
    ++runs;
    EXPECT_EQ(view->focus_events_, 1);
    EXPECT_EQ(view->PumpCount(), 2);
  });
  EXPECT_EQ(runs, 1);
  EXPECT_EQ(view->Calls(), (std::vector<Call>{Call::kShow, Call::kPumpMessages, Call::kPumpMessages,
                                              Call::kClose}));
}

TEST_F(FormDisplayTest, TheModalViewKeepsTheDisplayEvenIfAnotherViewIsInstalledMeanwhile) {
  auto other = std::make_shared<HeadlessProgressView>();
  form_.ShowModal([&] {
    SetProgressView(other);
    form_.UpdateNbIter(3);
    DoEvents();
  });
  EXPECT_EQ(view_->UpdateCount(), 1);
  EXPECT_EQ(view_->PumpCount(), 1);
  EXPECT_EQ(view_->CloseCount(), 1);
  EXPECT_EQ(other->Calls().size(), 0u);
  // Afterwards the thread's view is used again.
  form_.UpdateNbIter(4);
  EXPECT_EQ(other->UpdateCount(), 1);
}

TEST_F(FormDisplayTest, TheEndOfTheModalDisplayUnloadsTheWindow) {
  form_.UpdateSphereStable(true);
  form_.ShowModal([&] {
    form_.ProgressCaption(7);
    form_.UpdateNbIter(5);
  });
  EXPECT_EQ(form_.Content(), ProgressWindowContent{});
  // The sphere box, which INITDisplay leaves as it is, starts unchecked again.
  form_.INITDisplay();
  EXPECT_EQ(form_.Content().ChSphereStable.Value, 0);
}

TEST_F(FormDisplayTest, TheWindowIsUnloadedAlsoWhenTheCallbackThrows) {
  EXPECT_THROW(form_.ShowModal([&] {
    form_.UpdateNbIter(5);
    throw std::runtime_error("failed");
  }),
               std::runtime_error);
  EXPECT_EQ(form_.Content(), ProgressWindowContent{});
}

TEST_F(FormDisplayTest, StateFormIsCreatedOnceAndKeptInTheProjectState) {
  EXPECT_FALSE(State().form);
  FormDisplay& first = StateForm();
  EXPECT_EQ(State().form.get(), &first);
  first.UpdateNbIter(9);
  EXPECT_EQ(&StateForm(), &first);
  EXPECT_EQ(StateForm().Content().Label3, "9");
  // Creating it does not yield.
  EXPECT_EQ(view_->UpdateCount(), 1);
}

}  // namespace
}  // namespace tavric
