#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <examples/parameter_sweep/common/SweepSchema.h>

#include <string>

namespace ParameterSweep {

namespace {

constexpr const char* c_valueTypes = R"xsd(
<!-- SweepSchema -->
<xs:simpleType name="SweepExpression">
  <xs:restriction base="xs:string">
    <xs:minLength value="1"/>
    <xs:maxLength value="4096"/>
  </xs:restriction>
</xs:simpleType>
<xs:simpleType name="SweepState">
  <xs:restriction base="xs:string">
    <xs:enumeration value="Queued"/>
    <xs:enumeration value="Running"/>
    <xs:enumeration value="Finished"/>
    <xs:enumeration value="Failed"/>
    <xs:enumeration value="Cancelled"/>
    <xs:enumeration value="Unknown"/>
  </xs:restriction>
</xs:simpleType>
<xs:simpleType name="SweepProgress">
  <xs:restriction base="xs:double">
    <xs:minInclusive value="0"/>
    <xs:maxInclusive value="1"/>
  </xs:restriction>
</xs:simpleType>
<xs:simpleType name="SweepTitle">
  <xs:restriction base="xs:string">
    <xs:maxLength value="200"/>
  </xs:restriction>
</xs:simpleType>
<xs:simpleType name="SweepPriority">
  <xs:restriction base="xs:int">
    <xs:minInclusive value="-100"/>
    <xs:maxInclusive value="100"/>
  </xs:restriction>
</xs:simpleType>
<xs:simpleType name="SweepCount">
  <xs:restriction base="xs:unsignedInt">
    <xs:minInclusive value="1"/>
  </xs:restriction>
</xs:simpleType>
<xs:complexType name="SweepHost">
  <xs:sequence>
    <xs:element name="name" type="xs:string"/>
    <xs:element name="ip" type="xs:string"/>
    <xs:element name="requestServerPort" type="xs:unsignedShort" minOccurs="0"/>
    <xs:element name="publisherPort" type="xs:unsignedShort" minOccurs="0"/>
  </xs:sequence>
</xs:complexType>
<xs:complexType name="SweepRealization">
  <xs:sequence>
    <xs:element name="realizationId" type="xs:unsignedInt"/>
    <xs:element name="value" type="xs:double"/>
  </xs:sequence>
</xs:complexType>
)xsd";

constexpr const char* c_jobId = R"xsd(
        <xs:element name="jobId" type="dvrq:DVJobId"/>)xsd";

constexpr const char* c_titleAndPriority = R"xsd(
        <xs:element name="title" type="dvrq:SweepTitle" minOccurs="0"/>
        <xs:element name="priority" type="dvrq:SweepPriority" minOccurs="0"/>)xsd";

constexpr const char* c_vectors = R"xsd(
        <xs:element name="parameterVector" type="dvrq:DVPellamParameterVector" maxOccurs="unbounded"/>)xsd";

constexpr const char* c_sweep = R"xsd(
        <xs:element name="partSize" type="dvrq:SweepCount" minOccurs="0"/>
        <xs:element name="more" type="xs:boolean" minOccurs="0"/>
        <xs:element name="expression" type="dvrq:SweepExpression"/>)xsd";

constexpr const char* c_append = R"xsd(
        <xs:element name="packageNumber" type="dvrq:SweepCount"/>
        <xs:element name="more" type="xs:boolean"/>)xsd";

constexpr const char* c_ofJob = R"xsd(
        <xs:element name="ofJob" type="dvrq:DVJobId"/>)xsd";

// What the server asks of a job program; the packages of the sweep follow.
constexpr const char* c_compute = R"xsd(
        <xs:element name="skip" type="xs:unsignedLong"/>
        <xs:element name="count" type="xs:unsignedLong"/>
        <xs:element name="expression" type="dvrq:SweepExpression"/>)xsd";

constexpr const char* c_after = R"xsd(
        <xs:element name="after" type="xs:unsignedLong" minOccurs="0"/>)xsd";

constexpr const char* c_listed = R"xsd(
        <xs:element name="state" type="dvrq:SweepState" minOccurs="0"/>
        <xs:element name="owner" type="xs:string" minOccurs="0"/>
        <xs:element name="before" type="xs:unsignedLong" minOccurs="0"/>)xsd";

// What is told of a job, beside its id.
constexpr const char* c_job = R"xsd(
        <xs:element name="title" type="dvrq:SweepTitle" minOccurs="0"/>
        <xs:element name="owner" type="xs:string" minOccurs="0"/>
        <xs:element name="state" type="dvrq:SweepState"/>
        <xs:element name="progress" type="dvrq:SweepProgress"/>
        <xs:element name="host" type="dvrq:SweepHost" minOccurs="0"/>
        <xs:element name="server" type="dvrq:SweepHost" minOccurs="0"/>
        <xs:element name="priority" type="dvrq:SweepPriority" minOccurs="0"/>
        <xs:element name="realizations" type="xs:unsignedLong" minOccurs="0"/>
        <xs:element name="parts" type="xs:unsignedInt" minOccurs="0"/>
        <xs:element name="partsDone" type="xs:unsignedInt" minOccurs="0"/>
        <xs:element name="partsRunning" type="xs:unsignedInt" minOccurs="0"/>
        <xs:element name="submitted" type="xs:long" minOccurs="0"/>
        <xs:element name="started" type="xs:long" minOccurs="0"/>
        <xs:element name="ended" type="xs:long" minOccurs="0"/>
        <xs:element name="exception" type="dvrq:DVException" minOccurs="0"/>)xsd";

constexpr const char* c_received = R"xsd(
        <xs:element name="packages" type="xs:unsignedInt"/>
        <xs:element name="realizations" type="xs:unsignedLong"/>)xsd";

constexpr const char* c_realizations = R"xsd(
        <xs:element name="first" type="xs:unsignedLong" minOccurs="0"/>
        <xs:element name="total" type="xs:unsignedLong" minOccurs="0"/>
        <xs:element name="realization" type="dvrq:SweepRealization" minOccurs="0" maxOccurs="unbounded"/>)xsd";

constexpr const char* c_messages = R"xsd(
        <xs:element name="next" type="xs:unsignedLong" minOccurs="0"/>
        <xs:element name="logMessage" type="dvrq:LogMessage" minOccurs="0" maxOccurs="unbounded"/>)xsd";

constexpr const char* c_output = R"xsd(
        <xs:element name="next" type="xs:unsignedLong"/>
        <xs:element name="more" type="xs:boolean"/>
        <xs:element name="text" type="xs:string"/>)xsd";

constexpr const char* c_list = R"xsd(
        <xs:element name="next" type="xs:unsignedLong" minOccurs="0"/>
        <xs:element name="job" type="dvrq:SweepJob" minOccurs="0" maxOccurs="unbounded"/>)xsd";

constexpr const char* c_health = R"xsd(
        <xs:element name="server" type="dvrq:SweepHost"/>
        <xs:element name="version" type="xs:string"/>
        <xs:element name="upSeconds" type="xs:double"/>
        <xs:element name="engine" type="xs:string"/>
        <xs:element name="engineError" type="xs:string" minOccurs="0"/>
        <xs:element name="storeError" type="xs:string" minOccurs="0"/>
        <xs:element name="queued" type="xs:unsignedLong"/>
        <xs:element name="running" type="xs:unsignedLong"/>
        <xs:element name="partsRunning" type="xs:unsignedLong"/>
        <xs:element name="bytesFree" type="xs:unsignedLong"/>)xsd";

constexpr const char* c_exception = R"xsd(
        <xs:element name="exception" type="dvrq:DVException"/>)xsd";

/// A type that adds elements to the base schema's `Request` or `Reply`.
std::string extend(const std::string& base, const std::string& name, const std::string& elements) {
  return "<xs:complexType name=\"" + name + "\">\n  <xs:complexContent>\n    <xs:extension base=\"dvrq:" + base +
         "\">\n      <xs:sequence>" + elements +
         "\n      </xs:sequence>\n    </xs:extension>\n  </xs:complexContent>\n</xs:complexType>\n";
}

std::string request(const std::string& kind, const std::string& elements) {
  return extend("Request", "Sweep" + kind + "Request", elements);
}

std::string requests() {
  const std::string jobId = c_jobId;
  return request("Submit", jobId + c_titleAndPriority + c_sweep + c_vectors) +
         request("Append", jobId + c_append + c_vectors) + request("Again", jobId + c_titleAndPriority + c_ofJob) +
         request("Status", jobId) + request("Result", jobId + c_after) + request("Cancel", jobId) +
         request("Log", jobId + c_after) + request("Output", jobId + c_after) + request("Remove", jobId) +
         request("List", c_listed) + request("Ping", "") + request("Follow", jobId) +
         request("Compute", jobId + c_compute);
}

std::string replies() {
  const std::string jobId = c_jobId;
  const auto reply = [](const char* name, const std::string& elements) { return extend("Reply", name, elements); };
  return reply("SweepStatusReply", jobId + c_job) + reply("SweepReceivedReply", jobId + c_received) +
         reply("SweepResultReply", jobId + c_realizations) + reply("SweepLogReply", jobId + c_messages) +
         reply("SweepOutputReply", jobId + c_output) + reply("SweepListReply", c_list) +
         reply("SweepRemovedReply", jobId) + reply("SweepPingReply", c_health) + reply("SweepRefusal", c_exception);
}

}  // namespace

SweepSchema::SweepSchema() {
  const std::string listedJob = std::string("<xs:complexType name=\"SweepJob\">\n  <xs:sequence>") + c_jobId + c_job +
                                "\n  </xs:sequence>\n</xs:complexType>\n";
  m_schema = c_valueTypes + listedJob + requests() + replies();
}

ParserSession::ParserSession() { Drelvan::RequestXmlHelper::getInstance().addSchema(SweepSchema()); }

ParserSession::~ParserSession() { Drelvan::RequestXmlHelper::reset(true); }

}  // namespace ParameterSweep
