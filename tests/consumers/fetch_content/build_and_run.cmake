# Builds and installs the project, and runs the installed program, with nothing of the build left.
# cmake -D WORK=... -D GENERATOR=... -D CXX=... -P build_and_run.cmake

file(REMOVE_RECURSE ${WORK})
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND}
  -S ${CMAKE_CURRENT_LIST_DIR} -B ${WORK}/build -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX})
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND} --build ${WORK}/build)
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND} --install ${WORK}/build --prefix ${WORK}/prefix)
file(REMOVE_RECURSE ${WORK}/build)
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${WORK}/prefix/bin/consumer)
