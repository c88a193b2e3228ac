# Provides the libraries of the service layer that REQUESTHANDLING_SERVICE_LAYER selects.

set(REQUESTHANDLING_SERVICES
  Logging ExceptionHandling FileHandling Identifier GeneralServices System Signals)

# requesthandling_take_service(LIBRARY): makes Drelvan::LIBRARY of a target of the including project or of a package.
function(requesthandling_take_service library)
  if(TARGET ${library} AND NOT TARGET Drelvan::${library})
    add_library(Drelvan::${library} ALIAS ${library})
  elseif(NOT TARGET Drelvan::${library})
    find_package(${library} CONFIG REQUIRED GLOBAL)
  endif()
  if(NOT TARGET Drelvan::${library})
    message(FATAL_ERROR "The package ${library} does not define the target Drelvan::${library}.")
  endif()
endfunction()

if(REQUESTHANDLING_SERVICE_LAYER STREQUAL embedded)
  add_subdirectory(service/embedded)
elseif(REQUESTHANDLING_SERVICE_LAYER STREQUAL external)
  foreach(service IN LISTS REQUESTHANDLING_SERVICES)
    requesthandling_take_service(DVMService_${service})
  endforeach()
else()
  message(FATAL_ERROR "REQUESTHANDLING_SERVICE_LAYER is '${REQUESTHANDLING_SERVICE_LAYER}'; use embedded or external")
endif()
