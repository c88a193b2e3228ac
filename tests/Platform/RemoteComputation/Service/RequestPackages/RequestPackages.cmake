find_package(rapidcheck REQUIRED)

set(folder ${CMAKE_CURRENT_LIST_DIR})

foreach(part IN ITEMS ElementReader PackageDocument PackageSchema PackageWriter)
  requesthandling_test(${part}Test ${folder}/${part}Test.cpp LIBRARIES Drelvan::Service_RequestPackages)
endforeach()

requesthandling_test(PackagesPropertyTest ${folder}/PackagesPropertyTest.cpp
  LIBRARIES Drelvan::Service_RequestPackages rapidcheck_gtest)

# What is read and written does not depend on the locale.
foreach(locale IN ITEMS C C.UTF-8)
  add_test(NAME PackagesPropertyTest.InLocale.${locale} COMMAND PackagesPropertyTest)
  set_tests_properties(PackagesPropertyTest.InLocale.${locale} PROPERTIES ENVIRONMENT LC_ALL=${locale} TIMEOUT 600)
endforeach()

requesthandling_test(PackagesFaultsTest ${folder}/PackagesFaultsTest.cpp
  ${PROJECT_SOURCE_DIR}/tests/support/FailingAllocations.cpp
  LIBRARIES Drelvan::Service_RequestPackages ${CMAKE_DL_LIBS})
