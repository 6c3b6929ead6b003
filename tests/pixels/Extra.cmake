# Layer pixel tests build deflate streams of their own.
find_package(ZLIB REQUIRED)
target_link_libraries(test_pixels PRIVATE ZLIB::ZLIB)
