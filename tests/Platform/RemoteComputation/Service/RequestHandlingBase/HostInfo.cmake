find_package(rapidcheck REQUIRED)

requesthandling_test(host_info_test
  ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase/HostInfoTest.cpp)

requesthandling_test(host_info_property_test
  ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase/HostInfoPropertyTest.cpp
  LIBRARIES rapidcheck_gtest)

requesthandling_test(host_info_service_calls_contract_test
  ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase/HostInfoServiceCallsContractTest.cpp
  LIBRARIES test_scripted_values)
