find_package(rapidcheck REQUIRED)

requesthandling_test(generic_job_id_test
  ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase/GenericJobIdTest.cpp)

requesthandling_test(generic_job_id_property_test
  ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase/GenericJobIdPropertyTest.cpp
  LIBRARIES rapidcheck_gtest)

requesthandling_test(generic_job_id_service_calls_test
  ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase/GenericJobIdServiceCallsTest.cpp
  LIBRARIES test_scripted_values)
