# The one source of the program's version: the project version, written into
# a generated header. Link speckmend_version to use it:
# #include "speckmend_version.h".
configure_file(${CMAKE_CURRENT_LIST_DIR}/speckmend_version.h.in
               ${CMAKE_BINARY_DIR}/generated/speckmend_version.h @ONLY)
add_library(speckmend_version INTERFACE)
target_include_directories(speckmend_version INTERFACE ${CMAKE_BINARY_DIR}/generated)
