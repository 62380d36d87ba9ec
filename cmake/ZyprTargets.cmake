# How targets of this project are compiled and linked.

# Exact results are the product: nothing is contracted that the source does not fuse, and no fast-math flag ever appears.
add_library(zypr_exact INTERFACE)
target_compile_options(zypr_exact INTERFACE -ffp-contract=off -Wall -Wextra -Wshadow -Wno-psabi)

# Code for the processors that the library is built for.
add_library(zypr_vectors INTERFACE)
target_compile_options(zypr_vectors INTERFACE -mavx2 -mfma)
target_link_libraries(zypr_vectors INTERFACE zypr_exact)

# Code of the libraries themselves: no run-time support of C++ is linked, so none may be needed.
add_library(zypr_freestanding INTERFACE)
target_compile_options(zypr_freestanding INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti
  -fno-threadsafe-statics>)

# Links as C, which leaves the C++ run-time library out and makes any need for it an error.
function(zypr_library_properties target)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C VERSION 7.1 SOVERSION 7.1)
  if(NOT ZYPR_SANITIZE)
    target_link_options(${target} PRIVATE -Wl,-z,defs)
  endif()
  target_link_options(${target} PRIVATE -Wl,--as-needed -Wl,-z,relro -Wl,-z,now)
endfunction()

# Exports exactly the named symbols, under one version node.
function(zypr_version_script target node)
  list(JOIN ARGN ";\n    " names)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  file(CONFIGURE OUTPUT ${script} CONTENT "${node} {\n  global:\n    @names@;\n  local:\n    *;\n};\n" @ONLY)
  target_link_options(${target} PRIVATE -Wl,--version-script=${script})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
endfunction()
