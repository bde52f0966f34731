# Everything that is compiled here is compiled with these options; targets link `build_options`.
option(MVLPFX_BENCH "Build the benchmarks" OFF)
option(MVLPFX_FUZZ "Build the libFuzzer targets (clang only)" OFF)
option(MVLPFX_COVERAGE "Count what the tests run of src/ (gcc only)" OFF)
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
  if(WIN32)
    target_link_options(build_options INTERFACE -fstack-protector-strong)
  else()
    target_link_options(build_options INTERFACE LINKER:-z,relro,-z,now)
  endif()
endif()
if(MVLPFX_FUZZ)
  target_compile_options(build_options INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Counts which lines and branches of a target are run, by threads at once too. What _FORTIFY_SOURCE
# checks needs a compiler that optimises, and what counts lines best is one that does not.
function(mvlpfx_count_runs target)
  if(MVLPFX_COVERAGE)
    target_compile_options(${target} PRIVATE
      --coverage -fprofile-update=atomic -fprofile-abs-path -O0 -U_FORTIFY_SOURCE)
    target_link_options(${target} PUBLIC --coverage)
  endif()
endfunction()
