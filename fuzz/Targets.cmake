# The fuzz targets, one per entry point of the library, and the pieces they
# share. Included by fuzz/CMakeLists.txt (libFuzzer builds, clang) and by
# tests/robustness/Extra.cmake (plain replayers that ctest runs over the saved
# inputs and the seed corpora).
include_guard(GLOBAL)

set(PSDKIT_FUZZ_DIR ${PROJECT_SOURCE_DIR}/fuzz)
set(PSDKIT_FUZZ_CORPUS ${PROJECT_SOURCE_DIR}/../shared/corpus)
set(PSDKIT_FUZZ_SEEDS ${CMAKE_BINARY_DIR}/fuzz-seeds)

# A target whose classes are not part of this tree yet is left out.
set(PSDKIT_FUZZ_TARGETS file resources layers layerpix)
if(EXISTS ${PROJECT_SOURCE_DIR}/psdkit/icc/PSDICCProfileRB.h AND EXISTS ${PROJECT_SOURCE_DIR}/psdkit/icc/PSDICCTag.h)
  list(APPEND PSDKIT_FUZZ_TARGETS icc)
endif()
if(EXISTS ${PROJECT_SOURCE_DIR}/psdkit/thumbnail/PSDThumbnailRB.h)
  list(APPEND PSDKIT_FUZZ_TARGETS thumbnail)
endif()

# The layer section reader always exists; the record accessors and their
# AsName operations are walked once the layer model declares them.
set(_psdkit_layers_header ${PROJECT_SOURCE_DIR}/psdkit/layers/PSDLayers.h)
set_property(DIRECTORY ${PROJECT_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${_psdkit_layers_header})
file(READ ${_psdkit_layers_header} _psdkit_layers_text)
string(FIND "${_psdkit_layers_text}" "GetLayerRecordFlagsAsName" _psdkit_layers_found)
if(_psdkit_layers_found EQUAL -1)
  set(PSDKIT_FUZZ_HAVE_LAYER_MODEL OFF)
else()
  set(PSDKIT_FUZZ_HAVE_LAYER_MODEL ON)
endif()

# Name ending of the saved inputs of each target in tests/data/corrupt.
set(PSDKIT_FUZZ_SUFFIX_file .psd)
set(PSDKIT_FUZZ_SUFFIX_layerpix .layerpix)
set(PSDKIT_FUZZ_SUFFIX_resources .res)
set(PSDKIT_FUZZ_SUFFIX_layers .layers)
set(PSDKIT_FUZZ_SUFFIX_icc .icc)
set(PSDKIT_FUZZ_SUFFIX_thumbnail .thumb)

# The support library of the targets and the seed extractor.
function(psdkit_fuzz_common)
  if(TARGET psdkit_fuzz_support)
    return()
  endif()
  add_library(psdkit_fuzz_support STATIC ${PSDKIT_FUZZ_DIR}/FuzzSupport.cpp ${PSDKIT_FUZZ_DIR}/Exercise.cpp)
  target_link_libraries(psdkit_fuzz_support PUBLIC psdkit)
  target_include_directories(psdkit_fuzz_support PUBLIC ${PSDKIT_FUZZ_DIR})
  if(PSDKIT_FUZZ_HAVE_LAYER_MODEL)
    target_compile_definitions(psdkit_fuzz_support PRIVATE PSDKIT_FUZZ_HAVE_LAYER_MODEL)
  endif()
  add_library(psdkit_psd_walk STATIC ${PSDKIT_FUZZ_DIR}/PsdWalk.cpp)
  target_include_directories(psdkit_psd_walk PUBLIC ${PSDKIT_FUZZ_DIR})
  add_executable(psdkit_fuzz_seeds ${PSDKIT_FUZZ_DIR}/ExtractSeeds.cpp)
  target_link_libraries(psdkit_fuzz_seeds PRIVATE psdkit_psd_walk)
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
