#pragma once

#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/Limits.h>
#include <Platform/RemoteComputation/Service/RequestHandlingBase/parser/ListCounts.h>
#include <service/Xerces.h>

#include <xercesc/internal/ValidationContextImpl.hpp>

namespace Drelvan::Parsing {

/// What a scanner knows of the values of the types ID and IDREF in a document that it validates, as long as not too
/// many of them are in one list of its table: the validators that store them convert every exception into an error of
/// the value, so that the limit is enforced after they returned.
class CountedIds final : public xercesc_3_1::ValidationContextImpl {
 public:
  /// `isExceeded` becomes true when a value exceeds the limit; who reads it sets it to false for the next document.
  explicit CountedIds(bool& isExceeded) : m_isExceeded(isExceeded) {}

  // Xerces-C calls this between documents.
  void clearIdRefList() override {
    ValidationContextImpl::clearIdRefList();
    m_lists.clear();
  }
  void addId(const XMLCh* value) override {
    add(value, [this, value] { ValidationContextImpl::addId(value); });
  }
  void addIdRef(const XMLCh* value) override {
    add(value, [this, value] { ValidationContextImpl::addIdRef(value); });
  }

 private:
  template <typename Store>
  void add(const XMLCh* value, Store store) {
    if (m_isExceeded) {
      return;
    }
    const auto& table = *getIdRefList();
    const XMLSize_t count = table.getCount();
    store();
    if (table.getCount() != count) {
      m_isExceeded = m_lists.add(value, table.getHashModulus()) > Limits::idsOfList.most;
    }
  }

  ListCounts m_lists;
  bool& m_isExceeded;
};

}  // namespace Drelvan::Parsing
