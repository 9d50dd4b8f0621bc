# glintbook_test_folder(AREA LIBS...): every test_*.cpp in the calling folder
# becomes a test program AREA_<name>, linked with LIBS, its cases discovered
# by CTest.
# Not built for Windows: the fuzz cases' replay (the harnesses in fuzz/ make
# their folders with POSIX calls; fuzzing itself runs on Linux), the resample
# tool's test (it runs the tool through Qt's QProcess) and the independent
# readers of the plug-in (Perl and Python programs of the Linux machine).
set(glintbook_linux_only_tests test_fuzz_regressions.cpp test_resample_tool.cpp test_validators.cpp)

# On Windows the open engine's files lie in the one Documents folder of the
# system (Wine's prefix here): the programs whose tests write them there or
# may read them (a Start, a sighting or a report without Morrowind.exe) run
# one test at a time among themselves (the Win32 window's own tests too).
set(glintbook_documents_tests settings_open_engine session_monitor app_main_form plugin_install)

function(glintbook_test_folder area)
  file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/test_*.cpp)
  if(WIN32)
    foreach(name ${glintbook_linux_only_tests})
      list(REMOVE_ITEM sources ${CMAKE_CURRENT_SOURCE_DIR}/${name})
    endforeach()
  endif()
  foreach(src ${sources})
    get_filename_component(name ${src} NAME_WE)
    string(REGEX REPLACE "^test_" "" name ${name})
    set(target ${area}_${name})
    add_executable(${target} ${src})
    target_link_libraries(${target} PRIVATE ${ARGN} glintbook_test_support GTest::gtest_main GTest::gmock)
    set(lock "")
    if(WIN32 AND target IN_LIST glintbook_documents_tests)
      set(lock RESOURCE_LOCK documents)
    endif()
    gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60
      PROPERTIES ENVIRONMENT "QT_QPA_PLATFORM=offscreen" ${lock})
  endforeach()
endfunction()
