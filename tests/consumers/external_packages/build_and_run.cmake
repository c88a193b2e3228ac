# Contract, service layer, library and consumer, each configured, built and installed by itself, one on top of the other.
# cmake -D SOURCE=... -D WORK=... -D GENERATOR=... -D CXX=... -P build_and_run.cmake

set(prefix ${WORK}/prefix)
file(REMOVE_RECURSE ${WORK})

# configure_and_build(NAME SOURCE_DIR [OPTIONS...])
function(configure_and_build name source_dir)
  message(STATUS "${name}")
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND}
    -S ${source_dir} -B ${WORK}/${name} -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_INSTALL_PREFIX=${prefix} ${ARGN})
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND} --build ${WORK}/${name})
endfunction()

function(install_built name)
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND} --install ${WORK}/${name})
endfunction()

configure_and_build(contract ${SOURCE}/service)
install_built(contract)
configure_and_build(service_layer ${SOURCE}/tests/consumers/service_layer)
install_built(service_layer)
configure_and_build(library ${SOURCE} -DREQUESTHANDLING_SERVICE_LAYER=external -DREQUESTHANDLING_BUILD_TOOLS=OFF)
install_built(library)
file(GLOB_RECURSE embedded ${WORK}/library/*libDVMService_*)
if(embedded)
  message(FATAL_ERROR "The library's own service layer was built: ${embedded}")
endif()
configure_and_build(consumer ${SOURCE}/tests/consumers/external_packages)
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${WORK}/consumer/consumer)
