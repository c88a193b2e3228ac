#pragma once

#include <tools/dvrequest/check/SchemaModel.h>

#include <string>

namespace DvRequest {

/// The elements and attributes of the type or root element `name`, a line each, with how often they occur and what they
/// hold; empty when the schema has no such type.
std::string typeTree(const SchemaModel& schema, const std::string& name);

/// Whether an element of type `whole` can hold an element or attribute of type `part`.
bool holds(xercesc_3_1::XSTypeDefinition& whole, const xercesc_3_1::XSTypeDefinition& part);

/// A package that shows the type: one that holds it, or that is it. Empty when none can be made.
std::string examplePackage(const SchemaModel& schema, const std::string& name);

}  // namespace DvRequest
