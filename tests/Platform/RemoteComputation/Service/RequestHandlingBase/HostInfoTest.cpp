#include <Platform/RemoteComputation/Service/RequestHandlingBase/HostInfo.h>
#include <gtest/gtest.h>
#include <tests/support/ParsedDocument.h>

#include <boost/lexical_cast.hpp>
#include <climits>
#include <sstream>
#include <string>
#include <type_traits>
#include <utility>

namespace {

using Drelvan::HostInfo;
using TestSupport::ParsedDocument;

HostInfo hostOf(const std::string& name, const std::string& ip, int requestServerPort, int publisherPort) {
  HostInfo host(name, ip);
  host.setRequestServerPort(requestServerPort);
  host.setPublisherPort(publisherPort);
  return host;
}

HostInfo readHost(const std::string& xml) {
  const ParsedDocument document(xml);
  return HostInfo(document.root());
}

void expectHost(const HostInfo& host, const std::string& name, const std::string& ip, int requestServerPort,
                int publisherPort) {
  EXPECT_EQ(host.getName(), name);
  EXPECT_EQ(host.getIp(), ip);
  EXPECT_EQ(host.getRequestServerPort(), requestServerPort);
  EXPECT_EQ(host.getPublisherPort(), publisherPort);
}

#define DETECT_PUBLIC_CONSTANT(trait, constant) \
  template <typename Type, typename = void>     \
  struct trait : std::false_type {};            \
  template <typename Type>                      \
  struct trait<Type, std::void_t<decltype(Type::constant)>> : std::true_type {}

DETECT_PUBLIC_CONSTANT(NameTagIsPublic, c_nameTag);
DETECT_PUBLIC_CONSTANT(IpTagIsPublic, c_ipTag);
DETECT_PUBLIC_CONSTANT(RequestServerPortIsPublic, c_requestServerPort);
DETECT_PUBLIC_CONSTANT(PublisherPortIsPublic, c_publisherPort);

/// Holds when `Type` has an XML writer that can be called on a constant.
template <typename Type, typename = void>
struct WritesXmlOfConstants : std::false_type {};
template <typename Type>
struct WritesXmlOfConstants<Type, std::void_t<decltype(std::declval<const Type&>().toXmlString("", "", ""))>>
    : std::true_type {};

// ---- The type ----

struct Layout {
  std::string name;
  std::string ip;
  int requestServerPort;
  int publisherPort;
};

static_assert(!std::is_polymorphic_v<HostInfo>);
static_assert(!std::has_virtual_destructor_v<HostInfo>);
static_assert(std::is_standard_layout_v<HostInfo>);
static_assert(sizeof(HostInfo) == sizeof(Layout));
static_assert(std::is_default_constructible_v<HostInfo>);
static_assert(std::is_copy_constructible_v<HostInfo> && std::is_copy_assignable_v<HostInfo>);
static_assert(std::is_nothrow_move_constructible_v<HostInfo> && std::is_nothrow_move_assignable_v<HostInfo>);
static_assert(std::is_convertible_v<xercesc_3_1::DOMElement*, HostInfo>);
static_assert(std::is_same_v<decltype(std::declval<const HostInfo&>().getName()), const std::string&>);
static_assert(std::is_same_v<decltype(std::declval<const HostInfo&>().getIp()), const std::string&>);
static_assert(std::is_same_v<decltype(std::declval<const HostInfo&>().getIpOrName()), const std::string&>);
static_assert(std::is_same_v<decltype(std::declval<const HostInfo&>().getNameOrIp()), const std::string&>);
static_assert(std::is_same_v<decltype(std::declval<const HostInfo&>().getPublisherPort()), int>);
static_assert(!NameTagIsPublic<HostInfo>::value && !IpTagIsPublic<HostInfo>::value);
static_assert(!RequestServerPortIsPublic<HostInfo>::value && !PublisherPortIsPublic<HostInfo>::value);
static_assert(!WritesXmlOfConstants<HostInfo>::value);

TEST(HostInfoContractTest, HoldsItsMembersInOrder) {
  const HostInfo host = hostOf("alpha", "10.0.0.1", 4711, 5555);
  const auto* const layout = reinterpret_cast<const Layout*>(&host);
  EXPECT_EQ(&host.getName(), &layout->name);
  EXPECT_EQ(&host.getIp(), &layout->ip);
  EXPECT_EQ(layout->requestServerPort, 4711);
  EXPECT_EQ(layout->publisherPort, 5555);
}

// ---- Construction ----

TEST(HostInfoDefault, IsEmpty) {
  const HostInfo host;
  expectHost(host, "", "", -1, -1);
  EXPECT_TRUE(host.empty());
  EXPECT_FALSE(host.hasName());
  EXPECT_FALSE(host.hasIp());
  EXPECT_FALSE(host.hasNameOrIp());
  EXPECT_FALSE(host.hasRequestServerPort());
  EXPECT_FALSE(host.hasPublisherPort());
  EXPECT_EQ(host.getIpOrName(), "");
  EXPECT_EQ(host.getNameOrIp(), "");
}

TEST(HostInfoOfTwoTexts, TakesNameThenAddressUnchecked) {
  expectHost(HostInfo("alpha", "10.0.0.1"), "alpha", "10.0.0.1", -1, -1);
  expectHost(HostInfo("10.0.0.1", "no address"), "10.0.0.1", "no address", -1, -1);
  expectHost(HostInfo("", ""), "", "", -1, -1);
  EXPECT_TRUE(HostInfo("", "").empty());
}

// ---- Copies and moves ----

TEST(HostInfoCopy, CopiesAllMembers) {
  const HostInfo original = hostOf("alpha", "10.0.0.1", 4711, 0);
  const HostInfo copy(original);
  HostInfo assigned("old", "1.1.1.1");
  EXPECT_EQ(&(assigned = original), &assigned);
  expectHost(copy, "alpha", "10.0.0.1", 4711, 0);
  expectHost(assigned, "alpha", "10.0.0.1", 4711, 0);
  expectHost(original, "alpha", "10.0.0.1", 4711, 0);
}

TEST(HostInfoCopy, SurvivesAssignmentToItself) {
  HostInfo host = hostOf("alpha", std::string(100, '1'), 1, 2);
  const HostInfo& alias = host;
  host = alias;
  expectHost(host, "alpha", std::string(100, '1'), 1, 2);
}

/// Short texts live within a string object, long ones outside: both must end empty.
class HostInfoMove : public ::testing::TestWithParam<std::pair<std::string, std::string>> {};

TEST_P(HostInfoMove, ConstructionEmptiesTheTextsAndKeepsThePorts) {
  const auto& [name, ip] = GetParam();
  HostInfo source = hostOf(name, ip, 4711, 5555);
  const HostInfo target(std::move(source));
  expectHost(target, name, ip, 4711, 5555);
  expectHost(source, "", "", 4711, 5555);
}

TEST_P(HostInfoMove, AssignmentEmptiesTheTextsAndKeepsThePorts) {
  const auto& [name, ip] = GetParam();
  HostInfo source = hostOf(name, ip, 4711, 5555);
  HostInfo target = hostOf("old", "1.1.1.1", 1, 2);
  EXPECT_EQ(&(target = std::move(source)), &target);
  expectHost(target, name, ip, 4711, 5555);
  expectHost(source, "", "", 4711, 5555);
}

INSTANTIATE_TEST_SUITE_P(ShortAndLong, HostInfoMove,
                         ::testing::Values(std::pair<std::string, std::string>("a", "b"),
                                           std::pair<std::string, std::string>("alpha", "10.0.0.1"),
                                           std::pair<std::string, std::string>(std::string(300, 'a'),
                                                                               std::string(300, 'b')),
                                           std::pair<std::string, std::string>("", "")));

// ---- Accessors ----

TEST(HostInfoAccess, PrefersTheNamedOne) {
  const HostInfo both("alpha", "10.0.0.1");
  EXPECT_EQ(both.getIpOrName(), "10.0.0.1");
  EXPECT_EQ(both.getNameOrIp(), "alpha");
  EXPECT_EQ(&both.getIpOrName(), &both.getIp());
  EXPECT_EQ(&both.getNameOrIp(), &both.getName());
}

TEST(HostInfoAccess, FallsBackToTheOtherOne) {
  const HostInfo named("alpha", "");
  EXPECT_EQ(&named.getIpOrName(), &named.getName());
  EXPECT_EQ(&named.getNameOrIp(), &named.getName());
  const HostInfo addressed("", "10.0.0.1");
  EXPECT_EQ(&addressed.getIpOrName(), &addressed.getIp());
  EXPECT_EQ(&addressed.getNameOrIp(), &addressed.getIp());
}

TEST(HostInfoAccess, ReportsWhatIsSet) {
  const HostInfo named("alpha", "");
  EXPECT_TRUE(named.hasName());
  EXPECT_FALSE(named.hasIp());
  EXPECT_TRUE(named.hasNameOrIp());
  EXPECT_FALSE(named.empty());
  const HostInfo addressed("", "10.0.0.1");
  EXPECT_FALSE(addressed.hasName());
  EXPECT_TRUE(addressed.hasIp());
  EXPECT_TRUE(addressed.hasNameOrIp());
  EXPECT_FALSE(addressed.empty());
}

TEST(HostInfoAccess, PortsAreThereAboveZeroAndSetFromZeroOn) {
  const struct {
    int port;
    bool has;
    bool empty;
  } rows[] = {{INT_MIN, false, true}, {-5, false, true},    {-1, false, true},     {0, false, false},
              {1, true, false},       {65536, true, false}, {INT_MAX, true, false}};
  for (const auto& row : rows) {
    HostInfo requestServer;
    requestServer.setRequestServerPort(row.port);
    EXPECT_EQ(requestServer.getRequestServerPort(), row.port);
    EXPECT_EQ(requestServer.getPublisherPort(), -1);
    EXPECT_EQ(requestServer.hasRequestServerPort(), row.has) << row.port;
    EXPECT_EQ(requestServer.empty(), row.empty) << row.port;
    HostInfo publisher;
    publisher.setPublisherPort(row.port);
    EXPECT_EQ(publisher.getPublisherPort(), row.port);
    EXPECT_EQ(publisher.getRequestServerPort(), -1);
    EXPECT_EQ(publisher.hasPublisherPort(), row.has) << row.port;
    EXPECT_EQ(publisher.empty(), row.empty) << row.port;
  }
}

TEST(HostInfoAccess, SettersSetOneMemberEach) {
  HostInfo host;
  host.setName("alpha");
  expectHost(host, "alpha", "", -1, -1);
  host.setIp("no address");
  expectHost(host, "alpha", "no address", -1, -1);
  host.setRequestServerPort(1);
  expectHost(host, "alpha", "no address", 1, -1);
  host.setPublisherPort(2);
  expectHost(host, "alpha", "no address", 1, 2);
  host.setName(host.getIp());
  expectHost(host, "no address", "no address", 1, 2);
}

TEST(HostInfoAccess, SetIpOrNameDecidesByTheText) {
  const struct {
    const char* text;
    bool isAddress;
  } rows[] = {{"192.168.0.7", true}, {"010.1.1.1", true}, {"alpha", false}, {"300.1.1.1", false}, {"", false}};
  for (const auto& row : rows) {
    HostInfo host = hostOf("name", "ip", 1, 2);
    host.setIpOrName(row.text);
    expectHost(host, row.isAddress ? "name" : row.text, row.isAddress ? row.text : "ip", 1, 2);
  }
}

TEST(HostInfoAccess, ClearUnsetsEverything) {
  HostInfo host = hostOf(std::string(100, 'a'), "10.0.0.1", 4711, 0);
  host.clear();
  expectHost(host, "", "", -1, -1);
  EXPECT_TRUE(host.empty());
}

// ---- Address tests ----

TEST(HostInfoIsIp, AcceptsFourNumbersUpTo255) {
  for (const char* text : {"0.0.0.0", "255.255.255.255", "127.0.0.1", "010.1.1.1", "+1.2.3.4", "1.-0.2.3",
                           "-0.-0.-0.-0", "+0.+0.+0.+255", "1.2.3.00000000000000000000255"}) {
    EXPECT_TRUE(HostInfo::isIp(text)) << text;
  }
}

TEST(HostInfoIsIp, RefusesAnythingElse) {
  for (const char* text : {"",
                           "1",
                           "1.2.3",
                           "1.2.3.4.5",
                           "1..2.3",
                           "1.2.3.",
                           ".1.2.3",
                           "...",
                           "1.2.3.256",
                           "256.2.3.4",
                           "1.2.3.-1",
                           "1.2.3.x",
                           " 1.2.3.4",
                           "1.2.3.4 ",
                           "1. 2.3.4",
                           "::1",
                           "1.2.3.4\n",
                           "1.2.3.0x1",
                           "1.2.3.1e1",
                           "1.2.3.++1",
                           "1.2.3.+-1",
                           "1.2.3.+",
                           "1.2.3.-",
                           "1,2,3,4",
                           "localhost",
                           "1.2.3.2147483648",
                           "1.2.3.-2147483648",
                           "1.2.3.2147483647",
                           "1.2.3.-2147483649",
                           "1.2.3.4294967297",
                           "1.2.3.99999999999999999999"}) {
    EXPECT_FALSE(HostInfo::isIp(text)) << text;
  }
  EXPECT_FALSE(HostInfo::isIp(std::string("1.2.3.4\0", 8)));
}

TEST(HostInfoIsLocalIp, AcceptsTheOneLoopbackAddress) {
  EXPECT_TRUE(HostInfo::isLocalIp("127.0.0.1"));
  for (const char* text :
       {"", "localhost", "127.0.0.2", "127.0.0.1 ", " 127.0.0.1", "127.0.0.01", "127.0.0.", "::1", "127.0.0.11"}) {
    EXPECT_FALSE(HostInfo::isLocalIp(text)) << text;
  }
  EXPECT_FALSE(HostInfo::isLocalIp(std::string("127.0.0.1\0", 10)));
}

// ---- Log text ----

TEST(HostInfoToString, WritesAllFourMembers) {
  EXPECT_EQ(HostInfo().toString(), "name:, ip:, requestServerPort:-1, publisherPort:-1");
  EXPECT_EQ(hostOf("alpha", "10.0.0.1", -1, 5555).toString(),
            "name:alpha, ip:10.0.0.1, requestServerPort:-1, publisherPort:5555");
  EXPECT_EQ(hostOf("a&b", "<", INT_MIN, INT_MAX).toString(),
            "name:a&b, ip:<, requestServerPort:-2147483648, publisherPort:2147483647");
}

// ---- XML form ----

TEST(HostInfoToXml, WritesTheSetPorts) {
  HostInfo host = hostOf("alpha", "10.0.0.1", 4711, -1);
  EXPECT_EQ(host.toXmlString("host", "  ", "  "),
            "  <host>\n"
            "    <name>alpha</name>\n"
            "    <ip>10.0.0.1</ip>\n"
            "    <requestServerPort>4711</requestServerPort>\n"
            "  </host>");
  host.setRequestServerPort(-7);
  host.setPublisherPort(65535);
  EXPECT_EQ(host.toXmlString("h", "", "\t"),
            "<h>\n"
            "\t<name>alpha</name>\n"
            "\t<ip>10.0.0.1</ip>\n"
            "\t<publisherPort>65535</publisherPort>\n"
            "</h>");
}

TEST(HostInfoToXml, WritesNameAndAddressAlsoWhenUnset) {
  EXPECT_EQ(HostInfo().toXmlString("host", ".", "-"), ".<host>\n.-<name></name>\n.-<ip></ip>\n.</host>");
}

TEST(HostInfoToXml, WritesPortsOfZero) {
  HostInfo host = hostOf("", "", 0, 0);
  EXPECT_FALSE(host.hasPublisherPort());
  EXPECT_EQ(host.toXmlString("host", "", ""),
            "<host>\n<name></name>\n<ip></ip>\n<requestServerPort>0</requestServerPort>\n"
            "<publisherPort>0</publisherPort>\n</host>");
}

TEST(HostInfoToXml, EscapesTheNameOnly) {
  HostInfo host("a&b<c>\"'", "a&b<c>\"'");
  EXPECT_EQ(host.toXmlString("host", "", ""),
            "<host>\n<name>a&amp;b&lt;c&gt;&quot;&apos;</name>\n<ip>a&b<c>\"'</ip>\n</host>");
}

TEST(HostInfoToXml, AppendsToWhatTheStreamHolds) {
  HostInfo host("alpha", "10.0.0.1");
  std::stringstream stream;
  stream << "before";
  host.toXml(stream, "a", "", "");
  host.toXml(stream, "b", "", "");
  EXPECT_EQ(stream.str(), "before" + host.toXmlString("a", "", "") + host.toXmlString("b", "", ""));
}

TEST(HostInfoToXml, WritesPortsAsTheStreamIsSet) {
  HostInfo host = hostOf("", "", 255, -1);
  std::stringstream stream;
  stream << std::hex;
  host.toXml(stream, "h", "", "");
  EXPECT_EQ(stream.str(), "<h>\n<name></name>\n<ip></ip>\n<requestServerPort>ff</requestServerPort>\n</h>");
}

TEST(HostInfoToXml, LeavesAFailedStreamFailed) {
  std::stringstream stream;
  stream.setstate(std::ios::badbit);
  HostInfo().toXml(stream, "host", "", "");
  EXPECT_TRUE(stream.bad());
  EXPECT_EQ(stream.str(), "");
}

/// Counts how often a stream over it is flushed.
class FlushCounter : public std::stringbuf {
 public:
  int count = 0;

 protected:
  int sync() override {
    ++count;
    return std::stringbuf::sync();
  }
};

TEST(HostInfoToXml, FlushesAfterEachLineEnd) {
  FlushCounter buffer;
  std::stringstream stream;
  stream.std::ios::rdbuf(&buffer);
  HostInfo host = hostOf("alpha", "10.0.0.1", 1, 2);
  host.toXml(stream, "host", "", "");
  EXPECT_EQ(buffer.count, 5);
}

// ---- From documents ----

TEST(HostInfoFromElement, ReadsTheChildrenInAnyOrder) {
  expectHost(readHost("<host><name>alpha</name><ip>10.0.0.1</ip><requestServerPort>1</requestServerPort>"
                      "<publisherPort>2</publisherPort></host>"),
             "alpha", "10.0.0.1", 1, 2);
  expectHost(readHost("<x>\n <publisherPort>2</publisherPort>\n <other/>\n <requestServerPort>1</requestServerPort>\n"
                      " <ip>10.0.0.1</ip>\n <name>alpha</name>\n</x>"),
             "alpha", "10.0.0.1", 1, 2);
}

TEST(HostInfoFromElement, LeavesMissingChildrenUnset) {
  expectHost(readHost("<host/>"), "", "", -1, -1);
  expectHost(readHost("<host><ip>10.0.0.1</ip></host>"), "", "10.0.0.1", -1, -1);
  expectHost(readHost("<host><publisherPort>0</publisherPort></host>"), "", "", -1, 0);
  expectHost(HostInfo(static_cast<xercesc_3_1::DOMElement*>(nullptr)), "", "", -1, -1);
}

TEST(HostInfoFromElement, ReadsSignedPorts) {
  HostInfo host = readHost("<host><requestServerPort>-5</requestServerPort><publisherPort>+7</publisherPort></host>");
  expectHost(host, "", "", -5, 7);
  EXPECT_EQ(host.toXmlString("h", "", ""), "<h>\n<name></name>\n<ip></ip>\n<publisherPort>7</publisherPort>\n</h>");
  expectHost(readHost("<host><requestServerPort>2147483647</requestServerPort>"
                      "<publisherPort>-2147483648</publisherPort></host>"),
             "", "", INT_MAX, INT_MIN);
}

TEST(HostInfoFromElement, ThrowsForAPortThatIsNoNumber) {
  for (const char* content :
       {"", " 80", "80 ", "12a", "99999999999", "2147483648", "-2147483649", "+", "0x10", "1.0"}) {
    for (const char* tag : {"requestServerPort", "publisherPort"}) {
      const ParsedDocument document(std::string("<host><") + tag + ">" + content + "</" + tag + "></host>");
      EXPECT_THROW(HostInfo host(document.root()), boost::bad_lexical_cast) << tag << " '" << content << "'";
    }
  }
}

TEST(HostInfoFromElement, UnescapesTheNameOnly) {
  expectHost(readHost("<host><name>&amp;lt;&amp;#65;&amp;</name><ip>&amp;lt;&amp;</ip></host>"), "<A&", "&lt;&", -1,
             -1);
}

TEST(HostInfoFromElement, ReadsBackWhatWasWritten) {
  HostInfo original = hostOf(" a&b<c>\"'&lt;\r\n\xC3\xA9 ", "10.0.0.1", 0, 5555);
  const HostInfo host = readHost(original.toXmlString("host", "  ", "  "));
  // The parse undoes one escaping and the reader one more, so only what looks like a reference itself changes.
  expectHost(host, " a&b<c>\"'<\r\n\xC3\xA9 ", "10.0.0.1", 0, 5555);
}

}  // namespace
