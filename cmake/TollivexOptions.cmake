# Compiler settings shared by the library, its tests, tools and benchmarks.

add_library(tollivex_warnings INTERFACE)
target_compile_options(tollivex_warnings INTERFACE -Wall -Wextra -Wno-unused-parameter)

if(TOLLIVEX_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
endif()

if(WIN32)
  # The DLL and every test program must run with nothing beside them: link the
  # C++ runtime, libgcc and winpthread statically.
  add_link_options(-static -static-libgcc -static-libstdc++)
endif()
