# What Debian builds its packages with, for everything that is optimised: the
# debugger's and the sanitizers' builds look for faults themselves. What each
# option costs the small library is in docs/performance.md.
include(CheckPIESupported)
check_pie_supported()
if(NOT ORBA_SANITIZE AND NOT CMAKE_BUILD_TYPE STREQUAL Debug)
  add_compile_options(-fstack-protector-strong)
  add_compile_definitions(_FORTIFY_SOURCE=2)
  # For what is not optimised, where the C library's headers refuse to.
  set(ORBA_NOT_OPTIMISED -O0 -U_FORTIFY_SOURCE)
else()
  set(ORBA_NOT_OPTIMISED -O0)
endif()
add_link_options(-Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
