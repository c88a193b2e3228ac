#include "Packages.h"

#include <cstring>
#include <utility>

namespace benchmarks {

namespace {

constexpr const char* c_evaluateFragment = R"xsd(
<!-- EvaluateSchema -->
<xs:complexType name="HostInfo">
  <xs:sequence>
    <xs:element name="name" type="xs:string" minOccurs="0"/>
    <xs:element name="ip" type="xs:string" minOccurs="0"/>
    <xs:element name="requestServerPort" type="xs:int" minOccurs="0"/>
    <xs:element name="publisherPort" type="xs:int" minOccurs="0"/>
  </xs:sequence>
</xs:complexType>
<xs:complexType name="EvaluateRequest">
  <xs:complexContent>
    <xs:extension base="dvrq:Request">
      <xs:sequence>
        <xs:element name="jobId" type="dvrq:DVJobId"/>
        <xs:element name="host" type="dvrq:HostInfo"/>
        <xs:element name="parameters" type="dvrq:DVPellamParameterVector"/>
        <xs:element name="data" type="dvrq:DVData"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>

)xsd";

constexpr const char* c_numberedFragment = R"xsd(
<!-- NumberedSchema# -->
<xs:simpleType name="Mode#">
  <xs:restriction base="xs:string">
    <xs:enumeration value="Fast"/>
    <xs:enumeration value="Exact"/>
  </xs:restriction>
</xs:simpleType>
<xs:complexType name="Options#">
  <xs:sequence>
    <xs:element name="mode" type="dvrq:Mode#"/>
    <xs:element name="tolerance" type="xs:double" minOccurs="0"/>
    <xs:element name="data" type="dvrq:DVData" minOccurs="0" maxOccurs="unbounded"/>
  </xs:sequence>
</xs:complexType>
<xs:complexType name="Request#">
  <xs:complexContent>
    <xs:extension base="dvrq:Request">
      <xs:sequence>
        <xs:element name="jobId" type="dvrq:DVJobId"/>
        <xs:element name="options" type="dvrq:Options#"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>

)xsd";

constexpr const char* c_opening =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<DV_RequestScript xmlns=\"http://drelvan.example/schemas/DVRequests.xsd\"\n"
    "                  xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\">\n";
constexpr const char* c_closing = "</DV_RequestScript>\n";
constexpr int c_parametersPerRequest = 20;

std::string withNumber(std::string text, int number) {
  for (auto place = text.find('#'); place != std::string::npos; place = text.find('#', place)) {
    text.replace(place, 1, std::to_string(number));
  }
  return text;
}

/// A unique id with `number` in its last digits.
std::string uniqueId(std::size_t number) {
  std::string id = "4f0c9a7b21d35e68-90b1c2d3e4f5a697-0000000000000000";
  for (std::size_t place = id.size(); number > 0; number /= 10) {
    id[--place] = static_cast<char>('0' + number % 10);
  }
  return id;
}

std::string parameter(std::size_t number, ErrorKind error) {
  const std::string value = std::to_string(static_cast<double>(number % 9973) * 0.37) + "e-2";
  if (error == ErrorKind::element) {
    return "        <parameter><value>" + value + "</value></parameter>\n";
  }
  return "        <parameter><id>P" + std::to_string(number % c_parametersPerRequest) + "</id><value>" +
         (error == ErrorKind::value ? "unknown" : value) + "</value></parameter>\n";
}

/// The request up to its parameters.
std::string requestStart(std::size_t number) {
  return "  <request xsi:type=\"EvaluateRequest\" id=\"" + uniqueId(number) + "\">\n    <jobId><id>" +
         uniqueId(number + 1) +
         "</id><name>Sweep_4f0c9a7b21</name></jobId>\n"
         "    <host><name>node.example</name><ip>192.168.10.27</ip><requestServerPort>5001</requestServerPort></host>\n"
         "    <parameters>\n        <realizationId>" +
         std::to_string(number) + "</realizationId>\n";
}

/// The part of the request after its parameters; `padding` makes a file name longer.
std::string requestEnd(std::size_t padding) {
  return "    </parameters>\n    <data id=\"" + uniqueId(7) + "\" dataSize=\"4096\" href=\"file:///results/" +
         std::string(padding, 'r') + "\"/>\n  </request>\n";
}

/// Adds requests to a script until it has its size, with the error in the first parameter after its middle.
class ScriptWriter {
 public:
  ScriptWriter(std::size_t size, ErrorKind error) : m_size(size), m_error(error), m_text(c_opening) {
    m_text.reserve(size);
  }

  void addRequest() {
    m_text += requestStart(m_requests++);
    for (int count = 0; count < c_parametersPerRequest && roomLeft() >= c_longestParameter; ++count) {
      m_text += parameter(m_parameters++, nextError());
    }
    m_full = !hasRoomForAnother();
    m_text += requestEnd(m_full ? roomLeft() : 0);
  }

  bool isFull() const { return m_full; }

  std::string take() {
    if (m_error != ErrorKind::syntax) {
      m_text += c_closing;
    }
    return std::move(m_text);
  }

 private:
  static constexpr std::size_t c_longestParameter = 100;

  /// What is left when the open request and the script are closed.
  std::size_t roomLeft() const {
    const std::size_t closed = m_text.size() + requestEnd(0).size() + std::strlen(c_closing);
    return closed < m_size ? m_size - closed : 0;
  }

  bool hasRoomForAnother() const {
    return roomLeft() >= requestStart(m_requests).size() + c_longestParameter + requestEnd(0).size();
  }

  ErrorKind nextError() {
    const bool due = !m_errorDone && m_text.size() >= m_size / 2;
    m_errorDone = m_errorDone || due;
    return due ? m_error : ErrorKind::none;
  }

  std::size_t m_size;
  ErrorKind m_error;
  std::string m_text;
  std::size_t m_requests = 0;
  std::size_t m_parameters = 0;
  bool m_errorDone = false;
  bool m_full = false;
};

/// Concatenates fragments.
class CombinedSchema final : public Drelvan::AbstractRequestSchema {
 public:
  void add(const AbstractRequestSchema& schema) { m_schema += schema.getSchemaNoHeader(); }
};

}  // namespace

EvaluateSchema::EvaluateSchema() { m_schema += c_evaluateFragment; }

NumberedSchema::NumberedSchema(int number) { m_schema += withNumber(c_numberedFragment, number); }

std::string combinedSchema(int numberedSchemas) {
  CombinedSchema combined;
  combined.add(Drelvan::BaseRequestHandlingSchema());
  combined.add(EvaluateSchema());
  for (int number = 0; number < numberedSchemas; ++number) {
    combined.add(NumberedSchema(number));
  }
  return combined.getSchema();
}

std::string script(std::size_t size, ErrorKind error) {
  ScriptWriter writer(size, error);
  do {
    writer.addRequest();
  } while (!writer.isFull());
  return writer.take();
}

std::string sizeName(std::size_t size) {
  constexpr std::size_t kilo = 1024;
  if (size % (kilo * kilo) == 0) {
    return std::to_string(size / (kilo * kilo)) + " MB";
  }
  return size % kilo == 0 ? std::to_string(size / kilo) + " KB" : std::to_string(size) + " B";
}

}  // namespace benchmarks
