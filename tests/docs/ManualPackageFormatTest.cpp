#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <gtest/gtest.h>
#include <service/ExceptionHandling.h>
#include <tests/docs/Pages.h>
#include <tests/docs/SchemaComponents.h>
#include <tests/support/Documents.h>
#include <tests/support/TemporaryFolder.h>
#include <tests/tools/Program.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace {

using Drelvan::RequestXmlHelper;
using ManualTests::Component;
using ManualTests::Definition;
using ManualTests::SchemaComponents;
using ManualTests::Section;
using TestSupport::Document;
using TestSupport::TemporaryFolder;

constexpr const char* c_page = "package-format.md";

std::string fragmentText() { return TemporaryFolder::read(TestSupport::fragment()); }

struct SimulationSchema : Drelvan::AbstractRequestSchema {
  SimulationSchema() { m_schema = fragmentText(); }
};

RequestXmlHelper& parser() {
  static RequestXmlHelper& helper = [&]() -> RequestXmlHelper& {
    RequestXmlHelper::getInstance().addSchema(SimulationSchema());
    return RequestXmlHelper::getInstance();
  }();
  return helper;
}

std::vector<std::string> exampleFiles() {
  std::vector<std::string> files;
  for (const auto& entry : std::filesystem::directory_iterator(REPOSITORY "/docs/examples/package-format")) {
    files.push_back(entry.path().string());
  }
  return files;
}

std::map<std::string, Definition> baseDefinitions() {
  return SchemaComponents(Drelvan::BaseRequestHandlingSchema().getSchema()).definitions();
}

SchemaComponents allComponents() {
  struct Whole : Drelvan::AbstractRequestSchema {
    Whole() { m_schema = Drelvan::BaseRequestHandlingSchema().getSchemaNoHeader() + fragmentText(); }
  };
  return SchemaComponents(Whole().getSchema());
}

/// The section of the page that describes a type or a global element; its heading is the name alone.
const Section* sectionOf(const std::vector<Section>& sections, const std::string& name) {
  const auto found = std::find_if(sections.begin(), sections.end(),
                                  [&](const Section& section) { return section.heading == "`" + name + "`"; });
  return found == sections.end() ? nullptr : &*found;
}

std::string textOf(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) {
    text += line + "\n";
  }
  return text;
}

class ManualPackageFormat : public testing::Test {
 protected:
  static void TearDownTestSuite() { RequestXmlHelper::reset(true); }
};

TEST_F(ManualPackageFormat, ExamplesAreValid) {
  ASSERT_GT(exampleFiles().size(), 10U);
  for (const std::string& file : exampleFiles()) {
    EXPECT_NO_THROW(Document(parser().parseFile(file, true))) << file;
  }
}

TEST_F(ManualPackageFormat, ExamplesShowEveryComponentOfTheBaseSchema) {
  parser();
  const SchemaComponents all = allComponents();
  std::set<std::string> used;
  for (const std::string& file : exampleFiles()) {
    const Document document(parser().parseFile(file, true));
    used.merge(all.usedBy(*document->getDocumentElement()));
  }
  std::size_t count = 0;
  for (const auto& [name, definition] : baseDefinitions()) {
    EXPECT_EQ(used.count(name), 1U) << name;
    for (const Component& component : definition.components) {
      EXPECT_EQ(used.count(name + "/" + component.name), 1U) << name << "/" << component.name;
      ++count;
    }
  }
  EXPECT_GT(count, 40U);
  for (const char* type : {"Info", "Warning", "Error", "Debug"}) {
    EXPECT_EQ(used.count(std::string("LogMessage/@type=") + type), 1U) << type;
  }
}

/// The row of `component` in the tables of its section; empty when there is none.
std::vector<std::string> rowOf(const Section& section, const Component& component) {
  const bool isAttribute = component.name.front() == '@';
  const std::string name = isAttribute ? component.name.substr(1) : component.name;
  for (const auto& row : ManualTests::table(section.lines, isAttribute ? "attribute" : "element")) {
    if (row.front() == name) {
      return row;
    }
  }
  return {};
}

TEST_F(ManualPackageFormat, PageDescribesEveryComponentOfTheBaseSchema) {
  const auto sections = ManualTests::sections(c_page, 3);
  for (const auto& [name, definition] : baseDefinitions()) {
    const Section* section = sectionOf(sections, name);
    ASSERT_NE(section, nullptr) << name;
    for (const std::string& rule : definition.rules) {
      EXPECT_NE(textOf(section->lines).find("`" + rule.substr(rule.find(' ') + 1) + "`"), std::string::npos) << rule;
    }
    for (const Component& component : definition.components) {
      const auto row = rowOf(*section, component);
      ASSERT_GE(row.size(), 4U) << name << "/" << component.name;
      EXPECT_NE(row[1].find(component.type), std::string::npos) << name << "/" << component.name;
      EXPECT_EQ(row[2], component.occurrence) << name << "/" << component.name;
      for (const std::string& rule : component.rules) {
        EXPECT_NE(row[3].find(rule), std::string::npos) << name << "/" << component.name << ": " << rule;
      }
    }
  }
}

TEST_F(ManualPackageFormat, PageDescribesNothingElse) {
  const auto definitions = baseDefinitions();
  std::set<std::string> names;
  for (const Section& section : ManualTests::sections(c_page, 3)) {
    if (section.heading.front() != '`') {
      continue;
    }
    const auto definition = definitions.find(section.heading.substr(1, section.heading.size() - 2));
    ASSERT_NE(definition, definitions.end()) << section.heading;
    const std::size_t rows =
        ManualTests::table(section.lines, "element").size() + ManualTests::table(section.lines, "attribute").size();
    EXPECT_EQ(rows, definition->second.components.size()) << section.heading;
    names.insert(definition->first);
  }
  EXPECT_EQ(names.size(), definitions.size());
}

/// A document with `value` at the place that a table of values names.
std::string documentWith(const std::string& place, const std::string& value) {
  const std::string uid = "e41c0b7d93f2a586-0011223344556677-8899aabbccddeeff";
  const std::string nameSpaces =
      " xmlns='http://drelvan.example/schemas/DVRequests.xsd' xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'";
  const auto simulation = [&](const std::string& content) {
    return "<DV_Reply" + nameSpaces + "><reply xsi:type='SimulationResult' requestId='" + uid + "'><jobId><id>" + uid +
           "</id><name/></jobId><server><name/><ip/></server>" + content + "</reply></DV_Reply>";
  };
  const auto data = [&](const std::string& more) { return simulation("<result id='" + uid + "' " + more + "/>"); };
  if (place == "DVUid") {
    return "<DV_Request" + nameSpaces + "><request id='" + value + "'/></DV_Request>";
  }
  if (place == "DVTimestamp") {
    return "<DV_ReplyPackage" + nameSpaces + " version='5.0.0' serial='1' timestamp='" + value +
           "'><reply requestId='" + uid + "'/></DV_ReplyPackage>";
  }
  if (place == "href") {
    return data("href='" + value + "'");
  }
  if (place == "dataSize" || place == "dataType" || place == "dataPtrType" || place == "forceTransfer") {
    return data("href='heads.csv' " + place + "='" + value + "'");
  }
  if (place == "type" || place == "timestamp") {
    return simulation(std::string("<log type='") + (place == "type" ? value : "Info") + "' group='' timestamp='" +
                      (place == "timestamp" ? value : "0") + "'/>");
  }
  ADD_FAILURE() << "no document for " << place;
  return {};
}

std::string verdictOf(const std::string& document) {
  try {
    Document(parser().parse(document));
    return "valid";
  } catch (const Drelvan::DvExceptionNested&) {
    return "invalid";
  }
}

TEST_F(ManualPackageFormat, ValuesAreJudgedAsThePageSays) {
  std::size_t count = 0;
  for (const Section& section : ManualTests::sections(c_page, 3)) {
    for (const auto& row : ManualTests::table(section.lines, "of")) {
      ASSERT_GE(row.size(), 3U) << section.heading;
      EXPECT_EQ(verdictOf(documentWith(row[0], row[1])), row[2]) << row[0] << ": " << row[1];
      ++count;
    }
  }
  EXPECT_GT(count, 15U);
}

TEST_F(ManualPackageFormat, AbsentOriginReadsAsItsDefault) {
  const Document document(
      parser().parseFile(REPOSITORY "/docs/examples/package-format/smallest-request-package.xml", true));
  EXPECT_EQ(TestSupport::attribute(document->getDocumentElement(), "origin"), "PellamConnector@127.0.0.1");
}

}  // namespace
