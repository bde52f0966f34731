include(${CMAKE_CURRENT_LIST_DIR}/vlxcapiTargets.cmake)
