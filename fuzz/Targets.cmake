# The fuzz targets and the pieces they share: a whole file (everything a host
# reads, composite and layer pixels too), an image resources section (written
# back as well), and one channel of compressed image data. Included by
# fuzz/CMakeLists.txt (libFuzzer builds, clang) and by
# tests/robustness/Extra.cmake (plain replayers that ctest runs over the saved
# inputs and the seed corpora).
include_guard(GLOBAL)

set(PSDKIT_FUZZ_DIR ${PROJECT_SOURCE_DIR}/fuzz)
set(PSDKIT_FUZZ_CORPUS ${PROJECT_SOURCE_DIR}/../shared/corpus)
set(PSDKIT_FUZZ_SEEDS ${CMAKE_BINARY_DIR}/fuzz-seeds)

set(PSDKIT_FUZZ_TARGETS file resources planes)

# Name ending of the saved inputs of each target in tests/data/corrupt.
set(PSDKIT_FUZZ_SUFFIX_file .psd)
set(PSDKIT_FUZZ_SUFFIX_resources .res)
set(PSDKIT_FUZZ_SUFFIX_planes .plane)

# The support library of the targets and the seed extractor.
function(psdkit_fuzz_common)
  if(TARGET psdkit_fuzz_support)
    return()
  endif()
  add_library(psdkit_fuzz_support STATIC ${PSDKIT_FUZZ_DIR}/FuzzSupport.cpp)
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
