#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>
#include <gtest/gtest.h>
#include <service/ExceptionHandling.h>
#include <tests/support/Packages.h>

#include <string>
#include <utility>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace RequestPackagesTests {

enum class Colour { red, deepBlue };

}  // namespace RequestPackagesTests

template <>
struct Drelvan::EnumerationTexts<RequestPackagesTests::Colour> {
  using Colour = RequestPackagesTests::Colour;
  static constexpr std::pair<const char*, Colour> c_texts[] = {{"Red", Colour::red}, {"Deep Blue", Colour::deepBlue}};
};

namespace RequestPackagesTests {

/// The requests and replies `Values`, which hold any number of elements with one value of each type.
class ValuesSchema : public Drelvan::AbstractRequestSchema {
 public:
  ValuesSchema() {
    m_schema = "\n<xs:group name='Values'><xs:choice>";
    for (const char* type :
         {"string", "boolean", "byte", "short", "int", "long", "unsignedByte", "unsignedShort", "unsignedInt",
          "unsignedLong", "float", "double", "date", "time", "dateTime", "duration"}) {
      m_schema += "<xs:element name='" + std::string(type) + "' type='xs:" + type + "'/>";
    }
    m_schema += R"xsd(
      <xs:element name='timestamp' type='dvrq:DVTimestamp'/>
      <xs:element name='colour'><xs:simpleType><xs:restriction base='xs:string'>
        <xs:enumeration value='Red'/><xs:enumeration value='Deep Blue'/>
      </xs:restriction></xs:simpleType></xs:element>
      <xs:element name='doubles'><xs:simpleType><xs:list itemType='xs:double'/></xs:simpleType></xs:element>
      <xs:element name='tokens'><xs:simpleType><xs:list itemType='xs:token'/></xs:simpleType></xs:element>
      <xs:element name='jobId' type='dvrq:DVJobId'/>
      <xs:element name='host'><xs:complexType><xs:sequence>
        <xs:element name='name' type='xs:string' minOccurs='0'/>
        <xs:element name='ip' type='xs:string' minOccurs='0'/>
        <xs:element name='requestServerPort' type='xs:string' minOccurs='0'/>
        <xs:element name='publisherPort' type='xs:string' minOccurs='0'/>
      </xs:sequence></xs:complexType></xs:element>
      <xs:element name='data' type='dvrq:DVData'/>
      <xs:element name='log' type='dvrq:LogMessage'/>
      <xs:element name='exception' type='dvrq:DVException'/>
      <xs:element name='vector' type='dvrq:DVPellamParameterVector'/>
      <xs:element name='attributes'><xs:complexType>
        <xs:attribute name='text' type='xs:string'/><xs:attribute name='flag' type='xs:boolean'/>
        <xs:attribute name='number' type='xs:double'/><xs:attribute name='numbers'><xs:simpleType>
          <xs:list itemType='xs:int'/></xs:simpleType></xs:attribute>
        <xs:attribute name='given' type='xs:int' default='17'/>
      </xs:complexType></xs:element>
      <xs:element name='group'><xs:complexType><xs:group ref='dvrq:Values' minOccurs='0' maxOccurs='unbounded'/>
      </xs:complexType></xs:element>
    </xs:choice></xs:group>
    )xsd";
    for (const char* base : {"Request", "Reply"}) {
      m_schema += "<xs:complexType name='Values" + std::string(base) +
                  "'><xs:complexContent><xs:extension base='dvrq:" + base +
                  "'><xs:sequence><xs:group ref='dvrq:Values' minOccurs='0' maxOccurs='unbounded'/></xs:sequence>"
                  "</xs:extension></xs:complexContent></xs:complexType>\n";
    }
  }
};

/// Starts each test with a parser that knows `ValuesSchema`.
class PackagesTest : public ::testing::Test {
 protected:
  const Drelvan::ParserSession m_session{ValuesSchema()};
};

inline std::string valuesRequest(const std::string& content) {
  return TestSupport::requestPackage(TestSupport::request()
                                         .with("xmlns:xsi", "http://www.w3.org/2001/XMLSchema-instance")
                                         .with("xsi:type", "ValuesRequest")
                                         .withContent(content)
                                         .text())
      .text();
}

/// A document that is well-formed and nothing else.
inline Drelvan::PackageDocument looseDocument(const std::string& xml) {
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(xml.data()), xml.size(), "test");
  return Drelvan::PackageDocument::fromSource(source, false);
}

/// The message of the `DvException` that `action` throws.
template <typename Action>
std::string failureOf(Action action) {
  try {
    action();
  } catch (const Drelvan::DvException& exception) {
    EXPECT_EQ(exception.getGroup(), "RequestPackages") << exception.what();
    return exception.getMessage();
  }
  ADD_FAILURE() << "no DvException";
  return {};
}

}  // namespace RequestPackagesTests
