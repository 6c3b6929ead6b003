# Compiler flags shared by every target of the project.
add_compile_options(-Wall -Wextra)
if(PSDKIT_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined -fno-sanitize-recover=all)
endif()
