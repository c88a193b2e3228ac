# The manual as one site of HTML, in the folder manual/html of the build tree.
#
# `manual` builds it and checks every link within it; it fails on a warning of Doxygen and on a broken link.
# `update_manual_diagrams` redraws the diagrams, which are stored in the repository beside their sources.

find_program(DOXYGEN_PROGRAM doxygen)
find_program(DOT_PROGRAM dot)
find_program(LINKCHECKER_PROGRAM linkchecker)
find_program(MANDOC_PROGRAM mandoc)
find_program(PYTHON3_PROGRAM python3)
mark_as_advanced(DOXYGEN_PROGRAM DOT_PROGRAM LINKCHECKER_PROGRAM MANDOC_PROGRAM PYTHON3_PROGRAM)

if(NOT DOXYGEN_PROGRAM OR NOT DOT_PROGRAM OR NOT LINKCHECKER_PROGRAM OR NOT MANDOC_PROGRAM OR NOT PYTHON3_PROGRAM)
  add_custom_target(manual
    COMMAND ${CMAKE_COMMAND} -E echo "The manual needs doxygen, dot, linkchecker, mandoc and python3; install them and configure again."
    COMMAND ${CMAKE_COMMAND} -E false
    VERBATIM)
  return()
endif()

set(manual_build ${PROJECT_BINARY_DIR}/manual)
set(manual_site ${PROJECT_SOURCE_DIR}/docs/site)

# The installed headers only: private ones are in the same folders.
file(GLOB headers ${PROJECT_SOURCE_DIR}/service/*.h)
set(manual_macros)
foreach(library IN ITEMS Service_RequestHandlingBase Service_RequestPackages)
  get_target_property(public_headers ${library} HEADER_SET)
  list(APPEND headers ${public_headers})
  string(TOUPPER ${library} macro)
  string(APPEND manual_macros " ${macro}_EXPORT=")
endforeach()
list(JOIN headers "\" \"" manual_headers)
foreach(service IN LISTS REQUESTHANDLING_SERVICES)
  string(TOUPPER ${service} macro)
  string(APPEND manual_macros " DVMSERVICE_${macro}_EXPORT=")
endforeach()
configure_file(${manual_site}/Doxyfile.in ${manual_build}/Doxyfile @ONLY)

file(GLOB diagrams ${PROJECT_SOURCE_DIR}/docs/diagrams/*.dot)
set(draw_commands)
set(update_commands)
foreach(diagram IN LISTS diagrams)
  cmake_path(GET diagram STEM name)
  list(APPEND draw_commands COMMAND ${DOT_PROGRAM} -Tsvg -o ${manual_build}/diagrams/${name}.svg ${diagram})
  list(APPEND update_commands
    COMMAND ${PYTHON3_PROGRAM} ${manual_site}/draw.py ${DOT_PROGRAM} ${diagram})
endforeach()
add_custom_target(update_manual_diagrams ${update_commands} VERBATIM)

add_custom_target(manual
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${manual_build}/html ${manual_build}/pages
  COMMAND ${CMAKE_COMMAND} -E make_directory ${manual_build}/diagrams
  COMMAND ${PYTHON3_PROGRAM} ${manual_site}/draw.py --check ${diagrams}
  ${draw_commands}
  COMMAND ${PYTHON3_PROGRAM} -B ${manual_site}/pages.py prepare ${PROJECT_SOURCE_DIR} ${manual_build} ${MANDOC_PROGRAM}
  COMMAND ${DOXYGEN_PROGRAM} ${manual_build}/Doxyfile
  COMMAND ${PYTHON3_PROGRAM} -B ${manual_site}/pages.py finish ${PROJECT_SOURCE_DIR} ${manual_build}
  COMMAND ${manual_site}/check-links ${LINKCHECKER_PROGRAM} ${manual_build}/html
  COMMAND ${CMAKE_COMMAND} -E echo "The manual: ${manual_build}/html/index.html"
  VERBATIM)
