#include <service/GeneralServices.h>
#include <service/Identifier.h>
#include <tests/support/ScriptedValues.h>

#include <utility>

namespace TestSupport {

namespace {

struct Script {
  std::function<void(const std::string&)> action;
  std::vector<std::string> calls;
  int drawn = 0;
  bool idsGood = true;
  bool elementsFound = true;
};

Script& script() {
  static Script instance;
  return instance;
}

void call(const std::string& text) {
  script().calls.push_back(text);
  if (script().action) {
    script().action(text);
  }
}

}  // namespace

void ScriptedValues::onCall(std::function<void(const std::string&)> action) { script().action = std::move(action); }

std::vector<std::string> ScriptedValues::calls() { return script().calls; }

void ScriptedValues::reset() { script() = Script(); }

void ScriptedValues::setIdsGood(bool good) { script().idsGood = good; }

void ScriptedValues::setElementsFound(bool found) { script().elementsFound = found; }

}  // namespace TestSupport

namespace Drelvan {

using TestSupport::call;
using TestSupport::script;

UniqueID::UniqueID() { call("UniqueID"); }

// A destructor must not throw: the action is not called.
UniqueID::~UniqueID() { script().calls.emplace_back("~UniqueID"); }

std::string UniqueID::generateId() {
  call("generateId");
  return "drawn" + std::to_string(++script().drawn);
}

bool UniqueID::idCheckOK(const std::string& id) const {
  call("idCheckOK " + id);
  return script().idsGood;
}

xercesc_3_1::DOMElement* XmlUtils::getElement(const std::string& tag, const xercesc_3_1::DOMElement* parent) {
  call("getElement " + tag);
  return script().elementsFound ? const_cast<xercesc_3_1::DOMElement*>(parent) : nullptr;
}

std::string XmlUtils::getElementContent(const std::string& tag, const xercesc_3_1::DOMElement*) {
  call("getElementContent " + tag);
  return "content of " + tag;
}

std::string XmlUtils::getContent(const xercesc_3_1::DOMElement*) {
  call("getContent");
  return "7";
}

std::string XmlUtils::toXml(const std::string& text) {
  call("toXml " + text);
  return "escaped " + text;
}

std::string XmlUtils::fromXml(const std::string& text) {
  call("fromXml " + text);
  return "plain " + text;
}

}  // namespace Drelvan
