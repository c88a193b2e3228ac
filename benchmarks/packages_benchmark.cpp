/// Prints what packages as typed values cost beside the same by hand, in turns: a parse and the reading of every value
/// with Xerces-C and XmlUtils, and writing with string streams.
///
/// Usage: packages_benchmark [SECONDS [ROW]]      the time for each row, 4 by default; the start of the rows' names
///        packages_benchmark --count ROW SIDE N   does one side of a row N times, for a profiler; SIDE: hand or library

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>
#include <service/GeneralServices.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>
#include <string>
#include <vector>
#include <xercesc/dom/DOMDocument.hpp>
#include <xercesc/dom/DOMElement.hpp>
#include <xercesc/util/XMLString.hpp>

#include "support/Memory.h"
#include "support/Packages.h"
#include "support/Turns.h"

namespace {

using Drelvan::ElementReader;
using Drelvan::PackageDocument;
using Drelvan::XmlUtils;
using xercesc_3_1::DOMElement;

struct Data {
  std::string id;
  std::string href;
  std::int64_t size = 0;
};

/// What one request of the benchmark's packages holds.
struct Evaluation {
  std::string id;
  std::string type;
  Drelvan::GenericJobId jobId;
  Drelvan::HostInfo host;
  Drelvan::ParameterVector parameters;
  Data data;
};
using Evaluations = std::vector<Evaluation>;

struct ReleaseDocument {
  void operator()(xercesc_3_1::DOMDocument* document) const { document->release(); }
};
using Document = std::unique_ptr<xercesc_3_1::DOMDocument, ReleaseDocument>;

std::string attribute(const DOMElement& element, const char16_t* name, const char16_t* space = nullptr) {
  char* text = xercesc_3_1::XMLString::transcode(element.getAttributeNS(space, name));
  std::string value = text;
  xercesc_3_1::XMLString::release(&text);
  return value;
}

Drelvan::ParameterVector readParameters(const DOMElement& element) {
  Drelvan::ParameterVector vector;
  vector.realizationId = static_cast<std::uint32_t>(std::stoul(XmlUtils::getElementContent("realizationId", &element)));
  for (DOMElement* child = element.getFirstElementChild(); child != nullptr; child = child->getNextElementSibling()) {
    if (xercesc_3_1::XMLString::equals(child->getLocalName(), u"parameter")) {
      vector.parameters.push_back({XmlUtils::getElementContent("id", child),
                                   std::strtod(XmlUtils::getElementContent("value", child).c_str(), nullptr)});
    }
  }
  return vector;
}

Evaluation readByHand(const DOMElement& request) {
  const std::string type = attribute(request, u"type", u"http://www.w3.org/2001/XMLSchema-instance");
  const DOMElement& data = *XmlUtils::getElement("data", &request);
  return {attribute(request, u"id"),
          type.substr(type.find(':') + 1),
          Drelvan::GenericJobId(XmlUtils::getElement("jobId", &request)),
          Drelvan::HostInfo(XmlUtils::getElement("host", &request)),
          readParameters(*XmlUtils::getElement("parameters", &request)),
          {attribute(data, u"id"), attribute(data, u"href"), std::stoll(attribute(data, u"dataSize"))}};
}

Evaluations readByHand(const xercesc_3_1::DOMDocument& document) {
  Evaluations evaluations;
  for (DOMElement* child = document.getDocumentElement()->getFirstElementChild(); child != nullptr;
       child = child->getNextElementSibling()) {
    evaluations.push_back(readByHand(*child));
  }
  return evaluations;
}

Evaluations readByLibrary(const PackageDocument& document) {
  Evaluations evaluations;
  for (const ElementReader& request : document.getRequests()) {
    const ElementReader data = request.getChild("data");
    evaluations.push_back({request.getAttribute<std::string>("id"),
                           request.getTypeName(),
                           request.get<Drelvan::GenericJobId>("jobId"),
                           request.get<Drelvan::HostInfo>("host"),
                           request.get<Drelvan::ParameterVector>("parameters"),
                           {data.getAttribute<std::string>("id"), data.getAttribute<std::string>("href"),
                            data.getAttribute<std::int64_t>("dataSize")}});
  }
  return evaluations;
}

void writeByHand(const Evaluation& evaluation, std::stringstream& stream) {
  stream << "<request xsi:type=\"" << evaluation.type << "\" id=\"" << evaluation.id << "\">\n";
  evaluation.jobId.toXml("jobId", stream, "", "");
  stream << "\n";
  Drelvan::HostInfo(evaluation.host).toXml(stream, "host", "", "");
  stream << "\n<parameters>\n<realizationId>" << evaluation.parameters.realizationId << "</realizationId>\n";
  for (const Drelvan::Parameter& parameter : evaluation.parameters.parameters) {
    stream << "<parameter>\n<id>" << XmlUtils::toXml(parameter.id) << "</id>\n<value>" << parameter.getNumber()
           << "</value>\n</parameter>\n";
  }
  stream << "</parameters>\n<data id=\"" << evaluation.data.id << "\" dataSize=\"" << evaluation.data.size
         << "\" href=\"" << XmlUtils::toXml(evaluation.data.href) << "\"/>\n</request>\n";
}

std::string writeByHand(const Evaluations& evaluations) {
  std::stringstream stream;
  stream.precision(17);
  stream << "<DV_RequestScript xmlns=\"http://drelvan.example/schemas/DVRequests.xsd\" "
            "xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n";
  for (const Evaluation& evaluation : evaluations) {
    writeByHand(evaluation, stream);
  }
  stream << "</DV_RequestScript>\n";
  return stream.str();
}

std::string writeByLibrary(const Evaluations& evaluations) {
  Drelvan::PackageWriter writer;
  writer.startDocument(Drelvan::PackageKind::RequestScript);
  for (const Evaluation& evaluation : evaluations) {
    writer.startRequest(evaluation.type, evaluation.id);
    writer.element("jobId", evaluation.jobId);
    writer.element("host", evaluation.host);
    writer.element("parameters", evaluation.parameters);
    writer.startElement("data");
    writer.attribute("id", evaluation.data.id);
    writer.attribute("dataSize", evaluation.data.size);
    writer.attribute("href", evaluation.data.href);
    writer.endElement();
  }
  return writer.finish();
}

struct Row {
  std::string name;
  benchmarks::Action hand;
  benchmarks::Action library;
};

/// What is computed and not used must be computed nevertheless.
volatile std::size_t s_sink = 0;

std::vector<Row> rowsOf(std::size_t size) {
  const auto package = std::make_shared<const std::string>(benchmarks::script(size, benchmarks::ErrorKind::none));
  const auto document = std::make_shared<const PackageDocument>(PackageDocument::fromText(*package));
  const auto evaluations = std::make_shared<const Evaluations>(readByLibrary(*document));
  const std::string name = ", " + benchmarks::sizeName(size);
  return {{"parse and read" + name,
           [package] {
             const Document parsed(Drelvan::RequestXmlHelper::getInstance().parse(*package));
             s_sink = readByHand(*parsed).size();
           },
           [package] { s_sink = readByLibrary(PackageDocument::fromText(*package)).size(); }},
          {"read" + name, [document] { s_sink = readByHand(document->getDocument()).size(); },
           [document] { s_sink = readByLibrary(*document).size(); }},
          {"write" + name, [evaluations] { s_sink = writeByHand(*evaluations).size(); },
           [evaluations] { s_sink = writeByLibrary(*evaluations).size(); }}};
}

/// Both ways must give the same, or the comparison is none.
bool isSame(const std::string& package) {
  const PackageDocument document = PackageDocument::fromText(package);
  const std::string byHand = writeByHand(readByHand(document.getDocument()));
  const std::string byLibrary = writeByLibrary(readByLibrary(document));
  return byLibrary == writeByLibrary(readByLibrary(PackageDocument::fromText(byHand)));
}

bool startsWith(const std::string& text, const std::string& start) { return text.compare(0, start.size(), start) == 0; }

}  // namespace

int main(int argc, char** argv) {
  const bool isCount = argc > 4 && std::string(argv[1]) == "--count";
  const std::string wanted = argc > 2 ? argv[2] : "";
  const double seconds = argc > 1 && !isCount ? std::atof(argv[1]) : 4;
  benchmarks::keepFreedMemory();
  const Drelvan::ParserSession parser{benchmarks::EvaluateSchema()};
  if (!isSame(benchmarks::script(benchmarks::c_medium, benchmarks::ErrorKind::none))) {
    std::printf("what is read or written by hand is not the same\n");
    return EXIT_FAILURE;
  }
  if (!isCount) {
    benchmarks::printTurnsHeading("by hand", "library");
  }
  for (const std::size_t size : {benchmarks::c_small, benchmarks::c_medium}) {
    for (const Row& row : rowsOf(size)) {
      if (isCount && row.name == wanted) {
        for (int count = std::atoi(argv[4]); count > 0; --count) {
          std::string(argv[3]) == "hand" ? row.hand() : row.library();
        }
      } else if (!isCount && startsWith(row.name, wanted)) {
        benchmarks::printTurns(row.name, row.hand, row.library, seconds);
      }
    }
  }
  return EXIT_SUCCESS;
}
