set(folder ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase)

requesthandling_test(PackageParserTreeTest
  ${folder}/PackageParserTreeTest.cpp
  LIBRARIES test_recording_logging test_trees GTest::gmock)
target_compile_definitions(PackageParserTreeTest PRIVATE
  EXAMPLE_PACKAGES="${PROJECT_SOURCE_DIR}/examples/packages"
  EXAMPLE_FRAGMENT="${PROJECT_SOURCE_DIR}/examples/packages/simulation.fragment.xsd"
  BREADTH_FRAGMENT="${PROJECT_SOURCE_DIR}/fuzz/parse/breadth.fragment.xsd"
  FUZZ_SEEDS="${PROJECT_SOURCE_DIR}/fuzz/seeds/parse")

requesthandling_test(PackageParserNamesTest
  ${folder}/PackageParserNamesTest.cpp
  ${PROJECT_SOURCE_DIR}/Platform/RemoteComputation/Service/RequestHandlingBase/parser/KeyedHash.cpp
  LIBRARIES test_recording_logging GTest::gmock)
