requesthandling_test(abstract_request_server_test
  ${CMAKE_CURRENT_SOURCE_DIR}/RemoteComputation/Service/RequestHandlingBase/AbstractRequestServerTest.cpp
  LABELS concurrent)
