#include "data/ModBiDirDetection.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "TestSupport.h"

namespace tavric {
namespace {

using ModBiDirDetection::ChordStep;
using ModBiDirDetection::DetectBiDirScans;
using ModBiDirDetection::HasOpposite;
using ModBiDirDetection::RemoveSamePlane;

constexpr double kPi = 3.14159265358979;
constexpr double kRadius = 12.5;

struct Dir {
  double x, y, z;
};

const Dir kX{1, 0, 0}, kY{0, 1, 0}, kZ{0, 0, 1};

// A unit direction in the plane of kY and kZ, `deg` degrees from kY towards kZ.
Dir TiltedY(double deg) {
  const double t = deg * kPi / 180.0;
  return {0, std::cos(t), std::sin(t)};
}

// Builds the point sequence of a measurement: arcs of great circles of the
// sphere about (10, -20, 5), radius 12.5.
class Path {
 public:
  // `count` points of the great circle spanned by u and w (at 0 degrees the
  // point is centre + R u, at 90 degrees centre + R w), from `from` to `to`
  // degrees; `to` < `from` travels the circle the other way.
  Path& Arc(Dir u, Dir w, double from, double to, int count = 300) {
    for (int k = 0; k < count; ++k) {
      const double f = count > 1 ? static_cast<double>(k) / (count - 1) : 0.0;
      const double t = (from + (to - from) * f) * kPi / 180.0;
      const double c = std::cos(t), s = std::sin(t);
      pts_.push_back({centre_.x + kRadius * (c * u.x + s * w.x),
                      centre_.y + kRadius * (c * u.y + s * w.y),
                      centre_.z + kRadius * (c * u.z + s * w.z)});
    }
    return *this;
  }
  // Out along 270 degrees of the circle and back again.
  Path& Forward(Dir u, Dir w) { return Arc(u, w, 0, 270); }
  Path& Backward(Dir u, Dir w) { return Arc(u, w, 270, 0); }
  Path& BothWays(Dir u, Dir w) { return Forward(u, w).Backward(u, w); }
  // The probe stands still: the last point again, `count` times.
  Path& Pause(int count) {
    const Dir last = pts_.back();
    for (int k = 0; k < count; ++k) pts_.push_back(last);
    return *this;
  }
  // Points(0 To N) with element 0 left empty.
  Array1<Ref<ClsVector>> Points() const {
    Array1<Ref<ClsVector>> a(0, static_cast<Int32>(pts_.size()));
    for (std::size_t i = 0; i < pts_.size(); ++i)
      a(static_cast<Int32>(i + 1)) = NewVector(pts_[i].x, pts_[i].y, pts_[i].z);
    return a;
  }
  std::size_t Size() const { return pts_.size(); }

 private:
  Dir centre_{10, -20, 5};
  std::vector<Dir> pts_;
};

bool Detect(const Path& path) {
  ClsVector centre(10, -20, 5);
  auto points = path.Points();
  return DetectBiDirScans(centre, points);
}

// ------------------------------------------------------------ ChordStep ---

TEST(ChordStep, IsNRoundedHalfToEvenOver200) {
  EXPECT_EQ(ChordStep(199), 1);   // 0.995
  EXPECT_EQ(ChordStep(300), 2);   // 1.5
  EXPECT_EQ(ChordStep(500), 2);   // 2.5
  EXPECT_EQ(ChordStep(700), 4);   // 3.5
  EXPECT_EQ(ChordStep(900), 4);   // 4.5
  EXPECT_EQ(ChordStep(1100), 6);  // 5.5
  EXPECT_EQ(ChordStep(1800), 9);
}

TEST(ChordStep, AStrideOfZeroBecomesOne) {
  EXPECT_EQ(ChordStep(100), 1);  // 0.5 rounds to 0
  EXPECT_EQ(ChordStep(99), 1);
  EXPECT_EQ(ChordStep(1), 1);
  EXPECT_EQ(ChordStep(0), 1);
}

// ----------------------------------------------------- DetectBiDirScans ---

TEST(DetectBiDirScans, ThreePerpendicularCirclesScannedBothWaysPass) {
  Path path;
  path.BothWays(kX, kY).BothWays(kY, kZ).BothWays(kZ, kX);
  ASSERT_EQ(path.Size(), 1800u);
  EXPECT_TRUE(Detect(path));
}

TEST(DetectBiDirScans, TheOrderOfTheScansDoesNotMatter) {
  Path path;
  path.Forward(kX, kY).Forward(kY, kZ).Forward(kZ, kX).Backward(kZ, kX).Backward(kX, kY).Backward(
      kY, kZ);
  EXPECT_TRUE(Detect(path));
}

TEST(CountScanPlanes, ReportsScansPlanesAndBothWayPlanes) {
  Path path;
  path.BothWays(kX, kY).BothWays(kY, kZ).Forward(kZ, kX);
  ClsVector centre(10, -20, 5);
  auto points = path.Points();
  const auto found = ModBiDirDetection::CountScanPlanes(centre, points);
  EXPECT_EQ(found.scans, 5);
  EXPECT_EQ(found.planes, 3);
  EXPECT_EQ(found.bidirectional_planes, 2);
}

TEST(DetectBiDirScans, OneCircleScannedOneWayOnlyFails) {
  Path path;
  path.BothWays(kX, kY).BothWays(kY, kZ).Forward(kZ, kX);
  EXPECT_FALSE(Detect(path));
}

TEST(DetectBiDirScans, TwoScansOfOnePlaneInTheSameSenseDoNotCount) {
  // XY is scanned twice, forwards both times, with another scan in between.
  Path same;
  same.Forward(kX, kY).Forward(kY, kZ).Forward(kX, kY).Backward(kY, kZ).BothWays(kZ, kX);
  EXPECT_FALSE(Detect(same));
  // The same path with the second XY scan reversed.
  Path reversed;
  reversed.Forward(kX, kY).Forward(kY, kZ).Backward(kX, kY).Backward(kY, kZ).BothWays(kZ, kX);
  EXPECT_TRUE(Detect(reversed));
}

TEST(DetectBiDirScans, AnExtraScanInTheSameSenseDoesNotSpoilAPlane) {
  Path path;
  path.BothWays(kX, kY).BothWays(kY, kZ).Forward(kX, kY).BothWays(kZ, kX);
  EXPECT_TRUE(Detect(path));
}

TEST(DetectBiDirScans, APlaneTiltedByLessThan18DegreesIsTheSamePlane) {
  // Forwards on XY, backwards on a plane tilted 10 degrees about X.
  Path path;
  path.Forward(kX, kY).Backward(kX, TiltedY(10)).BothWays(kY, kZ).BothWays(kZ, kX);
  EXPECT_TRUE(Detect(path));
}

TEST(DetectBiDirScans, APlaneTiltedByMoreThan19DegreesIsAnotherPlane) {
  Path path;
  path.Forward(kX, kY).Backward(kX, TiltedY(25)).BothWays(kY, kZ).BothWays(kZ, kX);
  EXPECT_FALSE(Detect(path));
}

TEST(DetectBiDirScans, ASinglePointGivesNoChordAndRaises9) {
  Path path;
  path.Arc(kX, kY, 0, 0, 1);
  ClsVector centre(10, -20, 5);
  auto points = path.Points();
  EXPECT_RUNTIME_ERROR(DetectBiDirScans(centre, points), 9);
}

TEST(DetectBiDirScans, NoPointsRaise9) {
  ClsVector centre(10, -20, 5);
  Array1<Ref<ClsVector>> only_element_zero(0, 0);
  EXPECT_RUNTIME_ERROR(DetectBiDirScans(centre, only_element_zero), 9);
  Array1<Ref<ClsVector>> unallocated;
  EXPECT_RUNTIME_ERROR(DetectBiDirScans(centre, unallocated), 9);
}

TEST(DetectBiDirScans, TwoPointsGiveOneChord) {
  Path path;
  path.Arc(kX, kY, 0, 10, 2);
  EXPECT_FALSE(Detect(path));
}

TEST(DetectBiDirScans, AProbeStandingStillAtTheStartOfAScanTerminatesAndCountsThePlanes) {
  // Repeated points give zero chord normals, each a group of its own.
  Path path;
  path.Arc(kX, kY, 0, 0, 1).Pause(60);
  path.BothWays(kX, kY).BothWays(kY, kZ).BothWays(kZ, kX);
  EXPECT_TRUE(Detect(path));

  Path two_planes;
  two_planes.Arc(kX, kY, 0, 0, 1).Pause(60);
  two_planes.BothWays(kX, kY).BothWays(kY, kZ).Forward(kZ, kX);
  EXPECT_FALSE(Detect(two_planes));
}

TEST(DetectBiDirScans, PausesBetweenAndWithinScansAreHarmless) {
  Path path;
  path.Forward(kX, kY).Pause(40).Backward(kX, kY).Pause(40).Forward(kY, kZ).Pause(25);
  path.Arc(kY, kZ, 270, 135, 150).Pause(30).Arc(kY, kZ, 135, 0, 150);
  path.BothWays(kZ, kX).Pause(100);
  EXPECT_TRUE(Detect(path));
}

TEST(DetectBiDirScans, OnlyStandingStillGivesFalse) {
  Path path;
  path.Arc(kX, kY, 0, 0, 1).Pause(500);
  EXPECT_FALSE(Detect(path));
}

TEST(DetectBiDirScans, ChordsAcrossADiameterGiveZeroNormalsAndTerminate) {
  // Both ends of every chord are seen in parallel directions from the centre.
  Path path;
  path.Arc(kX, kY, 0, 0, 1).Arc(kX, kY, 180, 180, 1).Arc(kX, kY, 0, 0, 1).Arc(kX, kY, 180, 180, 1);
  EXPECT_FALSE(Detect(path));
}

TEST(DetectBiDirScans, APointAtTheCentreGivesAZeroNormal) {
  Array1<Ref<ClsVector>> points(0, 3);
  points(1) = NewVector(10, -20, 5);
  points(2) = NewVector(22.5, -20, 5);
  points(3) = NewVector(10, -7.5, 5);
  ClsVector centre(10, -20, 5);
  EXPECT_FALSE(DetectBiDirScans(centre, points));
}

TEST(DetectBiDirScans, AnEmptyPointReferenceRaises91) {
  Path path;
  path.BothWays(kX, kY);
  auto points = path.Points();
  points(10).reset();
  ClsVector centre(10, -20, 5);
  EXPECT_RUNTIME_ERROR(DetectBiDirScans(centre, points), 91);
}

TEST(DetectBiDirScans, LeavesThePointsAndTheCentreUnchanged) {
  Path path;
  path.BothWays(kX, kY).BothWays(kY, kZ).BothWays(kZ, kX);
  auto points = path.Points();
  const auto before = path.Points();
  ClsVector centre(10, -20, 5);
  DetectBiDirScans(centre, points);
  EXPECT_EQ(centre.C1(), 10);
  EXPECT_EQ(centre.C2(), -20);
  EXPECT_EQ(centre.C3(), 5);
  for (Int32 i = 1; i <= points.UBound(); ++i) {
    EXPECT_EQ(points(i)->C1(), before(i)->C1());
    EXPECT_EQ(points(i)->C2(), before(i)->C2());
    EXPECT_EQ(points(i)->C3(), before(i)->C3());
  }
}

// --------------------------------------------- HasOpposite, RemoveSamePlane ---

OrderedCollection<Ref<ClsVector>> Normals(std::initializer_list<Dir> dirs) {
  OrderedCollection<Ref<ClsVector>> c;
  for (const Dir& d : dirs) c.Add(NewVector(d.x, d.y, d.z));
  return c;
}

// A unit normal `deg` degrees from kZ, tilted towards kY.
Dir FromZ(double deg) {
  const double t = deg * kPi / 180.0;
  return {0, std::sin(t), std::cos(t)};
}

TEST(HasOpposite, FindsANormalOfTheOtherSense) {
  ClsVector v(0, 0, 1);
  auto normals = Normals({kZ, kX, {0, 0, -1}});
  EXPECT_TRUE(HasOpposite(v, normals));
  auto tilted = Normals({{0, -FromZ(10).y, -FromZ(10).z}});
  EXPECT_TRUE(HasOpposite(v, tilted));
}

TEST(HasOpposite, FalseWithoutOneAndForAnEmptyCollection) {
  ClsVector v(0, 0, 1);
  auto normals = Normals({kZ, kX, kY, {0, -FromZ(25).y, -FromZ(25).z}});
  EXPECT_FALSE(HasOpposite(v, normals));
  OrderedCollection<Ref<ClsVector>> empty;
  EXPECT_FALSE(HasOpposite(v, empty));
  ClsVector zero;
  auto opposite = Normals({{0, 0, -1}});
  EXPECT_FALSE(HasOpposite(zero, opposite));
}

TEST(HasOpposite, TheLimitIsStrict) {
  ClsVector v(1, 0, 0);
  auto at_limit = Normals({{-0.95, std::sqrt(1 - 0.95 * 0.95), 0}});
  EXPECT_FALSE(HasOpposite(v, at_limit));
  auto beyond = Normals({{-0.9500001, std::sqrt(1 - 0.9500001 * 0.9500001), 0}});
  EXPECT_TRUE(HasOpposite(v, beyond));
}

TEST(RemoveSamePlane, RemovesBothSensesOfThePlaneAndKeepsTheOthersInOrder) {
  ClsVector v(0, 0, 1);
  auto normals = Normals({kZ, {0, 0, -1}, kX, kZ, kZ, kY, {0, 0, -1}});
  RemoveSamePlane(v, normals);
  ASSERT_EQ(normals.Count(), 2);
  EXPECT_EQ(normals.Item(1)->C1(), 1);
  EXPECT_EQ(normals.Item(2)->C2(), 1);
}

TEST(RemoveSamePlane, RemovesPlanesWithinAbout18Degrees) {
  ClsVector v(0, 0, 1);
  auto normals = Normals({FromZ(15), FromZ(18), FromZ(18.5), FromZ(20), FromZ(170), FromZ(165)});
  RemoveSamePlane(v, normals);
  ASSERT_EQ(normals.Count(), 2);
  EXPECT_NEAR(normals.Item(1)->C3(), std::cos(18.5 * kPi / 180.0), 1e-15);
  EXPECT_NEAR(normals.Item(2)->C3(), std::cos(20 * kPi / 180.0), 1e-15);
}

TEST(RemoveSamePlane, TheLimitIsStrict) {
  ClsVector v(1, 0, 0);
  auto normals = Normals({{0.95, std::sqrt(1 - 0.95 * 0.95), 0}, {-0.95, 0, 0}});
  RemoveSamePlane(v, normals);
  EXPECT_EQ(normals.Count(), 2);
}

TEST(RemoveSamePlane, CanEmptyTheCollection) {
  ClsVector v(0, 1, 0);
  auto normals = Normals({kY, {0, -1, 0}, kY});
  RemoveSamePlane(v, normals);
  EXPECT_EQ(normals.Count(), 0);
}

TEST(RemoveSamePlane, AZeroVectorRemovesNothing) {
  ClsVector zero;
  auto normals = Normals({{0, 0, 0}, kX, kY});
  RemoveSamePlane(zero, normals);
  EXPECT_EQ(normals.Count(), 3);
}

TEST(RemoveSamePlane, AnEmptyCollectionRaises9) {
  ClsVector v(0, 0, 1);
  OrderedCollection<Ref<ClsVector>> empty;
  EXPECT_RUNTIME_ERROR(RemoveSamePlane(v, empty), 9);
}

}  // namespace
}  // namespace tavric
