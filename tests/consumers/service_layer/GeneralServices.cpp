#include <service/GeneralServices.h>

#include <xercesc/util/XMLString.hpp>

#include "Calls.h"

namespace Drelvan {

namespace {

std::string narrow(const XMLCh* text) {
  char* copy = xercesc_3_1::XMLString::transcode(text);
  std::string result = copy;
  xercesc_3_1::XMLString::release(&copy);
  return result;
}

}  // namespace

xercesc_3_1::DOMElement* XmlUtils::getElement(const std::string& tag, const xercesc_3_1::DOMElement* parent) {
  Site::note("XmlUtils::getElement");
  xercesc_3_1::DOMElement* child = parent->getFirstElementChild();
  while (child != nullptr && narrow(child->getLocalName()) != tag) {
    child = child->getNextElementSibling();
  }
  return child;
}

std::string XmlUtils::getElementContent(const std::string& tag, const xercesc_3_1::DOMElement* parent) {
  Site::note("XmlUtils::getElementContent");
  return narrow(getElement(tag, parent)->getTextContent());
}

std::string XmlUtils::getContent(const xercesc_3_1::DOMElement* element) {
  Site::note("XmlUtils::getContent");
  return narrow(element->getTextContent());
}

std::string XmlUtils::toXml(const std::string& text) {
  Site::note("XmlUtils::toXml");
  return "site-" + text;
}

std::string XmlUtils::fromXml(const std::string& text) {
  Site::note("XmlUtils::fromXml");
  return text;
}

}  // namespace Drelvan
