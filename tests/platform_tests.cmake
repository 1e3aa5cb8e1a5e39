# Which tests are built on which system.

# Only on POSIX systems. What each rests on there, and what stands in for it on Windows:
set(facefeature_posix_tests
  # inotify tells of each opening and closing. The DLL's files are watched nowhere; what it reads and
  # in which order it stops shows in the tests of missing files.
  engine/opened_files_test.cpp
  # fork(). Windows has nothing like it.
  engine/forked_host_test.cpp
  host/forking_test.cpp
  # Functions of the C library that are put in front of the real ones, which PE files do not allow.
  host/opened_files_test.cpp
  # TMPDIR, slashes and paths of any length. host/temporary_folder_windows_test.cpp stands in.
  platform/model_directory_test.cpp
  host/temporary_folder_test.cpp
  # Symbolic links and signals. tools/model/model_link_windows_test.cpp stands in.
  tools/model/model_link_test.cpp
  # Worker processes, signals, pseudoterminals and shell scripts: lists of photographs are not
  # extracted there. tools/verbs/extract_list_windows_test.cpp stands in.
  tools/verbs/batch_examples_test.cpp
  tools/verbs/extract_list_options_test.cpp
  tools/verbs/extract_list_test.cpp
  tools/verbs/extract_resume_test.cpp
  tools/verbs/progress_test.cpp
  # ptrace(). What the change writes, and in which order, is the same everywhere.
  tools/gallery/gallery_crash_test.cpp
  # Windows refuses to replace a gallery that is mapped, as a reader or the change itself has it. Four of
  # these tests fail there (can't be replaced: Permission denied); galleries change only on Linux so far.
  tools/gallery/gallery_change_test.cpp
  # Owners, groups and their rights, of which the program asks nothing there yet.
  tools/model/folder_ownership_test.cpp
  # The tools of the build machine look into sources and ELF files, and the same sources are looked
  # at there. tools/windows-suite looks into the DLL.
  rules/.*)

# tests/CMakeLists.txt leaves out whole folders there: exhaustion (a limit on addresses, setrlimit), memcheck (Valgrind), packages and python (what is installed on a Debian machine), rules, and soak
# (counts of the Linux kernel). fuzz/CMakeLists.txt leaves out fuzz_nets, which forks.

# Only on Windows.
set(facefeature_windows_tests
  platform/model_directory_windows_test.cpp
  host/temporary_folder_windows_test.cpp
  host/ordinal_host_windows_test.cpp
  tools/verbs/extract_list_windows_test.cpp
  tools/model/model_link_windows_test.cpp)

# facefeature_platform_tests(VARIABLE FOLDER): the tests in a folder and its folders that are for this
# system.
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

# facefeature_add_tests(PROGRAM TIMEOUT SECONDS [PROPERTIES NAME VALUE...]): each test of a program as
# one of CTest's. In Wine and with sanitizers the whole program is one, since a process takes longer to
# start there than most tests to run; COST lets the programs that take longest begin first.
function(facefeature_add_tests program)
  cmake_parse_arguments(PARSE_ARGV 1 ARG "" "TIMEOUT;COST" "PROPERTIES")
  if(WIN32 OR FACEFEATURE_SANITIZE)
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
