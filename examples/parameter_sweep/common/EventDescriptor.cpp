#include <examples/parameter_sweep/common/EventDescriptor.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace ParameterSweep {

EventDescriptor::EventDescriptor() : m_descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (m_descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), "cannot make an event descriptor");
  }
}

EventDescriptor::~EventDescriptor() { ::close(m_descriptor); }

void EventDescriptor::raise() const { static_cast<void>(::eventfd_write(m_descriptor, 1)); }

void EventDescriptor::clear() const {
  eventfd_t count = 0;
  static_cast<void>(::eventfd_read(m_descriptor, &count));
}

}  // namespace ParameterSweep
