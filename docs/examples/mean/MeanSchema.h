#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>

/// The request and the replies of the mean service. Each of its programs registers them before it parses anything.
class MeanSchema : public Drelvan::AbstractRequestSchema {
 public:
  MeanSchema() {
    m_schema = R"xsd(
<!-- The mean service -->
<xs:complexType name="MeanRequest">
  <xs:complexContent>
    <xs:extension base="dvrq:Request">
      <xs:sequence>
        <xs:element name="jobId" type="dvrq:DVJobId"/>
        <xs:element name="values" type="dvrq:DVPellamParameterVector"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="MeanReply">
  <xs:complexContent>
    <xs:extension base="dvrq:Reply">
      <xs:sequence>
        <xs:element name="jobId" type="dvrq:DVJobId"/>
        <xs:element name="mean" type="xs:double"/>
        <xs:element name="logMessage" type="dvrq:LogMessage" minOccurs="0" maxOccurs="unbounded"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
<xs:complexType name="MeanRefused">
  <xs:complexContent>
    <xs:extension base="dvrq:Reply">
      <xs:sequence>
        <xs:element name="exception" type="dvrq:DVException"/>
      </xs:sequence>
    </xs:extension>
  </xs:complexContent>
</xs:complexType>
)xsd";
  }
};
