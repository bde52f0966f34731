# Makes `name`, a library for tests: the objects of `layer` with their calls of the platform going to
# those that SOURCES define as STAND_IN(function), and SUPPORT, the libraries that hold those.
#
# On Windows a call of another library goes through a pointer, __imp_ and the function's name. Bound
# to pointers of our own there are those of `layer` alone: the stand-ins and the runtime's libraries
# call the system still.
function(mvlpfx_put_stand_ins_before layer name)
  cmake_parse_arguments(arg "" "" "SOURCES;SUPPORT" ${ARGN})
  add_library(${name} INTERFACE)
  if(NOT WIN32)
    target_link_libraries(${name} INTERFACE ${arg_SUPPORT} ${layer})
    return()
  endif()

  set(bindings "")
  set(pointers "")
  foreach(source ${arg_SOURCES})
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${source})
    file(STRINGS ${source} lines REGEX "^[A-Za-z].* STAND_IN\\(")
    foreach(line ${lines})
      string(REGEX REPLACE ".*STAND_IN\\(([A-Za-z]+)\\).*" "\\1" function "${line}")
      string(APPEND bindings "${function} stand_in_${function}\n"
        "__imp_${function} __imp_stand_in_${function}\n")
      string(APPEND pointers "void stand_in_${function}(void);\n"
        "void (*const __imp_stand_in_${function})(void) = &stand_in_${function};\n")
    endforeach()
  endforeach()
  set(stem ${CMAKE_CURRENT_BINARY_DIR}/${name})
  file(CONFIGURE OUTPUT ${stem}_bindings.txt CONTENT "${bindings}" @ONLY)
  file(CONFIGURE OUTPUT ${stem}_pointers.c CONTENT "${pointers}" @ONLY)

  add_custom_command(OUTPUT ${stem}.a
    COMMAND ${CMAKE_OBJCOPY} --redefine-syms=${stem}_bindings.txt $<TARGET_FILE:${layer}> ${stem}.a
    DEPENDS ${layer} ${stem}_bindings.txt VERBATIM)
  add_custom_target(${name}_bound DEPENDS ${stem}.a)
  add_library(${name}_pointers OBJECT ${stem}_pointers.c)
  add_dependencies(${name} ${name}_bound)
  target_include_directories(${name} INTERFACE
    $<TARGET_PROPERTY:${layer},INTERFACE_INCLUDE_DIRECTORIES>)
  target_link_libraries(${name} INTERFACE ${name}_pointers $<TARGET_OBJECTS:${name}_pointers>
    ${stem}.a ${arg_SUPPORT})
endfunction()
