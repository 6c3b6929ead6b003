# The CLI tests build PNG files by hand with zlib, independent of libpng.
find_package(ZLIB REQUIRED)
target_link_libraries(test_cli PRIVATE ZLIB::ZLIB)
