#pragma once

#include <service/Xerces.h>

#include <type_traits>
#include <xercesc/internal/IGXMLScanner.hpp>

/// All that this library reaches into Xerces-C for: two private members of its scanner.
/// Where a Xerces-C does not have them so, nothing of this compiles.
namespace Drelvan::Parsing::XercesAccess {

namespace Detail {

// An explicit instantiation may name private members.
struct SeenXsi {
  using Member = bool xercesc_3_1::IGXMLScanner::*;
  friend Member memberOf(SeenXsi);
};
struct UndeclaredElements {
  using Member = xercesc_3_1::RefHash3KeysIdPool<xercesc_3_1::SchemaElementDecl>* xercesc_3_1::IGXMLScanner::*;
  friend Member memberOf(UndeclaredElements);
};
template <typename Tag, typename Tag::Member Pointer>
struct Reach {
  friend typename Tag::Member memberOf(Tag) { return Pointer; }
};
template struct Reach<SeenXsi, &xercesc_3_1::IGXMLScanner::fSeeXsi>;
template struct Reach<UndeclaredElements, &xercesc_3_1::IGXMLScanner::fSchemaElemNonDeclPool>;

}  // namespace Detail

/// The scanner of a parser that was told to use this one, `XMLUni::fgIGXMLScanner`.
inline xercesc_3_1::IGXMLScanner& integrated(xercesc_3_1::XMLScanner& scanner) {
  return static_cast<xercesc_3_1::IGXMLScanner&>(scanner);
}

/// Has the scanner look for xsi:type. It tells from the text of a declaration, before references are resolved, whether
/// it has seen the namespace of xsi:type, and would overlook one that is written with references.
inline void lookForXsiType(xercesc_3_1::XMLScanner& scanner) {
  integrated(scanner).*memberOf(Detail::SeenXsi()) = true;
}

/// Forgets the undeclared elements that the scanner has met. They change how it validates later elements of the same
/// names, in later documents too.
inline void forgetUndeclaredElements(xercesc_3_1::XMLScanner& scanner) {
  (integrated(scanner).*memberOf(Detail::UndeclaredElements()))->removeAll();
}

}  // namespace Drelvan::Parsing::XercesAccess
