# vorn_library(NAME [FLAT] DIRS dir... LIBS ... TEST_LIBS ...): a static
# library of every .cpp under the given directories except tests, and one
# GoogleTest executable NAME_tests of the *_test.cpp files beside them.
# FLAT takes the directories' own files only, not their subdirectories'
# (a folder whose subfolders are libraries of their own).
function(vorn_library name)
  cmake_parse_arguments(ARG "FLAT" "" "DIRS;LIBS;TEST_LIBS" ${ARGN})
  set(sources)
  set(tests)
  set(glob GLOB_RECURSE)
  if(ARG_FLAT)
    set(glob GLOB)
  endif()
  foreach(dir IN LISTS ARG_DIRS)
    file(${glob} found CONFIGURE_DEPENDS ${dir}/*.cpp)
    foreach(file IN LISTS found)
      if(file MATCHES "_test\\.cpp$")
        list(APPEND tests ${file})
      else()
        list(APPEND sources ${file})
      endif()
    endforeach()
  endforeach()
  add_library(${name} STATIC ${sources})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR})
  target_link_libraries(${name} PUBLIC ${ARG_LIBS})
  if(VORN_TESTS AND tests)
    add_executable(${name}_tests ${tests})
    target_link_libraries(${name}_tests PRIVATE ${name} ${ARG_TEST_LIBS}
                          GTest::gtest GTest::gtest_main)
    target_compile_definitions(${name}_tests PRIVATE
      VORN_SOURCE_DIR="${PROJECT_SOURCE_DIR}"
      VORN_BIN_DIR="${PROJECT_BINARY_DIR}/bin")
    gtest_discover_tests(${name}_tests DISCOVERY_TIMEOUT 60
                         PROPERTIES ENVIRONMENT
                         "VORN_BIN_DIR=${PROJECT_BINARY_DIR}/bin;VORN_SOURCE_DIR=${PROJECT_SOURCE_DIR}")
  endif()
endfunction()
