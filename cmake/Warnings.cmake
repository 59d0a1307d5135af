# The warnings every target of the project is built with.
add_compile_options(
  -Wall -Wextra -Wformat -Wformat-security -Wundef -Wcast-align
  -Wpointer-arith -Wvla
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>
  # Where several files are compiled as one, a name of one is no name that another hides, and
  # what is a file's own is no header's.
  $<IF:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>,-Wno-subobject-linkage,-Wshadow>)
# GCC 12 warns of its own std::string: GCC bug 105651.
add_compile_options($<$<COMPILE_LANG_AND_ID:CXX,GNU>:-Wno-restrict>)
if(ORBA_WERROR)
  add_compile_options(-Werror)
endif()
