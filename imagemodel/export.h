#pragma once

// Marks what the shared library exports; everything else stays hidden.
#if defined(_WIN32)
#  ifdef VORIPBASE_EXPORTS
#    define VORIP_API __declspec(dllexport)
#  else
#    define VORIP_API __declspec(dllimport)
#  endif
#else
#  define VORIP_API __attribute__((visibility("default")))
#endif
