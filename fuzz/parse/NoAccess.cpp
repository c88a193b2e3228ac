#include <fuzz/parse/NoAccess.h>
#include <fuzz/support/Property.h>
#include <service/Xerces.h>

#include <xercesc/util/PlatformUtils.hpp>
#include <xercesc/util/XMLFileMgr.hpp>
#include <xercesc/util/XMLNetAccessor.hpp>
#include <xercesc/util/XMLURL.hpp>

namespace Fuzz {

namespace {

using xercesc_3_1::FileHandle;
using xercesc_3_1::MemoryManager;
using xercesc_3_1::XMLFileMgr;
using xercesc_3_1::XMLNetAccessor;
using xercesc_3_1::XMLPlatformUtils;

/// Leaves the texts of paths to Xerces-C's file manager.
class NoFiles final : public XMLFileMgr {
 public:
  explicit NoFiles(XMLFileMgr& paths) : m_paths(paths) {}

  FileHandle fileOpen(const XMLCh*, bool, MemoryManager*) override { broken("no document opens a file"); }
  FileHandle fileOpen(const char*, bool, MemoryManager*) override { broken("no document opens a file"); }
  FileHandle openStdIn(MemoryManager*) override { broken("no document reads the standard input"); }
  void fileClose(FileHandle, MemoryManager*) override {}
  void fileReset(FileHandle, MemoryManager*) override {}
  XMLFilePos curPos(FileHandle, MemoryManager*) override { return 0; }
  XMLFilePos fileSize(FileHandle, MemoryManager*) override { return 0; }
  XMLSize_t fileRead(FileHandle, XMLSize_t, XMLByte*, MemoryManager*) override { return 0; }
  void fileWrite(FileHandle, XMLSize_t, const XMLByte*, MemoryManager*) override {}
  XMLCh* getFullPath(const XMLCh* path, MemoryManager* manager) override { return m_paths.getFullPath(path, manager); }
  XMLCh* getCurrentDirectory(MemoryManager* manager) override { return m_paths.getCurrentDirectory(manager); }
  bool isRelative(const XMLCh* path, MemoryManager* manager) override { return m_paths.isRelative(path, manager); }

 private:
  XMLFileMgr& m_paths;
};

class NoConnections final : public XMLNetAccessor {
 public:
  explicit NoConnections(XMLNetAccessor* replaced) : m_replaced(replaced) {}

  const XMLCh* getId() const override { return m_replaced == nullptr ? u"none" : m_replaced->getId(); }
  xercesc_3_1::BinInputStream* makeNew(const xercesc_3_1::XMLURL&, const xercesc_3_1::XMLNetHTTPInfo*) override {
    broken("no document opens a connection");
  }

 private:
  XMLNetAccessor* m_replaced;
};

}  // namespace

void forbidAccess() {
  static NoFiles files(*XMLPlatformUtils::fgFileMgr);
  static NoConnections connections(XMLPlatformUtils::fgNetAccessor);
  XMLPlatformUtils::fgFileMgr = &files;
  XMLPlatformUtils::fgNetAccessor = &connections;
}

}  // namespace Fuzz
