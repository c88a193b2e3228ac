#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/GenericJobId.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>

#include <string>
#include <vector>

namespace DvRequest {

/// What a service program finds in a document. Values of the shared types are known by their children and attributes,
/// so those of types derived from them, or of any other name, are found as well.

struct Attribute {
  std::string name;
  std::string value;
  bool isDefault = false;  ///< not in the document; the schema supplies it
};

struct Job {
  std::string element;
  Drelvan::GenericJobId id;
};

struct Host {
  std::string element;
  Drelvan::HostInfo info;
  std::string error;  ///< why `info` could not be read; empty otherwise
};

struct Parameter {
  std::string id;
  std::string value;
  bool encrypted = false;
};

struct ParameterVector {
  std::string realizationId;
  std::vector<Parameter> parameters;
};

struct Data {
  std::string element;
  std::string id;
  std::string name;
  std::string href;
};

struct LogText {
  std::string type;
  std::string group;
  std::string text;
};

struct Failure {
  std::string type;
  std::string message;
};

/// One request or reply.
struct Entry {
  std::string role;  ///< "request" or "reply"
  std::string id;    ///< the request's own id, or the id of the request that the reply answers
  std::string type;  ///< as `xsi:type` names it, without its prefix; empty for the plain type
  std::vector<Job> jobs;
  std::vector<Host> hosts;
  std::vector<ParameterVector> parameterVectors;
  std::vector<Data> data;
  std::vector<LogText> logTexts;
  std::vector<Failure> failures;  ///< outermost first
};

struct Package {
  std::string root;
  std::string kind;  ///< "request package", "reply script" and so on; "document" for another root
  std::vector<Attribute> attributes;
  std::vector<Entry> entries;
};

}  // namespace DvRequest
