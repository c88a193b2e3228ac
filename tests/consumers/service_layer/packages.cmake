# One package for each service library, and one for what they share.

set(package_root ${CMAKE_INSTALL_LIBDIR}/cmake)
install(FILES Calls.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/site)
install(TARGETS site_calls EXPORT site_calls)
install(EXPORT site_calls NAMESPACE Drelvan:: FILE site_callsConfig.cmake DESTINATION ${package_root}/site_calls)

foreach(service IN LISTS services)
  set(library DVMService_${service})
  set(dependencies DVMService_Contract site_calls)
  if(service STREQUAL FileHandling)
    list(APPEND dependencies DVMService_ExceptionHandling)
  elseif(service STREQUAL GeneralServices)
    list(APPEND dependencies XercesC)
  elseif(service STREQUAL System)
    list(APPEND dependencies "Boost CONFIG COMPONENTS thread")
  endif()
  set(config "include(CMakeFindDependencyMacro)\n")
  foreach(dependency IN LISTS dependencies)
    string(APPEND config "find_dependency(${dependency})\n")
  endforeach()
  string(APPEND config "include(\${CMAKE_CURRENT_LIST_DIR}/${library}Targets.cmake)\n")
  file(GENERATE OUTPUT ${library}Config.cmake CONTENT "${config}")

  install(TARGETS ${library} EXPORT ${library})
  install(EXPORT ${library}
    NAMESPACE Drelvan::
    FILE ${library}Targets.cmake
    DESTINATION ${package_root}/${library})
  install(FILES ${PROJECT_BINARY_DIR}/${library}Config.cmake DESTINATION ${package_root}/${library})
endforeach()
