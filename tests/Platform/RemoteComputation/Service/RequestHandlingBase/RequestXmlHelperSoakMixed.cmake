set(folder ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase)

# DV_TEST_SOAK_PACKAGES in the environment: how many packages, instead of twenty thousand.
requesthandling_test(RequestXmlHelperSoakMixedTest
  ${folder}/RequestXmlHelperSoakMixedTest.cpp
  LABELS slow concurrent)
