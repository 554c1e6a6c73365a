# Flags that hold for the whole tree. wtp_flags: every target; wtp_no_throw: the rooms of the daemon.

add_library(wtp_flags INTERFACE)
target_compile_options(wtp_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wcast-align -Wformat=2 -Wundef
  -Wnon-virtual-dtor -Woverloaded-virtual -Wimplicit-fallthrough -Wvla -Werror)
target_compile_definitions(wtp_flags INTERFACE _GNU_SOURCE)
# On a 32-bit machine glibc's time ends in 2038, and files and inode numbers have 32 bits, unless more is asked for.
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
  target_compile_definitions(wtp_flags INTERFACE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  target_compile_options(wtp_flags INTERFACE -Wthread-safety -Werror=thread-safety -Wno-gnu-zero-variadic-macro-arguments)
else()
  target_compile_options(wtp_flags INTERFACE -Wduplicated-cond -Wlogical-op)
endif()
if(WTP_LOCK_ORDER)
  target_compile_definitions(wtp_flags INTERFACE WTP_LOCK_ORDER=1)
endif()

# The clock and the retired records count in 64-bit atomics. Some 32-bit machines have no instructions for them.
include(CheckCXXSourceCompiles)
set(WTP_ATOMIC_64 "#include <atomic>\n#include <cstdint>\nstd::atomic<std::uint64_t> a; int main() { return a++ == 1; }")
check_cxx_source_compiles("${WTP_ATOMIC_64}" WTP_ATOMIC_BUILT_IN)
if(NOT WTP_ATOMIC_BUILT_IN)
  target_link_libraries(wtp_flags INTERFACE atomic)
endif()

set(WTP_SANITIZE "" CACHE STRING "value of -fsanitize= for the whole tree")
if(WTP_SANITIZE)
  target_compile_options(wtp_flags INTERFACE -fsanitize=${WTP_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(wtp_flags INTERFACE -fsanitize=${WTP_SANITIZE})
endif()

add_library(wtp_no_throw INTERFACE)
target_compile_options(wtp_no_throw INTERFACE -fno-exceptions)
target_link_libraries(wtp_no_throw INTERFACE wtp_flags)

# Coverage for the fuzzers in the daemon's own code; the engine itself is linked by the fuzz targets alone.
if(WTP_FUZZ)
  target_compile_options(wtp_no_throw INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(wtp_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# wtp_room(NAME SOURCES... [LINK libs...]): one static library per folder of src/.
function(wtp_room name)
  cmake_parse_arguments(ROOM "" "" "SOURCES;LINK" ${ARGN})
  add_library(${name} STATIC ${ROOM_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${name} PUBLIC ${ROOM_LINK} PRIVATE wtp_no_throw)
endfunction()
