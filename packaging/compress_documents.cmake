# Run by cpack on the files of all packages before they are packed: compresses what Debian requires to be compressed, without
# times and names, so that the same input gives the same package.

file(GLOB documents
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/man*/*
  ${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/doc/*/changelog*)
foreach(document IN LISTS documents)
  execute_process(COMMAND gzip --best --no-name ${document} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
