# Little CMS is the peer that checks the profiles psdkit writes and reads.
target_link_libraries(test_icc PRIVATE PkgConfig::LCMS2)
