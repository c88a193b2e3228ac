#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <examples/parameter_sweep/common/SweepSchema.h>

namespace ParameterSweep {

namespace {

constexpr const char* c_valueTypes = R"xsd(
<!-- SweepSchema: values -->
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
<xs:simpleType name="SweepPort">
  <xs:restriction base="xs:int">
    <xs:minInclusive value="0"/>
    <xs:maxInclusive value="65535"/>
  </xs:restriction>
</xs:simpleType>
<xs:complexType name="SweepHost">
  <xs:sequence>
    <xs:element name="name" type="xs:string"/>
    <xs:element name="ip" type="xs:string"/>
    <xs:element name="requestServerPort" type="dvrq:SweepPort" minOccurs="0"/>
    <xs:element name="publisherPort" type="dvrq:SweepPort" minOccurs="0"/>
  </xs:sequence>
</xs:complexType>
<xs:complexType name="SweepRealization">
  <xs:sequence>
    <xs:element name="realizationId" type="xs:unsignedInt"/>
    <xs:element name="value" type="xs:double"/>
  </xs:sequence>
</xs:complexType>
)xsd";

constexpr const char* c_requests = R"xsd(
<!-- SweepSchema: requests -->
<xs:complexType name="SubmitSweepRequest">
  <xs:complexContent>
    <xs:extension base="dvrq:Request">
      <xs:sequence>
        <xs:element name="jobId" type="dvrq:DVJobId"/>
        <xs:element name="expression" type="dvrq:SweepExpression"/>
        <xs:element name="parameterVector" type="dvrq:DVPellamParameterVector" maxOccurs="unbounded"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="SweepJobRequest" abstract="true">
  <xs:complexContent>
    <xs:extension base="dvrq:Request">
      <xs:sequence>
        <xs:element name="jobId" type="dvrq:DVJobId"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="SweepStatusRequest">
  <xs:complexContent>
    <xs:extension base="dvrq:SweepJobRequest"/>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="SweepResultRequest">
  <xs:complexContent>
    <xs:extension base="dvrq:SweepJobRequest"/>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="SweepCancelRequest">
  <xs:complexContent>
    <xs:extension base="dvrq:SweepJobRequest"/>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="SweepLogRequest">
  <xs:complexContent>
    <xs:extension base="dvrq:SweepJobRequest"/>
  </xs:complexContent>
</xs:complexType>
)xsd";

constexpr const char* c_replies = R"xsd(
<!-- SweepSchema: replies -->
<xs:complexType name="SweepStatusReply">
  <xs:complexContent>
    <xs:extension base="dvrq:Reply">
      <xs:sequence>
        <xs:element name="jobId" type="dvrq:DVJobId"/>
        <xs:element name="state" type="dvrq:SweepState"/>
        <xs:element name="progress" type="dvrq:SweepProgress"/>
        <xs:element name="host" type="dvrq:SweepHost"/>
        <xs:element name="server" type="dvrq:SweepHost"/>
        <xs:element name="exception" type="dvrq:DVException" minOccurs="0"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="SweepResultReply">
  <xs:complexContent>
    <xs:extension base="dvrq:Reply">
      <xs:sequence>
        <xs:element name="jobId" type="dvrq:DVJobId"/>
        <xs:element name="realization" type="dvrq:SweepRealization" maxOccurs="unbounded"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="SweepLogReply">
  <xs:complexContent>
    <xs:extension base="dvrq:Reply">
      <xs:sequence>
        <xs:element name="jobId" type="dvrq:DVJobId"/>
        <xs:element name="logMessage" type="dvrq:LogMessage" minOccurs="0" maxOccurs="unbounded"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="SweepRefusal">
  <xs:complexContent>
    <xs:extension base="dvrq:Reply">
      <xs:sequence>
        <xs:element name="exception" type="dvrq:DVException"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
)xsd";

}  // namespace

SweepSchema::SweepSchema() { m_schema = std::string(c_valueTypes) + c_requests + c_replies; }

ParserSession::ParserSession() { Drelvan::RequestXmlHelper::getInstance().addSchema(SweepSchema()); }

ParserSession::~ParserSession() { Drelvan::RequestXmlHelper::reset(true); }

}  // namespace ParameterSweep
