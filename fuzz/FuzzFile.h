// The readers under fuzzing take a file name: each input is written to one
// scratch file of this process, which the reader then opens.
#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace tavric::fuzz {

inline const std::string& ScratchFile() {
  static const std::string path = [] {
    const char* dir = std::getenv("TMPDIR");
    return std::string(dir != nullptr && *dir != '\0' ? dir : "/tmp") + "/tavric-fuzz-" +
           std::to_string(static_cast<long>(getpid())) + ".txt";
  }();
  return path;
}

// Writes the input as the scratch file's whole content; aborts when it
// cannot (a fuzzing run that reads stale files would prove nothing).
inline const std::string& WriteInput(const std::uint8_t* data, std::size_t size) {
  const std::string& path = ScratchFile();
  std::FILE* f = std::fopen(path.c_str(), "wb");
  if (f == nullptr) std::abort();
  if (size > 0 && std::fwrite(data, 1, size, f) != size) std::abort();
  if (std::fclose(f) != 0) std::abort();
  return path;
}

}  // namespace tavric::fuzz
