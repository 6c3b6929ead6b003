# Installs the library into a temporary prefix, then builds and runs the
# example host program against it, once through find_package(psdkit) and once
# through pkg-config.
set(PSDKIT_INSTALL_TEST_DIR ${CMAKE_BINARY_DIR}/install-test)
add_test(NAME install.prefix
  COMMAND ${CMAKE_COMMAND} --install ${CMAKE_BINARY_DIR} --prefix ${PSDKIT_INSTALL_TEST_DIR}/prefix)
set_tests_properties(install.prefix PROPERTIES FIXTURES_SETUP psdkit_installed LABELS install)

add_test(NAME install.find_package
  COMMAND ${CMAKE_COMMAND}
    -DPREFIX=${PSDKIT_INSTALL_TEST_DIR}/prefix
    -DSOURCE=${PROJECT_SOURCE_DIR}/examples
    -DWORK=${PSDKIT_INSTALL_TEST_DIR}/find-package
    -P ${CMAKE_CURRENT_LIST_DIR}/RunFindPackage.cmake)
set_tests_properties(install.find_package PROPERTIES FIXTURES_REQUIRED psdkit_installed LABELS install)

add_test(NAME install.pkg_config
  COMMAND sh ${CMAKE_CURRENT_LIST_DIR}/run-pkg-config.sh
    ${PSDKIT_INSTALL_TEST_DIR}/prefix ${PROJECT_SOURCE_DIR}/examples ${PSDKIT_INSTALL_TEST_DIR}/pkg-config
    ${CMAKE_INSTALL_LIBDIR})
set_tests_properties(install.pkg_config PROPERTIES FIXTURES_REQUIRED psdkit_installed LABELS install)
