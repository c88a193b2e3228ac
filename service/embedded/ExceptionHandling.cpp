#include <service/ExceptionHandling.h>

namespace Drelvan {

namespace {

std::string orEmpty(const char* text) { return text == nullptr ? std::string() : std::string(text); }

std::string describeOne(const DvException& exception) {
  return exception.getMessage() + " [" + exception.getGroup() + "] " + exception.getFunction() + " (" +
         exception.getFile() + ":" + std::to_string(exception.getLine()) + ")";
}

/// Appends the line of `exception` to `text` and returns what it nests.
std::exception_ptr describeNext(const std::exception_ptr& exception, std::string& text) {
  try {
    std::rethrow_exception(exception);
  } catch (const DvExceptionNested& nested) {
    text += describeOne(nested);
    return nested.getNested();
  } catch (const DvException& plain) {
    text += describeOne(plain);
  } catch (const std::exception& foreign) {
    text += foreign.what();
  } catch (...) {
    text += "an exception without a text";
  }
  return nullptr;
}

}  // namespace

struct DvException::Fields {
  std::string message;
  std::string group;
  std::string function;
  std::string file;
  int line;
};

DvException::DvException(const char* message, const char* group, const char* function, const char* file, int line)
    : m_fields(std::make_shared<const Fields>(
          Fields{orEmpty(message), orEmpty(group), orEmpty(function), orEmpty(file), line})) {}

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
    : DvException(message, group, function, file, line), m_nested(std::current_exception()) {}

DvExceptionNested::DvExceptionNested(const DvExceptionNested& other) noexcept = default;
DvExceptionNested& DvExceptionNested::operator=(const DvExceptionNested& other) noexcept = default;
DvExceptionNested::~DvExceptionNested() = default;

std::exception_ptr DvExceptionNested::getNested() const noexcept { return m_nested; }

std::string DvExceptionNested::describe() const {
  std::string text = describeOne(*this);
  for (std::exception_ptr next = m_nested; next != nullptr;) {
    text += '\n';
    next = describeNext(next, text);
  }
  return text;
}

}  // namespace Drelvan
