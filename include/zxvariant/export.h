// Symbol visibility for the ZxVariant library.
//
// The library is built with hidden visibility; everything a caller may use is
// marked ZXV_EXPORT.  Internal helpers stay local to libZxVariantExport.so.
#pragma once

#if defined(_WIN32)
#  if defined(ZXV_BUILDING_LIBRARY)
#    define ZXV_EXPORT __declspec(dllexport)
#  else
#    define ZXV_EXPORT __declspec(dllimport)
#  endif
#else
#  define ZXV_EXPORT __attribute__((visibility("default")))
#endif
