// The polynomial's parameter section of a calibration-functions file.
//
// Written layout, one delimited record per line (CR LF):
//   "POLYNOMIAL CALIBRATION PARAMETERS"
//   "POLYNOMIAL ORDER"
//   n
//   "PROBE OFFSETS P Q R IN COUNTS"
//   -Coeff(1,1),-Coeff(2,1),-Coeff(3,1)
//   "P power","Q power","R power","X parameter","Y parameter"," Z parameter"
//   i,j,k,Coeff(1,t),Coeff(2,t),Coeff(3,t)        one record per term t = 1..N
//
// The reader is driven by labels rather than by record positions: it reads
// field after field and reacts to the order label, the offsets label and the
// column header, whose term rows then run to the end of the file. Fields that
// match no label (the title, banner lines of earlier sections) are skipped.
#include <string>

#include "polynomial/Polynome3Variables.h"
#include "runtime/ErrorTrap.h"
#include "runtime/Narrow.h"
#include "runtime/NumberText.h"
#include "runtime/TextFile.h"

namespace tavric {
namespace {

bool Contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

}  // namespace

std::string Polynome3Variables::ReadFile(TextFile& file) {
  // The last label handled, reported in the failure text: 0 none yet,
  // 1 order, 2 term rows, 3 offsets.
  Int16 stage = 0;
  try {
    do {
      const std::string s = file.InputField();

      if (Contains(s, "PROBE OFFSETS")) {
        stage = 3;
        const double o1 = file.InputNumber();
        const double o2 = file.InputNumber();
        const double o3 = file.InputNumber();
        // The offsets are the negated constant terms. An order label read
        // afterwards clears them again.
        TheCoeff(0, 0, 0, CoefficientTriple(-o1, -o2, -o3));
      }

      if (Contains(s, "ORDER")) {
        // The stage moves to 1 only once the order has been read and
        // rounded; INIT clears every coefficient.
        Byte n = CByte(file.InputNumber());
        stage = 1;
        INIT(n);
      }

      if (Contains(UCase(s), "POWER")) {
        stage = 2;
        // The rest of the column header.
        for (int field = 0; field < 5; ++field) file.InputField();
        // Term rows up to the end of the file; powers that are not a term of
        // the current order are ignored.
        while (!file.Eof()) {
          const Int16 p = CInt(file.InputNumber());
          const Int16 q = CInt(file.InputNumber());
          const Int16 r = CInt(file.InputNumber());
          const double x = file.InputNumber();
          const double y = file.InputNumber();
          const double z = file.InputNumber();
          TheCoeff(p, q, r, CoefficientTriple(x, y, z));
        }
      }
    } while (!file.Eof());
    return "OK";
  } catch (...) {
    return TrapText("Polynome object ReadFile(" + std::to_string(stage) + ") Error n°",
                    CurrentErrorInfo(), " ");
  }
}

std::string Polynome3Variables::WriteFile(TextFile& file) const {
  using Text = std::string;
  try {
    file.WriteRecord({Text("POLYNOMIAL CALIBRATION PARAMETERS")});
    file.WriteRecord({Text("POLYNOMIAL ORDER")});
    file.WriteRecord({static_cast<long long>(order_)});
    file.WriteRecord({Text("PROBE OFFSETS P Q R IN COUNTS")});
    file.WriteRecord({-coeff_(1, 1), -coeff_(2, 1), -coeff_(3, 1)});
    // The blank before "Z parameter" belongs to the layout.
    file.WriteRecord({Text("P power"), Text("Q power"), Text("R power"), Text("X parameter"),
                      Text("Y parameter"), Text(" Z parameter")});
    for (Int32 t = 1; t <= number_of_coeff_; ++t) {
      file.WriteRecord({static_cast<long long>(power_(1, t)), static_cast<long long>(power_(2, t)),
                        static_cast<long long>(power_(3, t)), coeff_(1, t), coeff_(2, t),
                        coeff_(3, t)});
    }
    return "OK";
  } catch (...) {
    return TrapText("Polynome object WriteFile Error n°", CurrentErrorInfo(), " ");
  }
}

}  // namespace tavric
