# Run by cpack on its finished packages, for what CPack 3.25 cannot say itself: that versions for several architectures
# may be installed side by side, and that the trigger alone calls ldconfig, as the policy demands, and no script.

# complete(TREE): changes an unpacked package.
function(complete tree)
  file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
  # CPack lists the sums of debug symbols by where it found them.
  execute_process(COMMAND sed --in-place "s|  /.*-dbgsym/|  |" ${tree}/DEBIAN/md5sums COMMAND_ERROR_IS_FATAL ANY)
  file(READ ${tree}/DEBIAN/control control)
  # The documents of debug symbols are those of the package that they belong to.
  if(control MATCHES "Package: ([^\n]+)-dbgsym\n")
    set(documents ${tree}/usr/share/doc)
    file(MAKE_DIRECTORY ${documents})
    file(CREATE_LINK ${CMAKE_MATCH_1} ${documents}/${CMAKE_MATCH_1}-dbgsym SYMBOLIC)
  endif()
  # Folders and debug symbols came to be with the mask of whoever runs cpack.
  execute_process(COMMAND find ${tree} -type d -exec chmod 0755 {} + COMMAND_ERROR_IS_FATAL ANY)
  execute_process(COMMAND find ${tree} -name *.debug -exec chmod 0644 {} + COMMAND_ERROR_IS_FATAL ANY)
  set(multi_arch same)
  if(control MATCHES "\nSection: (utils|doc)\n")
    set(multi_arch foreign)
  endif()
  file(WRITE ${tree}/DEBIAN/control "Multi-Arch: ${multi_arch}\n${control}")
endfunction()

foreach(package IN LISTS CPACK_PACKAGE_FILES)
  set(tree ${package}.tree)
  file(REMOVE_RECURSE ${tree})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
  complete(${tree})
  execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build ${tree} ${package}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${tree})
endforeach()
