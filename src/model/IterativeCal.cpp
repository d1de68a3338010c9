#include "model/IterativeCal.h"

#include <algorithm>
#include <cmath>

#include "display/FormDisplay.h"
#include "geometry/Matrix33.h"
#include "interface/ProjectState.h"
#include "model/ModelKernels.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/CheckedMath.h"
#include "runtime/ErrorTrap.h"
#include "sphere/ClsSphere.h"

namespace tavric {
IterativeCal::IterativeCal() : lm_(std::make_unique<Levenberg_Marquardt>(*this)) {}

IterativeCal::~IterativeCal() = default;

std::string IterativeCal::INIT(const Array2<double>& Data, Byte Order, Matrix33& M0,
                               const Array1<double>& Offsets) {
  try {
    // 1. The working polynomial for the order.
    poly_ = std::make_shared<Polynome3Variables>();
    Byte order = Order;
    poly_->INIT(order);

    // 2. First-order terms from the starting matrix, column by column.
    const Int16 powers[3][3] = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
    for (Byte c = 1; c <= 3; ++c) {
      Byte r1 = 1, r2 = 2, r3 = 3, col = c;
      const auto triple = CoefficientTriple(M0.Mij(r1, col) * 1000.0, M0.Mij(r2, col) * 1000.0,
                                            M0.Mij(r3, col) * 1000.0);
      fp::Check();
      const auto& p = powers[c - 1];
      poly_->TheCoeff(p[0], p[1], p[2], triple);
    }

    // 3. Samples, readings array and a copy of the data.
    const Int32 lower1 = Data.LBound(1);
    const Int32 lower2 = Data.LBound(2);
    samples_ = Narrow<Int16>(Data.UBound(2) - lower2 + 1);
    readings_.ReDim(1, 3, 1, samples_);
    data_ = Data;

    // 4. Offset-corrected readings in thousands of counts.
    const double o1 = Offsets(1), o2 = Offsets(2), o3 = Offsets(3);
    Data.CheckRange(lower1, lower1 + 5, lower2, lower2 + samples_ - 1);
    for (Int32 k = 1; k <= samples_; ++k) {
      const Int32 col = lower2 + k - 1;
      readings_.Unchecked(1, k) = (o1 + fp::RequireFinite(Data.Unchecked(lower1, col))) / 1000.0;
      readings_.Unchecked(2, k) =
          (o2 + fp::RequireFinite(Data.Unchecked(lower1 + 1, col))) / 1000.0;
      readings_.Unchecked(3, k) =
          (o3 + fp::RequireFinite(Data.Unchecked(lower1 + 2, col))) / 1000.0;
      for (Int32 f = 3; f <= 5; ++f) fp::RequireFinite(Data.Unchecked(lower1 + f, col));
    }
    fp::Check();

    // 5. Work arrays and the parameter count.
    work_.ReDim(1, 4, 1, samples_);
    const Int16 n = poly_->Number_of_coeff();
    const std::optional<double>& held = State().held_radius;
    sphere_params_ = held ? 3 : 4;
    held_radius_ = held ? fp::RequireFinite(*held) : 0.0;
    m_ = CheckedAdd<Int16>(sphere_params_, CheckedMul<Int16>(3, static_cast<Int16>(n - 1)));
    powers_.ReDim(1, n);
    table_ = Table::kNotBuilt;
    initialised_ = true;
    return "OK";
  } catch (...) {
    return TrapText("Iterate INIT error n°", CurrentErrorInfo(), " : ");
  }
}

Array1<double> IterativeCal::Pack() {
  ClsSphere& sphere = StateSphere();
  Polynome3Variables& poly = Deref(poly_);
  Array1<double> X(1, m_);
  const ClsVector& centre = Deref(sphere.Pt());
  X(1) = centre.C1();
  X(2) = centre.C2();
  X(3) = centre.C3();
  if (!RadiusHeld()) X(4) = sphere.R();
  const Int16 base = sphere_params_;
  const Int16 n = poly.Number_of_coeff();
  for (Int16 i = 1; i <= n - 1; ++i) {
    const Array1<double> t = poly.theCoeff_i(static_cast<Int16>(i + 1));
    X(base + i) = t(1);
    X(base + i + (n - 1)) = t(2);
    X(base + i + 2 * (n - 1)) = t(3);
  }
  return X;
}

void IterativeCal::Unpack(const Array1<double>& X) {
  ClsSphere& sphere = StateSphere();
  Polynome3Variables& poly = Deref(poly_);
  ClsVector& centre = Deref(sphere.Pt());
  centre.C1(X(1));
  centre.C2(X(2));
  centre.C3(X(3));
  sphere.R(RadiusHeld() ? held_radius_ : X(4));
  const Int16 base = sphere_params_;
  const Int16 n = poly.Number_of_coeff();
  for (Int16 i = 1; i <= n - 1; ++i)
    poly.theCoeff_i(static_cast<Int16>(i + 1), CoefficientTriple(X(base + i), X(base + i + (n - 1)),
                                                                 X(base + i + 2 * (n - 1))));
  if (State().progress_display) {
    FormDisplay& form = StateForm();
    form.UpdateFirstOrder(poly);
    form.UpdateSphereParam(sphere);
  }
}

// Residuals: for each sample the deflected point (machine position plus the
// polynomial's deflection at the sample's readings) minus the centre gives
// w1..w3, its length w4, and the residual w4 - radius. w1..w4 are kept for
// the Jacobian of the same point.
void IterativeCal::Getfi(Int16& which, Array1<double>& X) {
  Unpack(X);
  if (!residuals_.Allocated() || residuals_.LBound() != 1 || residuals_.UBound() != samples_)
    residuals_.ReDim(1, samples_);
  if (!ResidualsFast()) ResidualsReference(residuals_);
  if (which == 0) {
    lm_->Exchangefi(residuals_);
  } else {
    lm_->Exchangefip1(residuals_);
  }
}

void IterativeCal::ResidualsReference(Array1<double>& f) {
  const ClsSphere& sphere = StateSphere();
  const ClsVector& centre = *StateSphere().Pt();
  const double c1 = centre.C1(), c2 = centre.C2(), c3 = centre.C3();
  const double radius = sphere.R();
  const Polynome3Variables& poly = *poly_;

  const Int32 lower1 = data_.LBound(1);
  const Int32 lower2 = data_.LBound(2);
  f.CheckRange(1, samples_);
  for (Int32 k = 1; k <= samples_; ++k) {
    double dx, dy, dz;
    poly.Value(readings_.Unchecked(1, k), readings_.Unchecked(2, k), readings_.Unchecked(3, k), dx,
               dy, dz);
    const Int32 col = lower2 + k - 1;
    const double w1 = dx + data_.Unchecked(lower1 + 3, col) - c1;
    const double w2 = dy + data_.Unchecked(lower1 + 4, col) - c2;
    const double w3 = dz + data_.Unchecked(lower1 + 5, col) - c3;
    const double w4 = fp::Sqr(w1 * w1 + w2 * w2 + w3 * w3);
    work_.Unchecked(1, k) = w1;
    work_.Unchecked(2, k) = w2;
    work_.Unchecked(3, k) = w3;
    work_.Unchecked(4, k) = w4;
    f.Unchecked(k) = w4 - radius;
  }
  fp::Check();
}

bool IterativeCal::MonomialTable() {
  if (table_ != Table::kNotBuilt) return table_ == Table::kBuilt;
  const Polynome3Variables& poly = *poly_;
  const auto terms = static_cast<std::size_t>(poly.TermCount());
  const auto n = static_cast<std::size_t>(samples_);
  monomials_.resize(terms * n);
  for (Int32 k = 1; k <= samples_; ++k)
    poly.Monomials(readings_.Unchecked(1, k), readings_.Unchecked(2, k), readings_.Unchecked(3, k),
                   monomials_.data() + terms * static_cast<std::size_t>(k - 1));
  if (fp::FaultPending()) {
    fp::ClearFaults();
    table_ = Table::kOverflows;
    simd::AlignedVector<double>().swap(monomials_);
    return false;
  }
  // The readings and the machine positions, one array per field.
  columns_.resize(6 * n);
  const Int32 lower1 = data_.LBound(1);
  const Int32 lower2 = data_.LBound(2);
  for (std::size_t k = 0; k < n; ++k) {
    const auto sample = static_cast<Int32>(k) + 1;
    for (Int32 field = 0; field < 3; ++field) {
      columns_[static_cast<std::size_t>(field) * n + k] = readings_.Unchecked(field + 1, sample);
      columns_[static_cast<std::size_t>(field + 3) * n + k] =
          data_.Unchecked(lower1 + 3 + field, lower2 + sample - 1);
    }
  }
  table_ = Table::kBuilt;
  return true;
}

bool IterativeCal::ResidualsFast() {
  if (samples_ < 1 || fp::FaultPending() || !MonomialTable()) return false;
  const Polynome3Variables& poly = *poly_;
  const Array2<double>& table = poly.CoeffTable();
  const Int32 terms = poly.TermCount();
  table.CheckRange(1, 3, 1, terms);
  coefficients_.resize(4 * static_cast<std::size_t>(terms));
  for (Int32 t = 1; t <= terms; ++t) {
    double* c = coefficients_.data() + 4 * static_cast<std::size_t>(t - 1);
    for (Int32 axis = 1; axis <= 3; ++axis) c[axis - 1] = table.Unchecked(axis, t);
    c[3] = 0.0;
  }
  ClsSphere& sphere = StateSphere();
  const ClsVector& centre = Deref(sphere.Pt());
  kernels::ResidualInputs in;
  in.order = poly.Order();
  in.coefficients = coefficients_.data();
  const auto n = static_cast<std::size_t>(samples_);
  in.p = columns_.data();
  in.q = in.p + n;
  in.r = in.q + n;
  in.x = in.r + n;
  in.y = in.x + n;
  in.z = in.y + n;
  in.centre[0] = centre.C1();
  in.centre[1] = centre.C2();
  in.centre[2] = centre.C3();
  in.radius = sphere.R();
  in.count = samples_;
  kernels::Residuals(simd::Active(), in, work_.Data(), residuals_.Data());
  if (fp::FaultPending()) {
    fp::ClearFaults();
    return false;
  }
  return true;
}

// Analytic Jacobian at the point of the last Getfi: the derivative of the
// residual with respect to the centre is minus the unit vector w/w4, with
// respect to the radius -1, and with respect to coefficient t of an axis the
// unit vector's component on that axis times the term's monomial value.
void IterativeCal::GetJacobian() {
  const Polynome3Variables& poly = *poly_;
  const Int16 n = poly.Number_of_coeff();
  Array2<double> J(1, m_, 1, samples_);
  const std::size_t m = static_cast<std::size_t>(m_);
  const std::size_t terms = static_cast<std::size_t>(n - 1);
  // Rows before the coefficients: the centre, and the radius unless held.
  const std::size_t first = static_cast<std::size_t>(sphere_params_) - 1;
  double* column = J.Data();
  for (Int32 k = 1; k <= samples_; ++k, column += m) {
    poly.PowerInto(readings_.Unchecked(1, k), readings_.Unchecked(2, k), readings_.Unchecked(3, k),
                   powers_);
    const double w4 = work_.Unchecked(4, k);
    const double j1 = -work_.Unchecked(1, k) / w4;
    const double j2 = -work_.Unchecked(2, k) / w4;
    const double j3 = -work_.Unchecked(3, k) / w4;
    column[0] = j1;
    column[1] = j2;
    column[2] = j3;
    if (!RadiusHeld()) column[3] = -1.0;
    const double* value = &powers_.Unchecked(1);
    for (std::size_t t = 1; t <= terms; ++t) {
      const double v = value[t];  // monomial of term t + 1
      column[first + t] = -j1 * v;
      column[first + terms + t] = -j2 * v;
      column[first + 2 * terms + t] = -j3 * v;
    }
  }
  fp::Check();
  lm_->Jacobian(std::move(J));
}

bool IterativeCal::FormNormalEquations(const Array1<double>& f, Array2<double>& A,
                                       Array1<double>& g) {
  if (table_ != Table::kBuilt || samples_ < 1 || fp::FaultPending() || !f.Allocated() ||
      f.LBound() != 1 || f.UBound() != samples_)
    return false;
  const simd::Isa isa = simd::Active();
  const Int32 terms = Deref(poly_).TermCount();
  normal_.Start(m_, isa);
  const double* monomials = monomials_.data();
  const double* work = work_.Data();
  const auto block = static_cast<std::size_t>(NormalEquations::kBlock);
  // The kernel asks for each sample's data one block ahead, so that it loads
  // while the block before is summed.
  const double* end = monomials + static_cast<std::size_t>(samples_) * terms;
  for (Int32 first = 0; first < samples_; first += NormalEquations::kBlock) {
    const Int32 count = std::min<Int32>(NormalEquations::kBlock, samples_ - first);
    kernels::JacobianColumns(isa, monomials, terms, work, count, !RadiusHeld(), normal_.Column(0),
                             normal_.ColumnStride(), end);
    monomials += block * static_cast<std::size_t>(terms);
    work += 4 * block;
    normal_.Add(count, f.Data() + first);
  }
  if (fp::FaultPending()) {
    fp::ClearFaults();
    return false;
  }
  normal_.Finish(A, g);
  return true;
}

void IterativeCal::NormalEquationsAt(const Array1<double>& f, Array2<double>& A,
                                     Array1<double>& g) {
  if (FormNormalEquations(f, A, g)) return;
  GetJacobian();
  A = NormalMatrixReference(lm_->Jacobian(), m_, samples_);
  g = DescentVectorReference(lm_->Jacobian(), f, m_, samples_);
}

const double* IterativeCal::TableMonomials(Int32 k) const {
  if (table_ != Table::kBuilt || k < 1 || k > samples_) return nullptr;
  return monomials_.data() + static_cast<std::size_t>(Deref(poly_).TermCount()) * (k - 1);
}

std::array<double, 3> IterativeCal::OutwardNormal(Int32 k) const {
  work_.CheckRange(1, 4, k, k);
  const double w4 = work_.Unchecked(4, k);
  // Negated Jacobian entries, formed as GetJacobian forms them.
  const double j1 = -work_.Unchecked(1, k) / w4;
  const double j2 = -work_.Unchecked(2, k) / w4;
  const double j3 = -work_.Unchecked(3, k) / w4;
  return {-j1, -j2, -j3};
}

// Stability tests: every sphere step below ConvergenceSphereValue, every
// polynomial step below ConvergencePolyParamValue x 1000 (the model's
// coefficients are in thousands of counts), the gradient norm below
// ConvergenceGradientNormValue. All comparisons are strict.
void IterativeCal::GetTol(Array1<double>& Dx, double& GradientNorm) {
  const ProjectState& s = State();
  bool sphere_stable = true;
  bool poly_stable = true;
  for (Int32 i = 1; i <= sphere_params_; ++i)
    if (std::fabs(Dx(i)) >= s.ConvergenceSphereValue) sphere_stable = false;
  const double poly_threshold = s.ConvergencePolyParamValue * 1000.0;
  for (Int32 i = sphere_params_ + 1; i <= m_; ++i)
    if (std::fabs(Dx(i)) >= poly_threshold) poly_stable = false;
  fp::Check();
  lm_->SmalldX(sphere_stable && poly_stable);
  lm_->SmallGradient(std::fabs(GradientNorm) < s.ConvergenceGradientNormValue);
  if (s.progress_display) {
    FormDisplay& form = StateForm();
    form.UpdateSphereStable(sphere_stable);
    form.UpdateMatrixStable(poly_stable);
    form.UpdateGradientStable(lm_->SmallGradient());
  }
}

std::string IterativeCal::Iterate() {
  if (!initialised_) return "Iterate error : initialisation not done.";
  try {
    Array1<double> X = Pack();
    return lm_->Optimize(X);
  } catch (...) {
    return TrapText("Iterate error n°", CurrentErrorInfo(), " : ");
  }
}

}  // namespace tavric
