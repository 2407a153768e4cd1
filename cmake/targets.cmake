# One function per kind of target.

add_library(coupler_sanitizers INTERFACE)
if(COUPLER_SANITIZE)
  # Two checks of Clang's look at a type through a pipe, which a test without free descriptors has not, or export it.
  target_compile_options(coupler_sanitizers INTERFACE -fsanitize=${COUPLER_SANITIZE} -fno-sanitize-recover=all
                                                      -fno-omit-frame-pointer -g
                                                      $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function,vptr>)
  target_link_options(coupler_sanitizers INTERFACE -fsanitize=${COUPLER_SANITIZE})
endif()

# What everything is compiled with. Warnings are errors where CMAKE_COMPILE_WARNING_AS_ERROR says so (our presets).
add_library(coupler_flags INTERFACE)
target_link_libraries(coupler_flags INTERFACE coupler_sanitizers)
target_compile_options(coupler_flags INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wformat=2
                                               -fno-semantic-interposition)
# GCC 12 sees an overlap or an overflow in `"literal" + std::string` that it optimises.
target_compile_options(coupler_flags INTERFACE "$<$<CXX_COMPILER_ID:GNU>:-Wno-restrict;-Wno-stringop-overflow;-Wno-array-bounds>")
target_include_directories(coupler_flags INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
# All of the library, compiled once: the shared library and the unit tests link it.
add_library(coupler_objects OBJECT)
target_link_libraries(coupler_objects PUBLIC coupler_flags coupler_platform)
# The comparison of the interface reads the types from the debug information, which packaging strips.
target_compile_options(coupler_objects PRIVATE -g)

# coupler_sources(FILE...): adds sources of the calling folder to the library.
function(coupler_sources)
  list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/ OUTPUT_VARIABLE files)
  target_sources(coupler_objects PRIVATE ${files})
endfunction()

# coupler_library(): libbrantix_coupler.so. It names every platform library and the message transport among its
# dependencies, called or not, so that a host finds a missing one at load. The C++ library comes first: most symbols that
# a loading program looks up are its own, and each library before it is asked for every one of them.
function(coupler_library)
  add_library(brantix_coupler SHARED)
  target_link_libraries(brantix_coupler PRIVATE stdc++ coupler_objects)
  target_link_options(brantix_coupler PRIVATE -Wl,--no-as-needed -Wl,--enable-new-dtags -Wl,-z,defs -Wl,-z,relro
                                              -Wl,--version-script=${PROJECT_SOURCE_DIR}/abi/hidden.map)
  set_property(TARGET brantix_coupler APPEND PROPERTY LINK_DEPENDS ${PROJECT_SOURCE_DIR}/abi/hidden.map)
  target_include_directories(brantix_coupler INTERFACE $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
                                                       $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  if(COUPLER_SANITIZE)
    # A sanitized library leaves its run time to the program that loads it.
    target_link_options(brantix_coupler PRIVATE -Wl,-z,undefs)
  endif()
endfunction()

# coupler_stand_in(TARGET SONAME FILE...): a platform library of our own under the platform's soname.
function(coupler_stand_in target soname)
  add_library(${target} SHARED ${ARGN} stand_in.cc)
  target_link_libraries(${target} PRIVATE coupler_flags)
  set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX "" OUTPUT_NAME ${soname} NO_SONAME ON
                                             LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib/brantix/platform)
  target_link_options(${target} PRIVATE -Wl,-soname,${soname})
endfunction()

# coupler_test_program(NAME FILE...): a test program, linked with the library's objects.
function(coupler_test_program name)
  add_executable(${name} ${ARGN})
  target_link_libraries(${name} PRIVATE coupler_objects coupler_test_support GTest::gmock GTest::gtest_main)
  set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/tests)
endfunction()

# coupler_test(NAME FILE...): a test program, run in the simulated appliance. The headers of the test framework are
# compiled once for all.
function(coupler_test name)
  if(NOT TARGET test_headers)
    file(CONFIGURE OUTPUT ${PROJECT_BINARY_DIR}/test_headers.cc CONTENT "")
    coupler_test_program(test_headers ${PROJECT_BINARY_DIR}/test_headers.cc)
    target_precompile_headers(test_headers PRIVATE <gmock/gmock.h> <gtest/gtest.h> <filesystem> <fstream>)
  endif()
  coupler_test_program(${name} ${ARGN})
  target_precompile_headers(${name} REUSE_FROM test_headers)
  add_test(NAME ${name} COMMAND ${PROJECT_SOURCE_DIR}/platform/appliance $<TARGET_FILE:${name}>)
  set_tests_properties(${name} PROPERTIES TIMEOUT 300 SKIP_RETURN_CODE 77)
endfunction()
