# GoogleTest is built from the sources that Debian's googletest package ships,
# with this build's own flags (32-bit, sanitizers), so that the test binaries
# and the framework always agree.
set(DISCRETE_GTEST_SOURCE_DIR "/usr/src/googletest" CACHE PATH "GoogleTest sources")
set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
set(BUILD_GMOCK ON CACHE BOOL "" FORCE)
add_subdirectory(${DISCRETE_GTEST_SOURCE_DIR} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
include(GoogleTest)

# discrete_test(NAME SOURCES... [LIBS lib...] [PROPERTIES name value...]) adds
# one GoogleTest program and registers every test in it with CTest (through
# the emulator on 32-bit builds), with the test properties given.
function(discrete_test name)
  cmake_parse_arguments(ARG "" "" "LIBS;PROPERTIES" ${ARGN})
  add_executable(${name} ${ARG_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest_main GTest::gmock)
  if(ARG_PROPERTIES)
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60 PROPERTIES ${ARG_PROPERTIES})
  else()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60)
  endif()
endfunction()
