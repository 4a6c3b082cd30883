# Fails when the runtime tree holds something a build does not put there: anything changed
# since STAMP was touched (before the first test), anything that is not among the files
# that ship (SHIPS: one path inside the tree a line), or what only a run of the program
# writes beside itself.
#   cmake -DRUNTIME_DIR=build/bin -DSTAMP=build/runtime-tree-watch.stamp
#         -DSHIPS=build/runtime-tree-ships.txt -P runtime_tree_check.cmake
cmake_policy(SET CMP0057 NEW)  # if(IN_LIST)
if(NOT IS_DIRECTORY "${RUNTIME_DIR}")
  message(FATAL_ERROR "no runtime tree at ${RUNTIME_DIR}")
endif()
file(STRINGS "${SHIPS}" ships)
if(NOT ships)
  message(FATAL_ERROR "no list of what ships at '${SHIPS}'")
endif()
# The folders that hold what ships.
set(folders "")
foreach(file IN LISTS ships)
  get_filename_component(folder "${file}" DIRECTORY)
  while(folder)
    list(APPEND folders "${folder}")
    get_filename_component(folder "${folder}" DIRECTORY)
  endwhile()
endforeach()

file(GLOB_RECURSE entries LIST_DIRECTORIES true RELATIVE "${RUNTIME_DIR}" "${RUNTIME_DIR}/*")
set(strays "")
foreach(entry IN LISTS entries)
  string(TOLOWER "${entry}" lower)
  # Beside the executables: the Temp folder, the "null" stand-in, the run lock and the
  # settings files.
  if(lower STREQUAL "temp" OR lower STREQUAL "null" OR lower STREQUAL "run.lock" OR
     lower MATCHES "^[^/]*\\.ini$")
    list(APPEND strays "${entry} (written by a run of the program)")
  elseif(EXISTS "${STAMP}" AND "${RUNTIME_DIR}/${entry}" IS_NEWER_THAN "${STAMP}")
    list(APPEND strays "${entry} (changed while the tests ran)")
  elseif(IS_DIRECTORY "${RUNTIME_DIR}/${entry}")
    if(NOT entry IN_LIST folders)
      list(APPEND strays "${entry}/ (a folder that does not ship)")
    endif()
  elseif(NOT entry IN_LIST ships)
    list(APPEND strays "${entry} (does not ship)")
  endif()
endforeach()
if(strays)
  list(JOIN strays "\n  " text)
  message(FATAL_ERROR "The runtime tree ${RUNTIME_DIR} holds what does not ship:\n  ${text}\n"
                      "Tests must work in private copies (tests/support/program_tree.h).")
endif()
message(STATUS "${RUNTIME_DIR} holds only what the build put there.")
