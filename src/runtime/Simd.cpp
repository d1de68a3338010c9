#include "runtime/Simd.h"

#include <atomic>

namespace tavric::simd {
namespace {

// -1: automatic; otherwise the forced Isa.
std::atomic<int> g_forced{-1};

bool ProcessorHasAvx2() noexcept {
#ifdef TAVRIC_SIMD_AVX2
  // Also false when the operating system does not save the AVX registers.
  static const bool has = [] {
    __builtin_cpu_init();
    return __builtin_cpu_supports("avx2") != 0;
  }();
  return has;
#else
  return false;
#endif
}

}  // namespace

bool Available(Isa isa) noexcept { return isa == Isa::kBaseline || ProcessorHasAvx2(); }

Isa Active() noexcept {
  const int forced = g_forced.load(std::memory_order_relaxed);
  if (forced >= 0) return static_cast<Isa>(forced);
  return ProcessorHasAvx2() ? Isa::kAvx2 : Isa::kBaseline;
}

bool Force(std::optional<Isa> isa) noexcept {
  if (isa && !Available(*isa)) return false;
  g_forced.store(isa ? static_cast<int>(*isa) : -1, std::memory_order_relaxed);
  return true;
}

const char* Name(Isa isa) noexcept {
  if (isa == Isa::kAvx2) return "avx2";
#if defined(__x86_64__) || defined(__i386__)
  return "sse2";
#else
  return "baseline";
#endif
}

}  // namespace tavric::simd
