#pragma once

// Marks the classes and functions that the POIEngine shared library exports.
// Everything else in the library is hidden (the build sets hidden visibility).
#if defined(_WIN32)
#  if defined(KEST_BUILDING_LIBRARY)
#    define KEST_API __declspec(dllexport)
#  else
#    define KEST_API __declspec(dllimport)
#  endif
#else
#  define KEST_API __attribute__((visibility("default")))
#endif
