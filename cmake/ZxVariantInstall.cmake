# Install rules for libZxVariantExport.so.
#
# `cmake --install <build> --prefix <dir>` lays out:
#   <dir>/include/zxvariant/*.h                      public headers
#   <dir>/lib/libZxVariantExport.so*                 the library and its symlinks
#   <dir>/lib/cmake/ZxVariant/                       package for find_package(ZxVariant)
#   <dir>/lib/pkgconfig/zxvariant.pc                 pkg-config metadata
#
# Included from the top-level CMakeLists.txt after the ZxVariantExport target
# exists.  The library always goes to plain `lib` (never a multiarch subdir)
# so that the package and pkg-config paths below stay predictable.

include(CMakePackageConfigHelpers)

set(ZXV_INSTALL_LIBDIR "lib")
set(ZXV_INSTALL_INCLUDEDIR "include")
set(ZXV_INSTALL_CMAKEDIR "${ZXV_INSTALL_LIBDIR}/cmake/ZxVariant")
set(ZXV_INSTALL_PKGCONFIGDIR "${ZXV_INSTALL_LIBDIR}/pkgconfig")

# The public headers use C++20; consumers of the installed target get that
# requirement with the link, not by guessing.
target_compile_features(ZxVariantExport INTERFACE cxx_std_20)

install(TARGETS ZxVariantExport
  EXPORT ZxVariantTargets
  LIBRARY DESTINATION "${ZXV_INSTALL_LIBDIR}"
  ARCHIVE DESTINATION "${ZXV_INSTALL_LIBDIR}"
  RUNTIME DESTINATION bin)

# Every header under include/zxvariant, so new public headers need no edit here.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/zxvariant"
  DESTINATION "${ZXV_INSTALL_INCLUDEDIR}"
  FILES_MATCHING PATTERN "*.h")

install(EXPORT ZxVariantTargets
  NAMESPACE ZxVariant::
  FILE ZxVariantTargets.cmake
  DESTINATION "${ZXV_INSTALL_CMAKEDIR}")

configure_package_config_file(
  "${CMAKE_CURRENT_LIST_DIR}/ZxVariantConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/ZxVariantConfig.cmake"
  INSTALL_DESTINATION "${ZXV_INSTALL_CMAKEDIR}")

# Before 1.0 a minor release may change the interface.
write_basic_package_version_file(
  "${PROJECT_BINARY_DIR}/ZxVariantConfigVersion.cmake"
  VERSION "${PROJECT_VERSION}"
  COMPATIBILITY SameMinorVersion)

install(FILES
  "${PROJECT_BINARY_DIR}/ZxVariantConfig.cmake"
  "${PROJECT_BINARY_DIR}/ZxVariantConfigVersion.cmake"
  DESTINATION "${ZXV_INSTALL_CMAKEDIR}")

# zxvariant.pc carries absolute paths, so it is written at install time with
# the prefix actually used (`cmake --install --prefix` overrides the one given
# at configure time), then installed like any other file.
set(ZXV_PC_TEMPLATE "${CMAKE_CURRENT_LIST_DIR}/zxvariant.pc.in")
set(ZXV_PC_OUTPUT "${PROJECT_BINARY_DIR}/zxvariant.pc")
install(CODE "
  set(ZXV_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
  if(NOT IS_ABSOLUTE \"\${ZXV_PC_PREFIX}\")
    get_filename_component(ZXV_PC_PREFIX \"\${ZXV_PC_PREFIX}\" ABSOLUTE)
  endif()
  set(ZXV_PC_LIBDIR \"${ZXV_INSTALL_LIBDIR}\")
  set(ZXV_PC_INCLUDEDIR \"${ZXV_INSTALL_INCLUDEDIR}\")
  set(ZXV_PC_VERSION \"${PROJECT_VERSION}\")
  configure_file(\"${ZXV_PC_TEMPLATE}\" \"${ZXV_PC_OUTPUT}\" @ONLY)
")
install(FILES "${ZXV_PC_OUTPUT}" DESTINATION "${ZXV_INSTALL_PKGCONFIGDIR}")
