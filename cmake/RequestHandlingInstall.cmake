# What `cmake --install` installs: the components Runtime, Development and Tools, the exported package and the
# pkg-config files. The installed tree can be moved as a whole.

include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/${PROJECT_NAME})
set(installed_libraries ${PROJECT_NAME} Service_RequestPackages)
set(REQUESTHANDLING_SERVICE_PACKAGES)
foreach(service IN LISTS REQUESTHANDLING_SERVICES)
  if(REQUESTHANDLING_SERVICE_LAYER STREQUAL embedded)
    list(APPEND installed_libraries DVMService_${service})
  else()
    list(APPEND REQUESTHANDLING_SERVICE_PACKAGES DVMService_${service})
  endif()
endforeach()

set(REQUESTHANDLING_PRIVATE_PACKAGES)
if(NOT BUILD_SHARED_LIBS AND REQUESTHANDLING_SERVICE_LAYER STREQUAL embedded)
  set(REQUESTHANDLING_PRIVATE_PACKAGES spdlog nlohmann_json)
endif()

install(TARGETS ${installed_libraries}
  EXPORT ${PROJECT_NAME}
  RUNTIME COMPONENT Runtime
  LIBRARY COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE COMPONENT Development
  FILE_SET HEADERS COMPONENT Development
  FILE_SET generated COMPONENT Development)
if(TARGET dvrequest)
  file(RELATIVE_PATH bin_to_lib ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
  set_property(TARGET dvrequest APPEND PROPERTY INSTALL_RPATH $ORIGIN/${bin_to_lib})
  install(TARGETS dvrequest RUNTIME COMPONENT Tools)
endif()

install(EXPORT ${PROJECT_NAME}
  NAMESPACE Drelvan::
  FILE ${PROJECT_NAME}Targets.cmake
  DESTINATION ${package_dir}
  COMPONENT Development)
configure_package_config_file(
  ${PROJECT_SOURCE_DIR}/cmake/${PROJECT_NAME}Config.cmake.in ${PROJECT_BINARY_DIR}/${PROJECT_NAME}Config.cmake
  INSTALL_DESTINATION ${package_dir}
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(${PROJECT_BINARY_DIR}/${PROJECT_NAME}ConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/${PROJECT_NAME}Config.cmake
  ${PROJECT_BINARY_DIR}/${PROJECT_NAME}ConfigVersion.cmake
  DESTINATION ${package_dir}
  COMPONENT Development)

# pkg-config provides the folder of the file itself; all other folders are relative to it.
set(pkgconfig_dir ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH REQUESTHANDLING_PC_PREFIX ${pkgconfig_dir} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" REQUESTHANDLING_PC_PREFIX "${REQUESTHANDLING_PC_PREFIX}")
file(RELATIVE_PATH REQUESTHANDLING_PC_LIBDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH REQUESTHANDLING_PC_INCLUDEDIR ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
list(TRANSFORM REQUESTHANDLING_SERVICES PREPEND "-lDVMService_" OUTPUT_VARIABLE REQUESTHANDLING_PC_SERVICES)
list(JOIN REQUESTHANDLING_PC_SERVICES " " REQUESTHANDLING_PC_SERVICES)
set(REQUESTHANDLING_PC_REQUIRES)
if(REQUESTHANDLING_PRIVATE_PACKAGES)
  # Static libraries call each other in no order that the linker could follow.
  set(REQUESTHANDLING_PC_SERVICES "-Wl,--start-group ${REQUESTHANDLING_PC_SERVICES} -Wl,--end-group")
  # Named as required, not as private: those of Xerces-C, which --static would add, need not be installed.
  set(REQUESTHANDLING_PC_REQUIRES ", spdlog")
endif()
foreach(library IN ITEMS ${PROJECT_NAME} Service_RequestPackages)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${library}.pc.in ${PROJECT_BINARY_DIR}/${library}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${library}.pc
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
    COMPONENT Development)
endforeach()
