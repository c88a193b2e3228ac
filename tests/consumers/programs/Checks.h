#pragma once

#include <cstdlib>
#include <iostream>
#include <string>

/// Ends the program with a message when `holds` is false.
inline void require(bool holds, const std::string& what) {
  if (!holds) {
    std::cerr << "failed: " << what << '\n';
    std::exit(1);
  }
}

/// A request package whose request carries `requestId`.
inline std::string requestPackage(const std::string& requestId) {
  const std::string uid = "0123456789abcdef-0123456789abcdef-0123456789abcdef";
  return "<DV_RequestPackage xmlns='http://drelvan.example/schemas/DVRequests.xsd' version='5.0.0' serial='1' "
         "timestamp='UTC/ISO_2024-05-07T13:45:09' clientId='" +
         uid + "' requestClientId='" + uid + "'><request id='" + requestId + "'/></DV_RequestPackage>";
}
