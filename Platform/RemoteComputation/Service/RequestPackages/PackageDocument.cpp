#include <Platform/RemoteComputation/Service/RequestHandlingBase/RequestXmlHelper.h>
#include <Platform/RemoteComputation/Service/RequestPackages/Failure.h>
#include <Platform/RemoteComputation/Service/RequestPackages/PackageDocument.h>
#include <service/Logging.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <utility>

namespace Drelvan {

namespace {

Logging s_logger(__FILE__);

std::atomic<bool> s_sessionExists{false};
std::atomic<std::size_t> s_documents{0};

constexpr std::array<std::pair<const char*, PackageKind>, 6> c_roots{
    {{"DV_RequestPackage", PackageKind::RequestPackage},
     {"DV_ReplyPackage", PackageKind::ReplyPackage},
     {"DV_Request", PackageKind::Request},
     {"DV_Reply", PackageKind::Reply},
     {"DV_RequestScript", PackageKind::RequestScript},
     {"DV_ReplyScript", PackageKind::ReplyScript}}};

void registerFragments(const AbstractRequestSchema* first, std::size_t count) {
  if (s_sessionExists.exchange(true)) {
    Private::fail("Drelvan::ParserSession::ParserSession", __FILE__, __LINE__,
                  "another ParserSession exists; make one for the whole process");
  }
  try {
    RequestXmlHelper& helper = RequestXmlHelper::getInstance();
    if (count != 0 && helper.isParserInitialized()) {
      Private::fail("Drelvan::ParserSession::ParserSession", __FILE__, __LINE__,
                    "the process has parsed before, so no fragment can be added; make the ParserSession first");
    }
    for (std::size_t index = 0; index < count; ++index) {
      helper.addSchema(first[index]);
    }
  } catch (...) {
    s_sessionExists = false;
    throw;
  }
}

}  // namespace

ParserSession::ParserSession() { registerFragments(nullptr, 0); }

ParserSession::ParserSession(std::initializer_list<AbstractRequestSchema> fragments) {
  registerFragments(fragments.begin(), fragments.size());
}

ParserSession::ParserSession(const std::vector<AbstractRequestSchema>& fragments) {
  registerFragments(fragments.data(), fragments.size());
}

ParserSession::~ParserSession() {
  const std::size_t documents = s_documents;
  if (documents != 0) {
    s_logger.logERROR(std::to_string(documents) +
                          " PackageDocument objects still exist at the end of the ParserSession: Xerces-C is not "
                          "terminated. Destroy them before the session.",
                      __FILE__, "Drelvan::ParserSession::~ParserSession", __LINE__);
  }
  RequestXmlHelper::reset(documents == 0);
  s_sessionExists = false;
}

PackageDocument PackageDocument::fromText(const std::string& text) {
  const std::size_t nul = text.find('\0');
  if (nul != std::string::npos) {
    Private::fail("Drelvan::PackageDocument::fromText", __FILE__, __LINE__,
                  "the text holds a NUL at byte " + std::to_string(nul) +
                      ", which no XML in UTF-8 does; pass another encoding as an input source");
  }
  return PackageDocument(RequestXmlHelper::getInstance().parse(text));
}

PackageDocument PackageDocument::fromFile(const FileName& file, bool validate) {
  return PackageDocument(RequestXmlHelper::getInstance().parseFile(file, validate));
}

PackageDocument PackageDocument::fromSource(const xercesc_3_1::InputSource& source, bool validate) {
  return PackageDocument(RequestXmlHelper::getInstance().parse(source, validate));
}

PackageDocument::PackageDocument(xercesc_3_1::DOMDocument* document) : m_document(document) { ++s_documents; }

PackageDocument::PackageDocument(PackageDocument&& other) noexcept
    : m_document(std::exchange(other.m_document, nullptr)) {}

PackageDocument& PackageDocument::operator=(PackageDocument&& other) noexcept {
  PackageDocument taken(std::move(other));
  std::swap(m_document, taken.m_document);
  return *this;
}

PackageDocument::~PackageDocument() {
  if (m_document != nullptr) {
    m_document->release();
    --s_documents;
  }
}

std::optional<PackageKind> PackageDocument::getKind() const {
  const std::string root = getRoot().getName();
  for (const auto& [name, kind] : c_roots) {
    if (root == name) {
      return kind;
    }
  }
  return std::nullopt;
}

bool PackageDocument::holdsRequests() const {
  const auto kind = getKind();
  return kind == PackageKind::RequestPackage || kind == PackageKind::Request || kind == PackageKind::RequestScript;
}

bool PackageDocument::holdsReplies() const {
  const auto kind = getKind();
  return kind == PackageKind::ReplyPackage || kind == PackageKind::Reply || kind == PackageKind::ReplyScript;
}

RequestEnvelope PackageDocument::getRequestEnvelope() const {
  if (getKind() != PackageKind::RequestPackage) {
    getRoot().fail("has no envelope of a request package; only a DV_RequestPackage has");
  }
  return RequestEnvelope(getRoot());
}

ReplyEnvelope PackageDocument::getReplyEnvelope() const {
  if (getKind() != PackageKind::ReplyPackage) {
    getRoot().fail("has no envelope of a reply package; only a DV_ReplyPackage has");
  }
  return ReplyEnvelope(getRoot());
}

std::vector<ElementReader> PackageDocument::getRequests() const {
  if (!holdsRequests()) {
    getRoot().fail("holds no requests");
  }
  return getEntries("request");
}

std::vector<ElementReader> PackageDocument::getReplies() const {
  if (!holdsReplies()) {
    getRoot().fail("holds no replies");
  }
  return getEntries("reply");
}

ElementReader PackageDocument::getRequest() const { return getOnly(getRequests(), "request"); }

ElementReader PackageDocument::getReply() const { return getOnly(getReplies(), "reply"); }

ElementReader PackageDocument::getRoot() const { return ElementReader(*m_document->getDocumentElement()); }

const xercesc_3_1::DOMDocument& PackageDocument::getDocument() const { return *m_document; }

std::vector<ElementReader> PackageDocument::getEntries(const char* name) const {
  std::vector<ElementReader> entries;
  for (const ElementReader& entry : getRoot().getChildren(name)) {
    entries.push_back(entry);
  }
  return entries;
}

ElementReader PackageDocument::getOnly(const std::vector<ElementReader>& entries, const char* name) const {
  if (entries.size() != 1) {
    getRoot().fail("holds " + std::to_string(entries.size()) + " elements '" + name + "', where one is expected");
  }
  return entries.front();
}

}  // namespace Drelvan
