# The thumbnail tests decode the produced streams with libjpeg.
target_link_libraries(test_${subsystem} PRIVATE JPEG::JPEG)
