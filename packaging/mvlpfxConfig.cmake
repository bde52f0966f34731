include(CMakeFindDependencyMacro)
find_dependency(vlxcapi)
include(${CMAKE_CURRENT_LIST_DIR}/mvlpfxTargets.cmake)
