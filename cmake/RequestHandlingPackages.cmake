# Debian packages by CPack, one per component of RequestHandlingInstall.cmake: the runtime libraries, the development
# files and, when it is built, dvrequest; one with the manual, which is built before; and the debug symbols of the
# programs and libraries. packaging/build makes and checks them; docs/packages.md lists their
# contents.

if(NOT REQUESTHANDLING_INSTALL OR NOT REQUESTHANDLING_SERVICE_LAYER STREQUAL embedded)
  message(FATAL_ERROR "The packages hold what is installed, with the embedded service layer.")
endif()
if(NOT BUILD_SHARED_LIBS)
  message(FATAL_ERROR "The packages hold shared libraries; configure without -DBUILD_SHARED_LIBS=OFF.")
endif()

set(packaging ${PROJECT_SOURCE_DIR}/packaging)
set(source_name service-requesthandlingbase)
# The name of the runtime package changes with that of its libraries, so that both versions can be installed.
set(runtime_package lib${source_name}${PROJECT_VERSION_MAJOR})
set(development_package lib${source_name}-dev)
set(tools_package dvrequest)
set(documentation_package ${source_name}-doc)

# The changelog of the packages sets their version, and the time of their files.
set(changelog ${packaging}/debian/changelog)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${changelog})
foreach(field IN ITEMS Version Timestamp)
  execute_process(COMMAND dpkg-parsechangelog --file ${changelog} --show-field ${field}
    OUTPUT_VARIABLE changelog_${field} OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
endforeach()
if(NOT changelog_Version MATCHES "^(.+)-([^-]+)$" OR NOT CMAKE_MATCH_1 STREQUAL PROJECT_VERSION)
  message(FATAL_ERROR "${changelog} begins with version ${changelog_Version}, the project has ${PROJECT_VERSION}.")
endif()
set(CPACK_DEBIAN_PACKAGE_RELEASE ${CMAKE_MATCH_2})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME ${source_name})
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
if(NOT CPACK_PACKAGE_CONTACT)
  set(CPACK_PACKAGE_CONTACT "Service_RequestHandlingBase maintainers <maintainers@drelvan.example>")
endif()
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package begins its description itself
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_BINARY_DIR}/packages.cmake)
set(CPACK_PRE_BUILD_SCRIPTS ${packaging}/compress_documents.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${packaging}/complete_packages.cmake)
# The archives take their times from this variable of the environment.
file(WRITE ${PROJECT_BINARY_DIR}/packages.cmake "set(ENV{SOURCE_DATE_EPOCH} ${changelog_Timestamp})\n")

set(CPACK_COMPONENTS_ALL Runtime Development Documentation)
if(TARGET dvrequest)
  list(APPEND CPACK_COMPONENTS_ALL Tools)
endif()
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE ${source_name})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The folder of the package's own libraries; their package is named explicitly below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${PROJECT_BINARY_DIR}/service/embedded
  ${PROJECT_BINARY_DIR}/Platform/RemoteComputation/Service/RequestHandlingBase
  ${PROJECT_BINARY_DIR}/Platform/RemoteComputation/Service/RequestPackages)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime_package})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION "base for the request handling of a remote computation service
Request servers, their clients and the job programs that a server starts share
this library. It turns request and reply packages, XML that is validated
against one schema to which every program adds fragments of its own, into
documents and values, and bounds the cost of hostile packages. It also has job
ids, host descriptions, file operations with retries, and abstract bases of
request servers, job logs and the status of remote jobs.

This package contains the shared libraries: the library itself, the one that
reads and writes packages as typed values on top of it, and the seven of the
service layer that it uses.")
# For tools that do not read the file symbols, the file shlibs: a program needs at least the version it was built with.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
# The version in which each symbol was added, from which dpkg-shlibdeps derives the oldest one that a program can use;
# packaging/build compares it with the libraries.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${packaging}/debian/triggers ${packaging}/debian/symbols)
set(CPACK_DEBIAN_RUNTIME_DEBUGINFO_PACKAGE ON)
set(CPACK_DEBIAN_TOOLS_DEBUGINFO_PACKAGE ON)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development_package})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${runtime_package} (= ${changelog_Version}), libxerces-c-dev (>= 3.2), libboost1.81-dev, libboost-chrono1.81-dev, libboost-thread1.81-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "base for the request handling of a remote service - development files
Request servers, their clients and the job programs that a server starts share
this library, which reads, validates and writes their request and reply
packages.

This package contains what programs are built with: the headers of the
libraries and of the service layer, the CMake packages
Service_RequestHandlingBase and DVMService_Contract, and files for
pkg-config.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS ${documentation_package})

set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_NAME ${documentation_package})
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DOCUMENTATION_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_DOCUMENTATION_DESCRIPTION "base for the request handling of a remote service - manual
Request servers, their clients and the job programs that a server starts share
this library, which reads, validates and writes their request and reply
packages.

This package contains the manual as HTML: the first steps, the package format,
writing a program, operating, limits, and the reference of all classes.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${tools_package})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${runtime_package} (>= ${changelog_Version})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "work with the request and reply packages of a remote computation service
dvrequest validates request and reply packages, shows their content, and
reports each error with file, line, column and the allowed values, as text or
JSON. It writes the schema of the packages for other validators, reports errors
in schema fragments, makes and checks job ids, checks host names and addresses,
and copies, renames and removes files that may be busy.")

# requesthandling_package_documents(COMPONENT PACKAGE FILE...): the documents that Debian requires of every package, and these.
function(requesthandling_package_documents component package)
  set(documents ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES ${packaging}/debian/copyright ${ARGN} DESTINATION ${documents} COMPONENT ${component})
  install(FILES ${changelog} DESTINATION ${documents} RENAME changelog.Debian COMPONENT ${component})
  install(FILES ${PROJECT_SOURCE_DIR}/CHANGELOG.md DESTINATION ${documents} RENAME changelog COMPONENT ${component})
  install(FILES ${packaging}/debian/lintian-overrides
    DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package} COMPONENT ${component})
endfunction()

requesthandling_package_documents(Runtime ${runtime_package})
requesthandling_package_documents(Development ${development_package})
requesthandling_package_documents(Documentation ${documentation_package})
install(DIRECTORY ${PROJECT_BINARY_DIR}/manual/html
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${documentation_package} COMPONENT Documentation)
requesthandling_package_documents(Tools ${tools_package})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples/packages/
  DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${tools_package}/examples COMPONENT Tools)

include(CPack)
