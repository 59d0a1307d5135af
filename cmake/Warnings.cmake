# The warnings every target of the project is built with.
add_compile_options(
  -Wall -Wextra -Wshadow -Wformat -Wformat-security -Wundef -Wcast-align
  -Wpointer-arith -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
if(ORBA_WERROR)
  add_compile_options(-Werror)
endif()
