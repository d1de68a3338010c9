// A data file reader on any bytes: a result text, never a crash; the
// diagnostic it fills names a place inside the file. Built once per layout,
// TAVRIC_FUZZ_READER naming the reader (ReadMarkedFile or ReadGenericFile).
#include <cstdlib>

#include "FuzzFile.h"
#include "data/ReadCalData.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string& path = tavric::fuzz::WriteInput(data, size);
  tavric::Array2<double> array;
  tavric::ReadDiagnostic diagnostic;
  const std::string result = tavric::ReadCalData::TAVRIC_FUZZ_READER(path, array, &diagnostic);
  if (result.empty() || diagnostic.line < 0 || diagnostic.column < 0) std::abort();
  return 0;
}
