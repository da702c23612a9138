# How everything of ours is compiled, and where it is put.

include(GNUInstallDirs)

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

set(CMAKE_LIBRARY_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/lib")
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/archive")
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/bin")

set(KAVU_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize takes them; empty for none")

find_package(Threads REQUIRED)

find_program(KAVU_CCACHE ccache)
if(KAVU_CCACHE)
  set(CMAKE_C_COMPILER_LAUNCHER "${KAVU_CCACHE}")
  set(CMAKE_CXX_COMPILER_LAUNCHER "${KAVU_CCACHE}")
endif()

if(KAVU_SANITIZE)
  add_compile_options("-fsanitize=${KAVU_SANITIZE}" -fno-omit-frame-pointer
                      -fno-sanitize-recover=all)
  add_link_options("-fsanitize=${KAVU_SANITIZE}")
else()
  add_link_options(-Wl,--no-undefined)
endif()

# Unique symbols would keep a library in memory after it has been unloaded.
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>")
endif()

# Our own code compiles without a warning; generated code and other people's headers are spared.
add_library(kavu_warnings INTERFACE)
target_compile_options(kavu_warnings INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror
  "$<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual>")
# What the sanitizers insert makes the compiler see uninitialised values in the standard library.
if(KAVU_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  target_compile_options(kavu_warnings INTERFACE -Wno-maybe-uninitialized)
endif()

# kavu_library(NAME SOURCES... [LINK libraries...]): a static library for use inside this project,
# whose headers are found from the root of the source folder. Without sources it is headers only.
function(kavu_library name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK;PRIVATE_LINK" ${ARGN})
  if(arg_SOURCES)
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC "${PROJECT_SOURCE_DIR}/src" "${PROJECT_SOURCE_DIR}/include")
    target_link_libraries(${name} PUBLIC ${arg_LINK} PRIVATE kavu_warnings ${arg_PRIVATE_LINK})
    # liblog, not libliblog
    if(name MATCHES "^lib(.+)")
      set_target_properties(${name} PROPERTIES OUTPUT_NAME "${CMAKE_MATCH_1}")
    endif()
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE "${PROJECT_SOURCE_DIR}/src" "${PROJECT_SOURCE_DIR}/include")
    target_link_libraries(${name} INTERFACE ${arg_LINK})
  endif()
endfunction()
