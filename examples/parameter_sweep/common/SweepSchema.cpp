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
  </xs:restriction>
</xs:simpleType>
<xs:simpleType name="SweepProgress">
  <xs:restriction base="xs:double">
    <xs:minInclusive value="0"/>
    <xs:maxInclusive value="1"/>
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

constexpr const char* c_sweep = R"xsd(
        <xs:element name="expression" type="dvrq:SweepExpression"/>
        <xs:element name="parameterVector" type="dvrq:DVPellamParameterVector" maxOccurs="unbounded"/>)xsd";

constexpr const char* c_status = R"xsd(
        <xs:element name="state" type="dvrq:SweepState"/>
        <xs:element name="progress" type="dvrq:SweepProgress"/>
        <xs:element name="host" type="dvrq:SweepHost"/>
        <xs:element name="server" type="dvrq:SweepHost"/>
        <xs:element name="exception" type="dvrq:DVException" minOccurs="0"/>)xsd";

constexpr const char* c_realizations = R"xsd(
        <xs:element name="realization" type="dvrq:SweepRealization" maxOccurs="unbounded"/>)xsd";

constexpr const char* c_messages = R"xsd(
        <xs:element name="logMessage" type="dvrq:LogMessage" minOccurs="0" maxOccurs="unbounded"/>)xsd";

constexpr const char* c_exception = R"xsd(
        <xs:element name="exception" type="dvrq:DVException"/>)xsd";

/// A type that adds elements to the base schema's `Request` or `Reply`.
std::string extend(const std::string& base, const std::string& name, const std::string& elements) {
  return "<xs:complexType name=\"" + name + "\">\n  <xs:complexContent>\n    <xs:extension base=\"dvrq:" + base +
         "\">\n      <xs:sequence>" + elements +
         "\n      </xs:sequence>\n    </xs:extension>\n  </xs:complexContent>\n</xs:complexType>\n";
}

}  // namespace

SweepSchema::SweepSchema() {
  const std::string jobId = c_jobId;
  m_schema = c_valueTypes + extend("Request", "SweepSubmitRequest", jobId + c_sweep) +
             extend("Request", "SweepStatusRequest", jobId) + extend("Request", "SweepResultRequest", jobId) +
             extend("Request", "SweepCancelRequest", jobId) + extend("Request", "SweepLogRequest", jobId) +
             extend("Reply", "SweepStatusReply", jobId + c_status) +
             extend("Reply", "SweepResultReply", jobId + c_realizations) +
             extend("Reply", "SweepLogReply", jobId + c_messages) + extend("Reply", "SweepRefusal", c_exception);
}

ParserSession::ParserSession() { Drelvan::RequestXmlHelper::getInstance().addSchema(SweepSchema()); }

ParserSession::~ParserSession() { Drelvan::RequestXmlHelper::reset(true); }

}  // namespace ParameterSweep
