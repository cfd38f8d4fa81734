#pragma once

// Before a function: it and all that it calls are compiled for wide vectors too, which the CPU chooses when the library
// is loaded. Results are the same, since sums and products are never contracted. Sanitizers are not ready that early.
#if defined(__x86_64__) && defined(__ELF__) && !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
#  if defined(__GNUC__) && !defined(__clang__)
#    define MEASURE_WIDE __attribute__((target_clones("avx2", "default"), flatten))
#  endif
#endif
#ifndef MEASURE_WIDE
#  define MEASURE_WIDE
#endif
