// No document reaches a file or a connection, and no document brings a grammar of its own.

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <tests/Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelperHostileFixture.h>
#include <tests/support/TemporaryFolder.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using RequestXmlHelperTests::c_doctypeRefusal;
using RequestXmlHelperTests::c_instanceNamespace;
using RequestXmlHelperTests::Entry;
using RequestXmlHelperTests::HostileTest;
using RequestXmlHelperTests::Marked;
using RequestXmlHelperTests::numbered;
using RequestXmlHelperTests::repeated;
using RequestXmlHelperTests::takeEntries;

const std::string c_secret = "the-secret-of-the-file";

/// Closes a descriptor of the operating system.
class Descriptor {
 public:
  explicit Descriptor(int number) : m_number(number) {
    if (number < 0) {
      throw std::runtime_error("no descriptor");
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() { ::close(m_number); }
  int number() const { return m_number; }

 private:
  int m_number;
};

/// A folder that tells whether a file in it has been opened.
class WatchedFolder {
 public:
  WatchedFolder() : m_events(::inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {}

  void watch() {
    if (::inotify_add_watch(m_events.number(), m_folder.path().c_str(), IN_OPEN | IN_ACCESS) < 0) {
      throw std::runtime_error("cannot watch " + m_folder.path().string());
    }
  }

  bool takeOpened() const {
    std::array<char, 4096> events{};
    return ::read(m_events.number(), events.data(), events.size()) > 0;
  }

  const TestSupport::TemporaryFolder& folder() const { return m_folder; }

 private:
  TestSupport::TemporaryFolder m_folder;
  Descriptor m_events;
};

/// Waits for connections to this machine, on a port of its own.
class Listener {
 public:
  Listener() : m_socket(::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    m_address.sin_family = AF_INET;
    m_address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(m_address);
    void* address = &m_address;
    if (::bind(m_socket.number(), static_cast<sockaddr*>(address), size) != 0 || ::listen(m_socket.number(), 5) != 0 ||
        ::getsockname(m_socket.number(), static_cast<sockaddr*>(address), &size) != 0) {
      throw std::runtime_error("cannot listen");
    }
  }

  std::string url() const { return "http://127.0.0.1:" + std::to_string(ntohs(m_address.sin_port)) + "/resource"; }

  bool takeConnected() const {
    const int connection = ::accept4(m_socket.number(), nullptr, nullptr, SOCK_CLOEXEC);
    if (connection >= 0) {
      ::close(connection);
    }
    return connection >= 0;
  }

  void connectOnce() {
    const Descriptor client(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    void* address = &m_address;
    if (::connect(client.number(), static_cast<sockaddr*>(address), sizeof(m_address)) != 0) {
      throw std::runtime_error("cannot connect");
    }
  }

 private:
  Descriptor m_socket;
  sockaddr_in m_address{};
};

std::string withInstanceAttribute(const std::string& name, const std::string& value) {
  return "<e:evil xmlns:e='urn:evil' xmlns:xsi='" + c_instanceNamespace + "' xsi:" + name + "='" + value +
         "'>x</e:evil>";
}

std::string withSubset(const std::string& subset, const std::string& content = "x") {
  return "<!DOCTYPE r [" + subset + "]><r>" + content + "</r>";
}

/// A document that asks for the resource of that name.
struct Request {
  std::string name;
  std::string (*document)(const std::string& resource);
  bool acceptedUnvalidated;

  friend std::ostream& operator<<(std::ostream& stream, const Request& request) { return stream << request.name; }
};

const std::vector<Request> c_requests = {
    {"SchemaOfAnotherNamespace",
     [](const std::string& resource) { return withInstanceAttribute("schemaLocation", "urn:evil " + resource); },
     false},
    {"SchemaOfNoNamespace",
     [](const std::string& resource) { return withInstanceAttribute("noNamespaceSchemaLocation", resource); }, false},
    {"SchemaWithinAPackage",
     [](const std::string& resource) {
       return TestSupport::requestPackage(TestSupport::request().with("xsi:schemaLocation", "urn:x " + resource).text())
           .with("xmlns:xsi", c_instanceNamespace)
           .text();
     },
     false},
    {"GeneralEntity",
     [](const std::string& resource) { return withSubset("<!ENTITY e SYSTEM '" + resource + "'>", "&e;"); }, false},
    {"PublicEntity",
     [](const std::string& resource) { return withSubset("<!ENTITY e PUBLIC 'p' '" + resource + "'>", "&e;"); }, false},
    {"EntityOfAnEntity",
     [](const std::string& resource) {
       return withSubset("<!ENTITY e SYSTEM '" + resource + "'><!ENTITY f '&e;'>", "&f;");
     },
     false},
    {"EntityInADefault",
     [](const std::string& resource) {
       return withSubset("<!ENTITY e SYSTEM '" + resource + "'><!ATTLIST r a CDATA '&e;'>");
     },
     false},
    {"EntityInAnAttribute",
     [](const std::string& resource) { return "<!DOCTYPE r [<!ENTITY e SYSTEM '" + resource + "'>]><r a='&e;'/>"; },
     false},
    {"ParameterEntity",
     [](const std::string& resource) { return withSubset("<!ENTITY % e SYSTEM '" + resource + "'> %e;"); }, false},
    {"UnusedParameterEntity",
     [](const std::string& resource) { return withSubset("<!ENTITY % e SYSTEM '" + resource + "'>"); }, false},
    {"ExternalSubset", [](const std::string& resource) { return "<!DOCTYPE r SYSTEM '" + resource + "'><r>x</r>"; },
     false},
    {"PublicExternalSubset",
     [](const std::string& resource) { return "<!DOCTYPE r PUBLIC 'p' '" + resource + "'><r>x</r>"; }, false},
    {"ExternalSubsetAfterAnInternalOne",
     [](const std::string& resource) { return "<!DOCTYPE r SYSTEM '" + resource + "' [<!ELEMENT r ANY>]><r>x</r>"; },
     false},
    {"ExternalSubsetOfAStandaloneDocument",
     [](const std::string& resource) {
       return "<?xml version='1.0' standalone='yes'?><!DOCTYPE r SYSTEM '" + resource + "'><r>x</r>";
     },
     false},
    {"UnusedEntity", [](const std::string& resource) { return withSubset("<!ENTITY e SYSTEM '" + resource + "'>"); },
     true},
    {"NotationAndUnparsedEntity",
     [](const std::string& resource) {
       return withSubset("<!NOTATION n SYSTEM '" + resource + "'><!ENTITY e SYSTEM '" + resource + "' NDATA n>");
     },
     true},
    {"Inclusion",
     [](const std::string& resource) {
       return "<r><i:include xmlns:i='http://www.w3.org/2001/XInclude' href='" + resource + "'/></r>";
     },
     true},
    {"StyleSheet", [](const std::string& resource) { return "<?xml-stylesheet href='" + resource + "'?><r/>"; }, true},
};

class RequestXmlHelperHostileResources : public HostileTest {
 protected:
  void SetUp() override {
    HostileTest::SetUp();
    m_workingFolder = std::filesystem::current_path();
    const TestSupport::TemporaryFolder& folder = m_folder.folder();
    folder.write("plain", c_secret);
    folder.write("schema",
                 "<xs:schema xmlns:xs='http://www.w3.org/2001/XMLSchema' targetNamespace='urn:evil'>"
                 "<xs:element name='evil' type='xs:string'/></xs:schema>");
    folder.write("subset", "<!ELEMENT r ANY>");
    std::filesystem::current_path(folder.path());
    m_folder.watch();
  }

  void TearDown() override {
    std::filesystem::current_path(m_workingFolder);
    HostileTest::TearDown();
  }

  /// Every way to name the same files, and a connection.
  std::vector<std::string> resources() const {
    std::vector<std::string> result = {m_listener.url()};
    for (const std::string name : {"plain", "schema", "subset"}) {
      const std::string full = m_folder.folder().file(name);
      result.insert(result.end(),
                    {full, name, "./" + name, "file://" + full, "file://localhost" + full, "file:" + full});
    }
    return result;
  }

  void expectUntouched(const std::string& what) const {
    EXPECT_FALSE(m_folder.takeOpened()) << what;
    EXPECT_FALSE(m_listener.takeConnected()) << what;
  }

  void expectOutcome(const Request& request, const std::string& resource, bool validate) const {
    const std::string text = request.document(resource);
    bool accepted = true;
    try {
      const TestSupport::Document document(parse(text, validate));
    } catch (const Drelvan::DvExceptionNested& exception) {
      accepted = false;
      EXPECT_EQ(exception.getMessage().find(RequestXmlHelperTests::c_failure), 0U) << exception.getMessage();
    }
    EXPECT_EQ(accepted, !validate && request.acceptedUnvalidated) << text;
    for (const Entry& entry : takeEntries()) {
      EXPECT_EQ(entry.message.find(c_secret), std::string::npos) << entry;
    }
    expectUntouched(text);
  }

  WatchedFolder m_folder;
  Listener m_listener;

 private:
  std::filesystem::path m_workingFolder;
};

class RequestXmlHelperHostileResource : public RequestXmlHelperHostileResources,
                                        public ::testing::WithParamInterface<Request> {};

TEST_F(RequestXmlHelperHostileResources, WouldBeNoticed) {
  EXPECT_EQ(TestSupport::TemporaryFolder::read(m_folder.folder().file("plain")), c_secret);
  EXPECT_TRUE(m_folder.takeOpened());
  m_listener.connectOnce();
  EXPECT_TRUE(m_listener.takeConnected());
  expectUntouched("all taken");
}

TEST_P(RequestXmlHelperHostileResource, IsNeverReached) {
  for (const std::string& resource : resources()) {
    expectOutcome(GetParam(), resource, true);
    expectOutcome(GetParam(), resource, false);
    parseValid();
    TestSupport::RecordingLog::clear();
  }
  expectUntouched("at the end");
}

INSTANTIATE_TEST_SUITE_P(Each, RequestXmlHelperHostileResource, ::testing::ValuesIn(c_requests),
                         [](const auto& information) { return information.param.name; });

TEST_F(RequestXmlHelperHostileResources, AreRefusedAsIfTheyDidNotExist) {
  const std::string file = m_folder.folder().file("plain");
  expectRefused(Marked(withSubset("<!ENTITY e SYSTEM '" + file + "'>", "&e;^")), false,
                "unable to open external entity '" + file + "'");
  expectRefused(Marked("<!DOCTYPE r SYSTEM '" + file + "'>^<r/>"), false, "unable to open DTD document '" + file + "'");
  expectRefused(Marked(withSubset("<!ENTITY % e SYSTEM '" + file + "'>^")), false,
                "A parameter entity is not accepted in a document.");
  expectRefused(Marked(withInstanceAttribute("schemaLocation", "urn:evil " + file)), false,
                "unable to open primary document entity '" + file + "'");
}

TEST_F(RequestXmlHelperHostileResources, HintForTheOwnNamespaceIsNotFollowed) {
  const std::string hint = TestSupport::c_targetNamespace + " " + m_folder.folder().file("schema");
  const std::string text =
      TestSupport::requestPackage().with("xmlns:xsi", c_instanceNamespace).with("xsi:schemaLocation", hint).text();
  expectAccepted(text, true);
  expectAccepted(text, false);
  expectUntouched(text);
}

class RequestXmlHelperHostileGrammar : public HostileTest {};

TEST_F(RequestXmlHelperHostileGrammar, DoctypeIsRefusedWhenValidatedAndAcceptedWhenNot) {
  const std::string packageWithDoctype = "<!DOCTYPE DV_RequestPackage []>" + TestSupport::requestPackage().text();
  for (const std::string& text :
       {packageWithDoctype, std::string("<!DOCTYPE r><r/>"), withSubset("<!ELEMENT r (#PCDATA)>"),
        withSubset("<!ATTLIST r a CDATA 'v'>"), withSubset("<!ENTITY e 'x'>", "&e;")}) {
    expectRefused(Marked(text), true, c_doctypeRefusal);
    expectAccepted(text, false);
  }
}

TEST_F(RequestXmlHelperHostileGrammar, DoctypeIsRefusedWhereItIsMet) {
  expectRefused(Marked("<!DOCTYPE r ^[<!ELEMENT r (#PCDATA)>]><r>hello</r>"), true, c_doctypeRefusal);
  expectRefused(Marked("<?xml version='1.0'?>\n<!-- c -->\n<!DOCTYPE r>^<r/>"), true, c_doctypeRefusal);
  expectRefused(Marked("<!DOCTYPE r SYSTEM 'x'^><r/>"), true, c_doctypeRefusal);
}

TEST_F(RequestXmlHelperHostileGrammar, WrapperOfASubsetIsNoPackage) {
  const std::string package = TestSupport::requestPackage().text();
  expectRefused(Marked("<!DOCTYPE w [<!ELEMENT w ANY>]><w>" + package + "</w>"), true, c_doctypeRefusal);
}

TEST_F(RequestXmlHelperHostileGrammar, RootThatNamesItsTypeMustBeDeclaredAllTheSame) {
  const std::string instance = " xmlns:xsi='" + c_instanceNamespace + "'";
  const std::string own = " xmlns:t='" + TestSupport::c_targetNamespace + "'";
  const std::string schema = " xmlns:xs='http://www.w3.org/2001/XMLSchema'";
  expectRefused(Marked("<evil" + own + instance + " xsi:type='t:Request' id='" + TestSupport::c_uid + "'/>^"), true,
                "The root element 'evil' is not declared in the schema.");
  expectRefused(Marked("<t:evil" + own + instance + schema + " xsi:type='xs:string'>^x</t:evil>"), true,
                "The root element 't:evil' is not declared in the schema.");
  expectRefused(Marked("<x:evil xmlns:x='urn:x'" + own + instance + " xsi:type='t:Request' id='" + TestSupport::c_uid +
                       "'>^</x:evil>"),
                true, "The root element 'x:evil' is not declared in the schema.");
}

TEST_F(RequestXmlHelperHostileGrammar, DeclaredRootMayNameItsType) {
  const std::string text = TestSupport::replyPackage()
                               .with("xmlns:xsi", c_instanceNamespace)
                               .with("xmlns:t", TestSupport::c_targetNamespace)
                               .with("xsi:type", "t:ReplyPackage")
                               .text();
  expectAccepted(text, true);
}

TEST_F(RequestXmlHelperHostileGrammar, RootMayNotNameTheTypeThatItsOwnIsDerivedFrom) {
  const std::string text = TestSupport::requestPackage()
                               .with("xmlns:xsi", c_instanceNamespace)
                               .with("xmlns:dvrq", TestSupport::c_targetNamespace)
                               .with("xsi:type", "dvrq:RequestPackage")
                               .text();
  EXPECT_ANY_THROW(parse(text, true));
  const auto messages = RequestXmlHelperTests::reportedMessages(RequestXmlHelperTests::takeEntries());
  ASSERT_FALSE(messages.empty());
  EXPECT_EQ(messages.front(),
            "type 'dvrq:RequestPackage' specified in 'xsi:type' does not derive from type of element "
            "'DV_RequestPackage'");
}

/// The element, as root of a document that may use the prefixes t and xsi.
std::string openRoot(const std::string& name, const std::string& content) {
  return TestSupport::XmlElement(name)
      .with("xmlns", TestSupport::c_targetNamespace)
      .with("xmlns:t", TestSupport::c_targetNamespace)
      .with("xmlns:xsi", c_instanceNamespace)
      .withContent(content)
      .text();
}

TEST_F(RequestXmlHelperHostileGrammar, ElementThatIsNotValidatedNamesNoType) {
  const std::string element = "<u:x xmlns:u='urn:x' xsi:type='t:Number'>";
  const std::string message = "The element 'u:x' names a type where none is expected.";
  expectRefused(Marked(openRoot("Open", element + "</u:x>")), true, message);
  expectRefused(Marked(openRoot("Open", element + "<number>1</number></u:x>")), true, message);
  expectRefused(Marked(openRoot("Open", "<o xmlns='urn:x'>" + element + "</u:x></o>")), true, message);
  expectRefused(Marked(openRoot("Lax", element + "</u:x>")), true, message);
  expectRefused(Marked(openRoot("Lax", element + "<number>1</number></u:x>")), true, message);
}

TEST_F(RequestXmlHelperHostileGrammar, TypeHoldsInWhateverFormItsNamespaceIsWritten) {
  const auto package = [](const std::string& type) {
    std::string text = TestSupport::requestPackage(
                           TestSupport::request().with("xmlns:xsi", c_instanceNamespace).with("xsi:type", type).text())
                           .text();
    return text.replace(text.find("http://www.w3.org"), 5, "http&#58;");
  };
  expectRefused(Marked(package("Nonsense")), true, "type 'Nonsense' specified in 'xsi:type' cannot be resolved",
                "error");
  expectRefused(Marked(package("Number")), true,
                "type 'Number' specified in 'xsi:type' does not derive from type of element 'request'", "error");
}

TEST_F(RequestXmlHelperHostileGrammar, ElementThatEarlierDocumentsHadIsJudgedTheSame) {
  const std::string text = openRoot("Lax", "<u:x xmlns:u='urn:x' xsi:type='t:Number'><bad/></u:x>");
  const auto reports = [&] {
    EXPECT_ANY_THROW(parse(text, true));
    return RequestXmlHelperTests::reportedMessages(RequestXmlHelperTests::takeEntries());
  };
  const auto ofTheFirst = reports();
  ASSERT_FALSE(ofTheFirst.empty());
  for (const bool validate : {false, true}) {
    expectAccepted(openRoot("Lax", "<u:x xmlns:u='urn:x'/>"), validate);
    EXPECT_EQ(reports(), ofTheFirst);
  }
}

TEST_F(RequestXmlHelperHostileGrammar, LocalElementsAreNoRoots) {
  const std::string text = TestSupport::request().with("xmlns", TestSupport::c_targetNamespace).text();
  expectRefused(Marked(text), true, "attribute 'id' is not declared for element 'request'");
}

TEST_F(RequestXmlHelperHostileGrammar, BombsAreRefused) {
  const auto tenfold = [](const std::string& sign) {
    return [sign](const std::string& number) {
      const std::string before = std::to_string(std::stoi(number));
      const std::string next = std::to_string(std::stoi(number) + 1);
      const std::string percent = sign == "%" ? "% " : "";
      const std::string reference = sign == "%" ? "&#37;" : "&";
      return "<!ENTITY " + percent + "a" + next + " '" + repeated(reference + "a" + before + ";", 10) + "'>";
    };
  };
  const std::string general = "<!ENTITY a0 'lol'>" + numbered(9, tenfold("&"));
  const std::string parameter = "<!ENTITY % a0 ''>" + numbered(8, tenfold("%")) + " %a8;";
  const std::string long1 = "<!ENTITY a '" + std::string(10000, 'x') + "'>";
  for (const std::string& text :
       {withSubset(general, "&a9;"), withSubset(parameter), withSubset(long1, repeated("&a;", 99))}) {
    expectRefused(Marked(text), true, c_doctypeRefusal);
    EXPECT_THROW(parse(text, false), Drelvan::DvExceptionNested);
    parseValid();
    TestSupport::RecordingLog::clear();
  }
}

TEST_F(RequestXmlHelperHostileGrammar, EntitiesThatNeedEachOtherAreRefused) {
  const std::string text = withSubset("<!ENTITY a '&b;'><!ENTITY b '&a;'>", "&a;");
  expectRefused(Marked(text), true, c_doctypeRefusal);
  EXPECT_THROW(parse(text, false), Drelvan::DvExceptionNested);
}

TEST_F(RequestXmlHelperHostileGrammar, LargeContentModelsOfASubsetAreBounded) {
  const std::string choice = "<!ELEMENT r (a" + repeated("|a", 50000) + ")>";
  expectRefused(Marked(withSubset(choice)), true, c_doctypeRefusal);
  EXPECT_THROW(parse(withSubset(choice), false), Drelvan::DvExceptionNested);
  const std::string nested = "<!ELEMENT r " + repeated("(", 7900) + "a" + repeated(")", 7900) + ">";
  expectRefused(Marked(withSubset(nested)), true, c_doctypeRefusal);
  expectAccepted(withSubset(nested), false);
}

TEST_F(RequestXmlHelperHostileGrammar, SubsetOfOneDocumentDoesNotAffectTheNext) {
  expectAccepted(withSubset("<!ENTITY e 'x'><!ATTLIST r a CDATA 'v'>", "&e;"), false);
  expectRefused(Marked("<r>&e;</r>"), false, "entity 'e' not found");
  const TestSupport::Document plain(parse("<r/>", false));
  EXPECT_FALSE(TestSupport::hasAttribute(plain->getDocumentElement(), "a"));
}

}  // namespace
