# Builds and installs static libraries. dvrequest, linked with them, has to say of every example package what the shared
# one says; a program is built with the installed ones through CMake and through pkg-config.
# cmake -D SOURCE=... -D WORK=... -D GENERATOR=... -D CXX=... -D SHARED_TOOL=... -P build_and_run.cmake

file(REMOVE_RECURSE ${WORK})

# configure_and_build(NAME SOURCE_DIR [OPTIONS...])
function(configure_and_build name source_dir)
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND}
    -S ${source_dir} -B ${WORK}/${name} -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX} ${ARGN})
  execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND} --build ${WORK}/${name})
endfunction()

# check_packages(TOOL RESULT)
function(check_packages tool result)
  file(GLOB packages RELATIVE ${SOURCE}/examples/packages ${SOURCE}/examples/packages/*.xml)
  execute_process(COMMAND ${tool} check --fragment simulation.fragment.xsd ${packages}
    WORKING_DIRECTORY ${SOURCE}/examples/packages
    OUTPUT_VARIABLE output ERROR_VARIABLE output RESULT_VARIABLE code)
  set(${result} "${code}\n${output}" PARENT_SCOPE)
endfunction()

configure_and_build(library ${SOURCE} -DBUILD_SHARED_LIBS=OFF)
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${CMAKE_COMMAND} --install ${WORK}/library --prefix ${WORK}/prefix)
file(GLOB_RECURSE shared ${WORK}/prefix/*.so*)
if(shared)
  message(FATAL_ERROR "Shared libraries were built: ${shared}")
endif()

check_packages(${WORK}/prefix/bin/dvrequest linked_statically)
check_packages(${SHARED_TOOL} linked_dynamically)
if(NOT linked_statically STREQUAL linked_dynamically OR NOT linked_statically MATCHES "request.xml: valid")
  message(FATAL_ERROR "Linked statically:\n${linked_statically}\nLinked dynamically:\n${linked_dynamically}")
endif()

configure_and_build(consumer ${SOURCE}/tests/consumers/find_package -DCMAKE_PREFIX_PATH=${WORK}/prefix)
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${WORK}/consumer/consumer)
set(pkg_config ${SOURCE}/tests/consumers/pkg_config/build_and_run ${CXX} ${WORK}/prefix)
set(programs ${SOURCE}/tests/consumers/programs)
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${pkg_config}
  ${programs}/consumer.cpp ${WORK}/pkg_config_consumer Service_RequestHandlingBase)
execute_process(COMMAND_ERROR_IS_FATAL ANY COMMAND ${pkg_config}
  ${programs}/packages_consumer.cpp ${WORK}/pkg_config_packages Service_RequestPackages)
