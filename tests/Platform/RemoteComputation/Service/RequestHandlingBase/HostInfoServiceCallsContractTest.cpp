// Which operations of the service layer a host description calls, in which order, and what becomes of their answers.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <gtest/gtest.h>
#include <tests/support/ParsedDocument.h>
#include <tests/support/ScriptedValues.h>

#include <string>
#include <vector>

namespace {

using Drelvan::HostInfo;
using TestSupport::ParsedDocument;
using TestSupport::ScriptedValues;
using Calls = std::vector<std::string>;

class HostInfoServiceCallsContractTest : public testing::Test {
 protected:
  HostInfoServiceCallsContractTest() { ScriptedValues::reset(); }
  ~HostInfoServiceCallsContractTest() override { ScriptedValues::reset(); }

  const ParsedDocument m_document{"<host/>"};
};

TEST_F(HostInfoServiceCallsContractTest, ElementsAreLookedUpInOrderAndOnlyTheNameIsUnescaped) {
  HostInfo host(m_document.root());
  EXPECT_EQ(ScriptedValues::calls(),
            (Calls{"getElement name", "getContent", "fromXml 7", "getElement ip", "getContent",
                   "getElement requestServerPort", "getContent", "getElement publisherPort", "getContent"}));
  EXPECT_EQ(host.toString(), "name:plain 7, ip:7, requestServerPort:7, publisherPort:7");
}

TEST_F(HostInfoServiceCallsContractTest, MissingElementsAreNotRead) {
  ScriptedValues::setElementsFound(false);
  const HostInfo host(m_document.root());
  EXPECT_EQ(ScriptedValues::calls(),
            (Calls{"getElement name", "getElement ip", "getElement requestServerPort", "getElement publisherPort"}));
  EXPECT_TRUE(host.empty());
}

TEST_F(HostInfoServiceCallsContractTest, OnlyTheNameIsEscaped) {
  HostInfo host;
  host.setName("a");
  host.setIp("b");
  EXPECT_EQ(host.toXmlString("host", "", ""), "<host>\n<name>escaped a</name>\n<ip>b</ip>\n</host>");
  EXPECT_EQ(host.toString(), "name:a, ip:b, requestServerPort:-1, publisherPort:-1");
  EXPECT_EQ(ScriptedValues::calls(), Calls{"toXml a"});
}

TEST_F(HostInfoServiceCallsContractTest, FailuresPassUnchanged) {
  for (const std::string failing : {"getElement name", "getElement publisherPort", "getContent", "fromXml 7"}) {
    ScriptedValues::onCall([&](const std::string& call) {
      if (call == failing) {
        throw call;
      }
    });
    EXPECT_THROW(HostInfo(m_document.root()), std::string) << failing;
  }
  ScriptedValues::onCall([](const std::string& call) { throw call; });
  HostInfo host;
  EXPECT_THROW(host.toXmlString("host", "", ""), std::string);
}

}  // namespace
