#include "tavric/DataFile.h"

#include <utility>

#include "data/ReadCalData.h"
#include "runtime/CheckedMath.h"
#include "runtime/ErrorTrap.h"

namespace tavric {

std::string ReadCalibrationDataFile(const std::string& path, DataArray& data, std::string* layout) {
  fp::Boundary boundary;
  if (layout) layout->clear();
  try {
    // One array for both readers, as in OptimiseFromFile: the readers only
    // ever grow it.
    DataArray read_data;
    std::string read = ReadCalData::ReadMarkedFile(path, read_data);
    std::string found = "marked";
    if (read != "OK") {
      read = ReadCalData::ReadGenericFile(path, read_data);
      found = "generic";
    }
    if (read != "OK") return read;
    data = std::move(read_data);
    if (layout) *layout = found;
    return read;
  } catch (...) {
    return TrapText("Error ", CurrentErrorInfo(), " : ");
  }
}

}  // namespace tavric
