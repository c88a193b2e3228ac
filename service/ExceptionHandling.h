#pragma once

#include <service/DVMService_ExceptionHandling_export.h>

#include <exception>
#include <memory>
#include <string>

namespace Drelvan {

/// An error with its text and the source location that raised it.
///
/// Threads: immutable; copies share their texts and may be used on different threads.
/// Copying never throws.
class DVMSERVICE_EXCEPTIONHANDLING_EXPORT DvException : public std::exception {
 public:
  /// `message` says what failed, `group` names the component, `function` is the qualified name of the raising
  /// function, `file` and `line` its location. The texts are copied; null counts as empty.
  DvException(const char* message, const char* group, const char* function, const char* file, int line);
  /// @{
  /// Shares the texts of `other`.
  DvException(const DvException& other) noexcept;
  DvException& operator=(const DvException& other) noexcept;
  /// @}
  ~DvException() override;

  /// The message only.
  const char* what() const noexcept override;

  /// @{
  /// What the constructor was given.
  const std::string& getMessage() const noexcept;
  const std::string& getGroup() const noexcept;
  const std::string& getFunction() const noexcept;
  const std::string& getFile() const noexcept;
  int getLine() const noexcept;
  /// @}

 private:
  struct Fields;
  std::shared_ptr<const Fields> m_fields;
};

/// An error that also keeps the exception that was being handled when it was constructed.
///
/// Threads and copies: as for `DvException`; copies share the nested exception.
class DVMSERVICE_EXCEPTIONHANDLING_EXPORT DvExceptionNested : public DvException {
 public:
  /// As `DvException`; keeps `std::current_exception()`.
  DvExceptionNested(const char* message, const char* group, const char* function, const char* file, int line);
  /// @{
  /// Shares the texts and the nested exception of `other`.
  DvExceptionNested(const DvExceptionNested& other) noexcept;
  DvExceptionNested& operator=(const DvExceptionNested& other) noexcept;
  /// @}
  ~DvExceptionNested() override;

  /// The exception that was being handled when this one was constructed; null when there was none.
  std::exception_ptr getNested() const noexcept;

  /// One line per exception of the chain, outermost first, each "message [group] function (file:line)", joined by
  /// line feeds. An exception of another type is shown by its `what()`, if it has one, and ends the chain.
  std::string describe() const;

 private:
  std::exception_ptr m_nested;
};

}  // namespace Drelvan
