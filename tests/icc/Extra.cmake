# Little CMS is the peer that checks the profiles psdkit writes and reads.
find_package(PkgConfig REQUIRED)
pkg_check_modules(LCMS2 REQUIRED IMPORTED_TARGET lcms2)
target_link_libraries(test_icc PRIVATE PkgConfig::LCMS2)
