# Run when installing (install(SCRIPT)): installs the public headers.
# In: KEST_HEADER_ROOT (the source Include/), KEST_HEADER_DESTINATION (below
# the install prefix). The headers are every header of Include/POIEngine and
# every header they include, directly or not, so that no installed header
# includes one that is not installed. An include of "X/Y.h" that is not a
# header of Include/ stops the installation.

file(GLOB pending RELATIVE ${KEST_HEADER_ROOT} ${KEST_HEADER_ROOT}/POIEngine/*.h)
set(chosen)
while(pending)
  list(POP_FRONT pending header)
  list(FIND chosen ${header} seen) # (no IN_LIST: install scripts run under the oldest policies)
  if(seen GREATER -1)
    continue()
  endif()
  if(NOT EXISTS ${KEST_HEADER_ROOT}/${header})
    message(FATAL_ERROR "Installing the headers: ${header} is included by a public header but is not in ${KEST_HEADER_ROOT}")
  endif()
  list(APPEND chosen ${header})
  file(STRINGS ${KEST_HEADER_ROOT}/${header} includes REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
  get_filename_component(folder ${header} DIRECTORY)
  foreach(line IN LISTS includes)
    string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"]+)\".*" "\\1" included "${line}")
    # A quoted include is looked for beside the including header first.
    if(EXISTS ${KEST_HEADER_ROOT}/${folder}/${included})
      set(included ${folder}/${included})
    endif()
    list(APPEND pending ${included})
  endforeach()
endwhile()

list(SORT chosen)
foreach(header IN LISTS chosen)
  get_filename_component(folder ${header} DIRECTORY)
  file(INSTALL ${KEST_HEADER_ROOT}/${header}
       DESTINATION ${CMAKE_INSTALL_PREFIX}/${KEST_HEADER_DESTINATION}/${folder})
endforeach()
