# What the Windows build has in place of Debian's packages for Linux.
enable_language(RC)

# Tests run under Wine, whose program Debian does not put on the path.
set(CMAKE_CROSSCOMPILING_EMULATOR /usr/lib/wine/wine64)

# Programs and libraries stand alone: the runtime of C++ is in them.
add_link_options(-static $<$<NOT:$<CONFIG:Debug>>:-s>)

# Header-only libraries of the building machine, without the rest of its headers beside them.
set(host_headers ${PROJECT_BINARY_DIR}/headers)
file(MAKE_DIRECTORY ${host_headers})
foreach(library boost CLI nlohmann)
  file(CREATE_LINK /usr/include/${library} ${host_headers}/${library} SYMBOLIC)
endforeach()
include_directories(SYSTEM ${host_headers})
