# Settings for every target of this project: language level, warnings, sanitizers, visibility.

# Private build settings; not part of what is exported.
add_library(requesthandling_build INTERFACE)
target_compile_features(requesthandling_build INTERFACE cxx_std_17)
if(PROJECT_IS_TOP_LEVEL)
  target_compile_options(requesthandling_build INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Wold-style-cast -Woverloaded-virtual
    -Wnon-virtual-dtor -Wcast-qual -Wformat=2 -Wundef)
endif()
if(REQUESTHANDLING_WARNINGS_AS_ERRORS)
  target_compile_options(requesthandling_build INTERFACE -Werror)
endif()
if(REQUESTHANDLING_SANITIZERS)
  target_compile_options(requesthandling_build INTERFACE
    -fsanitize=${REQUESTHANDLING_SANITIZERS} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_link_options(requesthandling_build INTERFACE -fsanitize=${REQUESTHANDLING_SANITIZERS})
endif()
# g++ frees memory before it has used 512 MiB otherwise, which takes up to a sixth of the time of the larger tests.
if(REQUESTHANDLING_BUILD_TESTS)
  target_compile_options(requesthandling_build INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:--param=ggc-min-heapsize=524288>)
endif()
# Programs are compiled more often than they are run; the libraries keep the options of the build type.
target_compile_options(requesthandling_build INTERFACE
  "$<$<NOT:$<BOOL:$<TARGET_PROPERTY:REQUESTHANDLING_LIBRARY>>>:${REQUESTHANDLING_PROGRAM_OPTIONS}>")

# Exports the names of this system only.
set(REQUESTHANDLING_EXPORTS ${CMAKE_CURRENT_LIST_DIR}/exports.map)

# requesthandling_library(TARGET): the settings that all libraries of the project have in common.
function(requesthandling_library target)
  set_target_properties(${target} PROPERTIES
    REQUESTHANDLING_LIBRARY ON
    CXX_EXTENSIONS OFF
    POSITION_INDEPENDENT_CODE ON
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}
    LINK_DEPENDS ${REQUESTHANDLING_EXPORTS})
  # Installed, the libraries find each other in their own folder.
  set_property(TARGET ${target} APPEND PROPERTY INSTALL_RPATH $ORIGIN)
  target_compile_features(${target} PUBLIC cxx_std_17)
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:requesthandling_build>)
  if(REQUESTHANDLING_COVERAGE)
    target_compile_options(${target} PRIVATE --coverage -fprofile-update=atomic)
    target_link_options(${target} PRIVATE --coverage)
  endif()
  # Small packages are parsed in some ten microseconds, in which one jump per call is measurable.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:GNU,Clang>:-fno-plt>)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL STATIC_LIBRARY)
    string(TOUPPER ${target} prefix)
    target_compile_definitions(${target} PUBLIC ${prefix}_STATIC_DEFINE)
  elseif(CMAKE_SYSTEM_NAME STREQUAL Linux)
    target_link_options(${target} PRIVATE "LINKER:--version-script=${REQUESTHANDLING_EXPORTS}")
  endif()
  add_library(Drelvan::${target} ALIAS ${target})
endfunction()

# requesthandling_program_headers(TARGET...): compiles once what many programs include, where they are compiled often: in
# build trees with tests. What is installed is built without.
function(requesthandling_program_headers)
  if(NOT REQUESTHANDLING_BUILD_TESTS)
    return()
  endif()
  if(NOT TARGET program_headers)
    add_library(program_headers OBJECT ${PROJECT_SOURCE_DIR}/tests/support/PrecompiledHeaders.cpp)
    target_link_libraries(program_headers PRIVATE Drelvan::Service_RequestPackages requesthandling_build)
    set_target_properties(program_headers PROPERTIES CXX_EXTENSIONS OFF)
    target_precompile_headers(program_headers PRIVATE ${PROJECT_SOURCE_DIR}/tests/support/ProgramHeaders.h)
  endif()
  foreach(target IN LISTS ARGN)
    target_precompile_headers(${target} REUSE_FROM program_headers)
  endforeach()
endfunction()
