# Robustness tests beyond test_robustness:
# - test_robustness_alloc: the allocation bound, in an executable of its own
#   because it counts every allocation of the process (support/AllocCounter.h).
# - test_robustness_sweep: the corruption sweep over the corpus (label sweep).
# - the fuzz targets' replayers, run over tests/data/corrupt and the seeds.
include(${PROJECT_SOURCE_DIR}/fuzz/Targets.cmake)
psdkit_fuzz_common()

add_library(psdkit_alloc_counter STATIC ${CMAKE_CURRENT_LIST_DIR}/support/AllocCounter.cpp)
target_include_directories(psdkit_alloc_counter PUBLIC ${CMAKE_CURRENT_LIST_DIR})

file(GLOB _psdkit_alloc_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/alloc/*.cpp)
add_executable(test_robustness_alloc ${_psdkit_alloc_sources})
target_link_libraries(test_robustness_alloc PRIVATE psdkit_alloc_counter psdkit_test_support GTest::gtest_main)
gtest_discover_tests(test_robustness_alloc DISCOVERY_TIMEOUT 60 PROPERTIES LABELS "robustness;alloc")

file(GLOB _psdkit_sweep_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/sweep/*.cpp)
add_executable(test_robustness_sweep ${_psdkit_sweep_sources})
target_link_libraries(test_robustness_sweep PRIVATE psdkit_psd_walk psdkit_alloc_counter psdkit_fuzz_support
                                                    psdkit_test_support GTest::gtest_main)
add_dependencies(test_robustness_sweep psdkit-cli)
# Listed when ctest runs, so that a corpus named by PSDKIT_CORPUS then is the one swept.
gtest_discover_tests(test_robustness_sweep DISCOVERY_TIMEOUT 60 DISCOVERY_MODE PRE_TEST
  PROPERTIES LABELS sweep TIMEOUT 900)

target_link_libraries(test_robustness PRIVATE psdkit_psd_walk)
target_compile_definitions(test_robustness PRIVATE
  PSDKIT_CORRUPT_DIR="${PROJECT_SOURCE_DIR}/tests/data/corrupt")

# Seeds for the replayers come from the shared corpus at test time, into the
# build tree; the corpus itself never enters the project.
add_test(NAME fuzz.seeds COMMAND psdkit_fuzz_seeds ${PSDKIT_FUZZ_CORPUS} ${PSDKIT_FUZZ_SEEDS})
set_tests_properties(fuzz.seeds PROPERTIES FIXTURES_SETUP psdkit_fuzz_seeds LABELS "robustness;fuzz")
foreach(name ${PSDKIT_FUZZ_TARGETS})
  psdkit_add_fuzz_replayer(${name})
  add_test(NAME fuzz.replay.${name}
    COMMAND replay_${name} --suffix ${PSDKIT_FUZZ_SUFFIX_${name}}
      ${PROJECT_SOURCE_DIR}/tests/data/corrupt ${PSDKIT_FUZZ_SEEDS}/${name})
  set_tests_properties(fuzz.replay.${name} PROPERTIES
    FIXTURES_REQUIRED psdkit_fuzz_seeds LABELS "robustness;fuzz" TIMEOUT 600)
endforeach()

# Valgrind memcheck (make test-valgrind): every test executable once, all its
# tests in one process, no errors and no definite or indirect leaks. Left out:
# the sweep (minutes natively, hours under valgrind) and the peer-tool interop
# tests (they spend their time in the peers). Processes the tests start (the
# psdkit tool, peers) run natively.
option(PSDKIT_VALGRIND "Register the test executables under valgrind memcheck (label valgrind)" OFF)
if(PSDKIT_VALGRIND)
  find_program(PSDKIT_VALGRIND_COMMAND valgrind REQUIRED)
  set(PSDKIT_VALGRIND_OPTIONS --error-exitcode=99 --leak-check=full --show-leak-kinds=definite,indirect
      --errors-for-leak-kinds=definite,indirect --num-callers=30 --child-silent-after-fork=yes
      --suppressions=${CMAKE_CURRENT_LIST_DIR}/valgrind.supp)
  set(_psdkit_valgrind_targets)
  foreach(sub ${PSDKIT_TEST_SUBSYSTEMS} robustness_alloc)
    if(TARGET test_${sub} AND NOT sub STREQUAL "interop")
      list(APPEND _psdkit_valgrind_targets test_${sub})
    endif()
  endforeach()
  foreach(target ${_psdkit_valgrind_targets})
    add_test(NAME valgrind.${target}
      COMMAND ${PSDKIT_VALGRIND_COMMAND} ${PSDKIT_VALGRIND_OPTIONS} $<TARGET_FILE:${target}>)
    set_tests_properties(valgrind.${target} PROPERTIES LABELS valgrind TIMEOUT 3600)
  endforeach()
  foreach(name ${PSDKIT_FUZZ_TARGETS})
    add_test(NAME valgrind.replay_${name}
      COMMAND ${PSDKIT_VALGRIND_COMMAND} ${PSDKIT_VALGRIND_OPTIONS} $<TARGET_FILE:replay_${name}>
        --suffix ${PSDKIT_FUZZ_SUFFIX_${name}} ${PROJECT_SOURCE_DIR}/tests/data/corrupt ${PSDKIT_FUZZ_SEEDS}/${name})
    set_tests_properties(valgrind.replay_${name} PROPERTIES
      LABELS valgrind TIMEOUT 3600 FIXTURES_REQUIRED psdkit_fuzz_seeds)
  endforeach()
endif()
