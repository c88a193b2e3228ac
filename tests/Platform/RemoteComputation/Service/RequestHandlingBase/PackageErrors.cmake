requesthandling_test(PackageErrorsTest
  ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase/PackageErrorsTest.cpp
  LIBRARIES test_recording_logging GTest::gmock)
