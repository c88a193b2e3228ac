// What documents leave behind, and what one costs at most: resident memory of the whole process.

#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperHostileFixture.h>
#include <tests/support/ResidentMemory.h>

#include <fstream>
#include <iostream>
#include <ostream>
#include <string>
#include <vector>

namespace {

using RequestXmlHelperTests::c_instanceNamespace;
using RequestXmlHelperTests::c_sanitized;
using RequestXmlHelperTests::HostileTest;
using RequestXmlHelperTests::numbered;
using RequestXmlHelperTests::repeated;

constexpr long c_kibPerMib = 1024;

/// The most that was resident since the last `forgetPeak`.
long peakKib() {
  std::ifstream file("/proc/self/status");
  for (std::string line; std::getline(file, line);) {
    if (line.compare(0, 6, "VmHWM:") == 0) {
      return std::stol(line.substr(6));
    }
  }
  return 0;
}

void forgetPeak() { std::ofstream("/proc/self/clear_refs") << "5"; }

std::string package(const std::string& attributes, const std::string& content) {
  return "<DV_RequestScript xmlns='" + TestSupport::c_targetNamespace + "'" + attributes + ">" + content +
         TestSupport::request().text() + "</DV_RequestScript>";
}

/// Documents that each bring names of their own.
struct Stream {
  std::string name;
  std::string (*document)(const std::string& number);
  bool validate;

  friend std::ostream& operator<<(std::ostream& stream, const Stream& names) { return stream << names.name; }
};

const std::vector<Stream> c_streams = {
    {"UndeclaredElements", [](const std::string& number) { return package("", "<e" + number + "/>"); }, true},
    {"UndeclaredAttributes", [](const std::string& number) { return package(" a" + number + "=''", ""); }, true},
    {"UnvalidatedElements", [](const std::string& number) { return "<e" + number + "/>"; }, false},
    {"UnvalidatedAttributes", [](const std::string& number) { return "<e a" + number + "=''/>"; }, false},
    {"Prefixes", [](const std::string& number) { return package(" xmlns:p" + number + "='urn:p'", ""); }, true},
    {"Namespaces", [](const std::string& number) { return package(" xmlns:p='urn:" + number + "'", ""); }, true},
    {"NamespacesOfUndeclaredElements",
     [](const std::string& number) { return package("", "<p:e xmlns:p='urn:" + number + "'/>"); }, true},
    {"UndeclaredPrefixes", [](const std::string& number) { return package("", "<p" + number + ":e/>"); }, true},
    {"Types",
     [](const std::string& number) {
       return package(" xmlns:xsi='" + c_instanceNamespace + "' xsi:type='t" + number + "'", "");
     },
     true},
    {"SchemaHints",
     [](const std::string& number) {
       return package(
           " xmlns:xsi='" + c_instanceNamespace + "' xsi:schemaLocation='urn:" + number + " f" + number + "'", "");
     },
     true},
    {"Instructions", [](const std::string& number) { return package("", "<?i" + number + "?>"); }, true},
    {"DoctypeNames",
     [](const std::string& number) {
       return "<!DOCTYPE r [<!ELEMENT e" + number + " (f" + number + ")><!ATTLIST r a" + number +
              " CDATA 'v'><!ENTITY e" + number + " 'x'><!NOTATION n" + number + " SYSTEM 'n'>]><r>&e" + number +
              ";</r>";
     },
     false},
    {"DoctypeRoots", [](const std::string& number) { return "<!DOCTYPE r" + number + "><r/>"; }, true},
    {"MissingEntities", [](const std::string& number) { return "<!DOCTYPE r SYSTEM 'f" + number + "'><r/>"; }, false},
    {"Encodings", [](const std::string& number) { return "<?xml version='1.0' encoding='e" + number + "'?><r/>"; },
     true},
    {"ManyNamesAtOnce",
     [](const std::string& number) {
       return "<r>" + numbered(20, [&](const auto& index) { return "<e" + number + "-" + index + "/>"; }) + "</r>";
     },
     false},
};

class RequestXmlHelperHostileMemory : public HostileTest {
 protected:
  static void parseAny(const std::string& text, bool validate) {
    try {
      const TestSupport::Document document(parse(text, validate));
    } catch (const Drelvan::DvExceptionNested&) {
    }
    TestSupport::RecordingLog::clear();
  }

  void record(const std::string& name, long kib) {
    std::cout << name << ": " << kib << " KiB\n";
    RecordProperty(name, static_cast<int>(kib));
  }
};

class RequestXmlHelperHostileNames : public RequestXmlHelperHostileMemory,
                                     public ::testing::WithParamInterface<Stream> {};

TEST_P(RequestXmlHelperHostileNames, AreNotKept) {
  constexpr int warmUp = c_sanitized ? 10 : 3000;
  constexpr int documents = c_sanitized ? 100 : 20000;
  for (int index = 0; index < warmUp; ++index) {
    parseAny(GetParam().document(std::to_string(index)), GetParam().validate);
  }
  const long before = TestSupport::residentKib();
  for (int index = warmUp; index < warmUp + documents; ++index) {
    parseAny(GetParam().document(std::to_string(index)), GetParam().validate);
  }
  const long growth = TestSupport::residentKib() - before;
  record("growth", growth);
  if (!c_sanitized) {
    EXPECT_LT(growth, c_kibPerMib);
  }
  parseValid();
}

INSTANTIATE_TEST_SUITE_P(Each, RequestXmlHelperHostileNames, ::testing::ValuesIn(c_streams),
                         [](const auto& information) { return information.param.name; });

/// Documents of a size, and what one byte of them may cost at most while they are parsed.
struct Cost {
  std::string name;
  std::string (*document)(std::size_t bytes);
  bool validate;
  long factor;

  friend std::ostream& operator<<(std::ostream& stream, const Cost& cost) { return stream << cost.name; }
};

const std::vector<Cost> c_costs = {
    {"Package",
     [](std::size_t bytes) {
       const std::string request = TestSupport::request().text();
       return package("", repeated(request, bytes / request.size()));
     },
     true, 16},
    {"ShortElements", [](std::size_t bytes) { return "<r>" + repeated("<e/>", bytes / 4) + "</r>"; }, false, 72},
    {"ShortAttributes", [](std::size_t bytes) { return "<r>" + repeated("<e a='' b='' c=''/>", bytes / 19) + "</r>"; },
     false, 72},
    {"Comments", [](std::size_t bytes) { return package("", repeated("<!---->", bytes / 7)); }, true, 32},
    {"Instructions", [](std::size_t bytes) { return package("", repeated("<?i?>", bytes / 5)); }, true, 48},
    {"Text", [](std::size_t bytes) { return "<r>" + std::string(bytes, 'x') + "</r>"; }, false, 16},
    {"TextOfAPackage", [](std::size_t bytes) { return package("", std::string(bytes, 'x')); }, true, 16},
    {"Value", [](std::size_t bytes) { return package(" a='" + std::string(bytes, 'x') + "'", ""); }, true, 20},
    {"UnvalidatedValue", [](std::size_t bytes) { return "<r a='" + std::string(bytes, 'x') + "'/>"; }, false, 20},
    {"ElementName", [](std::size_t bytes) { return "<" + std::string(bytes, 'n') + "/>"; }, true, 20},
    {"AttributeName", [](std::size_t bytes) { return "<r " + std::string(bytes, 'n') + "=''/>"; }, true, 24},
    {"AttributesOfOneElement",
     [](std::size_t bytes) {
       return "<r " + numbered(bytes / 11, [](const auto& number) { return "a" + number + "='' "; }) + "/>";
     },
     false, 64},
    {"OneAttributeAgainAndAgain", [](std::size_t bytes) { return "<r " + repeated("a='' ", bytes / 5) + "/>"; }, true,
     48},
    {"NamespaceDeclarations",
     [](std::size_t bytes) {
       return "<r " +
              numbered(bytes / 22, [](const auto& number) { return "xmlns:p" + number + "='u:" + number + "' "; }) +
              "/>";
     },
     false, 32},
    {"CharacterReferences", [](std::size_t bytes) { return "<r>" + repeated("&#65;", bytes / 5) + "</r>"; }, false, 8},
    {"CharacterData", [](std::size_t bytes) { return "<r>" + repeated("<![CDATA[]]>", bytes / 12) + "</r>"; }, false,
     24},
};

class RequestXmlHelperHostileCost : public RequestXmlHelperHostileMemory, public ::testing::WithParamInterface<Cost> {};

TEST_P(RequestXmlHelperHostileCost, IsBoundedByTheLengthOfTheDocument) {
  if (c_sanitized) {
    GTEST_SKIP() << "a sanitizer's own memory counts too";
  }
  const std::string document = GetParam().document(std::size_t{8} << 20U);
  const long lengthKib = static_cast<long>(document.size()) / 1024;
  const long before = TestSupport::residentKib();
  forgetPeak();
  parseAny(document, GetParam().validate);
  const long peak = peakKib() - before;
  const long after = TestSupport::residentKib() - before;
  parseValid();
  TestSupport::RecordingLog::clear();
  record("peak_kib", peak);
  record("kept_kib", after);
  record("percent_of_length", 100 * peak / lengthKib);
  EXPECT_LT(peak, GetParam().factor * lengthKib);
  EXPECT_LT(after, 12 * lengthKib);
}

INSTANTIATE_TEST_SUITE_P(Each, RequestXmlHelperHostileCost, ::testing::ValuesIn(c_costs),
                         [](const auto& information) { return information.param.name; });

TEST_F(RequestXmlHelperHostileMemory, BombsCostLittleWhenValidated) {
  const std::string entities = "<!ENTITY a '" + std::string(100000, 'x') + "'>";
  const std::string attributes =
      "<!ATTLIST a " + numbered(2000, [](const auto& number) { return "a" + number + " CDATA 'v' "; }) + ">";
  const std::string choice = "<!ELEMENT r (a" + repeated("|a", 50000) + ")>";
  for (const std::string& subset : {entities, attributes, choice}) {
    const std::string document =
        "<!DOCTYPE r [" + subset + "]><r>" + repeated("&a;", 100000) + repeated("<a/>", 100000) + "</r>";
    const long before = TestSupport::residentKib();
    forgetPeak();
    parseAny(document, true);
    record("validated_kib", peakKib() - before);
    forgetPeak();
    parseAny(document, false);
    record("unvalidated_kib", peakKib() - before);
    if (!c_sanitized) {
      EXPECT_LT(peakKib() - before, 32 * c_kibPerMib);
    }
  }
}

}  // namespace
