# Everything that is compiled here is compiled with these options; targets link `build_options`.
option(MVLPFX_BENCH "Build the benchmarks" OFF)
option(MVLPFX_FUZZ "Build the libFuzzer targets (clang only)" OFF)
set(MVLPFX_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize= takes them")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

add_library(build_options INTERFACE)
target_compile_options(build_options INTERFACE -Wall -Wextra -Wconversion -Wshadow -Werror)
if(MVLPFX_SANITIZE)
  target_compile_options(build_options INTERFACE
    -fsanitize=${MVLPFX_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(build_options INTERFACE -fsanitize=${MVLPFX_SANITIZE})
else()
  target_compile_options(build_options INTERFACE
    $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2> -fstack-protector-strong -fcf-protection)
  target_link_options(build_options INTERFACE LINKER:-z,relro,-z,now)
endif()
if(MVLPFX_FUZZ)
  target_compile_options(build_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
