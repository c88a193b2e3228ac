#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestNamespace.h>

#include <utility>

namespace Drelvan {

namespace {

/// The blank before the first equals sign is intended: the text is fixed.
std::string openingLines() {
  const std::string quotedNamespace = std::string("\"") + c_requestNamespace + "\"";
  return "<?xml version=\"1.0\" encoding=\"us-ascii\"?>\n<xs:schema xmlns:dvrq =" + quotedNamespace +
         " elementFormDefault=\"qualified\" targetNamespace=" + quotedNamespace +
         " xmlns:xs=\"http://www.w3.org/2001/XMLSchema\">\n";
}

constexpr const char* c_footer = "</xs:schema>";

constexpr const char* c_baseFragment = R"xsd(
<!-- BaseRequestHandlingSchema -->
<xs:simpleType name="DVUid">
  <xs:restriction base="xs:string">
    <xs:pattern value="[0-9A-Fa-f]{16}-[0-9A-Fa-f]{16}-[0-9A-Fa-f]{16}"/>
  </xs:restriction>
</xs:simpleType>
<xs:complexType name="DVJobId">
  <xs:sequence>
    <xs:element name="id" type="dvrq:DVUid"/>
    <xs:element name="name" type="xs:string"/>
  </xs:sequence>
</xs:complexType>
<xs:simpleType name="DVTimestamp">
  <xs:restriction base="xs:string">
    <xs:pattern value="UTC/ISO_[0-9]{4}-[0-1][0-9]-[0-3][0-9 ]T[0-2][0-9]:[0-5][0-9]:[0-5][0-9](\.[0-9]{1,6})?"/>
  </xs:restriction>
</xs:simpleType>
<xs:complexType name="DVException">
  <xs:sequence>
    <xs:element name="type" type="xs:string"/>
    <xs:element name="message" type="xs:string" minOccurs="0"/>
    <xs:element name="name" type="xs:string" minOccurs="0"/>
    <xs:element name="source" type="xs:string" minOccurs="0"/>
    <xs:element name="file" type="xs:string" minOccurs="0"/>
    <xs:element name="function" type="xs:string" minOccurs="0"/>
    <xs:element name="line" type="xs:int" minOccurs="0"/>
    <xs:element name="severity" type="xs:string" minOccurs="0"/>
    <xs:element name="innerException" type="dvrq:DVException" minOccurs="0"/>
  </xs:sequence>
</xs:complexType>
<xs:complexType name="DVData">
  <xs:attribute name="id" type="dvrq:DVUid" use="required"/>
  <xs:attribute name="name" type="xs:string" use="optional"/>
  <xs:attribute name="dataPtrType" use="optional">
    <xs:simpleType>
      <xs:restriction base="xs:string">
        <xs:minLength value="3"/>
      </xs:restriction>
    </xs:simpleType>
  </xs:attribute>
  <xs:attribute name="dataType" use="optional">
    <xs:simpleType>
      <xs:restriction base="xs:string">
        <xs:minLength value="3"/>
      </xs:restriction>
    </xs:simpleType>
  </xs:attribute>
  <xs:attribute name="dataSize" use="optional">
    <xs:simpleType>
      <xs:restriction base="xs:long">
        <xs:minInclusive value="0"/>
      </xs:restriction>
    </xs:simpleType>
  </xs:attribute>
  <xs:attribute name="href" use="required">
    <xs:simpleType>
      <xs:restriction base="xs:string">
        <xs:minLength value="6"/>
      </xs:restriction>
    </xs:simpleType>
  </xs:attribute>
  <xs:attribute name="forceTransfer" type="xs:boolean"/>
  <xs:attribute name="fileNotTransfered" type="xs:boolean"/>
</xs:complexType>
<xs:complexType name="Request">
  <xs:attribute name="id" type="dvrq:DVUid" use="required"/>
</xs:complexType>
<xs:complexType name="Reply">
  <xs:attribute name="requestId" type="dvrq:DVUid" use="required"/>
</xs:complexType>
<xs:complexType name="LogMessage">
  <xs:simpleContent>
    <xs:extension base="xs:string">
      <xs:attribute name="type" use="required">
        <xs:simpleType>
          <xs:restriction base="xs:string">
            <xs:enumeration value="Info"/>
            <xs:enumeration value="Warning"/>
            <xs:enumeration value="Error"/>
            <xs:enumeration value="Debug"/>
          </xs:restriction>
        </xs:simpleType>
      </xs:attribute>
      <xs:attribute name="group" type="xs:string" use="required"/>
      <xs:attribute name="timestamp" type="xs:long" use="required"/>
    </xs:extension>
  </xs:simpleContent>
</xs:complexType>
<xs:complexType name="DVPellamParameterVector">
  <xs:sequence minOccurs="1" maxOccurs="1">
    <xs:element name="realizationId" type="xs:unsignedInt"/>
    <xs:choice minOccurs="1" maxOccurs="unbounded">
      <xs:element name="parameter">
        <xs:complexType>
          <xs:sequence minOccurs="1" maxOccurs="1">
            <xs:element name="id" type="xs:string"/>
            <xs:element name="value" type="xs:double"/>
          </xs:sequence>
        </xs:complexType>
      </xs:element>
      <xs:element name="encryptedParameter">
        <xs:complexType>
          <xs:sequence minOccurs="1" maxOccurs="1">
            <xs:element name="id" type="xs:string"/>
            <xs:element name="value" type="xs:string"/>
          </xs:sequence>
        </xs:complexType>
      </xs:element>
    </xs:choice>
  </xs:sequence>
</xs:complexType>
<xs:complexType name="RequestPackage">
  <xs:sequence>
    <xs:element name="request" type="dvrq:Request"/>
  </xs:sequence>
  <xs:attribute name="version" type="xs:string" use="required" fixed="5.0.0"/>
  <xs:attribute name="serial" type="xs:unsignedInt" use="required"/>
  <xs:attribute name="timestamp" type="dvrq:DVTimestamp" use="required"/>
  <xs:attribute name="clientId" type="dvrq:DVUid" use="required"/>
  <xs:attribute name="origin" type="xs:string" use="optional" default="PellamConnector@127.0.0.1"/>
  <xs:attribute name="progressUpdates" type="xs:boolean" use="optional"/>
  <xs:attribute name="replyHost" type="xs:string" use="optional"/>
  <xs:attribute name="replyPort" type="xs:unsignedInt" use="optional"/>
  <xs:attribute name="requestClientId" type="dvrq:DVUid" use="required"/>
  <xs:attribute name="replyExpected" type="xs:boolean" use="optional"/>
</xs:complexType>
<xs:complexType name="ReplyPackage">
  <xs:sequence>
    <xs:element name="reply" type="dvrq:Reply"/>
  </xs:sequence>
  <xs:attribute name="version" type="xs:string" use="required" fixed="5.0.0"/>
  <xs:attribute name="serial" type="xs:unsignedInt" use="required"/>
  <xs:attribute name="timestamp" type="dvrq:DVTimestamp" use="required"/>
  <xs:attribute name="origin" type="xs:string" use="optional"/>
</xs:complexType>
<xs:element name="DV_RequestPackage">
  <xs:complexType>
    <xs:complexContent mixed="false">
      <xs:extension base="dvrq:RequestPackage"/>
    </xs:complexContent>
  </xs:complexType>
</xs:element>
<xs:element name="DV_ReplyPackage" type="dvrq:ReplyPackage"/>
<xs:element name="DV_Request">
  <xs:complexType>
    <xs:sequence>
      <xs:element name="request" type="dvrq:Request"/>
    </xs:sequence>
  </xs:complexType>
</xs:element>
<xs:element name="DV_Reply">
  <xs:complexType>
    <xs:sequence>
      <xs:element name="reply" type="dvrq:Reply"/>
    </xs:sequence>
  </xs:complexType>
</xs:element>
<xs:element name="DV_RequestScript">
  <xs:complexType>
    <xs:sequence>
      <xs:element name="request" type="dvrq:Request" maxOccurs="unbounded"/>
    </xs:sequence>
  </xs:complexType>
</xs:element>
<xs:element name="DV_ReplyScript">
  <xs:complexType>
    <xs:sequence>
      <xs:element name="reply" type="dvrq:Reply" maxOccurs="unbounded"/>
    </xs:sequence>
  </xs:complexType>
</xs:element>

)xsd";

}  // namespace

AbstractRequestSchema::AbstractRequestSchema() : m_header(openingLines()), m_footer(c_footer) {}

AbstractRequestSchema::AbstractRequestSchema(const AbstractRequestSchema& other) = default;

AbstractRequestSchema::AbstractRequestSchema(AbstractRequestSchema&& other) noexcept
    : m_header(std::exchange(other.m_header, {})),
      m_schema(std::exchange(other.m_schema, {})),
      m_footer(std::exchange(other.m_footer, {})) {}

AbstractRequestSchema& AbstractRequestSchema::operator=(const AbstractRequestSchema& other) = default;

AbstractRequestSchema& AbstractRequestSchema::operator=(AbstractRequestSchema&& other) noexcept {
  m_header = std::exchange(other.m_header, {});
  m_schema = std::exchange(other.m_schema, {});
  m_footer = std::exchange(other.m_footer, {});
  return *this;
}

AbstractRequestSchema::~AbstractRequestSchema() = default;

std::string AbstractRequestSchema::getSchema() const { return m_header + "\n" + m_schema + "\n" + m_footer; }

const std::string& AbstractRequestSchema::getSchemaNoHeader() const { return m_schema; }

BaseRequestHandlingSchema::BaseRequestHandlingSchema() { m_schema += c_baseFragment; }

}  // namespace Drelvan
