// Vector arithmetic for the hot loops, and the instruction set they run with.
//
// A kernel built on these types does exactly the double-precision operations
// of the plain loop it replaces, in the same order for every result: the
// lanes of a vector only carry independent results side by side (different
// elements of a matrix, different output axes). Every lane rounds each
// operation as the scalar instruction would, and nothing fuses a multiply
// with the following add (no FMA is enabled and contraction is off), so a
// kernel gives the same bits with every instruction set, and the same bits
// as its plain loop.
//
// Two builds of each kernel exist on x86 outside Windows: the baseline one
// (SSE2: 2 lanes) and an AVX2 one (4 lanes), chosen at run time from what
// the processor supports. Windows builds have the baseline only: the
// mingw-w64 compiler does not keep 32-byte stack alignment there (GCC bug
// 54412), which AVX spills rely on. Other processors get the baseline, which
// the compiler maps to their own vector unit or to scalar code.
#pragma once

#include <cstddef>
#include <cstring>
#include <new>
#include <optional>
#include <vector>

#if (defined(__x86_64__) || defined(__i386__)) && !defined(_WIN32) && defined(__GNUC__)
#define TAVRIC_SIMD_AVX2 1
// Marks a function compiled for AVX2 (without FMA).
#define TAVRIC_TARGET_AVX2 __attribute__((target("avx2")))
#endif

namespace tavric::simd {

enum class Isa { kBaseline, kAvx2 };

// True when this build has kernels for `isa` and the processor runs them.
bool Available(Isa isa) noexcept;

// The instruction set the kernels use: the one forced (see Force) if any,
// else AVX2 when available, else the baseline.
Isa Active() noexcept;

// Makes every kernel use `isa` (when available) instead of the automatic
// choice, or goes back to the automatic choice with nullopt; for tests and
// benchmarks that compare the builds. Returns false (and changes nothing)
// when `isa` is not available.
bool Force(std::optional<Isa> isa) noexcept;

// "sse2" or "avx2" on x86 ("baseline" elsewhere).
const char* Name(Isa isa) noexcept;

// Vectors of 1, 2 and 4 doubles (GCC and Clang vector extensions: +, -, *
// and / act lane by lane; a scalar operand is broadcast to every lane). V1
// lets a kernel written for lanes run on a single value.
typedef double V1 __attribute__((vector_size(8)));
typedef double V2 __attribute__((vector_size(16)));
typedef double V4 __attribute__((vector_size(32)));

// Loads and stores that assume no alignment. They are always inlined into
// the kernel that uses them, so the vector is never passed to a call and the
// calling convention of 32-byte vectors in code built without AVX (which
// GCC warns about) never comes into play.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wpsabi"
template <class V>
[[gnu::always_inline]] inline V Load(const double* p) noexcept {
  V v;
  std::memcpy(&v, p, sizeof v);
  return v;
}
template <class V>
[[gnu::always_inline]] inline void Store(double* p, const V& v) noexcept {
  std::memcpy(p, &v, sizeof v);
}
#pragma GCC diagnostic pop

// The number of lanes of V.
template <class V>
inline constexpr int kLanes = static_cast<int>(sizeof(V) / sizeof(double));

// Asks the processor to start loading [p, p + bytes) into the cache, so that
// a kernel's next block of data arrives while it works on the current one.
inline void Prefetch(const void* p, std::size_t bytes) noexcept {
  const char* c = static_cast<const char*>(p);
  for (std::size_t offset = 0; offset < bytes; offset += 64) __builtin_prefetch(c + offset);
}

// Runs call(1), call(2), call(3) or call(0) for a polynomial order of 1, 2,
// 3 or any other: kernels built for the orders of a calibration unroll their
// loops over the terms; 0 reads the order at run time. (A macro, so that the
// call is compiled for the instruction set of the function it stands in.)
#define TAVRIC_FOR_ORDER(order, call) \
  switch (order) {                    \
    case 1:                           \
      call(1);                        \
      break;                          \
    case 2:                           \
      call(2);                        \
      break;                          \
    case 3:                           \
      call(3);                        \
      break;                          \
    default:                          \
      call(0);                        \
      break;                          \
  }

// Storage aligned to a cache line (64 bytes), so that no vector of a kernel
// straddles two lines.
template <class T>
struct CacheLineAllocator {
  using value_type = T;
  static constexpr std::align_val_t kAlignment{64};
  CacheLineAllocator() = default;
  template <class U>
  CacheLineAllocator(const CacheLineAllocator<U>&) noexcept {}
  T* allocate(std::size_t n) { return static_cast<T*>(::operator new(n * sizeof(T), kAlignment)); }
  void deallocate(T* p, std::size_t) noexcept { ::operator delete(p, kAlignment); }
  friend bool operator==(const CacheLineAllocator&, const CacheLineAllocator&) { return true; }
};
template <class T>
using AlignedVector = std::vector<T, CacheLineAllocator<T>>;

}  // namespace tavric::simd
