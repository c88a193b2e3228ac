set(folder ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase)

foreach(part IN ITEMS Instance Parse ErrorHandler Files)
  requesthandling_test(RequestXmlHelper${part}Test
    ${folder}/RequestXmlHelper${part}Test.cpp
    LIBRARIES test_recording_logging GTest::gmock)
endforeach()

requesthandling_test(RequestXmlHelperVanishedFileTest
  ${folder}/RequestXmlHelperVanishedFileTest.cpp
  LIBRARIES test_recording_logging test_scripted_files GTest::gmock)

# File names and messages do not depend on the locale.
foreach(locale IN ITEMS C C.UTF-8)
  add_test(NAME RequestXmlHelperFilesTest.InLocale.${locale} COMMAND RequestXmlHelperFilesTest)
  set_tests_properties(RequestXmlHelperFilesTest.InLocale.${locale} PROPERTIES ENVIRONMENT LC_ALL=${locale})
endforeach()

# These replace operations of Xerces-C, so each is a program of its own.
foreach(part IN ITEMS Platform SetUp SchemeContract)
  requesthandling_test(RequestXmlHelper${part}Test
    ${folder}/RequestXmlHelper${part}Test.cpp
    LIBRARIES test_recording_logging GTest::gmock ${CMAKE_DL_LIBS})
endforeach()

requesthandling_test(RequestXmlHelperThreadsTest
  ${folder}/RequestXmlHelperThreadsTest.cpp
  LIBRARIES test_recording_logging GTest::gmock
  LABELS concurrent)

requesthandling_test(RequestXmlHelperSoakTest
  ${folder}/RequestXmlHelperSoakTest.cpp
  LIBRARIES test_recording_logging GTest::gmock
  LABELS slow)
