# Every library psdkit builds against, found in one place through the ordinary
# find modules, config files and pkg-config. A missing one stops the configure
# step with the Debian package that provides it; `make deps` installs them all.
#
# Targets: JPEG::JPEG, PkgConfig::LCMS2, PkgConfig::DEFLATE, PNG::PNG,
# ZLIB::ZLIB, nlohmann_json::nlohmann_json; with the tests GTest::gtest,
# GTest::gtest_main; with the benchmarks benchmark::benchmark(_main).

function(psdkit_dependency_missing what package)
  message(FATAL_ERROR "psdkit: ${what} not found. Install the Debian package ${package} "
                      "(`make deps` installs every missing one).")
endfunction()

# psdkit_find_package(<package> <debian-package> [find_package arguments...])
macro(psdkit_find_package name package)
  find_package(${name} ${ARGN} QUIET)
  if(NOT ${name}_FOUND)
    psdkit_dependency_missing(${name} ${package})
  endif()
endmacro()

# psdkit_find_pkg_config(<prefix> <module> <debian-package>)
macro(psdkit_find_pkg_config prefix module package)
  pkg_check_modules(${prefix} QUIET IMPORTED_TARGET ${module})
  if(NOT ${prefix}_FOUND)
    psdkit_dependency_missing("${module} (through pkg-config)" ${package})
  endif()
endmacro()

# The library and the tool.
find_package(PkgConfig QUIET)
if(NOT PKG_CONFIG_FOUND)
  psdkit_dependency_missing(pkg-config pkg-config)
endif()
psdkit_find_package(JPEG libjpeg-dev)
psdkit_find_package(ZLIB zlib1g-dev)
psdkit_find_package(PNG libpng-dev)
psdkit_find_pkg_config(LCMS2 lcms2 liblcms2-dev)
psdkit_find_pkg_config(DEFLATE libdeflate libdeflate-dev)
psdkit_find_package(nlohmann_json nlohmann-json3-dev 3)

if(PSDKIT_BUILD_TESTS)
  psdkit_find_package(GTest libgtest-dev)
endif()
if(PSDKIT_BUILD_BENCH)
  psdkit_find_package(benchmark libbenchmark-dev)
endif()
