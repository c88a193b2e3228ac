find_package(spdlog REQUIRED)
set(folder ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase)

requesthandling_test(RequestXmlHelperFaultsTest
  ${folder}/RequestXmlHelperFaultsTest.cpp
  ${PROJECT_SOURCE_DIR}/tests/support/FailingAllocations.cpp
  LIBRARIES spdlog::spdlog ${CMAKE_DL_LIBS})
