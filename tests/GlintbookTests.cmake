# glintbook_test_folder(AREA LIBS...): every test_*.cpp in the calling folder
# becomes a test program AREA_<name>, linked with LIBS, its cases discovered
# by CTest.
function(glintbook_test_folder area)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/test_*.cpp)
  foreach(src ${sources})
    get_filename_component(name ${src} NAME_WE)
    string(REGEX REPLACE "^test_" "" name ${name})
    set(target ${area}_${name})
    add_executable(${target} ${src})
    target_link_libraries(${target} PRIVATE ${ARGN} glintbook_test_support GTest::gtest_main GTest::gmock)
    gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60
      PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen")
  endforeach()
endfunction()
