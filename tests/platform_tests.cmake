# Which tests are built on which system.

# Tests for POSIX systems only, with the reason and the replacement on Windows.
set(facefeature_posix_tests
  # inotify reports each opening and closing of a file. On Windows nothing does; the tests of missing
  # files cover what the DLL reads and in which order it stops.
  engine/opened_files_test.cpp
  # fork(), which Windows does not have.
  engine/forked_host_test.cpp
  host/forking_test.cpp
  # Replaces functions of the C library, which PE files do not allow.
  host/opened_files_test.cpp
  # TMPDIR, slashes and paths of any length. Replacement: host/temporary_folder_windows_test.cpp.
  platform/model_directory_test.cpp
  host/temporary_folder_test.cpp
  # Symbolic links and signals. Replacement: tools/model/model_link_windows_test.cpp.
  tools/model/model_link_test.cpp
  # Worker processes, signals, pseudoterminals and shell scripts: the program for Windows can't extract
  # lists of photographs. Replacement: tools/verbs/extract_list_windows_test.cpp.
  tools/verbs/batch_examples_test.cpp
  tools/verbs/extract_list_options_test.cpp
  tools/verbs/extract_list_test.cpp
  tools/verbs/extract_resume_test.cpp
  tools/verbs/progress_test.cpp
  # ptrace(). What a change writes, and in which order, is the same on every system.
  tools/gallery/gallery_crash_test.cpp
  # Owners, groups and permissions, which the program does not check on Windows yet.
  tools/model/folder_ownership_test.cpp
  # Checks of sources and ELF files with the tools of the build machine. The sources are the same on
  # Windows, and tools/windows-suite checks the DLL.
  rules/.*)

# For Windows, tests/CMakeLists.txt leaves out whole folders: exhaustion (setrlimit), memcheck
# (Valgrind), packages and python (packages of a Debian machine), rules, service (a Unix socket), and
# soak (counters of the Linux kernel). fuzz/CMakeLists.txt leaves out fuzz_nets, which forks.

# Tests for Windows only.
set(facefeature_windows_tests
  platform/model_directory_windows_test.cpp
  host/temporary_folder_windows_test.cpp
  host/ordinal_host_windows_test.cpp
  tools/verbs/extract_list_windows_test.cpp
  tools/model/model_link_windows_test.cpp)

# facefeature_platform_tests(VARIABLE FOLDER): the tests for this system in a folder and its
# subfolders.
function(facefeature_platform_tests variable folder)
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/tests
       ${PROJECT_SOURCE_DIR}/tests/${folder}/*_test.cpp)
  if(WIN32)
    set(others ${facefeature_posix_tests})
  else()
    set(others ${facefeature_windows_tests})
  endif()
  foreach(other IN LISTS others)
    list(FILTER sources EXCLUDE REGEX "^${other}$")
  endforeach()
  list(TRANSFORM sources PREPEND ${PROJECT_SOURCE_DIR}/tests/)
  set(${variable} ${sources} PARENT_SCOPE)
endfunction()

# facefeature_add_tests(PROGRAM TIMEOUT SECONDS [COST N] [PROPERTIES NAME VALUE...]): adds each test of
# a program to CTest. In Wine and with sanitizers it adds the whole program as one test, because
# starting a process takes longer there than most tests. COST makes the longest programs start first.
# In the emulator of another processor, which is slow, it adds the program as four tests, each with a
# quarter of the program's tests and an hour of time.
function(facefeature_add_tests program)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "TIMEOUT;COST" "PROPERTIES")
  if(CMAKE_CROSSCOMPILING AND NOT WIN32)
    foreach(part RANGE 3)
      add_test(NAME ${program}_${part} COMMAND ${program})
      set_tests_properties(${program}_${part} PROPERTIES TIMEOUT 3600 ${ARG_PROPERTIES}
        ENVIRONMENT "GTEST_TOTAL_SHARDS=4;GTEST_SHARD_INDEX=${part}")
    endforeach()
  elseif(WIN32 OR FACEFEATURE_SANITIZE)
    add_test(NAME ${program} COMMAND ${program})
    if(ARG_COST)
      list(APPEND ARG_PROPERTIES COST ${ARG_COST})
    endif()
    set_tests_properties(${program} PROPERTIES TIMEOUT ${ARG_TIMEOUT} ${ARG_PROPERTIES})
  else()
    gtest_discover_tests(${program} DISCOVERY_TIMEOUT 60
                         PROPERTIES TIMEOUT ${ARG_TIMEOUT} ${ARG_PROPERTIES})
  endif()
endfunction()
