# The same sources give the same bytes in any folder: no path of the machine is
# compiled in, and programs look for their libraries from where they stand.
# tests/package/reproducible.sh compares builds in two folders.
add_compile_options(-ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
set(CMAKE_BUILD_RPATH_USE_ORIGIN ON)
