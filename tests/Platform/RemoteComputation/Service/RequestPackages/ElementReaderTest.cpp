#include <Platform/RemoteComputation/Service/RequestPackages/ElementReader.h>
#include <tests/Platform/RemoteComputation/Service/RequestPackages/PackagesFixture.h>

#include <chrono>
#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::chrono_literals;
using Drelvan::ElementReader;
using Drelvan::PackageDocument;
using RequestPackagesTests::Colour;
using RequestPackagesTests::failureOf;
using RequestPackagesTests::looseDocument;
using RequestPackagesTests::valuesRequest;

const std::string c_path = "/DV_RequestPackage/request/";

class ElementReaderTest : public RequestPackagesTests::PackagesTest {
 protected:
  /// The request of a valid package with that content; good until the next call.
  ElementReader request(const std::string& content) {
    m_document.emplace(PackageDocument::fromText(valuesRequest(content)));
    return m_document->getRequest();
  }

  /// The root of a document that is not validated; good until the next call.
  ElementReader loose(const std::string& xml) {
    m_document.emplace(looseDocument(xml));
    return m_document->getRoot();
  }

  /// From a package that the schema has let pass.
  template <typename Value>
  Value valueOf(const std::string& element, const std::string& text) {
    return request("<" + element + ">" + text + "</" + element + ">").get<Value>(element);
  }

  template <typename Value>
  Value looseValueOf(const std::string& text) {
    return loose("<v>" + text + "</v>").as<Value>();
  }

  /// Each text is refused with its path, itself and the type.
  template <typename Value>
  void expectRefused(const std::string& type, const std::vector<std::string>& texts) {
    for (const std::string& text : texts) {
      EXPECT_EQ(failureOf([&] { looseValueOf<Value>(text); }), "/v: '" + text + "' is not a value of " + type);
    }
  }

  /// The smallest and the largest number of a type pass, those beyond do not.
  template <typename Integer>
  void expectRange(const std::string& type, const std::string& below, const std::string& above) {
    using Limits = std::numeric_limits<Integer>;
    EXPECT_EQ(valueOf<Integer>(type, std::to_string(Limits::min())), Limits::min());
    EXPECT_EQ(valueOf<Integer>(type, std::to_string(Limits::max())), Limits::max());
    EXPECT_EQ(valueOf<Integer>(type, " +007\n"), 7);
    EXPECT_EQ(valueOf<Integer>(type, "-0"), 0);
    expectRefused<Integer>("xs:" + type, {below, above, "", "-", "+", "+-1", "--1", "1.0", "1e2", "0x1", "1 2", "a"});
  }

  std::optional<PackageDocument> m_document;
};

TEST_F(ElementReaderTest, TextIsReadAsItStands) {
  EXPECT_EQ(valueOf<std::string>("string", " a &lt;&amp;&gt; \n b\t"), " a <&> \n b\t");
  EXPECT_EQ(valueOf<std::string>("string", ""), "");
  EXPECT_EQ(valueOf<std::string>("string", "a<!-- c -->b<![CDATA[<c>]]><?p i?>d"), "ab<c>d");
}

TEST_F(ElementReaderTest, TextIsUtf8) {
  EXPECT_EQ(valueOf<std::string>("string", "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 &#x10FFFF;"),
            "\xC3\xA9 \xE2\x82\xAC \xF0\x9F\x98\x80 \xF4\x8F\xBF\xBF");
}

TEST_F(ElementReaderTest, NamesAreUtf8) {
  const ElementReader root = loose(
      "<r\xC3\xA9><\xE2\x82\xAC"
      "a b\xC3\xA9='1'>x</\xE2\x82\xAC"
      "a></r\xC3\xA9>");
  EXPECT_EQ(root.getName(), "r\xC3\xA9");
  EXPECT_EQ(root.get<std::string>("\xE2\x82\xAC"
                                  "a"),
            "x");
  EXPECT_EQ(root.getChild("\xE2\x82\xAC"
                          "a")
                .getAttribute<int>("b\xC3\xA9"),
            1);
  EXPECT_FALSE(root.findChild("\xE2\x82\xAC"));
}

TEST_F(ElementReaderTest, BooleansHaveFourTexts) {
  for (const char* text : {"true", "1", " true ", "\n1\t"}) {
    EXPECT_TRUE(valueOf<bool>("boolean", text)) << text;
  }
  for (const char* text : {"false", "0", " 0", "false\r\n"}) {
    EXPECT_FALSE(valueOf<bool>("boolean", text)) << text;
  }
  expectRefused<bool>("xs:boolean", {"", "TRUE", "True", "yes", "2", "00", "t rue", "truefalse"});
}

TEST_F(ElementReaderTest, IntegersKeepTheirRanges) {
  expectRange<std::int8_t>("byte", "-129", "128");
  expectRange<std::int16_t>("short", "-32769", "32768");
  expectRange<std::int32_t>("int", "-2147483649", "2147483648");
  expectRange<std::int64_t>("long", "-9223372036854775809", "9223372036854775808");
  expectRange<std::uint8_t>("unsignedByte", "-1", "256");
  expectRange<std::uint16_t>("unsignedShort", "-1", "65536");
  expectRange<std::uint32_t>("unsignedInt", "-1", "4294967296");
  expectRange<std::uint64_t>("unsignedLong", "-1", "18446744073709551616");
}

TEST_F(ElementReaderTest, AllIntegerTypesOfTheLanguageAreRead) {
  EXPECT_EQ(valueOf<long>("long", "-5"), -5L);
  EXPECT_EQ(valueOf<long long>("long", "-5"), -5LL);
  EXPECT_EQ(valueOf<unsigned long>("unsignedLong", "5"), 5UL);
  EXPECT_EQ(valueOf<unsigned long long>("unsignedLong", "5"), 5ULL);
}

TEST_F(ElementReaderTest, DoublesHaveTheFormsOfXmlSchema) {
  const std::vector<std::pair<std::string, double>> values{
      {"0", 0},          {"-1", -1},          {"+2.5", 2.5},
      {".5", .5},        {"5.", 5},           {"-.5e-3", -.5e-3},
      {"1E+2", 100},     {"1e2", 100},        {" 1.5\n", 1.5},
      {"0.1", 0.1},      {"007", 7},          {"5e-324", 5e-324},
      {"INF", HUGE_VAL}, {"-INF", -HUGE_VAL}, {"1.7976931348623157e308", 1.7976931348623157e308}};
  for (const auto& [text, value] : values) {
    EXPECT_EQ(valueOf<double>("double", text), value) << text;
  }
  EXPECT_TRUE(std::isnan(valueOf<double>("double", "NaN")));
  EXPECT_TRUE(std::signbit(valueOf<double>("double", "-0")));
}

TEST_F(ElementReaderTest, TextsThatAreNoDoubleAreRefused) {
  expectRefused<double>("xs:double",
                        {"",    ".",   "+",    "-",   "+.",       "-.",   "e5",  "1e",   "1e+",    "1,5", "1.5.2",
                         "--1", "+-1", "0x10", "inf", "Infinity", "+INF", "nan", "-NaN", "nan(1)", "1 2", "1f"});
}

TEST_F(ElementReaderTest, DoublesBeyondTheRangeAreRefused) {
  expectRefused<double>("xs:double", {"1e309", "-1e309", "1e-400", "1e99999999999999999999"});
}

TEST_F(ElementReaderTest, DoublesWithoutDigitsAreRefusedAlthoughTheSchemaLetsThemPass) {
  for (const std::string text : {"+.", "-."}) {
    const auto passed = request("<double>" + text + "</double>");
    EXPECT_EQ(failureOf([&] { passed.get<double>("double"); }),
              c_path + "double: '" + text + "' is not a value of xs:double");
  }
}

TEST_F(ElementReaderTest, FloatsHaveARangeOfTheirOwn) {
  EXPECT_EQ(valueOf<float>("float", "3.4028235e38"), std::numeric_limits<float>::max());
  EXPECT_EQ(valueOf<float>("float", "0.1"), 0.1F);
  EXPECT_EQ(valueOf<float>("float", "-INF"), -HUGE_VALF);
  EXPECT_TRUE(std::isnan(valueOf<float>("float", "NaN")));
  expectRefused<float>("xs:float", {"1e39", "1e-60", ".", "inf", ""});
}

TEST_F(ElementReaderTest, DatesHaveAZoneOrNone) {
  using Drelvan::XmlDate;
  EXPECT_EQ(valueOf<XmlDate>("date", "2024-02-29"), (XmlDate{2024, 2, 29, {}}));
  EXPECT_EQ(valueOf<XmlDate>("date", " 2024-05-07Z "), (XmlDate{2024, 5, 7, 0min}));
  EXPECT_EQ(valueOf<XmlDate>("date", "-0044-03-15+02:30"), (XmlDate{-44, 3, 15, 150min}));
  EXPECT_EQ(valueOf<XmlDate>("date", "12024-12-31-14:00"), (XmlDate{12024, 12, 31, -14h}));
  expectRefused<XmlDate>("xs:date", {"", "2023-02-29", "1900-02-29", "2024-13-01", "2024-00-01", "2024-01-00",
                                     "2024-04-31", "24-01-01", "02024-01-01", "0000-01-01", "2024-1-1", "2024-01-01+",
                                     "2024-01-01+14:01", "2024-01-01z", "2024-01-01T00:00:00", "99999999999-01-01"});
}

TEST_F(ElementReaderTest, TimesEndAtMidnight) {
  using Drelvan::XmlTime;
  EXPECT_EQ(valueOf<XmlTime>("time", "00:00:00"), (XmlTime{0ns, {}}));
  EXPECT_EQ(valueOf<XmlTime>("time", "23:59:59.999999999Z"), (XmlTime{24h - 1ns, 0min}));
  EXPECT_EQ(valueOf<XmlTime>("time", "13:45:09.5-05:00"), (XmlTime{13h + 45min + 9s + 500ms, -5h}));
  EXPECT_EQ(valueOf<XmlTime>("time", "24:00:00"), (XmlTime{0ns, {}}));
  EXPECT_EQ(valueOf<XmlTime>("time", "01:02:03.5000000000000"), (XmlTime{1h + 2min + 3s + 500ms, {}}));
  expectRefused<XmlTime>("xs:time", {"", "24:00:01", "25:00:00", "12:60:00", "12:00:60", "12:00", "1:00:00",
                                     "12:00:00.", "12:00:00.0000000001", "12:00:00+2", "12:00:00+02:60"});
}

TEST_F(ElementReaderTest, DatesAndTimesArePointsInTimeWhenTheyHaveAZone) {
  using Drelvan::XmlDateTime;
  EXPECT_EQ(valueOf<XmlDateTime>("dateTime", "2024-05-07T13:45:09.123456789+02:00"),
            (XmlDateTime{2024, 5, 7, 13h + 45min + 9s + 123456789ns, 2h}));
  EXPECT_EQ(valueOf<XmlDateTime>("dateTime", "2023-12-31T24:00:00"), (XmlDateTime{2024, 1, 1, 0ns, {}}));
  EXPECT_EQ(valueOf<XmlDateTime>("dateTime", "-0001-12-31T24:00:00Z"), (XmlDateTime{1, 1, 1, 0ns, 0min}));
  EXPECT_EQ(valueOf<XmlDateTime>("dateTime", "2024-05-07T13:45:09.5+02:00").toTimestamp(),
            Drelvan::fromTimestampText("UTC/ISO_2024-05-07T11:45:09.5"));
  EXPECT_EQ(failureOf([&] { valueOf<XmlDateTime>("dateTime", "2024-05-07T13:45:09").toTimestamp(); }),
            "a date and time without a zone is not a point in time; set the zone");
  expectRefused<XmlDateTime>("xs:dateTime", {"", "2024-05-07", "2024-05-07 13:45:09", "2024-05-07T13:45", "T13:45:09",
                                             "2147483647-12-31T24:00:00"});
}

TEST_F(ElementReaderTest, DurationsAreMonthsAndTheRest) {
  using Drelvan::XmlDuration;
  EXPECT_EQ(valueOf<XmlDuration>("duration", "P1Y2M3DT4H5M6.7S"), (XmlDuration{14, 72h + 4h + 5min + 6s + 700ms}));
  EXPECT_EQ(valueOf<XmlDuration>("duration", "-P1M"), (XmlDuration{-1, 0ns}));
  EXPECT_EQ(valueOf<XmlDuration>("duration", "-PT0.000000001S"), (XmlDuration{0, -1ns}));
  EXPECT_EQ(valueOf<XmlDuration>("duration", " PT36H"), (XmlDuration{0, 36h}));
  EXPECT_EQ(valueOf<XmlDuration>("duration", "P0D"), (XmlDuration{0, 0ns}));
  expectRefused<XmlDuration>(
      "xs:duration", {"", "P", "PT", "P1YT", "1Y", "P1", "P1S", "P1M1Y", "PT1.S", "PT.5S", "PT1.5M", "P-1D", "P1D1D",
                      "PT9223372037S", "P768614336404564651Y", "PT0.0000000001S"});
}

TEST_F(ElementReaderTest, TimestampsArePointsInTime) {
  using Drelvan::Timestamp;
  EXPECT_EQ(valueOf<Timestamp>("timestamp", "UTC/ISO_1970-01-02T00:00:01.000002").time_since_epoch(), 24h + 1s + 2us);
  EXPECT_EQ(valueOf<Timestamp>("timestamp", "UTC/ISO_1969-12-31T23:59:59").time_since_epoch(), -1s);
}

TEST_F(ElementReaderTest, TimestampsThatTheSchemaLetsPassButNameNoTimeAreRefused) {
  for (const char* text : {"UTC/ISO_2024-05-0 T13:45:09", "UTC/ISO_2024-13-01T00:00:00", "UTC/ISO_2023-02-29T00:00:00",
                           "UTC/ISO_2024-05-07T24:00:00", "UTC/ISO_2024-00-01T00:00:00"}) {
    EXPECT_EQ(failureOf([&] { valueOf<Drelvan::Timestamp>("timestamp", text); }),
              c_path + "timestamp: '" + text + "' is not a value of DVTimestamp");
  }
}

TEST_F(ElementReaderTest, EnumerationsHaveTheirTexts) {
  EXPECT_EQ(valueOf<Colour>("colour", "Red"), Colour::red);
  EXPECT_EQ(valueOf<Colour>("colour", "Deep Blue"), Colour::deepBlue);
  EXPECT_EQ(failureOf([&] { looseValueOf<Colour>("Green"); }), "/v: 'Green' is not one of 'Red' 'Deep Blue'");
}

TEST_F(ElementReaderTest, ListsAreSeparatedByBlanks) {
  EXPECT_EQ(valueOf<std::vector<double>>("doubles", " 1 -INF\n\t2.5 "), (std::vector<double>{1, -HUGE_VAL, 2.5}));
  EXPECT_EQ(valueOf<std::vector<double>>("doubles", " "), std::vector<double>());
  EXPECT_EQ(valueOf<std::vector<std::string>>("tokens", "a  b"), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(failureOf([&] { looseValueOf<std::vector<int>>("1 x 3"); }), "/v: 'x' is not a value of xs:int");
}

TEST_F(ElementReaderTest, AttributesAreReadLikeElements) {
  const ElementReader element =
      request("<attributes text=' a ' flag=' 1 ' number='-.5' numbers='1 2'/>").getChild("attributes");
  EXPECT_EQ(element.getAttribute<std::string>("text"), " a ");
  EXPECT_TRUE(element.getAttribute<bool>("flag"));
  EXPECT_EQ(element.getAttribute<double>("number"), -.5);
  EXPECT_EQ(element.getAttribute<std::vector<int>>("numbers"), (std::vector<int>{1, 2}));
}

TEST_F(ElementReaderTest, AttributeNamesMayBeLong) {
  for (const std::size_t length : {63U, 64U, 65U, 1000U}) {
    const std::string name(length, 'a');
    const PackageDocument document = looseDocument("<r " + name + "='value' " + name + "a='other'/>");
    EXPECT_EQ(document.getRoot().findAttribute<std::string>(name), "value") << length;
    EXPECT_EQ(document.getRoot().findAttribute<std::string>(name + "a"), "other") << length;
    EXPECT_EQ(document.getRoot().findAttribute<std::string>(name + "b"), std::nullopt) << length;
  }
}

TEST_F(ElementReaderTest, TheSchemaSuppliesAttributes) {
  EXPECT_EQ(request("<attributes/>").getChild("attributes").getAttribute<int>("given"), 17);
}

TEST_F(ElementReaderTest, AbsentIsNotBroken) {
  const ElementReader values = request("<double>1</double><attributes/><string/>");
  EXPECT_EQ(values.find<double>("double"), 1.0);
  EXPECT_EQ(values.find<int>("int"), std::nullopt);
  EXPECT_EQ(values.find<std::string>("string"), "");
  EXPECT_EQ(values.getChild("attributes").findAttribute<bool>("flag"), std::nullopt);
  EXPECT_FALSE(values.findChild("int"));
  EXPECT_EQ(failureOf([&] { values.find<int>("string"); }), c_path + "string: '' is not a value of xs:int");
}

TEST_F(ElementReaderTest, MissingValuesNameTheirPathAndType) {
  const ElementReader values = request("<attributes/>");
  EXPECT_EQ(failureOf([&] { values.get<std::uint16_t>("port"); }), c_path + "port: missing; expected xs:unsignedShort");
  EXPECT_EQ(failureOf([&] { values.get<Colour>("colour"); }), c_path + "colour: missing; expected an enumeration");
  EXPECT_EQ(failureOf([&] { values.get<std::vector<int>>("list"); }), c_path + "list: missing; expected a list");
  EXPECT_EQ(failureOf([&] { values.getChild("jobId"); }), c_path + "jobId: missing; expected an element");
  EXPECT_EQ(failureOf([&] { values.getChild("attributes").getAttribute<double>("number"); }),
            c_path + "attributes/@number: missing; expected xs:double");
}

TEST_F(ElementReaderTest, RepeatedElementsKeepTheirOrder) {
  const ElementReader values = request("<int>3</int><string>x</string><int>1</int><int>2</int>");
  EXPECT_EQ(values.getAll<int>("int"), (std::vector<int>{3, 1, 2}));
  EXPECT_EQ(values.getAll<int>("long"), std::vector<int>());
  std::string names;
  for (const ElementReader& child : values.getChildren()) {
    names += child.getName() + " ";
  }
  EXPECT_EQ(names, "int string int int ");
  int sum = 0;
  for (const ElementReader& child : values.getChildren("int")) {
    sum += child.as<int>();
  }
  EXPECT_EQ(sum, 6);
}

TEST_F(ElementReaderTest, PathsCountWhatIsRepeated) {
  const ElementReader values = request("<group><int>1</int><string>x</string><int>2</int></group><int>3</int>");
  std::string paths;
  for (const ElementReader& child : values.getChild("group").getChildren()) {
    paths += child.getPath() + "\n";
  }
  EXPECT_EQ(paths, c_path + "group/int[1]\n" + c_path + "group/string\n" + c_path + "group/int[2]\n");
  EXPECT_EQ(values.getChild("int").getPath(), c_path + "int");
}

TEST_F(ElementReaderTest, PrefixesDoNotMatter) {
  const ElementReader root = loose("<p:a xmlns:p='urn:p' xmlns:q='urn:q'><q:b>1</q:b></p:a>");
  EXPECT_EQ(root.getName(), "a");
  EXPECT_EQ(root.get<int>("b"), 1);
  EXPECT_EQ(root.getChild("b").getPath(), "/a/b");
}

TEST_F(ElementReaderTest, TypeNamesHaveNoPrefix) {
  const std::string xsi = " xmlns:xsi='http://www.w3.org/2001/XMLSchema-instance'";
  EXPECT_EQ(loose("<a" + xsi + " xsi:type='T'/>").getTypeName(), "T");
  EXPECT_EQ(loose("<a" + xsi + " xmlns:p='urn:p' xsi:type=' p:T '/>").getTypeName(), "T");
  EXPECT_EQ(loose("<a type='T'/>").getTypeName(), "");
}

TEST_F(ElementReaderTest, AnElementWithElementsIsNoText) {
  const ElementReader values = request("<jobId><id>" + TestSupport::c_uid + "</id><name>n</name></jobId>");
  EXPECT_EQ(failureOf([&] { values.get<std::string>("jobId"); }),
            c_path + "jobId: holds more than a text; expected a value alone");
}

TEST_F(ElementReaderTest, LongTextsAreCutInFailures) {
  const std::string text(50, 'x');
  std::string e;
  for (int count = 0; count < 60; ++count) {
    e += "\xC3\xA9";
  }
  EXPECT_EQ(failureOf([&] { looseValueOf<int>(text + e); }),
            "/v: '" + text + e.substr(0, 50) + "...' is not a value of xs:int");
}

TEST_F(ElementReaderTest, ProgramsFailWithThePathToo) {
  EXPECT_EQ(failureOf([&] { request("<int>5</int>").getChild("int").fail("is odd; send an even number"); }),
            c_path + "int: is odd; send an even number");
}

TEST_F(ElementReaderTest, JobIdsAreTakenAsTheyStand) {
  const ElementReader values = request("<jobId><id>" + TestSupport::c_uid + "</id><name>Job_0123456789</name></jobId>" +
                                       "<jobId><id>" + TestSupport::c_uid + "</id><name>\xC3\xA9</name></jobId>");
  const auto ids = values.getAll<Drelvan::GenericJobId>("jobId");
  EXPECT_TRUE(ids.at(0).isValid());
  EXPECT_EQ(ids.at(0).getUniqueId(), TestSupport::c_uid);
  EXPECT_FALSE(ids.at(1).isValid());
  EXPECT_EQ(ids.at(1).getName(), "\xC3\xA9");
}

TEST_F(ElementReaderTest, AJobIdHasBothChildren) {
  EXPECT_EQ(failureOf([&] { loose("<j><id>x</id></j>").as<Drelvan::GenericJobId>(); }),
            "/j/name: missing; expected xs:string");
  EXPECT_EQ(failureOf([&] { loose("<j><name>x</name></j>").as<Drelvan::GenericJobId>(); }),
            "/j/id: missing; expected xs:string");
}

TEST_F(ElementReaderTest, HostsHaveWhatIsThere) {
  const auto host = request("<host><name>a&amp;b</name><ip>10.0.0.1</ip><publisherPort> 80</publisherPort></host>")
                        .get<Drelvan::HostInfo>("host");
  EXPECT_EQ(host.toString(), "name:a&b, ip:10.0.0.1, requestServerPort:-1, publisherPort:80");
  EXPECT_TRUE(request("<host/>").get<Drelvan::HostInfo>("host").empty());
  EXPECT_EQ(failureOf([&] {
              request("<host><requestServerPort>x</requestServerPort></host>").get<Drelvan::HostInfo>("host");
            }),
            c_path + "host/requestServerPort: 'x' is not a value of xs:int");
}

TEST_F(ElementReaderTest, DataHasItsAttributes) {
  const auto all = request("<data id='" + TestSupport::c_uid +
                           "' name='n' dataPtrType='ptr' dataType='typ' dataSize='5' href='file://x' forceTransfer='1' "
                           "fileNotTransfered='false'/>")
                       .get<Drelvan::PackageData>("data");
  EXPECT_EQ(all.id, TestSupport::c_uid);
  EXPECT_EQ(all.name, "n");
  EXPECT_EQ(all.dataPtrType, "ptr");
  EXPECT_EQ(all.dataType, "typ");
  EXPECT_EQ(all.dataSize, 5);
  EXPECT_EQ(all.href, "file://x");
  EXPECT_EQ(all.forceTransfer, true);
  EXPECT_EQ(all.fileNotTransfered, false);
  const auto least =
      request("<data id='" + TestSupport::c_uid + "' href='file://x'/>").get<Drelvan::PackageData>("data");
  EXPECT_FALSE(least.name || least.dataPtrType || least.dataType || least.dataSize || least.forceTransfer ||
               least.fileNotTransfered);
}

TEST_F(ElementReaderTest, LogMessagesHaveAllTheirParts) {
  const auto message = request("<log type='Warning' group='g' timestamp='-12'> two\nlines</log>")
                           .get<Drelvan::AbstractJobLog::Message>("log");
  EXPECT_EQ(message.type, Drelvan::AbstractJobLog::Message::Type::Warning);
  EXPECT_EQ(message.group, "g");
  EXPECT_EQ(message.timestamp, -12);
  EXPECT_EQ(message.text, " two\nlines");
  EXPECT_EQ(
      failureOf([&] { loose("<log type='Loud' group='' timestamp='1'/>").as<Drelvan::AbstractJobLog::Message>(); }),
      "/log/@type: 'Loud' is not one of 'Info' 'Warning' 'Error' 'Debug'");
}

TEST_F(ElementReaderTest, ExceptionsAreAChain) {
  const auto chain = request(
                         "<exception><type>T</type><message>m</message><name>n</name><source>s</source><file>f"
                         "</file><function>u</function><line>-7</line><severity>v</severity><innerException><type>"
                         "U</type><innerException><type/><line>1</line></innerException></innerException>"
                         "</exception>")
                         .get<Drelvan::PackageExceptions>("exception");
  ASSERT_EQ(chain.size(), 3U);
  EXPECT_EQ(chain[0].type, "T");
  EXPECT_EQ(chain[0].message, "m");
  EXPECT_EQ(chain[0].name, "n");
  EXPECT_EQ(chain[0].source, "s");
  EXPECT_EQ(chain[0].file, "f");
  EXPECT_EQ(chain[0].function, "u");
  EXPECT_EQ(chain[0].line, -7);
  EXPECT_EQ(chain[0].severity, "v");
  EXPECT_EQ(chain[1].type, "U");
  EXPECT_FALSE(chain[1].message || chain[1].line);
  EXPECT_EQ(chain[2].type, "");
  EXPECT_EQ(chain[2].line, 1);
}

TEST_F(ElementReaderTest, AFailureWithinAChainNamesItsPlace) {
  EXPECT_EQ(failureOf([&] {
              loose("<e><type>T</type><innerException><type>U</type><line>x</line></innerException></e>")
                  .as<Drelvan::PackageExceptions>();
            }),
            "/e/innerException/line: 'x' is not a value of xs:int");
}

TEST_F(ElementReaderTest, ParameterVectorsKeepBothKindsInOrder) {
  const auto vector =
      request(
          "<vector><realizationId>4294967295</realizationId><parameter><id>a</id><value>-INF</value></parameter>"
          "<encryptedParameter><id>b</id><value> c2VjcmV0 </value></encryptedParameter><parameter><id>c</id>"
          "<value>2</value></parameter></vector>")
          .get<Drelvan::ParameterVector>("vector");
  EXPECT_EQ(vector.realizationId, 4294967295U);
  ASSERT_EQ(vector.parameters.size(), 3U);
  EXPECT_EQ(vector.parameters[0].getNumber(), -HUGE_VAL);
  EXPECT_TRUE(vector.parameters[1].isEncrypted());
  EXPECT_EQ(std::get<std::string>(vector.parameters[1].value), " c2VjcmV0 ");
  EXPECT_EQ(vector.parameters[2].id, "c");
  EXPECT_EQ(failureOf([&] { vector.parameters[1].getNumber(); }), "the parameter 'b' is encrypted; send a plain one");
}

TEST_F(ElementReaderTest, AFailureWithinAVectorNamesTheParameter) {
  EXPECT_EQ(failureOf([&] {
              request(
                  "<vector><realizationId>1</realizationId><parameter><id>a</id><value>1</value></parameter>"
                  "<parameter><id>b</id><value>1e999</value></parameter></vector>")
                  .get<Drelvan::ParameterVector>("vector");
            }),
            c_path + "vector/parameter[2]/value: '1e999' is not a value of xs:double");
}

}  // namespace
