# What every target of the project shares: language level, warnings, sanitizers, and how a library is declared.

set(ORVANE_WARNINGS
  -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wcast-qual -Wold-style-cast -Wnull-dereference
  -Wimplicit-fallthrough)
# Not under a sanitizer: instrumentation makes the optimiser warn of paths that do not exist.
if(ORVANE_WARNINGS_AS_ERRORS AND NOT ORVANE_SANITIZE)
  list(APPEND ORVANE_WARNINGS -Werror)
endif()
if(WIN32)
  # The compiler checks printf formats by ISO C; ours have the Windows meaning.
  list(APPEND ORVANE_WARNINGS -Wno-format)
endif()
if(ORVANE_SANITIZE)
  # Sanitizer instrumentation makes the optimiser see paths that do not exist.
  list(APPEND ORVANE_WARNINGS -Wno-null-dereference -Wno-maybe-uninitialized)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    list(REMOVE_ITEM ORVANE_WARNINGS -Wno-maybe-uninitialized)
  endif()
endif()

# Options of every target that this project compiles, private to it.
add_library(orvane_options INTERFACE)
target_compile_options(orvane_options INTERFACE ${ORVANE_WARNINGS})
if(ORVANE_SANITIZE)
  target_compile_options(orvane_options INTERFACE
    -fsanitize=${ORVANE_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(orvane_options INTERFACE -fsanitize=${ORVANE_SANITIZE})
endif()

find_package(Threads REQUIRED)

# orvane_add_library(<name> EXPORT_MACRO <macro> EXPORT_HEADER <path>)
# A shared library Orvane::<short name> with hidden symbols and a generated export header.
function(orvane_add_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "EXPORT_MACRO;EXPORT_HEADER;ALIAS" "")
  include(GenerateExportHeader)
  add_library(${name} SHARED)
  add_library(Orvane::${arg_ALIAS} ALIAS ${name})
  target_compile_features(${name} PUBLIC cxx_std_20)
  target_link_libraries(${name} PRIVATE $<BUILD_INTERFACE:orvane_options> Threads::Threads)
  if(NOT WIN32)
    # No program replaces single functions of a library of ours: calls within one need not allow for it, and those into
    # another go through its address without a jump in between.
    target_compile_options(${name} PRIVATE -fno-semantic-interposition -fno-plt)
  endif()
  set_target_properties(${name} PROPERTIES
    EXPORT_NAME ${arg_ALIAS}
    CXX_EXTENSIONS OFF
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN YES
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    INSTALL_RPATH "$ORIGIN")
  generate_export_header(${name}
    BASE_NAME ${name}
    EXPORT_MACRO_NAME ${arg_EXPORT_MACRO}
    EXPORT_FILE_NAME "${PROJECT_BINARY_DIR}/generated/${arg_EXPORT_HEADER}")
  target_include_directories(${name} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/core>
    $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/generated>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/orvane>)
  install(TARGETS ${name} EXPORT OrvaneTargets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endfunction()

# orvane_add_program(<name>): an executable with the project's options.
function(orvane_add_program name)
  add_executable(${name})
  target_compile_features(${name} PRIVATE cxx_std_20)
  target_link_libraries(${name} PRIVATE orvane_options Threads::Threads)
  set_target_properties(${name} PROPERTIES CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden)
endfunction()
