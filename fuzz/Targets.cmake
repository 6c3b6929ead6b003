# The fuzz targets, one per entry point of the library, and the pieces they
# share. Included by fuzz/CMakeLists.txt (libFuzzer builds, clang) and by
# tests/robustness/Extra.cmake (plain replayers that ctest runs over the saved
# inputs and the seed corpora).
include_guard(GLOBAL)

set(PSDKIT_FUZZ_DIR ${PROJECT_SOURCE_DIR}/fuzz)
set(PSDKIT_FUZZ_CORPUS ${PROJECT_SOURCE_DIR}/../shared/corpus)
set(PSDKIT_FUZZ_SEEDS ${CMAKE_BINARY_DIR}/fuzz-seeds)

# A target whose classes are not part of this tree yet is left out.
set(PSDKIT_FUZZ_TARGETS file resources layers packbits deflate pixels layerpix)
if(EXISTS ${PROJECT_SOURCE_DIR}/psdkit/icc/PSDICCProfileRB.h AND EXISTS ${PROJECT_SOURCE_DIR}/psdkit/icc/PSDICCTag.h)
  list(APPEND PSDKIT_FUZZ_TARGETS icc)
endif()
if(EXISTS ${PROJECT_SOURCE_DIR}/psdkit/thumbnail/PSDThumbnailRB.h)
  list(APPEND PSDKIT_FUZZ_TARGETS thumbnail)
endif()

# Name ending of the saved inputs of each target in tests/data/corrupt.
set(PSDKIT_FUZZ_SUFFIX_file .psd)
set(PSDKIT_FUZZ_SUFFIX_layerpix .layerpix)
set(PSDKIT_FUZZ_SUFFIX_resources .res)
set(PSDKIT_FUZZ_SUFFIX_layers .layers)
set(PSDKIT_FUZZ_SUFFIX_icc .icc)
set(PSDKIT_FUZZ_SUFFIX_thumbnail .thumb)
set(PSDKIT_FUZZ_SUFFIX_packbits .rle)
set(PSDKIT_FUZZ_SUFFIX_deflate .zlib)
set(PSDKIT_FUZZ_SUFFIX_pixels .psd)

# The support library of the targets and the seed extractor.
function(psdkit_fuzz_common)
  if(TARGET psdkit_fuzz_support)
    return()
  endif()
  add_library(psdkit_fuzz_support STATIC ${PSDKIT_FUZZ_DIR}/FuzzSupport.cpp ${PSDKIT_FUZZ_DIR}/Exercise.cpp)
  target_link_libraries(psdkit_fuzz_support PUBLIC psdkit psdkit_psd_walk)
  target_include_directories(psdkit_fuzz_support PUBLIC ${PSDKIT_FUZZ_DIR})
  add_library(psdkit_psd_walk STATIC ${PSDKIT_FUZZ_DIR}/PsdWalk.cpp)
  target_include_directories(psdkit_psd_walk PUBLIC ${PSDKIT_FUZZ_DIR})
  add_executable(psdkit_fuzz_seeds ${PSDKIT_FUZZ_DIR}/ExtractSeeds.cpp)
  find_package(ZLIB REQUIRED)
  target_link_libraries(psdkit_fuzz_seeds PRIVATE psdkit_psd_walk ZLIB::ZLIB)
endfunction()

# replay_<name>: the target behind a plain main() that runs saved inputs.
function(psdkit_add_fuzz_replayer name)
  add_executable(replay_${name} ${PSDKIT_FUZZ_DIR}/fuzz_${name}.cpp ${PSDKIT_FUZZ_DIR}/ReplayMain.cpp)
  target_link_libraries(replay_${name} PRIVATE psdkit_fuzz_support)
endfunction()

# fuzz_<name>: the target linked with libFuzzer.
function(psdkit_add_fuzz_target name)
  add_executable(fuzz_${name} ${PSDKIT_FUZZ_DIR}/fuzz_${name}.cpp)
  target_link_libraries(fuzz_${name} PRIVATE psdkit_fuzz_support)
  target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
  set_target_properties(fuzz_${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/fuzz)
endfunction()
