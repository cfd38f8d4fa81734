#pragma once

// Marks what the shared library of measure/ exports; everything else stays hidden.
#if defined(_WIN32)
#  ifdef MEASURE_EXPORTS
#    define MEASURE_API __declspec(dllexport)
#  else
#    define MEASURE_API __declspec(dllimport)
#  endif
#else
#  define MEASURE_API __attribute__((visibility("default")))
#endif
