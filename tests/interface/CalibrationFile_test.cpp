#include <gtest/gtest.h>

#include "TestSupport.h"
#include "interface/ProjectState.h"
#include "sphere/ClsSphere.h"
#include "tavric/ClsProbeCalibration.h"

namespace tavric {
namespace {

using testing::ReadFileBytes;
using testing::TempDir;
using testing::WriteFileBytes;

const char* const kHead =
    "\"TAVRIC\"\r\n"
    "\"SCANNING PROBE CALIBRATION FUNCTIONS\"\r\n"
    "\"TAVRIC METROLOGY SOFTWARE\"\r\n"
    "\"SPHERE :\"\r\n"
    "\"X\",\"Y\",\"Z\",\"R\"\r\n";

void SetSphere(double x, double y, double z, double r) {
  ClsSphere& s = StateSphere();
  s.Pt()->C1(x);
  s.Pt()->C2(y);
  s.Pt()->C3(z);
  s.R(r);
}

TEST(CalibrationFile, SavingBeforeAnyCalibrationWritesAZeroSphereAndStatistics) {
  TempDir dir;
  ClsProbeCalibration cal;
  const std::string path = dir.File("fresh.cal");
  ASSERT_EQ(cal.SaveCalibrationFunctions(path), "OK");
  EXPECT_EQ(ReadFileBytes(path),
            std::string(kHead) +
                "0,0,0,0\r\n"
                "\"RMS\",\"MIN\",\"MAX\"\r\n"
                "0,0,0\r\n"
                "\"POLYNOMIAL CALIBRATION PARAMETERS\"\r\n"
                "\"POLYNOMIAL ORDER\"\r\n"
                "1\r\n"
                "\"PROBE OFFSETS P Q R IN COUNTS\"\r\n"
                "0,0,0\r\n"
                "\"P power\",\"Q power\",\"R power\",\"X parameter\",\"Y parameter\","
                "\" Z parameter\"\r\n"
                "0,0,0,0,0,0\r\n"
                "0,0,1,0,0,0\r\n"
                "0,1,0,0,0,0\r\n"
                "1,0,0,0,0,0\r\n");
}

TEST(CalibrationFile, AHandCheckedCalibrationIsWrittenRecordByRecord) {
  TempDir dir;
  ClsProbeCalibration cal;
  SetSphere(150.25, -80.0, 0.000012, 12.7);
  State().FitRMS = 0.00015;
  State().FitMin = -0.0004;
  State().FitMax = 1.0 / 3.0;
  cal.LetProbeOffsets(10.0, -20.5, 0.0);
  cal.SetPolyParameters(0, 0, 1, 0.0, 0.0, 6.25e-5);
  cal.SetPolyParameters(0, 1, 0, 1.5e-7, 6.15834180863661E-05, 0.0);
  cal.SetPolyParameters(1, 0, 0, 6.4e-5, -2e-20, 0.5);
  const std::string path = dir.File("hand.cal");
  ASSERT_EQ(cal.SaveCalibrationFunctions(path), "OK");
  EXPECT_EQ(ReadFileBytes(path),
            std::string(kHead) +
                "150.25,-80,1.2E-05,12.7\r\n"
                "\"RMS\",\"MIN\",\"MAX\"\r\n"
                "0.00015,-0.0004,0.333333333333333\r\n"
                "\"POLYNOMIAL CALIBRATION PARAMETERS\"\r\n"
                "\"POLYNOMIAL ORDER\"\r\n"
                "1\r\n"
                "\"PROBE OFFSETS P Q R IN COUNTS\"\r\n"
                "10,-20.5,0\r\n"
                "\"P power\",\"Q power\",\"R power\",\"X parameter\",\"Y parameter\","
                "\" Z parameter\"\r\n"
                "0,0,0,-10,20.5,0\r\n"
                "0,0,1,0,0,6.25E-05\r\n"
                "0,1,0,1.5E-07,6.15834180863661E-05,0\r\n"
                "1,0,0,6.4E-05,-2E-20,0.5\r\n");
}

TEST(CalibrationFile, SaveThenLoadRestoresEveryValue) {
  TempDir dir;
  const std::string path = dir.File("round.cal");
  ClsProbeCalibration cal;
  cal.PolynomialOrder(3);
  SetSphere(101.123456789012, -7.5, 33.25, 12.7000000001);
  State().FitRMS = 0.000123456789;
  State().FitMin = -0.0009876;
  State().FitMax = 0.00111;
  int v = 1;
  for (Int16 i = 0; i <= 3; ++i)
    for (Int16 j = 0; i + j <= 3; ++j)
      for (Int16 k = 0; i + j + k <= 3; ++k, ++v)
        cal.SetPolyParameters(i, j, k, v * 1.1e-5, -v / 7.0, v * 3e-13);
  ASSERT_EQ(cal.SaveCalibrationFunctions(path), "OK");

  ClsProbeCalibration fresh;  // empties the polynomial and the statistics
  State().sphere.reset();
  ASSERT_EQ(fresh.LoadCalibrationFunctions(path), "OK");
  EXPECT_EQ(fresh.PolynomialOrder(), 3);
  EXPECT_EQ(fresh.SphereCentre(1), 101.123456789012);
  EXPECT_EQ(fresh.SphereCentre(2), -7.5);
  EXPECT_EQ(fresh.SphereCentre(3), 33.25);
  EXPECT_EQ(fresh.SphereRadius(), 12.7000000001);
  EXPECT_EQ(fresh.FitRMS(), 0.000123456789);
  EXPECT_EQ(fresh.FitMin(), -0.0009876);
  EXPECT_EQ(fresh.FitMax(), 0.00111);
  v = 1;
  for (Int16 i = 0; i <= 3; ++i)
    for (Int16 j = 0; i + j <= 3; ++j)
      for (Int16 k = 0; i + j + k <= 3; ++k, ++v) {
        double x, y, z;
        fresh.GetPolyParameters(i, j, k, x, y, z);
        EXPECT_DOUBLE_EQ(x, v * 1.1e-5);
        EXPECT_NEAR(y, -v / 7.0, 1e-14 * v);
        EXPECT_DOUBLE_EQ(z, v * 3e-13);
      }
}

TEST(CalibrationFile, APolynomialSectionWithoutSphereLeavesSphereAndStatistics) {
  TempDir dir;
  const std::string path = dir.File("poly.cal");
  WriteFileBytes(path,
                 "\"POLYNOMIAL CALIBRATION PARAMETERS\"\r\n\"POLYNOMIAL ORDER\"\r\n1\r\n"
                 "\"PROBE OFFSETS P Q R IN COUNTS\"\r\n0,0,0\r\n"
                 "\"P power\",\"Q power\",\"R power\",\"X parameter\",\"Y parameter\","
                 "\" Z parameter\"\r\n"
                 "0,0,0,0,0,0\r\n0,0,1,0,0,3\r\n0,1,0,0,2,0\r\n1,0,0,1,0,0\r\n");
  ClsProbeCalibration cal;
  SetSphere(1.0, 2.0, 3.0, 4.0);
  State().FitRMS = 0.5;
  ASSERT_EQ(cal.LoadCalibrationFunctions(path), "OK");
  EXPECT_EQ(cal.SphereRadius(), 4.0);
  EXPECT_EQ(cal.SphereCentre(2), 2.0);
  EXPECT_EQ(cal.FitRMS(), 0.5);
  double x, y, z;
  cal.Transform(1.0, 1.0, 1.0, x, y, z);
  EXPECT_EQ(x, 1.0);
  EXPECT_EQ(y, 2.0);
  EXPECT_EQ(z, 3.0);
}

TEST(CalibrationFile, AFileWithoutEitherHeadingChangesNothing) {
  TempDir dir;
  const std::string path = dir.File("other.txt");
  WriteFileBytes(path, "\"SOMETHING ELSE\"\r\n1,2,3\r\n");
  ClsProbeCalibration cal;
  cal.SetPolyParameters(1, 0, 0, 5.0, 5.0, 5.0);
  SetSphere(1.0, 2.0, 3.0, 4.0);
  EXPECT_EQ(cal.LoadCalibrationFunctions(path), "OK");
  double x, y, z;
  cal.GetPolyParameters(1, 0, 0, x, y, z);
  EXPECT_EQ(x, 5.0);
  EXPECT_EQ(cal.SphereRadius(), 4.0);
}

TEST(CalibrationFile, AnEmptyFileIsAReadPastTheEnd) {
  TempDir dir;
  const std::string path = dir.File("empty.cal");
  WriteFileBytes(path, "");
  ClsProbeCalibration cal;
  EXPECT_EQ(cal.LoadCalibrationFunctions(path),
            "LoadCalibrationFunctions Error n°62 Input past end of file");
}

TEST(CalibrationFile, AMissingFileIsReported) {
  TempDir dir;
  ClsProbeCalibration cal;
  EXPECT_EQ(cal.LoadCalibrationFunctions(dir.File("missing.cal")),
            "LoadCalibrationFunctions Error n°53 File not found");
}

TEST(CalibrationFile, SavingIntoAMissingFolderIsReported) {
  TempDir dir;
  ClsProbeCalibration cal;
  EXPECT_EQ(cal.SaveCalibrationFunctions(dir.File("no/such/dir/x.cal")),
            "SaveCalibrationFunctions Error n°76 Path not found");
}

TEST(CalibrationFile, ASphereSectionCutShortKeepsWhatWasRead) {
  TempDir dir;
  const std::string path = dir.File("short.cal");
  WriteFileBytes(
      path,
      "\"SPHERE :\"\r\n\"X\",\"Y\",\"Z\",\"R\"\r\n1,2,3,4\r\n\"RMS\",\"MIN\",\"MAX\"\r\n0.5\r\n");
  ClsProbeCalibration cal;
  EXPECT_EQ(cal.LoadCalibrationFunctions(path),
            "LoadCalibrationFunctions Error n°62 Input past end of file");
  EXPECT_EQ(cal.SphereRadius(), 4.0);
  EXPECT_EQ(cal.FitRMS(), 0.5);
}

TEST(CalibrationFile, ABadNumberIsATypeMismatch) {
  TempDir dir;
  const std::string path = dir.File("bad.cal");
  WriteFileBytes(path, "\"SPHERE :\"\r\n\"X\",\"Y\",\"Z\",\"R\"\r\n1,two,3,4\r\n");
  ClsProbeCalibration cal;
  EXPECT_EQ(cal.LoadCalibrationFunctions(path),
            "LoadCalibrationFunctions Error n°13 Type mismatch");
}

TEST(CalibrationFile, QuotedNumbersReadAsTheNumbers) {
  TempDir dir;
  const std::string path = dir.File("quoted.cal");
  WriteFileBytes(path,
                 "\"SPHERE :\"\r\n\"X\",\"Y\",\"Z\",\"R\"\r\n\"1.5\",\"-2\",\"3E-3\",\"12.5\"\r\n"
                 "\"RMS\",\"MIN\",\"MAX\"\r\n\"0.25\",\"-0.5\",\"0.75\"\r\n"
                 "\"POLYNOMIAL CALIBRATION PARAMETERS\"\r\n\"POLYNOMIAL ORDER\"\r\n\"1\"\r\n"
                 "\"P power\",\"Q power\",\"R power\",\"X parameter\",\"Y parameter\","
                 "\" Z parameter\"\r\n"
                 "\"1\",\"0\",\"0\",\"0.5\",\"-1.5\",\"2E-5\"\r\n");
  ClsProbeCalibration cal;
  ASSERT_EQ(cal.LoadCalibrationFunctions(path), "OK");
  EXPECT_EQ(cal.SphereCentre(1), 1.5);
  EXPECT_EQ(cal.SphereCentre(2), -2.0);
  EXPECT_EQ(cal.SphereCentre(3), 3E-3);
  EXPECT_EQ(cal.SphereRadius(), 12.5);
  EXPECT_EQ(cal.FitRMS(), 0.25);
  EXPECT_EQ(cal.FitMin(), -0.5);
  EXPECT_EQ(cal.FitMax(), 0.75);
  double x = 0, y = 0, z = 0;
  cal.GetPolyParameters(1, 0, 0, x, y, z);
  EXPECT_EQ(x, 0.5);
  EXPECT_EQ(y, -1.5);
  EXPECT_EQ(z, 2E-5);
}

using testing::DecimalCommaLocale;

TEST_F(DecimalCommaLocale, TheRadiusAloneGoesThroughTheLocaleConversion) {
  TempDir dir;
  const std::string path = dir.File("locale.cal");
  // The radius is quoted so that its decimal comma stays inside one field;
  // the centre and the statistics are read with a period whatever the locale.
  WriteFileBytes(path,
                 "\"SPHERE :\"\r\n\"X\",\"Y\",\"Z\",\"R\"\r\n1.5,2,3,\"12,5\"\r\n"
                 "\"RMS\",\"MIN\",\"MAX\"\r\n0.25,0,0\r\n");
  ClsProbeCalibration cal;
  EXPECT_EQ(cal.LoadCalibrationFunctions(path), "OK");
  EXPECT_EQ(cal.SphereRadius(), 12.5);
  EXPECT_EQ(cal.SphereCentre(1), 1.5);
  EXPECT_EQ(cal.FitRMS(), 0.25);
}

TEST_F(DecimalCommaLocale, AFileSavedWithAPeriodFailsOnItsRadius) {
  TempDir dir;
  const std::string path = dir.File("period.cal");
  ClsProbeCalibration cal;
  StateSphere().R(12.7);
  ASSERT_EQ(cal.SaveCalibrationFunctions(path), "OK");
  EXPECT_EQ(cal.LoadCalibrationFunctions(path),
            "LoadCalibrationFunctions Error n°13 Type mismatch");
}

}  // namespace
}  // namespace tavric
