// Helpers for the report tests that look into generated markup.
#pragma once

#include <cstddef>
#include <string_view>

namespace tavric::report::testing {

// How often `what` occurs in `text` (overlapping occurrences count).
inline std::size_t CountOf(std::string_view text, std::string_view what) {
  std::size_t n = 0;
  for (std::size_t pos = text.find(what); pos != std::string_view::npos;
       pos = text.find(what, pos + 1))
    ++n;
  return n;
}

}  // namespace tavric::report::testing
