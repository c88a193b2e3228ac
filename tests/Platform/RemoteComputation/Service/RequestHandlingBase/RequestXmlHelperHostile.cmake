set(folder ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase)

requesthandling_test(RequestXmlHelperHostileTest
  ${folder}/RequestXmlHelperHostileInputsTest.cpp
  ${folder}/RequestXmlHelperHostileLimitsTest.cpp
  ${folder}/RequestXmlHelperHostileResourcesTest.cpp
  LIBRARIES test_recording_logging GTest::gmock)
target_compile_definitions(RequestXmlHelperHostileTest PRIVATE SECURITY_DOCUMENT="${PROJECT_SOURCE_DIR}/SECURITY.md")

requesthandling_test(RequestXmlHelperHostileMemoryTest
  ${folder}/RequestXmlHelperHostileMemoryTest.cpp
  LIBRARIES test_recording_logging GTest::gmock
  LABELS slow)

# These start the platform with a memory manager of their own.
requesthandling_test(RequestXmlHelperKeptMemoryTest
  ${folder}/RequestXmlHelperKeptMemoryTest.cpp
  LIBRARIES test_recording_logging GTest::gmock)
requesthandling_test(RequestXmlHelperHostileElementStatesTest
  ${folder}/RequestXmlHelperHostileElementStatesTest.cpp
  LIBRARIES test_recording_logging GTest::gmock
  LABELS slow)
