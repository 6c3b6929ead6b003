# Compiler flags shared by every target of the project.
# CI runs (CI=true in the environment) treat warnings as errors.
set(PSDKIT_WERROR_DEFAULT OFF)
if(DEFINED ENV{CI} AND NOT "$ENV{CI}" STREQUAL "" AND NOT "$ENV{CI}" STREQUAL "false")
  set(PSDKIT_WERROR_DEFAULT ON)
endif()
option(PSDKIT_WERROR "Treat compiler warnings as errors (on by default in CI)" ${PSDKIT_WERROR_DEFAULT})
add_compile_options(-Wall -Wextra)
if(PSDKIT_WERROR)
  add_compile_options(-Werror)
endif()
if(PSDKIT_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  # GCC's instrumented code gives false maybe-uninitialized warnings.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
  add_link_options(-fsanitize=address,undefined -fno-sanitize-recover=all)
endif()
