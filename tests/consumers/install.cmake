# Installs a build tree to a folder of its own and then moves it, as a packager does: nothing may depend on the first place.
# cmake -D BUILD=... -D STAGE=... -D PREFIX=... -P install.cmake

file(REMOVE_RECURSE ${STAGE} ${PREFIX})
execute_process(COMMAND_ERROR_IS_FATAL ANY OUTPUT_QUIET
  COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${STAGE})
file(RENAME ${STAGE} ${PREFIX})
