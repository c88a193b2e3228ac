// One input is a sequence of documents. All inputs go through the one long-lived instance, validated and not. The tree
// of each document is compared with the one that Xerces-C's own parser makes.

#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <fuzz/parse/NoAccess.h>
#include <fuzz/parse/PackageSchema.h>
#include <fuzz/parse/ParsedText.h>
#include <fuzz/parse/PeerDifferences.h>
#include <fuzz/parse/PeerValidator.h>
#include <fuzz/parse/Sequence.h>
#include <fuzz/support/Input.h>
#include <fuzz/support/Parsing.h>
#include <fuzz/support/Property.h>
#include <fuzz/support/QuietLogging.h>
#include <service/ExceptionHandling.h>
#include <service/GeneralServices.h>
#include <tests/support/StockParser.h>
#include <tests/support/TreeComparison.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <vector>
#include <xercesc/framework/MemBufInputSource.hpp>

namespace {

using Drelvan::RequestXmlHelper;
using Fuzz::broken;
using Fuzz::require;

/// Every so many inputs the instance is compared with a fresh one, and replaced by it.
constexpr unsigned c_inputsPerInstance = 16;

/// The trees of longer documents, and of all but one in so many of the others, are compared without changing them: the
/// comparison after each change takes most of the time of an input.
constexpr std::size_t c_mostChanged = 4096;
constexpr std::size_t c_documentsPerChanged = 8;

constexpr const char* c_goodPackage =
    "<DV_RequestPackage xmlns='http://drelvan.example/schemas/DVRequests.xsd' version='5.0.0' serial='1'"
    " timestamp='UTC/ISO_2024-05-07T13:45:09' clientId='0123456789abcdef-0123456789ABCDEF-fedcba9876543210'"
    " requestClientId='ffffffffffffffff-0000000000000000-aaaaaaaaaaaaaaaa'>"
    "<request id='0123456789abcdef-0123456789ABCDEF-fedcba9876543210'/></DV_RequestPackage>";

/// What became of one document.
struct Verdict {
  bool accepted = false;
  std::string text;  ///< what the document says, or why it was refused, with all that was logged

  /// The wording of a refusal may differ: see README.md.
  bool operator==(const Verdict& other) const {
    return accepted == other.accepted && (!accepted || text == other.text);
  }
};

void checkDocument(const xercesc_3_1::DOMDocument* document, bool validated) {
  require(document != nullptr, "a parse that returns returns a document");
  require(document->getDocumentElement() != nullptr, "a document has a root");
  require(!validated || document->getDoctype() == nullptr, "no validated document has a document type declaration");
  Drelvan::XmlUtils::getContent(document->getDocumentElement());
}

template <typename Parse>
Verdict verdictOf(Parse parse, bool validate) {
  Fuzz::takeErrors();
  try {
    const Fuzz::Document document(parse());
    checkDocument(document.get(), validate);
    require(Fuzz::takeErrors().empty(), "a document that is returned had no error");
    return {true, Fuzz::textOf(*document)};
  } catch (const Drelvan::DvExceptionNested& exception) {
    require(exception.getGroup() == "RequestHandling", "a refusal is of the group RequestHandling");
    return {false, std::string(exception.what()) + "\n" + Fuzz::takeErrors()};
  } catch (const std::exception& exception) {
    broken(std::string("a parse leaves with no other exception than its own: ") + exception.what());
  } catch (...) {
    broken("a parse leaves with no other exception than its own");
  }
}

Verdict parse(const std::string& text, bool validate) {
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "input");
  return verdictOf([&] { return RequestXmlHelper::getInstance().parse(source, validate); }, validate);
}

Verdict parseAsString(const std::string& text) {
  return verdictOf([&] { return RequestXmlHelper::getInstance().parse(text); }, true);
}

/// The inputs since the instance was made.
std::vector<std::string>& history() {
  static std::vector<std::string> inputs;
  return inputs;
}

/// Leaves the inputs since the instance was made as one input, which repeats what they led to.
void saveHistory() { std::ofstream("history.input", std::ios::binary) << Fuzz::joinDocuments(history()); }

void startInstance() {
  RequestXmlHelper::reset(false);
  RequestXmlHelper::getInstance().addSchema(Fuzz::PackageSchema());
}

void requireGood() {
  static const Verdict expected[] = {parse(c_goodPackage, false), parse(c_goodPackage, true)};
  for (const bool validate : {false, true}) {
    const Verdict verdict = parse(c_goodPackage, validate);
    require(verdict.accepted, "a good package passes after any other: " + verdict.text);
    require(verdict == expected[validate ? 1 : 0], "a good package always reads the same: " + verdict.text);
  }
}

/// Ends the program; or, with FUZZ_COLLECT, puts the document into that folder, one for each property, and goes on.
void brokenBy(const std::string& document, const std::string& property) {
  const char* folder = std::getenv("FUZZ_COLLECT");
  if (folder == nullptr) {
    broken(property);
  }
  const std::string name = std::string(folder) + "/" + std::to_string(std::hash<std::string>()(property));
  std::ofstream(name + ".property", std::ios::binary) << property;
  std::ofstream(name + ".xml", std::ios::binary) << document;
}

void requirePeerAccepts(const std::string& document) {
  static Fuzz::PeerValidator peer(Fuzz::exportedSchema());
  const Fuzz::Objection objection = peer.objection(document);
  if (objection.isRaised() && !Fuzz::isExplained(document, objection)) {
    brokenBy(document, "libxml2 accepts what was returned as valid: " + objection.message);
  }
}

void compareWithFresh(const std::string& document, bool validate) {
  const Verdict known = parse(document, validate);
  startInstance();
  const Verdict fresh = parse(document, validate);
  if (!(known == fresh)) {
    brokenBy(Fuzz::joinDocuments(history()), "a long-lived instance says the same as a fresh one\n--- long-lived:\n" +
                                                 known.text + "\n--- fresh:\n" + fresh.text);
  }
}

void compareWithString(const std::string& document) {
  const bool asString = parseAsString(document).accepted;
  const bool asSource = parse(document.substr(0, document.find('\0')), true).accepted;
  require(asString == asSource, "a string has the verdict of its bytes up to the first NUL");
}

Fuzz::Document parseWithLibrary(const std::string& text, bool validate) {
  const xercesc_3_1::MemBufInputSource source(reinterpret_cast<const XMLByte*>(text.data()), text.size(), "input");
  return Fuzz::Document(RequestXmlHelper::getInstance().parse(source, validate));
}

/// Depends on the document alone, so that a finding can be repeated.
bool isToBeChanged(const std::string& document) {
  return document.size() <= c_mostChanged && std::hash<std::string>()(document) % c_documentsPerChanged == 0;
}

/// Compares the tree of an accepted document with the one of Xerces-C's parser, where that accepts it too: it is left
/// with what the library mends in it.
void compareWithStock(const std::string& document, bool validate) {
  static const TestSupport::StockParser stock(Fuzz::exportedSchema());
  const TestSupport::Document expected = stock.parse(document, "input", validate);
  if (expected == nullptr) {
    return;
  }
  const Fuzz::Document tree = parseWithLibrary(document, validate);
  std::string difference = TestSupport::differenceOf(*expected, *tree);
  if (difference.empty() && isToBeChanged(document)) {
    difference = TestSupport::differenceAfterChanges(*expected, *tree);
  }
  if (!difference.empty()) {
    brokenBy(document, "the tree is the one that Xerces-C's parser makes: " + difference);
  }
}

void checkSequence(const std::vector<std::string>& documents) {
  for (const std::string& document : documents) {
    const Verdict validated = parse(document, true);
    const Verdict unvalidated = parse(document, false);
    require(unvalidated.accepted || !validated.accepted, "what is valid is also well-formed: " + unvalidated.text);
    if (validated.accepted) {
      requirePeerAccepts(document);
      compareWithStock(document, true);
    }
    if (unvalidated.accepted) {
      compareWithStock(document, false);
    }
  }
}

}  // namespace

extern "C" void __asan_on_error() { saveHistory(); }

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  startInstance();
  requireGood();
  Fuzz::forbidAccess();
  Fuzz::setOnBroken(saveHistory);
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string input = Fuzz::textOf(data, size);
  const std::vector<std::string> documents = Fuzz::splitDocuments(input);
  history().push_back(input);
  checkSequence(documents);
  requireGood();
  static unsigned count = 0;
  if (++count % c_inputsPerInstance == 0) {
    compareWithString(documents.back());
    compareWithFresh(documents.back(), count / c_inputsPerInstance % 4 != 0);
    history().clear();
  }
  return 0;
}
