#pragma once

#include <service/Xerces.h>

#include <string>
#include <xercesc/framework/psvi/XSSimpleTypeDefinition.hpp>

namespace DvRequest {

constexpr const char* c_exampleId = "0123456789abcdef-0011223344556677-8899aabbccddeeff";

/// A text that is a value of `type`, as far as its facets can be met by simple means.
std::string exampleValue(xercesc_3_1::XSSimpleTypeDefinition& type);

/// A short text that matches the pattern of XML Schema.
std::string exampleOfPattern(const std::string& pattern);

}  // namespace DvRequest
