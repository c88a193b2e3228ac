#include <service/ExceptionHandling.h>

#include "Calls.h"

namespace Drelvan {

struct DvException::Fields {
  std::string message;
  std::string group;
  std::string function;
  std::string file;
  int line;
};

DvException::DvException(const char* message, const char* group, const char* function, const char* file, int line)
    : m_fields(std::make_shared<const Fields>(Fields{std::string("site: ") + message, group, function, file, line})) {}
DvException::DvException(const DvException& other) noexcept = default;
DvException& DvException::operator=(const DvException& other) noexcept = default;
DvException::~DvException() = default;

const char* DvException::what() const noexcept { return m_fields->message.c_str(); }
const std::string& DvException::getMessage() const noexcept { return m_fields->message; }
const std::string& DvException::getGroup() const noexcept { return m_fields->group; }
const std::string& DvException::getFunction() const noexcept { return m_fields->function; }
const std::string& DvException::getFile() const noexcept { return m_fields->file; }
int DvException::getLine() const noexcept { return m_fields->line; }

DvExceptionNested::DvExceptionNested(const char* message, const char* group, const char* function, const char* file,
                                     int line)
    : DvException(message, group, function, file, line), m_nested(std::current_exception()) {
  Site::note("DvExceptionNested::DvExceptionNested");
}
DvExceptionNested::DvExceptionNested(const DvExceptionNested& other) noexcept = default;
DvExceptionNested& DvExceptionNested::operator=(const DvExceptionNested& other) noexcept = default;
DvExceptionNested::~DvExceptionNested() = default;

std::exception_ptr DvExceptionNested::getNested() const noexcept { return m_nested; }
std::string DvExceptionNested::describe() const { return getMessage(); }

}  // namespace Drelvan
