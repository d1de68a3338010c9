# Compiler settings shared by every target of the project.
#
# Results must be bit-for-bit reproducible across builds: no fast-math, no
# fused multiply-add contraction, and SSE2 arithmetic on 32-bit x86 (the x87
# unit's extended precision would change the rounding of intermediate values).
add_library(tavric_flags INTERFACE)
add_library(tavric::flags ALIAS tavric_flags)

target_compile_options(tavric_flags INTERFACE
  $<$<CXX_COMPILER_ID:GNU,Clang>:-ffp-contract=off -fno-fast-math -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wno-sign-conversion>
  $<$<AND:$<CXX_COMPILER_ID:GNU,Clang>,$<BOOL:${TAVRIC_WARNINGS_AS_ERRORS}>>:-Werror>)

# GCC 12 reports false -Wrestrict positives inside std::string concatenation
# when optimising (GCC bug 105651); the warning says nothing about our code.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(tavric_flags INTERFACE -Wno-restrict)
endif()

if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(i[3-6]86|x86)$")
  target_compile_options(tavric_flags INTERFACE -msse2 -mfpmath=sse)
endif()
