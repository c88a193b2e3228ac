// What a program of the service does with packages as values, built from outside the source tree of the library.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/AbstractRequestSchema.h>
#include <Platform/RemoteComputation/Service/RequestPackages/ElementReader.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageSchema.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageValues.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>
#include <service/ExceptionHandling.h>

#include <iostream>
#include <string>
#include <utility>

#include "Checks.h"

enum class Colour { red, blue };

template <>
struct Drelvan::EnumerationTexts<Colour> {
  static constexpr std::pair<const char*, Colour> c_texts[] = {{"Red", Colour::red}, {"Blue", Colour::blue}};
};

namespace {

const std::string c_uid = "0123456789abcdef-0123456789abcdef-0123456789abcdef";

class PaintSchema : public Drelvan::AbstractRequestSchema {
 public:
  PaintSchema() {
    m_schema =
        "<xs:complexType name='Paint'><xs:complexContent><xs:extension base='dvrq:Request'><xs:sequence>"
        "<xs:element name='colour' type='xs:string'/><xs:element name='litres' type='xs:double'/>"
        "</xs:sequence></xs:extension></xs:complexContent></xs:complexType>";
  }
};

std::string paintPackage() {
  Drelvan::RequestEnvelope envelope;
  envelope.clientId = envelope.requestClientId = c_uid;
  Drelvan::PackageWriter writer;
  writer.startRequestPackage(envelope);
  writer.startRequest("Paint", c_uid);
  writer.element("colour", Colour::blue);
  writer.element("litres", 2.5);
  return writer.finish();
}

void fragmentIsSound() {
  const std::string errors = Drelvan::PackageSchema({PaintSchema()}).describeErrors();
  require(errors.empty(), errors);
}

void valuesReturnFromAPackage() {
  const auto document = Drelvan::PackageDocument::fromText(paintPackage());
  const Drelvan::ElementReader request = document.getRequest();
  require(request.getTypeName() == "Paint", "the type of the request returns");
  require(request.get<Colour>("colour") == Colour::blue, "an enumeration returns");
  require(request.get<double>("litres") == 2.5, "a number returns");
  require(document.getRequestEnvelope().clientId == c_uid, "the envelope returns");
}

void wrongValueIsRefused() {
  const auto document = Drelvan::PackageDocument::fromText(paintPackage());
  std::string message;
  try {
    document.getRequest().get<bool>("litres");
  } catch (const Drelvan::DvException& refused) {
    message = refused.getMessage();
  }
  require(message == "/DV_RequestPackage/request/litres: '2.5' is not a value of xs:boolean", "not " + message);
}

}  // namespace

int main() {
  fragmentIsSound();
  const Drelvan::ParserSession parser{PaintSchema()};
  valuesReturnFromAPackage();
  wrongValueIsRefused();
  std::cout << "packages consumer: everything works\n";
  return 0;
}
