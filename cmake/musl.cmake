# musl on this machine (musl-tools), the nearest packaged stand-in for the
# device's small C library. Everything is compiled against musl's headers and
# runs on musl's libc.so. There is no C++ runtime for musl: sim and GoogleTest
# take the host compiler's headers and archive, for which musl/ makes up what
# they expect of the C library that they were built for. The library itself
# needs none.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(ORBA_MUSL ON)
set(CMAKE_C_COMPILER gcc)
set(CMAKE_CXX_COMPILER g++)
set(musl_specs -specs=/usr/lib/x86_64-linux-musl/musl-gcc.specs)

# musl's folder has no kernel headers; the host's stand beside glibc's.
set(kernel_headers ${CMAKE_BINARY_DIR}/kernel_headers)
file(MAKE_DIRECTORY ${kernel_headers})
foreach(folder linux asm-generic x86_64-linux-gnu/asm)
  get_filename_component(name ${folder} NAME)
  file(CREATE_LINK /usr/include/${folder} ${kernel_headers}/${name} SYMBOLIC)
endforeach()

execute_process(COMMAND g++ -dumpversion OUTPUT_VARIABLE version OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND g++ -print-file-name=include OUTPUT_VARIABLE compiler_headers
  OUTPUT_STRIP_TRAILING_WHITESPACE)
set(c_headers "-isystem /usr/include/x86_64-linux-musl -isystem ${compiler_headers} -isystem ${kernel_headers}")
set(CMAKE_C_FLAGS_INIT "-nostdinc ${c_headers}")
string(JOIN " -isystem " cxx_headers ${CMAKE_CURRENT_LIST_DIR}/musl/include
  /usr/include/c++/${version} /usr/include/x86_64-linux-gnu/c++/${version}
  /usr/include/c++/${version}/backward)
set(CMAKE_CXX_FLAGS_INIT "-nostdinc -nostdinc++ -isystem ${cxx_headers} ${c_headers}")

set(runtime ${CMAKE_CURRENT_LIST_DIR}/musl/runtime.c)
execute_process(COMMAND gcc ${musl_specs} -O1 -fPIC -Wall -Wextra -c ${runtime}
  -o ${CMAKE_BINARY_DIR}/musl_runtime.o COMMAND_ERROR_IS_FATAL ANY)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${runtime})
set(CMAKE_CXX_STANDARD_LIBRARIES_INIT ${CMAKE_BINARY_DIR}/musl_runtime.o)
foreach(kind EXE SHARED)
  # The unwinder looks frames up in their index.
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "${musl_specs} -static-libstdc++ -static-libgcc -Wl,--eh-frame-hdr")
endforeach()

# musl has no swapcontext, with which this test looks at a stack.
set(ORBA_TESTS_LEFT_OUT "wipe_test\\.cpp$")
