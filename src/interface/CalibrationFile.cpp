#include "interface/CalibrationFile.h"

#include <cstdlib>
#include <optional>

#include "data/ReadExplain.h"
#include "geometry/ClsVector.h"
#include "interface/ProjectState.h"
#include "polynomial/Polynome3Variables.h"
#include "runtime/ErrorTrap.h"
#include "runtime/NumberText.h"
#include "runtime/TextFile.h"
#include "sphere/ClsSphere.h"

namespace tavric {
namespace {

using ReadCalData::ExplainLoadStop;

// The run-time error number of a trap's text "... Error n°<number> ...".
int ErrorNumberOf(const std::string& text) {
  const std::string mark = "n\u00b0";
  const std::size_t at = text.find(mark);
  return at == std::string::npos ? 0 : std::atoi(text.c_str() + at + mark.size());
}

// The three banner records; readers skip them.
constexpr const char* kBanner1 = "TAVRIC";
constexpr const char* kBanner2 = "SCANNING PROBE CALIBRATION FUNCTIONS";
constexpr const char* kBanner3 = "TAVRIC METROLOGY SOFTWARE";

}  // namespace

std::string SaveCalibrationFunctions(const std::string& file_name) {
  std::string result = "OK";
  TextFile file;
  try {
    file.Open(file_name, TextFile::Mode::kOutput);
    file.WriteRecord({std::string(kBanner1)});
    file.WriteRecord({std::string(kBanner2)});
    file.WriteRecord({std::string(kBanner3)});
    file.WriteRecord({std::string("SPHERE :")});

    ClsSphere& sphere = StateSphere();
    const ClsVector& centre = Deref(sphere.Pt());
    file.WriteRecord({std::string("X"), std::string("Y"), std::string("Z"), std::string("R")});
    file.WriteRecord({centre.C1(), centre.C2(), centre.C3(), sphere.R()});

    const ProjectState& s = State();
    file.WriteRecord({std::string("RMS"), std::string("MIN"), std::string("MAX")});
    file.WriteRecord({s.FitRMS, s.FitMin, s.FitMax});

    Polynome3Variables& poly = Deref(s.polynomial);
    poly.CalibrationFileName(file_name);
    result = poly.WriteFile(file);
    // Only a complete file replaces the one that was there.
    if (result == "OK") {
      file.Close();
    } else {
      file.Discard();
    }
  } catch (...) {
    result = TrapText("SaveCalibrationFunctions Error n°", CurrentErrorInfo(), " ");
    file.Discard();
  }
  return result;
}

std::string LoadCalibrationFunctions(const std::string& file_name, ReadDiagnostic* diagnostic) {
  std::string result = "OK";
  // Kept outside the trap so that a failure can say where reading stopped.
  TextFile file;
  int error = 0;
  std::optional<TextFile::Place> stop;
  try {
    ProjectState& s = State();
    file.Open(file_name, TextFile::Mode::kInput);
    do {
      const std::string item = UCase(file.InputField());
      if (item.find("SPHERE") != std::string::npos) {
        for (int i = 0; i < 4; ++i) file.InputField();  // "X", "Y", "Z", "R"
        const double c1 = file.InputNumber();
        const double c2 = file.InputNumber();
        const double c3 = file.InputNumber();
        // The radius alone goes through the locale's number conversion.
        const std::string radius_text = file.InputField();
        auto sphere = std::make_shared<ClsSphere>();
        s.sphere = sphere;
        ClsVector& centre = Deref(sphere->Pt());
        centre.C1(c1);
        centre.C2(c2);
        centre.C3(c3);
        sphere->R(CDbl(radius_text));
        for (int i = 0; i < 3; ++i) file.InputField();  // "RMS", "MIN", "MAX"
        s.FitRMS = file.InputNumber();
        s.FitMin = file.InputNumber();
        s.FitMax = file.InputNumber();
      }
      if (item.find("POLYNOMIAL CALIBRATION PARAMETERS") != std::string::npos) {
        Polynome3Variables& poly = Deref(s.polynomial);
        result = poly.ReadFile(file);
        if (result != "OK" && !stop) {
          stop = file.Where({});
          error = ErrorNumberOf(result);
        }
        poly.CalibrationFileName(file_name);
      }
    } while (!file.Eof());
    file.Close();
  } catch (...) {
    const ErrorInfo info = CurrentErrorInfo();
    error = info.number;
    result = TrapText("LoadCalibrationFunctions Error n°", info, " ");
    if (file.IsOpen()) stop = file.Where({});
  }
  if (diagnostic && result != "OK") ExplainLoadStop(*diagnostic, file_name, error, stop);
  return result;
}

}  // namespace tavric
