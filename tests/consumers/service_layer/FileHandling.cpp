#include <service/FileHandling.h>

#include "Calls.h"

namespace Drelvan {

FileName::FileName(const std::string& name) : m_name(name) {}
FileName::FileName(const char* name) : m_name(name) {}
FileName::FileName(const FileName& other) = default;
FileName::FileName(FileName&& other) noexcept = default;
FileName& FileName::operator=(const FileName& other) = default;
FileName& FileName::operator=(FileName&& other) noexcept = default;
FileName::~FileName() = default;

std::string FileName::toString() const {
  Site::note("FileName::toString");
  return m_name;
}

struct FileNameException::Files {
  FileName source;
  FileName target;
  std::error_code error;
};

FileNameException::FileNameException(const char* verb, const FileName& source, const FileName& target,
                                     std::error_code error, const char* function, const char* file, int line)
    : DvException(verb, "Site", function, file, line),
      m_files(std::make_shared<const Files>(Files{source, target, error})) {}
FileNameException::FileNameException(const FileNameException& other) noexcept = default;
FileNameException& FileNameException::operator=(const FileNameException& other) noexcept = default;
FileNameException::~FileNameException() = default;

const FileName& FileNameException::getSource() const noexcept { return m_files->source; }
const FileName& FileNameException::getTarget() const noexcept { return m_files->target; }
std::string FileNameException::getReason() const { return m_files->error.message(); }
std::error_code FileNameException::getErrorCode() const noexcept { return m_files->error; }

namespace {

[[noreturn]] void refuse(const char* verb, const FileName& source, const FileName& target) {
  throw FileNameException(verb, source, target, std::make_error_code(std::errc::device_or_resource_busy), verb,
                          __FILE__, __LINE__);
}

}  // namespace

bool FileUtilities::exists(const FileName&, bool) {
  Site::note("FileUtilities::exists");
  return false;
}

void FileUtilities::copyFile(const FileName& source, const FileName& target) {
  Site::note("FileUtilities::copyFile");
  refuse("copy", source, target);
}

void FileUtilities::rename(const FileName& source, const FileName& target) {
  Site::note("FileUtilities::rename");
  refuse("rename", source, target);
}

void FileUtilities::remove(const FileName& file) {
  Site::note("FileUtilities::remove");
  refuse("remove", file, "");
}

}  // namespace Drelvan
