#include <Platform/RemoteComputation/Service/RequestPackages/PackageWriter.h>
#include <tools/dvrequest/check/ExampleValue.h>
#include <tools/dvrequest/check/TypeTree.h>
#include <tools/dvrequest/support/Text.h>

#include <algorithm>
#include <array>
#include <stdexcept>
#include <utility>
#include <vector>
#include <xercesc/framework/psvi/XSAttributeUse.hpp>
#include <xercesc/framework/psvi/XSElementDeclaration.hpp>
#include <xercesc/framework/psvi/XSModelGroup.hpp>
#include <xercesc/framework/psvi/XSParticle.hpp>

namespace DvRequest {

namespace {

using Drelvan::PackageKind;
using Drelvan::PackageWriter;
using xercesc_3_1::XSModelGroup;
using xercesc_3_1::XSParticle;
using xercesc_3_1::XSTypeDefinition;

constexpr std::array<std::pair<const char*, PackageKind>, 4> c_bareRoots{
    {{"DV_Request", PackageKind::Request},
     {"DV_Reply", PackageKind::Reply},
     {"DV_RequestScript", PackageKind::RequestScript},
     {"DV_ReplyScript", PackageKind::ReplyScript}}};

/// A type that cannot be shown: it holds itself without end.
struct NoExample {};

/// Fills an element with each of its attributes and children once, or as often as they must occur.
class Filler {
 public:
  Filler(const SchemaModel& schema, PackageWriter& writer) : m_schema(schema), m_writer(writer) {}

  /// `isEntry` for a request or reply, which has its id already.
  void fill(XSTypeDefinition& type, bool isEntry) {
    m_open.push_back(&type);
    for (xercesc_3_1::XSAttributeUse* use : attributesOf(type)) {
      const std::string name = nameOf(*use);
      if (!isEntry || (name != "id" && name != "requestId")) {
        const bool isGiven = use->getConstraintType() != xercesc_3_1::XSConstants::VALUE_CONSTRAINT_NONE;
        m_writer.attribute(name, isGiven ? toText(use->getConstraintValue()) : exampleValue(typeOf(*use)));
      }
    }
    if (auto* simple = textType(type)) {
      m_writer.text(exampleValue(*simple));
    } else if (auto* content = contentOf(type)) {
      particle(*content);
    }
    m_open.pop_back();
  }

 private:
  void particle(XSParticle& particle) {
    const auto times = std::max<std::size_t>(particle.getMinOccurs(), 1);
    for (std::size_t time = 0; time < times; ++time) {
      if (particle.getTermType() == XSParticle::TERM_MODELGROUP) {
        group(*particle.getModelGroupTerm());
      } else if (particle.getTermType() == XSParticle::TERM_ELEMENT) {
        element(*particle.getElementTerm(), particle.getMinOccurs() == 0);
      }
    }
  }

  void group(const XSModelGroup& group) {
    for (XSParticle* part : elementsOf(group.getParticles())) {
      particle(*part);
      if (group.getCompositor() == XSModelGroup::COMPOSITOR_CHOICE) {
        break;
      }
    }
  }

  void element(xercesc_3_1::XSElementDeclaration& element, bool isOptional) {
    XSTypeDefinition* type = element.getTypeDefinition();
    if (contains(m_open, *type)) {
      if (isOptional) {
        return;
      }
      throw NoExample();
    }
    m_writer.startElement(toText(element.getName()));
    if (auto* complex = asComplex(type); complex != nullptr && complex->getAbstract()) {
      type = concrete(*type);
      m_writer.type(typeName(*type));
    }
    fill(*type, false);
    m_writer.endElement();
  }

  XSTypeDefinition* concrete(const XSTypeDefinition& base) const {
    for (const Allowed& allowed : m_schema.typesFrom(base)) {
      auto* type = m_schema.type(allowed.text);
      auto* complex = asComplex(type);
      if (complex != nullptr && !complex->getAbstract() && !contains(m_open, *type)) {
        return type;
      }
    }
    throw NoExample();
  }

  const SchemaModel& m_schema;
  PackageWriter& m_writer;
  std::vector<const XSTypeDefinition*> m_open;
};

void startRoot(PackageWriter& writer, const std::string& root) {
  for (const auto& [name, kind] : c_bareRoots) {
    if (root == name) {
      writer.startDocument(kind);
      return;
    }
  }
  if (root == "DV_ReplyPackage") {
    writer.startReplyPackage(Drelvan::ReplyEnvelope());
    return;
  }
  Drelvan::RequestEnvelope envelope;
  envelope.clientId = envelope.requestClientId = c_exampleId;
  writer.startRequestPackage(envelope);
}

/// A document with the root and one request or reply of the type, which may be null for the plain one.
std::string document(const SchemaModel& schema, const std::string& root, XSTypeDefinition* type) {
  PackageWriter writer;
  startRoot(writer, root);
  const bool isReply = root.rfind("DV_Reply", 0) == 0;
  const std::string name = type == nullptr ? "" : typeName(*type);
  isReply ? writer.startReply(name, c_exampleId) : writer.startRequest(name, c_exampleId);
  if (type != nullptr) {
    Filler(schema, writer).fill(*type, true);
  }
  return writer.finish();
}

std::string documentOfEntry(const SchemaModel& schema, const std::string& base, XSTypeDefinition& type) {
  const std::string name = typeName(type);
  return document(schema, "DV_" + base + "Package", name == base ? nullptr : &type);
}

}  // namespace

std::string examplePackage(const SchemaModel& schema, const std::string& name) {
  if (schema.rootType(name) != nullptr) {
    return document(schema, name, nullptr);
  }
  auto* type = schema.type(name);
  std::string holder;
  for (const char* base : {"Request", "Reply"}) {
    for (const Allowed& entry : schema.typesFrom(*schema.type(base))) {
      auto& candidate = *schema.type(entry.text);
      const bool isIt = isSame(candidate, *type);
      if (!asComplex(&candidate)->getAbstract() && (isIt || (holder.empty() && holds(candidate, *type)))) {
        try {
          holder = documentOfEntry(schema, base, candidate);
        } catch (const NoExample&) {
          continue;
        }
        if (isIt) {
          return holder;
        }
      }
    }
  }
  return holder;
}

}  // namespace DvRequest
