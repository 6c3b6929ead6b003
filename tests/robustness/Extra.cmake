# Robustness tests beyond test_robustness:
# - test_robustness_sweep: the damaged files of tests/data/corrupt (label
#   robustness) and the corruption sweep over the corpus (label sweep). It
#   counts every allocation of its process, so it runs in a process of its own.
# - the fuzz targets' replayers, run over the seeds and the damaged inputs of
#   their own kind (.psd, .res).
include(${PROJECT_SOURCE_DIR}/fuzz/Targets.cmake)
psdkit_fuzz_common()

target_compile_definitions(psdkit_test_support PUBLIC PSDKIT_CORRUPT_DIR="${PROJECT_SOURCE_DIR}/tests/data/corrupt")

file(GLOB _psdkit_sweep_sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_LIST_DIR}/sweep/*.cpp)
add_executable(test_robustness_sweep ${_psdkit_sweep_sources})
target_link_libraries(test_robustness_sweep PRIVATE psdkit_psd_walk psdkit_fuzz_support psdkit_test_support
                                                    GTest::gtest_main)
add_dependencies(test_robustness_sweep psdkit-cli)
gtest_discover_tests(test_robustness_sweep DISCOVERY_TIMEOUT 60 TEST_FILTER "DamagedFiles.*:CorpusWalker.*"
  PROPERTIES LABELS robustness)
# Listed when ctest runs, so that a corpus named by PSDKIT_CORPUS then is the one swept.
gtest_discover_tests(test_robustness_sweep DISCOVERY_TIMEOUT 60 DISCOVERY_MODE PRE_TEST TEST_FILTER "Corpus/Sweep.*"
  PROPERTIES LABELS sweep TIMEOUT 900)

# Seeds for the replayers come from the shared corpus at test time, into the
# build tree; the corpus itself never enters the project.
add_test(NAME fuzz.seeds COMMAND psdkit_fuzz_seeds ${PSDKIT_FUZZ_CORPUS} ${PSDKIT_FUZZ_SEEDS})
set_tests_properties(fuzz.seeds PROPERTIES FIXTURES_SETUP psdkit_fuzz_seeds LABELS "robustness;fuzz")
foreach(name ${PSDKIT_FUZZ_TARGETS})
  psdkit_add_fuzz_replayer(${name})
  add_test(NAME fuzz.replay.${name} COMMAND replay_${name} --suffix ${PSDKIT_FUZZ_SUFFIX_${name}}
    ${PSDKIT_FUZZ_SEEDS}/${name} ${PROJECT_SOURCE_DIR}/tests/data/corrupt)
  set_tests_properties(fuzz.replay.${name} PROPERTIES
    FIXTURES_REQUIRED psdkit_fuzz_seeds LABELS "robustness;fuzz" TIMEOUT 600)
endforeach()

# Valgrind memcheck (make test-valgrind): every test executable once, all its
# tests in one process, no errors and no definite or indirect leaks, and the
# replayers over every damaged input. Left out: the sweep executable (it counts
# allocations itself, and the sweep takes hours under valgrind) and the
# peer-tool interop tests (they spend their time in the peers). Processes the
# tests start (the psdkit tool, peers) run natively.
option(PSDKIT_VALGRIND "Register the test executables under valgrind memcheck (label valgrind)" OFF)
if(PSDKIT_VALGRIND)
  find_program(PSDKIT_VALGRIND_COMMAND valgrind REQUIRED)
  set(_options --error-exitcode=99 --leak-check=full --show-leak-kinds=definite,indirect
      --errors-for-leak-kinds=definite,indirect --num-callers=30 --child-silent-after-fork=yes
      --suppressions=${CMAKE_CURRENT_LIST_DIR}/valgrind.supp)
  foreach(sub ${PSDKIT_TEST_SUBSYSTEMS})
    if(TARGET test_${sub} AND NOT sub STREQUAL "interop")
      add_test(NAME valgrind.test_${sub} COMMAND ${PSDKIT_VALGRIND_COMMAND} ${_options} $<TARGET_FILE:test_${sub}>)
      set_tests_properties(valgrind.test_${sub} PROPERTIES LABELS valgrind TIMEOUT 3600)
    endif()
  endforeach()
  foreach(name ${PSDKIT_FUZZ_TARGETS})
    add_test(NAME valgrind.replay_${name} COMMAND ${PSDKIT_VALGRIND_COMMAND} ${_options} $<TARGET_FILE:replay_${name}>
      --suffix ${PSDKIT_FUZZ_SUFFIX_${name}} ${PROJECT_SOURCE_DIR}/tests/data/corrupt ${PSDKIT_FUZZ_SEEDS}/${name})
    set_tests_properties(valgrind.replay_${name} PROPERTIES
      LABELS valgrind TIMEOUT 3600 FIXTURES_REQUIRED psdkit_fuzz_seeds)
  endforeach()
endif()
